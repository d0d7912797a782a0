// The typed wrappers over GetSetting, SharedSizeMB and GetBaseDirectory.
#include "settings_fixture.h"

using TypedSettings = SettingsFiles;

TEST_F(TypedSettings, NumbersParseOrFallBack)
{
    EXPECT_EQ(helper({"int", "N"}, {"N=12"}).out, "int 1 12\n");
    EXPECT_EQ(helper({"int", "N"}, {"N=abc"}).out, "int 0 -7\n");
    EXPECT_EQ(helper({"int", "N"}).out, "int 0 -7\n");
    EXPECT_EQ(helper({"findint", "N"}).out, "findint 0 42\n");
    EXPECT_EQ(helper({"findint", "N"}, {"N=x"}).out, "findint 0 42\n");
    EXPECT_EQ(helper({"double", "N"}, {"N=2.5"}).out, "double 1 2.5\n");
    EXPECT_EQ(helper({"double", "N"}, {"N=?"}).out, "double 0 -7.5\n");
}

TEST_F(TypedSettings, BooleansAcceptTheirWordsInAnyCase)
{
    for (const char *yes : {"true", "YES", "t", "Y", "1"})
        EXPECT_EQ(helper({"bool", "B"}, {std::string("B=") + yes}).out, "bool 1 1\n") << yes;
    for (const char *no : {"False", "no", "F", "n", "0"})
        EXPECT_EQ(helper({"findbool", "B"}, {std::string("B=") + no}).out, "findbool 1 0\n") << no;
}

TEST_F(TypedSettings, BooleanFallbackOnlyWhenUnset)
{
    EXPECT_EQ(helper({"bool", "B"}).out, "bool 0 5\n");
    EXPECT_EQ(helper({"bool", "B"}, {"B=maybe"}).out, "bool 0 42\n");
    EXPECT_EQ(helper({"bool", "B"}, {"B=yess"}).out, "bool 0 42\n");
    EXPECT_EQ(helper({"findbool", "B"}).out, "findbool 0 42\n");
}

TEST_F(TypedSettings, CopySettingCutsAt255Characters)
{
    EXPECT_EQ(helper({"copy", "C"}, {"C=" + std::string(400, 'c')}).out, "copy buffer 255\n");
    EXPECT_EQ(helper({"copy", "C"}, {"C=abc"}).out, "copy buffer 3\n");
    EXPECT_EQ(helper({"copy", "C"}).out, "copy (none) 0\n");
}

TEST_F(TypedSettings, SharedSizeIsClampedAndRemembered)
{
    EXPECT_EQ(helper({"size"}).out, "size 2000\n");
    EXPECT_EQ(helper({"size"}, {"LX_SIZE=10"}).out, "size 30\n");
    EXPECT_EQ(helper({"size"}, {"LX_SIZE=20000"}).out, "size 15000\n");
    EXPECT_EQ(helper({"size"}, {"OXL_SIZE=640", "OB_SIZE=320"}).out, "size 320\n");
    EXPECT_EQ(helper({"size", "set", "LX_SIZE", "100", "size"}, {"PM_SIZE=500"}).out, "size 500\nsize 500\n");
}

TEST_F(TypedSettings, BaseDirectoryFallsBackThroughItsThreeNames)
{
    EXPECT_EQ(helper({"base"}).out, "base 1 " + base.path() + "\n");
    // An empty LX_BASE is unset, so PMBASE is asked next.
    EXPECT_EQ(helper({"base"}, {"LX_BASE=", "PMBASE=/opt/pm"}).out, "base 1 /opt/pm\n");
    // Nothing set: the default, which is then stored under all three names.
    EXPECT_EQ(helper({"base", "get", "PMBASE", "get", "OB_BASE"}, {"LX_BASE=", "PMBASE=", "OB_BASE="}).out,
              std::string("base 1 ") + DEFAULT_BASE + "\nget PMBASE " + DEFAULT_BASE + "\nget OB_BASE " +
                  DEFAULT_BASE + "\n");
}
