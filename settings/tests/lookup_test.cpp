// GetSetting's sources and their order, the settings file lines and the typed wrappers, each case
// a fresh helper process (lookups are cached for the life of a process).
#include "settings_fixture.h"

using namespace std::string_literals;

namespace {

struct Case {
    std::string user, system;
    lxtest::Env env;
    std::vector<std::string> commands;
    std::string out;
};

} // namespace

using Lookup = SettingsFiles;

TEST_F(Lookup, SourcesLinesAndTypedValues)
{
    const std::string other = base / "other";
    mkdir(other.c_str(), 0755);
    mkdir((other + "/config").c_str(), 0755);
    lxtest::writeFile(other + "/config/system.lxrc", "COLOR from-cached-base\n");
    const std::string def = DEFAULT_BASE;
    const Case cases[] = {
        // environment, then user file, then system file; a value set here beats them all
        {"COLOR red\n",
         "COLOR blue\nSHAPE round\n",
         {"COLOR=green"},
         {"get", "COLOR", "get", "SHAPE"},
         "get COLOR green\nget SHAPE round\n"},
        {"COLOR red\n", "COLOR blue\n", {}, {"get", "COLOR"}, "get COLOR red\n"},
        {"OTHER x\n", "COLOR blue\n", {}, {"get", "COLOR"}, "get COLOR blue\n"},
        {"",
         "",
         {"COLOR=green"},
         {"get", "COLOR", "set", "COLOR", "mine", "get", "COLOR"},
         "get COLOR green\nget COLOR mine\n"},
        {"COLOR red\n", "", {"COLOR="}, {"get", "COLOR"}, "get COLOR (none)\n"},
        // the first lookup is cached, an unknown name as unset
        {"COLOR red\n", "", {}, {"cache", "COLOR", "cached", "get", "COLOR"}, "get COLOR cached\n"},
        {"",
         "",
         {},
         {"get", "NOWHERE", "cache", "NOWHERE", "late", "get", "NOWHERE"},
         "get NOWHERE (none)\nget NOWHERE (none)\n"},
        {"", "COLOR from-env-base\n", {}, {"cache", "LX_BASE", other, "get", "COLOR"}, "get COLOR from-cached-base\n"},
        {"", "", {"-LX_BASE"}, {"get", "LX_BASE"}, "get LX_BASE " + def + "\n"},
        // file lines: any case, tabs, trimmed; white space alone ends the file; short lines skipped
        {"# COLOR is not a comment marker\ncolor\t  teal green \t\n",
         "",
         {},
         {"get", "COLOR"},
         "get COLOR teal green\n"},
        {"COLOR   \nCOLOR red\n", "COLOR blue\n", {}, {"get", "COLOR"}, "get COLOR blue\n"},
        {"COLOR \nCOLOR\nCOLOR red\n", "", {}, {"get", "COLOR"}, "get COLOR red\n"},
        {"COLOR " + std::string(300, 'a') + "\n" + std::string(20, 'b') + " COLOR x\n",
         "",
         {},
         {"get", "COLOR"},
         "get COLOR " + std::string(249, 'a') + "\n"},
        {"\x01\xff\0garbage\nCOLOR\0red\nCOLOR red\r\n"s, "", {}, {"get", "COLOR"}, "get COLOR red\n"},
        // typed wrappers
        {"",
         "",
         {"N=12", "A=abc"},
         {"int", "N", "int", "A", "int", "U", "findint", "U", "findint", "A"},
         "int 1 12\nint 0 -7\nint 0 -7\nfindint 0 42\nfindint 0 42\n"},
        {"", "", {"D=2.5", "Q=?"}, {"double", "D", "double", "Q"}, "double 1 2.5\ndouble 0 -7.5\n"},
        {"",
         "",
         {"T1=true", "T2=YES", "T3=t", "T4=Y", "T5=1", "F1=False", "F2=no", "F3=F", "F4=n", "F5=0", "M=yess"},
         {"bool",     "T1",       "bool", "T2",       "bool", "T3",       "bool",     "T4",       "bool",
          "T5",       "findbool", "F1",   "findbool", "F2",   "findbool", "F3",       "findbool", "F4",
          "findbool", "F5",       "bool", "U",        "bool", "M",        "findbool", "U"},
         "bool 1 1\nbool 1 1\nbool 1 1\nbool 1 1\nbool 1 1\nfindbool 1 0\nfindbool 1 0\nfindbool 1 0\nfindbool 1 0\n"
         "findbool 1 0\nbool 0 5\nbool 0 42\nfindbool 0 42\n"},
        {"",
         "",
         {"C=" + std::string(400, 'c'), "S=abc"},
         {"copy", "C", "copy", "S", "copy", "U"},
         "copy buffer 255\ncopy buffer 3\ncopy (none) 0\n"},
        // the arena size: clamped, older names, remembered
        {"", "", {}, {"size"}, "size 2000\n"},
        {"", "", {"LX_SIZE=10"}, {"size"}, "size 30\n"},
        {"", "", {"LX_SIZE=20000"}, {"size"}, "size 15000\n"},
        {"", "", {"OXL_SIZE=640", "OB_SIZE=320"}, {"size"}, "size 320\n"},
        {"", "", {"PM_SIZE=500"}, {"size", "set", "LX_SIZE", "100", "size"}, "size 500\nsize 500\n"},
        // the base folder: LX_BASE (empty is unset), PMBASE, OB_BASE, else the default under all three
        {"", "", {}, {"base"}, "base 1 " + base.path() + "\n"},
        {"", "", {"LX_BASE=", "PMBASE=/opt/pm"}, {"base"}, "base 1 /opt/pm\n"},
        {"",
         "",
         {"LX_BASE=", "PMBASE=", "OB_BASE="},
         {"base", "get", "PMBASE", "get", "OB_BASE"},
         "base 1 " + def + "\nget PMBASE " + def + "\nget OB_BASE " + def + "\n"},
    };
    for (const Case &c : cases) {
        writeUserFile(c.user);
        writeSystemFile(c.system);
        EXPECT_EQ(helper(c.commands, c.env).out, c.out) << c.commands[0] << " " << c.commands.back();
    }
}

TEST_F(Lookup, MissingSystemFileIsReportedOncePerPathAndTheSettingIsUnset)
{
    const std::string other = base / "other";
    const lxtest::Result result =
        helper({"get", "COLOR", "get", "SHAPE", "get", "COLOR", "cache", "LX_BASE", other, "get", "SIZE"},
               {"LX_BASE=" + base / "absent"});
    EXPECT_EQ(result.out, "get COLOR (none)\nget SHAPE (none)\nget COLOR (none)\nget SIZE (none)\n");
    EXPECT_EQ(result.err, "Unable to find LX configuration file: " + base / "absent" +
                              "/config/system.lxrc\nUnable to find LX configuration file: " + other +
                              "/config/system.lxrc\n");
}
