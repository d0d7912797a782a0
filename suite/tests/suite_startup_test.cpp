// IWInitSHM creating a real arena and IWStop removing it, each test in private namespaces.
#include "startup_fixture.h"

#include <cstdlib>

namespace {

constexpr const char *kThirtyMegabytesCap = "32505856";  // 30 MB arena + 1 MB, exactly
constexpr const char *kRealCap = "/proc/sys/kernel/shmmax";  // private to the test's IPC namespace

std::string lineStarting(const std::string &text, const std::string &start)
{
    const auto at = text.find("\n" + start);
    if (at == std::string::npos)
        return "";
    const auto end = text.find('\n', at + 1);
    return text.substr(at + 1, end - at - 1);
}

}  // namespace

using SuiteStartup = StartupTest;

// The system's own cap, exactly the size + 1 MB the start-up asks for: the segment (size + 2216
// bytes) fits under it. One byte less stops the start-up with the long message.
TEST_F(SuiteStartup, ExactRealCapIsEnoughAndTheRecordIsFilledIn)
{
    if (!std::getenv("LX_TEST_PRIVATE_NAMESPACES"))
        GTEST_SKIP() << "the system's shmmax is changed only in a private IPC namespace";
    const std::string saved = lxtest::readFile(kRealCap);
    lxtest::writeFile(kRealCap, "32505855");
    const lxtest::Result below = helper({"init", kRealCap, "0", "0", "1", "1"}, {"LX_SIZE=30"});
    EXPECT_EQ(below.out, "init -1\n");
    EXPECT_NE(below.err.find("System cap    : 32505855 bytes"), std::string::npos) << below.err;
    lxtest::writeFile(kRealCap, kThirtyMegabytesCap);
    const lxtest::Result result =
        helper({"init", kRealCap, "-5", "3", "5000", "0"}, {"LX_SIZE=30", "LX_PGTHRESH=7"});
    lxtest::writeFile(kRealCap, saved);
    ASSERT_EQ(result.out.rfind("init 1\n", 0), 0u) << result.out << result.err;
    EXPECT_EQ(lineStarting(result.out, "caller"), "caller 0 3 1280 1");
    EXPECT_EQ(lineStarting(result.out, "unset"), "unset -1 -1 -1 cleared 0");
    // A 30 MB arena leaves no room for a working set: both are lowered to 0 and written back.
    EXPECT_EQ(lineStarting(result.out, "working"), "working 0 0 on 1");
    EXPECT_EQ(lxtest::readFile(userFile()), "LX_WORKING_SET 0\nLX_WORKING_UNIT 0\n");
    EXPECT_EQ(lineStarting(result.out, "threshold"), "threshold 7");
    EXPECT_EQ(lineStarting(result.out, "slots"), "slots 100");
    EXPECT_EQ(lineStarting(result.out, "slot 0"), "slot 0 -1 -1");
    EXPECT_EQ(lineStarting(result.out, "slot 99"), "slot 99 -1 -1");
    EXPECT_EQ(lineStarting(result.out, "named"), "named list 1");
    EXPECT_EQ(lineStarting(result.out, "version"), "version Lumarix " LX_PROJECT_VERSION);
}

TEST_F(SuiteStartup, SemaphoresStartAtOneAndIWStopRemovesThem)
{
    const lxtest::Result result = helper({"init", capFile("99999999999"), "0", "0", "1", "1"}, {"LX_SIZE=30"});
    const auto first = result.out.find("semaphores ");
    ASSERT_NE(first, std::string::npos) << result.out << result.err;
    EXPECT_EQ(result.out.substr(first), "semaphores one one\nstop 1\nsemaphores removed removed\n");
}

TEST_F(SuiteStartup, FileBackedArenaLivesInTheChosenFolder)
{
    lxtest::TempDir folder;
    const std::string arenaFile = folder / ("IWL.SHM_" + lxtest::userName());
    const lxtest::Result result = helper({"init", capFile("99999999999"), "0", "0", "1", "1", arenaFile},
                                         {"LX_SIZE=30", "OB_USE_SHM_FILE=yes", "PM_TMP=" + folder.path()});
    EXPECT_EQ(lineStarting(result.out, "arena file"), "arena file present") << result.out << result.err;
    EXPECT_EQ(result.out.substr(result.out.rfind('\n', result.out.size() - 2) + 1), "arena file absent\n");
}
