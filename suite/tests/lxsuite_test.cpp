// lxsuite, the program that holds the arena: its arguments, one suite per user, and the semaphore
// that guards the named blocks. lxsetting is another process of the suite.
#include "startup_fixture.h"

#include "lumarix/shm.h"

#include <csignal>
#include <fcntl.h>
#include <memory>
#include <regex>
#include <semaphore.h>
#include <sys/shm.h>
#include <unistd.h>

class Lxsuite : public StartupTest {
protected:
    std::unique_ptr<lxtest::Process> suite;

    lxtest::Env env(lxtest::Env extra = {}) const
    {
        extra.insert(extra.begin(),
                     {"HOME=" + home.path(), "LX_BASE=" + home.path(), "LX_SIZE=64", "LOGNAME=" + lxtest::userName()});
        return extra;
    }
    std::unique_ptr<lxtest::Process> start(std::vector<std::string> args = {}) const
    {
        args.insert(args.begin(), LXSUITE_PATH);
        return std::make_unique<lxtest::Process>(args, env());
    }
    void startSuite()
    {
        suite = start();
        ASSERT_EQ(suite->line(), "ready") << suite->errors();
    }
    void TearDown() override
    {
        if (suite) {
            suite->signal(SIGTERM);
            EXPECT_EQ(suite->wait(), 0) << suite->errors();
        }
    }
    lxtest::Result lxsetting(std::vector<std::string> args) const
    {
        args.insert(args.begin(), LXSETTING_PATH);
        return lxtest::run(args, env());
    }
};

TEST_F(Lxsuite, TakesNoneOrFourNumbersAndStopsCleanlyOnASignal)
{
    const std::vector<std::pair<std::vector<std::string>, int>> cases = {
        {{"1", "2", "3", "4"}, 0},  {{"-1000000", "0", "0", "1000000"}, 0},
        {{"1", "2", "3"}, 2},       {{"1", "2", "3", "1000001"}, 2},
        {{"1", "2", "3", "4x"}, 2}, {{"1", "", "3", "4"}, 2}};
    for (const auto &[args, status] : cases) {
        const auto run = start(args);
        if (status == 0) {
            EXPECT_EQ(run->line(), "ready") << run->errors();
            run->signal(SIGINT);
        }
        EXPECT_EQ(run->wait(), status) << args.size() << " " << args.back();
        EXPECT_EQ(run->errors().rfind("Usage: lxsuite ", 0) == 0, status == 2) << run->errors();
    }
    EXPECT_NE(lxtest::run({LXSUITE_PATH, "--help"}).out.find("LX_SHMSTADDR (default\n0x500000000000;"),
              std::string::npos);
}

// One suite per user id, whatever USER or LX_SHMSTADDR say: the second names the first and stops
// without touching its arena.
TEST_F(Lxsuite, SecondSuiteIsRefusedAndNamesTheFirst)
{
    startSuite();
    EXPECT_EQ(lxsetting({"set", "A", "kept"}).status, 0);
    for (const lxtest::Env &other : {lxtest::Env{}, lxtest::Env{"USER=lxsomeoneelse", "LOGNAME=lxsomeoneelse"},
                                     lxtest::Env{"LX_SHMSTADDR=0x510000000000"}}) {
        const lxtest::Result second = lxtest::run({LXSUITE_PATH}, env(other));
        EXPECT_EQ(second.status, 1);
        EXPECT_EQ(second.out, "");
        EXPECT_NE(second.err.find("already running for this user (process " + std::to_string(suite->pid()) + ")"),
                  std::string::npos)
            << second.err;
    }
    EXPECT_EQ(lxsetting({"get", "A"}).out, "kept\n");
    EXPECT_TRUE(std::regex_search(
        lxsetting({"dump"}).out,
        std::regex("size:\t\t25\nfreed:\t\t0\naddr:\t\t0x[0-9a-f]+\nname:\t\tLUMARIX_BASE_VERSION\n")));
    EXPECT_FALSE(lxtest::exists("/tmp/lxsomeoneelse.api_shmid"));
    suite->signal(SIGINT);
    EXPECT_EQ(suite->wait(), 0);
    suite.reset();
    EXPECT_FALSE(lxtest::exists("/tmp/" + lxtest::userName() + ".api_shmid"));
    EXPECT_EQ(lxsetting({"dump"}).status, 1);
}

TEST_F(Lxsuite, OfTwoSuitesStartedAtOnceExactlyOneWins)
{
    for (int round = 0; round < 20; ++round) {
        const auto a = start(), b = start();
        const bool aWon = a->line() == "ready", bWon = b->line() == "ready";
        ASSERT_NE(aWon, bWon) << "round " << round << ": " << a->errors() << b->errors();
        lxtest::Process &winner = aWon ? *a : *b, &loser = aWon ? *b : *a;
        EXPECT_EQ(loser.wait(), 1);
        EXPECT_NE(loser.errors().find("already running"), std::string::npos) << loser.errors();
        EXPECT_EQ(lxsetting({"set", "A", "one"}).status, 0);
        winner.signal(SIGTERM);
        ASSERT_EQ(winner.wait(), 0) << winner.errors();
    }
}

TEST_F(Lxsuite, SemaphoreOfAnotherUserStopsTheSuiteWithHowToRemoveIt)
{
    const std::string name = "/IWConfigSem_" + lxtest::userName();
    sem_unlink(name.c_str());
    sem_t *planted = sem_open(name.c_str(), O_CREAT, 0644, 1);
    ASSERT_NE(planted, SEM_FAILED);
    sem_close(planted);
    ASSERT_EQ(chown(("/dev/shm/sem." + name.substr(1)).c_str(), 65534, 65534), 0);
    const lxtest::Result suiteRun = start()->finish();
    EXPECT_EQ(suiteRun.status, 1);
    EXPECT_NE(suiteRun.err.find("remove the semaphore file named above"), std::string::npos) << suiteRun.err;
    EXPECT_NE(suiteRun.err.find("/dev/shm/sem.IWConfigSem_"), std::string::npos) << suiteRun.err;
    EXPECT_EQ(shmget(SG_key(home.path().c_str(), 'F'), 0, 0), -1) << "the arena is removed again";
    EXPECT_NE(start()->finish().err.find("remove the semaphore file"), std::string::npos) << "refused, not removed";
    sem_unlink(name.c_str());
}

TEST_F(Lxsuite, HeldSemaphoreOfACrashedRunIsNotInherited)
{
    const std::string name = "/IWConfigSem_" + lxtest::userName();
    sem_unlink(name.c_str());
    sem_t *held = sem_open(name.c_str(), O_CREAT, 0600, 0); // as left by a run killed while holding it
    ASSERT_NE(held, SEM_FAILED);
    sem_close(held);
    startSuite();
    const lxtest::Result set = lxsetting({"set", "A", "1"});
    EXPECT_EQ(set.err.find("could not be acquired"), std::string::npos) << set.err;
    EXPECT_EQ(lxsetting({"get", "A"}).out, "1\n");
}
