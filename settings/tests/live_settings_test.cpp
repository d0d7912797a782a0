// Settings with a running suite: lxsuite holds the arena, lxsetting and the helper join it.
#include "settings_fixture.h"

#include <csignal>
#include <memory>
#include <regex>

class LiveSettings : public SettingsFiles {
protected:
    LiveSettings() : SettingsFiles({LXSUITE_PATH, LXSETTING_PATH}) {}
    std::unique_ptr<lxtest::Process> startSuite() const
    {
        auto suite = SuiteSession::startSuite();
        EXPECT_EQ(suite->line(), "ready") << suite->errors();
        return suite;
    }
};

TEST_F(LiveSettings, SharedBlockIsSeenByEveryProcessAndBeatsEveryOtherSource)
{
    writeSettings("COLOR from-user-file\n", "COLOR from-system-file\n");
    const auto suite = startSuite();
    EXPECT_EQ(lxsetting("get COLOR", {"COLOR=from-env"}), "0 from-env\n");
    EXPECT_EQ(lxsetting("set COLOR from-block"),
              "0 COLOR: delivered to the running suite\nCOLOR: recorded in " + userFile() + "\n");
    EXPECT_EQ(lxsetting("get COLOR", {"COLOR=from-env"}), "0 from-block\n");
    // An unknown name leaves an empty block, found before the environment of a later process.
    EXPECT_EQ(lxsetting("get LX_NOWHERE"), "1 ");
    EXPECT_EQ(lxsetting("get LX_NOWHERE", {"LX_NOWHERE=env"}), "1 ");
    // COLOR's block holds its text and the terminator; LX_NOWHERE's one zero byte.
    EXPECT_TRUE(
        std::regex_search(lxsetting("dump"),
                          std::regex("size:\t\t11\nfreed:\t\t0\naddr:\t\t0x[0-9a-f]+\nname:\t\tCOLOR\n"
                                     "(.*\n){3}size:\t\t1\nfreed:\t\t0\naddr:\t\t0x[0-9a-f]+\nname:\t\tLX_NOWHERE\n")));
    suite->signal(SIGTERM);
}

// Eight processes replacing five shared names at once, each replacement one step under the semaphore.
TEST_F(LiveSettings, ConcurrentWritersOfTheSameNamesLeaveOneWholeValueEach)
{
    const auto suite = startSuite();
    std::vector<std::unique_ptr<lxtest::Process>> writers;
    for (int w = 0; w < 8; ++w)
        writers.push_back(std::make_unique<lxtest::Process>(
            lxtest::words(SETTINGS_HELPER_PATH " attach hammer 2000 w" + std::to_string(w)), env()));
    lxtest::writeFile(home / "go", ""); // all at once
    for (auto &writer : writers)
        EXPECT_EQ(writer->finish().err, "");
    const std::string after =
        helper("attach heapcheck get LX_HAMMER_0 get LX_HAMMER_1 get LX_HAMMER_2 get LX_HAMMER_3 get LX_HAMMER_4");
    EXPECT_TRUE(
        std::regex_match(after, std::regex("attach 1\nheapcheck ok\n(get LX_HAMMER_[0-4] w[0-7]:(x+)\\|\\2\n){5}")))
        << after;
    suite->signal(SIGTERM);
}

// Without a suite a set value is recorded; one that reaches neither suite nor file is a failure.
TEST_F(LiveSettings, WithoutASuiteTheValueIsRecorded)
{
    EXPECT_EQ(lxsetting("dump"), "1 lxsetting: no suite is running\n");
    EXPECT_EQ(lxsetting("get").rfind("2 Usage: lxsetting get NAME\n", 0), 0u);
    EXPECT_EQ(lxsetting("set LX_ALONE x"),
              "0 LX_ALONE: no suite is running; not delivered live\nLX_ALONE: recorded in " + userFile() + "\n");
    EXPECT_EQ(lxsetting("get LX_ALONE"), "0 x\n"); // no arena is no error
    lxtest::writeFile(home / "plainfile", "");
    EXPECT_TRUE(std::regex_match(lxsetting("set LX_LOST y", {"HOME=" + home / "plainfile"}),
                                 std::regex("1 [\\s\\S]*LX_LOST could not be recorded[\\s\\S]*")));
}
