// The refusals against the system's shared-memory cap and the working-set rules: no arena is made.
#include "startup_fixture.h"

namespace {

const std::string kStopping = "ERROR-IWStart: Unable to create shared memory; stopping.\n";

} // namespace

using SystemCap = StartupTest;

TEST_F(SystemCap, ArenaNeedsOneMegabyteMoreThanItsClampedSizeAndAReadableCap)
{
    const struct {
        std::string cap, size, err;
    } cases[] = {
        {capFile("2098200575\n"), "",
         "\nCan not allocate enough shared memory for proper software operation.\n"
         "Try either decreasing the value of LX_SIZE to a value smaller than\n"
         "the system maximum or have your system administrator increase the\n"
         "the system defined shared memory cap.\n\n"
         "Requested size: 2097152000 bytes\nSystem cap    : 2098200575 bytes\n\n" +
             kStopping},
        {home / "absent", "",
         "Could not open /proc/sys/kernel/shmmax to verify shared memory size: "
         "No such file or directory\n" +
             kStopping},
    };
    for (const auto &c : cases) {
        const lxtest::Result result = helper({"init", c.cap, "0", "0", "1", "1"});
        EXPECT_EQ(result.out, "init -1\n");
        EXPECT_EQ(result.err, c.err);
    }
    EXPECT_EQ(helper({"init", capFile("lots\n"), "0", "0", "1", "1"}).err,
              "Invalid entry in /proc/sys/kernel/shmmax\n" + kStopping);
    EXPECT_NE(helper({"init", capFile("1000"), "0", "0", "1", "1"}, {"LX_SIZE=5"})
                  .err.find("Requested size: 31457280 bytes\nSystem cap    : 1000 bytes\n"),
              std::string::npos);
}

// Too large values are lowered and written back; out-of-range ones fall back (to a value that is
// itself lowered for a small arena); older names answer, and only the unit may change.
TEST_F(SystemCap, WorkingSetRules)
{
    const std::string kept = "KEEP me\nLX_WORKING_UNIT 900\n";
    const struct {
        std::string arena, before;
        lxtest::Env env;
        std::string out, after;
    } cases[] = {
        {"2000",
         "",
         {"LX_WORKING_SET=15000", "LX_WORKING_UNIT=500"},
         "working 1970 394\n",
         "LX_WORKING_SET 1970\nLX_WORKING_UNIT 394\n"},
        {"2000", "", {"LX_WORKING_SET=-1", "LX_WORKING_UNIT=15001"}, "working 1800 100\n", ""},
        {"2000", "", {"LX_WORKING_SET=15001", "LX_WORKING_UNIT=abc"}, "working 1800 100\n", ""},
        {"100", "", {"LX_WORKING_SET=-1"}, "working 70 14\n", "LX_WORKING_SET 70\nLX_WORKING_UNIT 14\n"},
        {"2000",
         kept,
         {"PM_WORKING_SET=1000", "OXL_WORKING_SET=5"},
         "working 1000 200\n",
         "KEEP me\nLX_WORKING_UNIT 200\n"},
    };
    mkdir((home.path() + "/.lumarix_" + lxtest::hostName()).c_str(), 0755);
    for (const auto &c : cases) {
        lxtest::writeFile(userFile(), c.before);
        EXPECT_EQ(helper({"working", c.arena}, c.env).out, c.out);
        EXPECT_EQ(lxtest::readFile(userFile()), c.after) << c.out;
    }
}
