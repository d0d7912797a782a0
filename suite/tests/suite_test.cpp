// The suite's start-up (sizing, the shared global record, IWStop) and lxsuite, which holds the arena.
#include "suite_session.h"
#include "lumarix/shm.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <regex>
#include <semaphore.h>
#include <sys/shm.h>
#include <unistd.h>

struct Suite : ::testing::Test, lxtest::SuiteSession {
    Suite() : SuiteSession({LXSUITE_PATH, LXSETTING_PATH}) {}
};

// The arena needs its size + 1 MB under the cap (the system's, changed in this private namespace, or
// a file); one too full for the tables still starts, with the lists off. IWStop removes semaphores.
TEST_F(Suite, StartUpAgainstTheCapAndTheRecordItFillsIn)
{
    if (!std::getenv("LX_TEST_PRIVATE_NAMESPACES"))
        GTEST_SKIP() << "the system's shmmax is changed only in a private IPC namespace";
    const std::string tooSmall = "init -1\n\nCan not allocate enough shared memory for proper software operation.\n"
                                 "Try either decreasing the value of LX_SIZE to a value smaller than\n"
                                 "the system maximum or have your system administrator increase the\n"
                                 "the system defined shared memory cap.\n\nRequested size: ",
                      stopping = "ERROR-IWStart: Unable to create shared memory; stopping.\n",
                      real = "/proc/sys/kernel/shmmax", saved = lxtest::readFile(real);
    const struct {
        std::string cap, capText, args, env, out; // out: standard output, then standard error
    } cases[] = {
        {home / "cap", "2098200575\n", "0 0 1 1", "",
         tooSmall + "2097152000 bytes\nSystem cap    : 2098200575 bytes\n\n" + stopping},
        {home / "cap", "lots\n", "0 0 1 1", "", "init -1\nInvalid entry in /proc/sys/kernel/shmmax\n" + stopping},
        {home / "absent", "", "0 0 1 1", "",
         "init -1\nCould not open /proc/sys/kernel/shmmax to verify shared memory size: No such file or directory\n" +
             stopping},
        {real, "32505856", "-5 3 5000 0", "LX_SIZE=30 LX_PGTHRESH=7",
         "init 1\ncaller 0 3 1280 1\nunset -1 -1 -1 cleared 0\nworking MB 0 0\nthreshold 7\n"
         "slots 100: -1 -1, -1 -1\non: working set 1, named list 1\nsemaphores 1 1\nstop 1: -1 -1\n"},
        {real, "32505856", "1 2 3 4", "LX_SIZE=30 SUITE_HELPER_FULL_ARENA=1",
         "SMCalloc failed: Not enough SHM 100 984!!!\nIWInitLists: Error allocating IWL lists.init 1\n"
         "caller 0 0 0 0\nunset 0 0 0 cleared 0\nworking MB 0 0\nthreshold 0\nslots 0: 0 0, 0 0\n"
         "on: working set 0, named list 0\nsemaphores -1 -1\nstop 1: -1 -1\n"},
    };
    for (const auto &c : cases) {
        if (!c.capText.empty())
            lxtest::writeFile(c.cap, c.capText);
        EXPECT_EQ(output(SUITE_INIT_HELPER_PATH " " + c.cap + " " + c.args, lxtest::words(c.env)), c.out)
            << c.cap << " " << c.args;
    }
    lxtest::writeFile(real, saved);
}

// Too large values are lowered and written back; out-of-range ones fall back (then lowered for a
// small arena); older names answer, and only the unit may change.
TEST_F(Suite, WorkingSetRules)
{
    const struct {
        std::string env, before, working, after;
    } cases[] = {
        {"LX_WORKING_SET=15000 LX_WORKING_UNIT=500", "", "1970 394", "LX_WORKING_SET 1970\nLX_WORKING_UNIT 394\n"},
        {"LX_WORKING_SET=-1 LX_WORKING_UNIT=15001", "", "1800 100", ""},
        {"LX_WORKING_SET=15001 LX_WORKING_UNIT=abc", "", "1800 100", ""},
        {"LX_SIZE=30", "", "0 0", "LX_WORKING_SET 0\nLX_WORKING_UNIT 0\n"},
        {"PM_WORKING_SET=1000 OXL_WORKING_SET=5", "KEEP me\nLX_WORKING_UNIT 900\n", "1000 200",
         "KEEP me\nLX_WORKING_UNIT 200\n"},
    };
    const std::string helper = SUITE_INIT_HELPER_PATH " " + home / "cap 0 0 1 1";
    lxtest::writeFile(home / "cap", "99999999999");
    for (const auto &c : cases) {
        writeSettings(c.before, "");
        EXPECT_EQ(lxtest::field(output(helper, lxtest::words(c.env)), "working MB"), c.working);
        EXPECT_EQ(lxtest::readFile(userFile()), c.after) << c.working;
    }
}

// None or four numbers in range (the bounds start the suite below).
TEST_F(Suite, TakesNoneOrFourNumbers)
{
    for (const std::vector<std::string> &args : std::vector<std::vector<std::string>>{
             {"1", "2", "3", "4x"}, {"1", "2", "3", "1000001"}, {"1", "", "3", "4"}, {"4"}}) {
        const lxtest::Result refused = startSuite(args)->finish();
        EXPECT_EQ(std::to_string(refused.status) + refused.err.substr(0, 15), "2Usage: lxsuite ") << args.back();
    }
}

// One suite per user id, whatever LX_SHMSTADDR says, the first untouched; of two at once one wins.
TEST_F(Suite, OneSuitePerUser)
{
    const auto first = startSuite({"-1000000", "0", "0", "1000000"});
    ASSERT_EQ(first->line(), "ready") << first->errors();
    const lxtest::Result second = startSuite({}, {"LX_SHMSTADDR=0x510000000000"})->finish();
    EXPECT_EQ(std::to_string(second.status) + second.out + second.err,
              "1lxsuite: a suite is already running for this user (process " + std::to_string(first->pid()) +
                  "); stop it first\n");
    EXPECT_TRUE(std::regex_search(lxsetting("dump"), std::regex("size:\t\t25\nfreed:\t\t0\naddr:\t\t0x[0-9a-f]+\n"
                                                                "name:\t\tLUMARIX_BASE_VERSION\n")));
    first->signal(SIGINT);
    EXPECT_EQ(first->wait(), 0);
    EXPECT_FALSE(lxtest::exists("/tmp/" + lxtest::userName() + ".api_shmid"));
    for (int round = 0; round < 20; ++round) {
        const auto a = startSuite(), b = startSuite();
        const bool aWon = a->line() == "ready", bWon = b->line() == "ready";
        ASSERT_NE(aWon, bWon) << "round " << round << ": " << a->errors() << b->errors();
        EXPECT_EQ((aWon ? b : a)->wait(), 1);
        (aWon ? a : b)->signal(SIGTERM);
        ASSERT_EQ((aWon ? a : b)->wait(), 0);
    }
}

// A semaphore left held by a crashed run is not inherited; one planted by another user stops the suite.
TEST_F(Suite, LeftOverSemaphores)
{
    const std::string name = "/IWConfigSem_" + lxtest::userName(), file = "/dev/shm/sem." + name.substr(1);
    ASSERT_EQ(sem_close(sem_open(name.c_str(), O_CREAT, 0600, 0)), 0);
    const auto suite = startSuite();
    ASSERT_EQ(suite->line(), "ready") << suite->errors();
    EXPECT_EQ(lxsetting("set A 1").rfind("0 A: delivered to the running suite\n", 0), 0u);
    suite->signal(SIGTERM);
    EXPECT_EQ(suite->wait(), 0);
    ASSERT_EQ(sem_close(sem_open(name.c_str(), O_CREAT, 0600, 1)), 0);
    ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
    const lxtest::Result refused = startSuite()->finish();
    EXPECT_EQ(std::to_string(refused.status) + refused.err.substr(refused.err.find("lxsuite:")),
              "1lxsuite: the named-block list cannot be guarded; remove the semaphore file named above\n"
              "(as its owner or as root, e.g. with rm) and start lxsuite again\n");
    EXPECT_EQ(shmget(SG_key(nullptr, 'F'), 0, 0), -1);
    EXPECT_TRUE(lxtest::exists(file));
}
