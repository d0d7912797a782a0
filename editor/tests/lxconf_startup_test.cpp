// lxconf's start-up from a terminal without a display: command line, usage text, exit statuses and
// the errors that end the program before its window opens.
#include "lx_testing.h"

#include <filesystem>
#include <gtest/gtest.h>

TEST(LxconfStartup, EveryWayOfNotStartingExitsOneAndSaysWhy)
{
    lxtest::TempDir dir;
    std::filesystem::create_directory(dir / "config"); // an empty system settings file keeps the lookups quiet
    lxtest::writeFile(dir / "config/system.lxrc", "");
    lxtest::writeFile(dir / "good.vars", "VARIABLE: A\nTYPE: SIMPLE\n");
    const std::string usage = "Improper Command Syntax\nUsage: " LXCONF_PATH " [-f] variable_description_file "
                              "config_file\n  -f signifies to take values only from the config file\n";
    const std::string overlong = "/" + std::string(300, 'p');
    for (const auto &[args, err] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{}, usage},
             {{"a"}, usage},
             {{"-F", "a", "b"}, usage},
             {{"-f", "a", "b", "c"}, usage},
             {{"-f", dir / "conf"}, "Couldn't open Description File.\n"}, // "-f" is the description's name
             {{dir.path(), "conf"}, "Couldn't read Description File.\n"},
             {{overlong, "conf"}, "Path too long (at most 255 characters): " + overlong + "\n"},
             {{dir / "good.vars", "conf"}, "OpenApplication: cannot open display \"\"\n"}}) {
        std::vector<std::string> argv{LXCONF_PATH};
        argv.insert(argv.end(), args.begin(), args.end());
        // No suite runs for the test's HOME; LX_BASE keeps the settings lookup away from the installation.
        const lxtest::Result result = lxtest::run(argv, {"HOME=" + dir.path(), "LX_BASE=" + dir.path(), "-DISPLAY"});
        EXPECT_EQ(std::tuple(result.status, result.err, result.out), std::tuple(1, err, ""));
    }
}
