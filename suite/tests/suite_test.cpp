// The suite's start-up (sizing, the shared global record, IWStop) and lxsuite, the program that
// holds the arena: its arguments, one suite per user, and the semaphore that guards the named
// blocks. lxsetting is another process of the suite.
#include "lx_testing.h"
#include "lumarix/shm.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <regex>
#include <semaphore.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#define HELPER SUITE_INIT_HELPER_PATH " "
#define LXSETTING LXSETTING_PATH " "

class Suite : public ::testing::Test {
protected:
    lxtest::TempDir home; // also the settings base, with an empty system settings file

    void SetUp() override
    {
        mkdir((home / "config").c_str(), 0755);
        lxtest::writeFile(home / "config/system.lxrc", "");
    }
    std::string userFile() const { return home / (".lumarix_" + lxtest::hostName() + "/user.lxrc"); }
    lxtest::Env env(lxtest::Env extra = {}) const
    {
        extra.insert(extra.begin(), {"HOME=" + home.path(), "LX_BASE=" + home.path(), "LOGNAME=" + lxtest::userName()});
        return extra;
    }
    // What a program prints, run with its space-separated arguments: standard output, then error.
    std::string run(const std::string &line, const lxtest::Env &extra = {}) const
    {
        const auto result = lxtest::run(lxtest::words(line), env(extra));
        return result.out + result.err;
    }
    // lxsuite with a 64 MB arena; stop it with a signal.
    std::unique_ptr<lxtest::Process> start(std::vector<std::string> args = {}, lxtest::Env extra = {}) const
    {
        args.insert(args.begin(), LXSUITE_PATH);
        extra.insert(extra.begin(), "LX_SIZE=64");
        return std::make_unique<lxtest::Process>(args, env(extra));
    }
};

TEST_F(Suite, ArenaNeedsOneMegabyteMoreThanItsClampedSizeAndAReadableCap)
{
    const std::string tooSmall = "init -1\n\nCan not allocate enough shared memory for proper software operation.\n"
                                 "Try either decreasing the value of LX_SIZE to a value smaller than\n"
                                 "the system maximum or have your system administrator increase the\n"
                                 "the system defined shared memory cap.\n\nRequested size: ",
                      stopping = "ERROR-IWStart: Unable to create shared memory; stopping.\n";
    const struct {
        std::string cap, env, out; // standard output, then standard error
    } cases[] = {
        {"2098200575\n", "", tooSmall + "2097152000 bytes\nSystem cap    : 2098200575 bytes\n\n" + stopping},
        {"1000", "LX_SIZE=5", tooSmall + "31457280 bytes\nSystem cap    : 1000 bytes\n\n" + stopping}, // 30 MB at least
        {"lots\n", "", "init -1\nInvalid entry in /proc/sys/kernel/shmmax\n" + stopping},
        {"", "",
         "init -1\nCould not open /proc/sys/kernel/shmmax to verify shared memory size: No such file or directory\n" +
             stopping},
    };
    for (const auto &c : cases) {
        lxtest::writeFile(home / "cap", c.cap);
        EXPECT_EQ(run(HELPER + home / (c.cap.empty() ? "absent" : "cap") + " 0 0 1 1", lxtest::words(c.env)), c.out);
    }
}

// Too large values are lowered and written back; out-of-range ones fall back (to a value that is
// itself lowered for a small arena); older names answer, and only the unit may change.
TEST_F(Suite, WorkingSetRules)
{
    const struct {
        std::string env, before, working, after;
    } cases[] = {
        {"LX_WORKING_SET=15000 LX_WORKING_UNIT=500", "", "1970 394", "LX_WORKING_SET 1970\nLX_WORKING_UNIT 394\n"},
        {"LX_WORKING_SET=-1 LX_WORKING_UNIT=15001", "", "1800 100", ""},
        {"LX_WORKING_SET=15001 LX_WORKING_UNIT=abc", "", "1800 100", ""},
        {"LX_SIZE=100 LX_WORKING_SET=-1", "", "70 14", "LX_WORKING_SET 70\nLX_WORKING_UNIT 14\n"},
        {"PM_WORKING_SET=1000 OXL_WORKING_SET=5", "KEEP me\nLX_WORKING_UNIT 900\n", "1000 200",
         "KEEP me\nLX_WORKING_UNIT 200\n"},
    };
    lxtest::writeFile(home / "cap", "99999999999");
    mkdir((home / (".lumarix_" + lxtest::hostName())).c_str(), 0755);
    for (const auto &c : cases) {
        lxtest::writeFile(userFile(), c.before);
        EXPECT_EQ(lxtest::field(run(HELPER + home / "cap 0 0 1 1", lxtest::words(c.env)), "working MB"), c.working);
        EXPECT_EQ(lxtest::readFile(userFile()), c.after) << c.working;
    }
}

// The system's own cap, exactly the size + 1 MB the start-up asks for: the segment (size + 2216
// bytes) fits under it. A 30 MB arena leaves no room for a working set: both are lowered to 0.
TEST_F(Suite, ExactRealCapIsEnoughTheRecordIsFilledInAndIWStopRemovesTheSemaphores)
{
    if (!std::getenv("LX_TEST_PRIVATE_NAMESPACES"))
        GTEST_SKIP() << "the system's shmmax is changed only in a private IPC namespace";
    const std::string cap = "/proc/sys/kernel/shmmax", saved = lxtest::readFile(cap);
    lxtest::writeFile(cap, "32505856");
    const std::string result = run(HELPER + cap + " -5 3 5000 0", {"LX_SIZE=30", "LX_PGTHRESH=7"});
    // An arena too full for the tables: the record keeps what came before, the release is published.
    const std::string full = run(HELPER + cap + " 1 2 3 4", {"LX_SIZE=30", "SUITE_HELPER_FULL_ARENA=1"});
    lxtest::writeFile(cap, saved);
    const std::string version = "version Lumarix " LX_PROJECT_VERSION "\n";
    EXPECT_EQ(result, "init 1\ncaller 0 3 1280 1\nunset -1 -1 -1 cleared 0\nworking MB 0 0\nthreshold 7\n"
                      "slots 100: -1 -1, -1 -1\non: working set 1, named list 1\n" +
                          version + "semaphores 1 1\nstop 1: -1 -1\n");
    EXPECT_EQ(lxtest::readFile(userFile()), "LX_WORKING_SET 0\nLX_WORKING_UNIT 0\n");
    EXPECT_EQ(full, "SMCalloc failed: Not enough SHM 100 984!!!\nIWInitLists: Error allocating IWL lists.init 1\n"
                    "caller 0 0 0 0\nunset 0 0 0 cleared 0\nworking MB 0 0\nthreshold 0\nslots 0: 0 0, 0 0\n"
                    "on: working set 0, named list 0\n" +
                        version + "semaphores -1 -1\nstop 1: -1 -1\n");
}

// None or four numbers in range; a single word other than --help is an error too.
TEST_F(Suite, TakesNoneOrFourNumbersAndStopsCleanlyOnASignal)
{
    const std::vector<std::pair<std::vector<std::string>, int>> cases = {
        {{"1", "2", "3", "4"}, 0},  {{"-1000000", "0", "0", "1000000"}, 0},
        {{"1", "2", "3", "4x"}, 2}, {{"1", "2", "3", "1000001"}, 2},
        {{"1", "", "3", "4"}, 2},   {{"4"}, 2}};
    for (const auto &[args, status] : cases) {
        const auto suiteRun = start(args);
        if (status == 0) {
            EXPECT_EQ(suiteRun->line(), "ready") << suiteRun->errors();
            suiteRun->signal(SIGINT);
        }
        EXPECT_EQ(suiteRun->wait(), status) << args.back();
        EXPECT_EQ(suiteRun->errors().rfind("Usage: lxsuite ", 0) == 0, status == 2) << suiteRun->errors();
    }
}

// One suite per user id, whatever LX_SHMSTADDR says: the second names the first and stops without
// touching its arena, which lives in its file until the first stops.
TEST_F(Suite, SecondSuiteIsRefusedAndNamesTheFirst)
{
    lxtest::TempDir folder;
    const auto first = start({}, {"OB_USE_SHM_FILE=yes", "PM_TMP=" + folder.path()});
    ASSERT_EQ(first->line(), "ready") << first->errors();
    EXPECT_TRUE(lxtest::exists(folder / ("IWL.SHM_" + lxtest::userName())));
    const lxtest::Result second = start({}, {"LX_SHMSTADDR=0x510000000000"})->finish();
    EXPECT_EQ(std::to_string(second.status) + second.out + second.err,
              "1lxsuite: a suite is already running for this user (process " + std::to_string(first->pid()) +
                  "); stop it first\n");
    EXPECT_TRUE(std::regex_search(
        run(LXSETTING "dump"),
        std::regex("size:\t\t25\nfreed:\t\t0\naddr:\t\t0x[0-9a-f]+\nname:\t\tLUMARIX_BASE_VERSION\n")));
    first->signal(SIGINT);
    EXPECT_EQ(first->wait(), 0);
    EXPECT_FALSE(lxtest::exists("/tmp/" + lxtest::userName() + ".api_shmid"));
    EXPECT_FALSE(lxtest::exists(folder / ("IWL.SHM_" + lxtest::userName())));
}

TEST_F(Suite, OfTwoSuitesStartedAtOnceExactlyOneWins)
{
    for (int round = 0; round < 20; ++round) {
        const auto a = start(), b = start();
        const bool aWon = a->line() == "ready", bWon = b->line() == "ready";
        ASSERT_NE(aWon, bWon) << "round " << round << ": " << a->errors() << b->errors();
        lxtest::Process &winner = aWon ? *a : *b, &loser = aWon ? *b : *a;
        EXPECT_EQ(loser.wait(), 1);
        EXPECT_NE(loser.errors().find("already running"), std::string::npos) << loser.errors();
        winner.signal(SIGTERM);
        ASSERT_EQ(winner.wait(), 0) << winner.errors();
    }
}

// A planted semaphore is refused (the message names its file), the new arena removed again, and
// the semaphore kept.
TEST_F(Suite, SemaphoreOfAnotherUserStopsTheSuiteWithHowToRemoveIt)
{
    const std::string file = "/dev/shm/sem.IWConfigSem_" + lxtest::userName();
    ASSERT_EQ(sem_close(sem_open(("/IWConfigSem_" + lxtest::userName()).c_str(), O_CREAT, 0644, 1)), 0);
    ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
    const lxtest::Result refused = start()->finish();
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find(file), std::string::npos) << refused.err;
    EXPECT_NE(refused.err.find("remove the semaphore file named above"), std::string::npos) << refused.err;
    EXPECT_EQ(shmget(SG_key(home.path().c_str(), 'F'), 0, 0), -1);
    EXPECT_TRUE(lxtest::exists(file));
}

TEST_F(Suite, HeldSemaphoreOfACrashedRunIsNotInherited)
{
    // Left held, as a run killed while holding it leaves it.
    ASSERT_EQ(sem_close(sem_open(("/IWConfigSem_" + lxtest::userName()).c_str(), O_CREAT, 0600, 0)), 0);
    const auto suite = start();
    ASSERT_EQ(suite->line(), "ready") << suite->errors();
    EXPECT_EQ(run(LXSETTING "set A 1").rfind("A: delivered to the running suite\nA: recorded in ", 0), 0u);
    suite->signal(SIGTERM);
}
