// Which source answers GetSetting when several hold the setting (no running suite).
#include "settings_fixture.h"

using lxtest::Result;
using namespace std::string_literals;

using LookupOrder = SettingsFiles;

TEST_F(LookupOrder, EnvironmentBeatsUserFileWhichBeatsSystemFile)
{
    writeUserFile("COLOR red\n");
    writeSystemFile("COLOR blue\nSHAPE round\n");
    EXPECT_EQ(helper({"get", "COLOR"}, {"COLOR=green"}).out, "get COLOR green\n");
    EXPECT_EQ(helper({"get", "COLOR", "get", "SHAPE"}).out, "get COLOR red\nget SHAPE round\n");
    writeUserFile("OTHER x\n");
    EXPECT_EQ(helper({"get", "COLOR"}).out, "get COLOR blue\n");
}

TEST_F(LookupOrder, ValueSetInThisProcessBeatsEnvironment)
{
    EXPECT_EQ(helper({"get", "COLOR", "set", "COLOR", "mine", "get", "COLOR"}, {"COLOR=green"}).out,
              "get COLOR green\nget COLOR mine\n");
}

TEST_F(LookupOrder, EmptyEnvironmentValueIsUnsetAndStopsTheSearch)
{
    writeUserFile("COLOR red\n");
    EXPECT_EQ(helper({"get", "COLOR"}, {"COLOR="}).out, "get COLOR (none)\n");
}

TEST_F(LookupOrder, FirstLookupIsCachedForTheLifeOfTheProcess)
{
    writeUserFile("COLOR red\n");
    // A cached entry made before the first lookup answers instead of the file.
    EXPECT_EQ(helper({"cache", "COLOR", "cached", "get", "COLOR"}).out, "get COLOR cached\n");
    // An unknown setting is cached as unset: a later cache entry of the same name is not reached.
    EXPECT_EQ(helper({"get", "NOWHERE", "cache", "NOWHERE", "late", "get", "NOWHERE"}).out,
              "get NOWHERE (none)\nget NOWHERE (none)\n");
}

TEST_F(LookupOrder, SystemFileFolderComesFromCachedBaseBeforeEnvironment)
{
    lxtest::TempDir other;
    mkdir((other.path() + "/config").c_str(), 0755);
    lxtest::writeFile(other.path() + "/config/system.lxrc", "COLOR from-cached-base\n");
    writeSystemFile("COLOR from-env-base\n");
    EXPECT_EQ(helper({"cache", "LX_BASE", other.path(), "get", "COLOR"}).out, "get COLOR from-cached-base\n");
    EXPECT_EQ(helper({"get", "COLOR"}).out, "get COLOR from-env-base\n");
}

TEST_F(LookupOrder, MissingSystemFileIsReportedOncePerPathAndTheSettingIsUnset)
{
    const std::string other = base.path() + "/other";
    const Result result = helper({"get", "COLOR", "get", "SHAPE", "get", "COLOR", "cache", "LX_BASE", other, "get",
                                  "SIZE", "get", "DEPTH"},
                                 {"LX_BASE=" + base.path() + "/absent"});
    EXPECT_EQ(result.out, "get COLOR (none)\nget SHAPE (none)\nget COLOR (none)\nget SIZE (none)\nget DEPTH (none)\n");
    EXPECT_EQ(result.err, "Unable to find LX configuration file: " + base.path() +
                              "/absent/config/system.lxrc\nUnable to find LX configuration file: " + other +
                              "/config/system.lxrc\n");
}

TEST_F(LookupOrder, BaseDirectoryHasADefault)
{
    EXPECT_EQ(helper({"get", "LX_BASE"}, {"-LX_BASE"}).out, std::string("get LX_BASE ") + DEFAULT_BASE + "\n");
}

using SettingsFileLines = SettingsFiles;

TEST_F(SettingsFileLines, NameIsCaseInsensitiveTabsSeparateAndWhiteSpaceIsTrimmed)
{
    writeUserFile("# COLOR is not a comment marker\ncolor\t  teal green \t\n");
    EXPECT_EQ(helper({"get", "COLOR"}).out, "get COLOR teal green\n");
}

TEST_F(SettingsFileLines, OnlyWhiteSpaceAfterTheNameEndsTheSearchInThatFile)
{
    writeUserFile("COLOR   \nCOLOR red\n");
    writeSystemFile("COLOR blue\n");
    EXPECT_EQ(helper({"get", "COLOR"}).out, "get COLOR blue\n");
}

TEST_F(SettingsFileLines, NameWithOneSpaceOrNothingAfterItIsSkipped)
{
    writeUserFile("COLOR \nCOLOR\nCOLOR red\n");
    EXPECT_EQ(helper({"get", "COLOR"}).out, "get COLOR red\n");
}

TEST_F(SettingsFileLines, LongLinesAreReadIn255CharacterPieces)
{
    writeUserFile("COLOR " + std::string(300, 'a') + "\n" + std::string(20, 'b') + " COLOR x\n");
    const Result result = helper({"get", "COLOR"});
    EXPECT_EQ(result.out, "get COLOR " + std::string(249, 'a') + "\n");
}

TEST_F(SettingsFileLines, BinaryAndNulBytesDoNotBreakTheReader)
{
    writeUserFile("\x01\xff\0garbage\nCOLOR\0red\nCOLOR red\r\n"s);
    EXPECT_EQ(helper({"get", "COLOR"}).out, "get COLOR red\n");  // the CR is trailing white space
}
