// IWInitSHM creating a real arena and IWStop removing it, each test in private namespaces.
#include "startup_fixture.h"

#include <cstdlib>

using SuiteStartup = StartupTest;

// The system's own cap, exactly the size + 1 MB the start-up asks for: the segment (size + 2216
// bytes) fits under it. One byte less stops the start-up with the long message.
TEST_F(SuiteStartup, ExactRealCapIsEnoughAndTheRecordIsFilledIn)
{
    if (!std::getenv("LX_TEST_PRIVATE_NAMESPACES"))
        GTEST_SKIP() << "the system's shmmax is changed only in a private IPC namespace";
    const std::string cap = "/proc/sys/kernel/shmmax", saved = lxtest::readFile(cap);
    lxtest::writeFile(cap, "32505855");
    const lxtest::Result below = helper({"init", cap, "0", "0", "1", "1"}, {"LX_SIZE=30"});
    EXPECT_EQ(below.out, "init -1\n");
    EXPECT_NE(below.err.find("System cap    : 32505855 bytes"), std::string::npos) << below.err;
    lxtest::writeFile(cap, "32505856");
    const lxtest::Result result = helper({"init", cap, "-5", "3", "5000", "0"}, {"LX_SIZE=30", "LX_PGTHRESH=7"});
    lxtest::writeFile(cap, saved);
    // A 30 MB arena leaves no room for a working set: both are lowered to 0 and written back.
    EXPECT_EQ(result.out.substr(0, result.out.find("semaphores")),
              "init 1\ncaller 0 3 1280 1\nunset -1 -1 -1 cleared 0\nworking 0 0 on 1\nthreshold 7\nslots 100\n"
              "slot 0 -1 -1\nslot 99 -1 -1\nnamed list 1\nversion Lumarix " LX_PROJECT_VERSION "\n")
        << result.err;
    EXPECT_EQ(lxtest::readFile(userFile()), "LX_WORKING_SET 0\nLX_WORKING_UNIT 0\n");
}

TEST_F(SuiteStartup, SemaphoresStartAtOneAndIWStopRemovesThemAndTheArenaFile)
{
    lxtest::TempDir folder;
    const std::string arenaFile = folder / ("IWL.SHM_" + lxtest::userName());
    const lxtest::Result result = helper({"init", capFile("99999999999"), "0", "0", "1", "1", arenaFile},
                                         {"LX_SIZE=30", "OB_USE_SHM_FILE=yes", "PM_TMP=" + folder.path()});
    const auto first = result.out.find("semaphores ");
    ASSERT_NE(first, std::string::npos) << result.out << result.err;
    EXPECT_EQ(result.out.substr(first),
              "semaphores one one\narena file present\nstop 1\nsemaphores removed removed\narena file absent\n");
}
