// GetSetting's sources, file lines and typed wrappers; a fresh process a case (lookups are cached).
#include "settings_fixture.h"

#include <sys/stat.h>

using namespace std::string_literals;

TEST_F(SettingsFiles, SourcesLinesAndTypedValues)
{
    const std::string def = DEFAULT_BASE, missing = "Unable to find LX configuration file: ";
    mkdir((home / "config").c_str(), 0755); // HOME as a second base folder
    lxtest::writeFile(home / "config/system.lxrc", "S cached-base\n");
    const struct {
        std::string user, system, env, commands, out; // out: standard output, then standard error
    } cases[] = {
        // environment (empty is unset), then user file, then system file; a value set here beats them all
        {"COLOR red\nSIZE s\nEMPTY e\n", "COLOR blue\nSHAPE round\nSIZE big\n",
         "COLOR=green EMPTY=", "get COLOR get SHAPE get SIZE get EMPTY set COLOR mine get COLOR",
         "get COLOR green\nget SHAPE round\nget SIZE s\nget EMPTY (none)\nget COLOR mine\n"},
        // the first lookup is cached, an unknown name as unset; a cached base moves the system file
        {"C red\n", "S env-base\n", "",
         "cache C cached get C get N cache N late get N cache LX_BASE " + home.path() + " get S",
         "get C cached\nget N (none)\nget N (none)\nget S cached-base\n"},
        {"", "", "LX_BASE=" + base / "absent", "get C get S get C cache LX_BASE " + base / "gone" + " get A",
         "get C (none)\nget S (none)\nget C (none)\nget A (none)\n" + missing + base / "absent/config/system.lxrc\n" +
             missing + base / "gone/config/system.lxrc\n"},
        {"", "", "-LX_BASE", "get LX_BASE",
         "get LX_BASE " + def + "\n" +
             (lxtest::exists(def + "/config/system.lxrc") ? "" : missing + def + "/config/system.lxrc\n")},
        // file lines: any case, tabs, trimmed; white space alone ends the file; short lines skipped
        {"# COLOR is not a comment marker\ncolor\t  teal green \t\nSHAPE   \nSHAPE round\nA \nA\nA red\nB " +
             std::string(300, 'b') + "\n" + std::string(20, 'c') + " B x\n\x01\xff\0garbage\nC\0red\nC red\r\n"s,
         "SHAPE blue\n", "", "get COLOR get SHAPE get A get B get C",
         "get COLOR teal green\nget SHAPE blue\nget A red\nget B " + std::string(253, 'b') + "\nget C red\n"},
        // typed wrappers: int, double, float, then the two Find forms; booleans as Get, then Find
        {"", "", "N=12.5 A=abc", "numbers N numbers A numbers U",
         "1 12 1 12.5 1 12.5 1 12 1 12.5\n0 -7 0 -7.5 0 -7.5 0 42 0 42\n0 -7 0 -7.5 0 -7.5 0 42 0 42\n"},
        {"", "", "T1=true T2=YES T3=t T4=Y T5=1 F1=False F2=no F3=F F4=n F5=0 M=yess",
         "bool T1 bool T2 bool T3 bool T4 bool T5 bool F1 bool F2 bool F3 bool F4 bool F5 bool M bool U",
         "T1 1 1 1 1\nT2 1 1 1 1\nT3 1 1 1 1\nT4 1 1 1 1\nT5 1 1 1 1\nF1 1 0 1 0\nF2 1 0 1 0\nF3 1 0 1 0\n"
         "F4 1 0 1 0\nF5 1 0 1 0\nM 0 42 0 42\nU 0 5 0 42\n"},
        {"", "", "C=" + std::string(400, 'c') + " S=abc", "copy C copy S copy U",
         "copy buffer 255\ncopy buffer 3\ncopy (none) 0\n"},
        // the arena size: clamped, older names, remembered
        {"", "", "", "attach size", "attach -1\nsize 2000\n"}, // no suite: no arena, and no message
        {"", "", "LX_SIZE=10", "size", "size 30\n"},
        {"", "", "LX_SIZE=20000", "size", "size 15000\n"},
        {"", "", "OXL_SIZE=640 OB_SIZE=320", "size", "size 320\n"},
        {"", "", "PM_SIZE=500", "size set LX_SIZE 100 size", "size 500\nsize 500\n"},
        // the base folder: LX_BASE (empty is unset), PMBASE, OB_BASE, else the default under all three
        {"", "", "", "base", "base 1 " + base.path() + "\n"},
        {"", "", "LX_BASE= PMBASE=/opt/pm", "base", "base 1 /opt/pm\n"},
        {"", "", "LX_BASE= PMBASE= OB_BASE=", "base get PMBASE get OB_BASE",
         "base 1 " + def + "\nget PMBASE " + def + "\nget OB_BASE " + def + "\n"},
    };
    for (const auto &c : cases) {
        writeSettings(c.user, c.system);
        EXPECT_EQ(helper(c.commands, lxtest::words(c.env)), c.out) << c.commands;
    }
}
