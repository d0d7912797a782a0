// The arena size against the system's shared-memory cap (only the refusals: no arena is made).
#include "startup_fixture.h"

namespace {

const std::string kStopping = "ERROR-IWStart: Unable to create shared memory; stopping.\n";

}  // namespace

using SystemCap = StartupTest;

TEST_F(SystemCap, DefaultSizeNeedsOneMegabyteMoreThanTheArena)
{
    const lxtest::Result result = helper({"init", capFile("2098200575\n"), "0", "0", "1", "1"});
    EXPECT_EQ(result.out, "init -1\n");
    EXPECT_EQ(result.err,
              "\nCan not allocate enough shared memory for proper software operation.\n"
              "Try either decreasing the value of LX_SIZE to a value smaller than\n"
              "the system maximum or have your system administrator increase the\n"
              "the system defined shared memory cap.\n\n"
              "Requested size: 2097152000 bytes\nSystem cap    : 2098200575 bytes\n\n" + kStopping);
}

TEST_F(SystemCap, SizeSettingIsClampedBeforeTheCheck)
{
    const lxtest::Result result = helper({"init", capFile("1000"), "0", "0", "1", "1"}, {"LX_SIZE=5"});
    EXPECT_NE(result.err.find("Requested size: 31457280 bytes\nSystem cap    : 1000 bytes\n"), std::string::npos)
        << result.err;
}

TEST_F(SystemCap, UnreadableOrInvalidCapStopsTheStartUp)
{
    lxtest::Result result = helper({"init", home / "absent", "0", "0", "1", "1"});
    EXPECT_EQ(result.out, "init -1\n");
    EXPECT_EQ(result.err, "Could not open /proc/sys/kernel/shmmax to verify shared memory size: "
                          "No such file or directory\n" + kStopping);
    result = helper({"init", capFile("lots\n"), "0", "0", "1", "1"});
    EXPECT_EQ(result.out, "init -1\n");
    EXPECT_EQ(result.err, "Invalid entry in /proc/sys/kernel/shmmax\n" + kStopping);
}

using WorkingSetRules = StartupTest;

TEST_F(WorkingSetRules, TooLargeValuesAreLoweredAndWrittenBack)
{
    const lxtest::Result result =
        helper({"working", "2000"}, {"LX_WORKING_SET=15000", "LX_WORKING_UNIT=500"});
    EXPECT_EQ(result.out, "working 1970 394\n");
    EXPECT_EQ(lxtest::readFile(userFile()), "LX_WORKING_SET 1970\nLX_WORKING_UNIT 394\n");
}

TEST_F(WorkingSetRules, OutOfRangeValuesFallBackWithoutWriteBack)
{
    EXPECT_EQ(helper({"working", "2000"}, {"LX_WORKING_SET=-1", "LX_WORKING_UNIT=15001"}).out, "working 1800 100\n");
    EXPECT_EQ(helper({"working", "2000"}, {"LX_WORKING_SET=15001", "LX_WORKING_UNIT=abc"}).out,
              "working 1800 100\n");
    EXPECT_FALSE(lxtest::exists(userFile()));
}

TEST_F(WorkingSetRules, FallbackItselfIsLoweredForASmallArena)
{
    EXPECT_EQ(helper({"working", "100"}, {"LX_WORKING_SET=-1"}).out, "working 70 14\n");
    EXPECT_EQ(lxtest::readFile(userFile()), "LX_WORKING_SET 70\nLX_WORKING_UNIT 14\n");
}

TEST_F(WorkingSetRules, OlderNamesAnswerAndOnlyTheUnitMayChange)
{
    mkdir((home.path() + "/.lumarix_" + lxtest::hostName()).c_str(), 0755);
    lxtest::writeFile(userFile(), "KEEP me\nLX_WORKING_UNIT 900\n");
    EXPECT_EQ(helper({"working", "2000"}, {"PM_WORKING_SET=1000", "OXL_WORKING_SET=5"}).out, "working 1000 200\n");
    EXPECT_EQ(lxtest::readFile(userFile()), "KEEP me\nLX_WORKING_UNIT 200\n");
}
