// Settings with a running suite: lxsuite holds the arena, lxsetting and the helper are other
// processes of the suite.
#include "settings_fixture.h"

#include <csignal>
#include <fcntl.h>
#include <memory>
#include <semaphore.h>

using lxtest::Background;
using lxtest::Result;

namespace {

const std::string kAddress = "LX_SHMSTADDR=0x600000000000";

}  // namespace

class LiveSettings : public SettingsFiles {
protected:
    std::unique_ptr<Background> suite;

    lxtest::Env suiteEnv(lxtest::Env extra = {}) const
    {
        extra.insert(extra.end(), {kAddress, "LX_SIZE=64", "LOGNAME=" + lxtest::userName()});
        return env(extra);
    }

    void startSuite()
    {
        suite = std::make_unique<Background>(std::vector<std::string>{LXSUITE_PATH}, suiteEnv());
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

TEST_F(LiveSettings, ValueSetInOneProcessIsSeenByAnother)
{
    startSuite();
    const Result set = lxsetting({"set", "LX_DATA_DIR", "/data/one"});
    EXPECT_EQ(set.status, 0);
    EXPECT_EQ(set.out, "LX_DATA_DIR: delivered to the running suite\nLX_DATA_DIR: recorded in " + userFile() + "\n");
    EXPECT_NE(lxtest::readFile(userFile()).find("LX_DATA_DIR /data/one\n"), std::string::npos);
    Result got = lxsetting({"get", "LX_DATA_DIR"});
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.out, "/data/one\n");
    lxsetting({"set", "LX_DATA_DIR", "/data/two"});
    EXPECT_EQ(lxsetting({"get", "LX_DATA_DIR"}).out, "/data/two\n");
    EXPECT_EQ(lxsetting({"get", "LUMARIX_BASE_VERSION"}).out.rfind("Lumarix ", 0), 0u);
}

TEST_F(LiveSettings, SharedBlockBeatsEveryOtherSource)
{
    writeUserFile("COLOR from-user-file\n");
    writeSystemFile("COLOR from-system-file\n");
    startSuite();
    EXPECT_EQ(liveHelper({"get", "COLOR"}, {"COLOR=from-env"}).out, "attach 1\nget COLOR from-env\n");
    lxsetting({"set", "COLOR", "from-block"});
    EXPECT_EQ(liveHelper({"get", "COLOR"}, {"COLOR=from-env"}).out, "attach 1\nget COLOR from-block\n");
}

TEST_F(LiveSettings, UnknownSettingLeavesAnEmptyBlockThatAnswersUnsetEverywhere)
{
    startSuite();
    EXPECT_EQ(lxsetting({"get", "LX_NOWHERE"}).status, 1);
    const Result dump = lxsetting({"dump"});
    EXPECT_NE(dump.out.find("size:\t\t1\nfreed:\t\t0\n"), std::string::npos) << dump.out;
    EXPECT_NE(dump.out.find("name:\t\tLX_NOWHERE\n"), std::string::npos) << dump.out;
    // The empty block is found before the environment of a later process.
    EXPECT_EQ(liveHelper({"get", "LX_NOWHERE"}, {"LX_NOWHERE=env"}).out, "attach 1\nget LX_NOWHERE (none)\n");
}

// Without a suite a set value still lasts: it is recorded in the user settings file, and a
// value that reaches neither the suite nor the file is a failure.
TEST_F(LiveSettings, WithoutASuiteTheValueIsRecordedAndNoBlockIsLeftBehind)
{
    EXPECT_EQ(lxsetting({"get", "LX_NOWHERE"}).status, 1);
    EXPECT_EQ(lxsetting({"dump"}).status, 1);
    const Result set = lxsetting({"set", "LX_ALONE", "x"});
    EXPECT_EQ(set.status, 0);
    EXPECT_EQ(set.out, "LX_ALONE: no suite is running; not delivered live\nLX_ALONE: recorded in " + userFile() + "\n");
    EXPECT_EQ(lxsetting({"get", "LX_ALONE"}).out, "x\n");
    lxtest::writeFile(home / "plainfile", "");
    const Result lost = lxsetting({"set", "LX_LOST", "y"}, {"HOME=" + home / "plainfile"});
    EXPECT_EQ(lost.status, 1);
    EXPECT_NE(lost.err.find("LX_LOST could not be recorded"), std::string::npos) << lost.err;
    startSuite();
    const Result dump = lxsetting({"dump"});
    EXPECT_EQ(dump.out.find("LX_NOWHERE"), std::string::npos) << dump.out;
    EXPECT_EQ(dump.out.find("LX_ALONE"), std::string::npos) << dump.out;
}

TEST_F(LiveSettings, ArenaIsGoneAfterTheSuiteStops)
{
    startSuite();
    suite->signal(SIGINT);
    EXPECT_EQ(suite->wait(), 0);
    suite.reset();
    EXPECT_EQ(lxsetting({"dump"}).status, 1);
    EXPECT_FALSE(lxtest::exists("/tmp/" + lxtest::userName() + ".api_shmid"));
}

TEST_F(LiveSettings, SecondSuiteIsRefused)
{
    startSuite();
    const Result second = lxtest::run({LXSUITE_PATH}, suiteEnv());
    EXPECT_EQ(second.status, 1);
    EXPECT_NE(second.err.find("already running"), std::string::npos);
    EXPECT_EQ(lxsetting({"set", "A", "still-works"}).status, 0);
    EXPECT_EQ(lxsetting({"get", "A"}).out, "still-works\n");
}

TEST_F(LiveSettings, HeldSemaphoreOfACrashedRunIsNotInherited)
{
    const std::string name = "/IWConfigSem_" + lxtest::userName();
    sem_unlink(name.c_str());
    sem_t *held = sem_open(name.c_str(), O_CREAT, 0644, 0);  // as left by a run killed while holding it
    ASSERT_NE(held, SEM_FAILED);
    sem_close(held);
    startSuite();
    const Result set = lxsetting({"set", "A", "1"});
    EXPECT_EQ(set.err.find("could not be acquired"), std::string::npos) << set.err;
    EXPECT_EQ(lxsetting({"get", "A"}).out, "1\n");
}
