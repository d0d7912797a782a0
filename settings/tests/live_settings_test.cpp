// Settings with a running suite: lxsuite holds the arena, lxsetting and the helper are other
// processes of the suite.
#include "settings_fixture.h"

#include <csignal>
#include <memory>
#include <regex>
#include <sstream>

using lxtest::Process;
using lxtest::Result;

class LiveSettings : public SettingsFiles {
protected:
    std::unique_ptr<Process> suite;

    lxtest::Env suiteEnv(lxtest::Env extra = {}) const
    {
        // No LX_SHMSTADDR: the suite uses its default address and the others attach where it is.
        extra.insert(extra.begin(), {"LX_SIZE=64", "LOGNAME=" + lxtest::userName()});
        return env(extra);
    }

    void startSuite()
    {
        suite = std::make_unique<Process>(std::vector<std::string>{LXSUITE_PATH}, suiteEnv());
        ASSERT_EQ(suite->line(), "ready") << suite->errors();
    }

    void TearDown() override
    {
        if (suite) {
            suite->signal(SIGTERM);
            EXPECT_EQ(suite->wait(), 0) << suite->errors();
        }
    }

    Result lxsetting(const std::vector<std::string> &args, lxtest::Env extra = {}) const
    {
        std::vector<std::string> argv{LXSETTING_PATH};
        argv.insert(argv.end(), args.begin(), args.end());
        return lxtest::run(argv, suiteEnv(extra));
    }

    Result liveHelper(const std::vector<std::string> &commands, lxtest::Env extra = {}) const
    {
        std::vector<std::string> argv{SETTINGS_HELPER_PATH, "attach"};
        argv.insert(argv.end(), commands.begin(), commands.end());
        return lxtest::run(argv, suiteEnv(extra));
    }
};

TEST_F(LiveSettings, SharedBlockIsSeenByEveryProcessAndBeatsEveryOtherSource)
{
    writeUserFile("COLOR from-user-file\n");
    writeSystemFile("COLOR from-system-file\n");
    startSuite();
    EXPECT_EQ(liveHelper({"get", "COLOR"}, {"COLOR=from-env"}).out, "attach 1\nget COLOR from-env\n");
    const Result set = lxsetting({"set", "COLOR", "from-block"});
    EXPECT_EQ(set.status, 0);
    EXPECT_EQ(set.out, "COLOR: delivered to the running suite\nCOLOR: recorded in " + userFile() + "\n");
    EXPECT_EQ(liveHelper({"get", "COLOR"}, {"COLOR=from-env"}).out, "attach 1\nget COLOR from-block\n");
    lxsetting({"set", "COLOR", "two"});
    EXPECT_EQ(lxsetting({"get", "COLOR"}).out, "two\n");
    EXPECT_TRUE(std::regex_search(lxsetting({"dump"}).out, // the text and its end, nothing more
                                  std::regex("size:\t\t4\nfreed:\t\t0\naddr:\t\t0x[0-9a-f]+\nname:\t\tCOLOR\n")));
    EXPECT_EQ(lxsetting({"get", "LUMARIX_BASE_VERSION"}).out.rfind("Lumarix ", 0), 0u);
    // An unknown name leaves an empty block, found before the environment of a later process.
    EXPECT_EQ(lxsetting({"get", "LX_NOWHERE"}).status, 1);
    const std::string dump = lxsetting({"dump"}).out;
    EXPECT_NE(dump.find("size:\t\t1\nfreed:\t\t0\n"), std::string::npos) << dump;
    EXPECT_NE(dump.find("name:\t\tLX_NOWHERE\n"), std::string::npos) << dump;
    EXPECT_EQ(liveHelper({"get", "LX_NOWHERE"}, {"LX_NOWHERE=env"}).out, "attach 1\nget LX_NOWHERE (none)\n");
}

// Eight processes replacing five shared names at once: each replacement is one step under the
// semaphore, so the heap stays whole and every name holds one value some writer wrote.
TEST_F(LiveSettings, ConcurrentWritersOfTheSameNamesLeaveOneWholeValueEach)
{
    writeSystemFile("");
    startSuite();
    std::vector<std::unique_ptr<Process>> writers;
    for (int w = 0; w < 8; ++w)
        writers.push_back(std::make_unique<Process>(
            std::vector<std::string>{SETTINGS_HELPER_PATH, "attach", "hammer", "2000", "w" + std::to_string(w)},
            suiteEnv()));
    lxtest::writeFile(home / "go", ""); // all at once
    for (auto &writer : writers) {
        EXPECT_EQ(writer->wait(), 0) << writer->errors();
        EXPECT_EQ(writer->errors(), "");
    }
    const Result after = liveHelper({"heapcheck", "get", "LX_HAMMER_0", "get", "LX_HAMMER_1", "get", "LX_HAMMER_2",
                                     "get", "LX_HAMMER_3", "get", "LX_HAMMER_4"});
    ASSERT_EQ(after.out.substr(0, 26), "attach 1\nheapcheck ok\nget ") << after.out << after.err;
    const std::regex whole("get LX_HAMMER_([0-4]) w[0-7]:([0-9]+):(x+)");
    std::istringstream lines(after.out.substr(after.out.find("get ")));
    std::string line;
    int names = 0;
    for (std::smatch m; std::getline(lines, line); ++names) {
        ASSERT_TRUE(std::regex_match(line, m, whole)) << line;
        const int n = std::stoi(m[2]);
        EXPECT_EQ(n % 5, std::stoi(m[1])) << line;
        EXPECT_EQ(m[3].length(), static_cast<size_t>(n % 97 + 1)) << line;
    }
    EXPECT_EQ(names, 5);
}

// Without a suite a set value still lasts: it is recorded in the user settings file, and a
// value that reaches neither the suite nor the file is a failure.
TEST_F(LiveSettings, WithoutASuiteTheValueIsRecordedAndNoBlockIsLeftBehind)
{
    EXPECT_EQ(lxsetting({"get", "LX_NOWHERE"}).status, 1);
    EXPECT_EQ(lxsetting({"dump"}).status, 1);
    const Result usage = lxsetting({"get"});
    EXPECT_EQ(usage.status, 2);
    EXPECT_EQ(usage.err.rfind("Usage: lxsetting get NAME\n", 0), 0u) << usage.err;
    const Result set = lxsetting({"set", "LX_ALONE", "x"});
    EXPECT_EQ(set.status, 0);
    EXPECT_EQ(set.out, "LX_ALONE: no suite is running; not delivered live\nLX_ALONE: recorded in " + userFile() + "\n");
    writeSystemFile("");
    const Result alone = liveHelper({"get", "LX_ALONE"});
    EXPECT_EQ(alone.out + alone.err, "attach -1\nget LX_ALONE x\n"); // no arena is no error
    lxtest::writeFile(home / "plainfile", "");
    const Result lost = lxsetting({"set", "LX_LOST", "y"}, {"HOME=" + home / "plainfile"});
    EXPECT_EQ(lost.status, 1);
    EXPECT_NE(lost.err.find("LX_LOST could not be recorded"), std::string::npos) << lost.err;
    startSuite();
    const Result dump = lxsetting({"dump"});
    EXPECT_EQ(dump.out.find("LX_NOWHERE"), std::string::npos) << dump.out;
    EXPECT_EQ(dump.out.find("LX_ALONE"), std::string::npos) << dump.out;
}
