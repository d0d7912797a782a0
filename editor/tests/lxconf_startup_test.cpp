// lxconf's start-up as a user runs it: command line, usage text, exit statuses, description file
// errors (everything that ends the program before its window opens).
#include "test_process.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

using lxtest::Result;

namespace {

std::string usage(const std::string &program)
{
    return "Improper Command Syntax\nUsage: " + program +
           " [-f] variable_description_file config_file\n  -f signifies to take values only from the config file\n";
}

} // namespace

class LxconfStartup : public ::testing::Test {
protected:
    lxtest::TempDir dir;

    void SetUp() override
    {
        // An empty system settings file keeps the start-up's setting lookups quiet.
        mkdir((dir / "config").c_str(), 0755);
        lxtest::writeFile(dir / "config/system.lxrc", "");
    }

    Result lxconf(const std::vector<std::string> &args) const
    {
        std::vector<std::string> argv{LXCONF_PATH};
        argv.insert(argv.end(), args.begin(), args.end());
        // No suite runs for this user's test HOME; LX_BASE keeps the lookup away from the installation.
        // Without a display errors reach standard error only and the program ends at once.
        return lxtest::run(argv, {"HOME=" + dir.path(), "LX_BASE=" + dir.path(), "-DISPLAY"});
    }

    std::string file(const std::string &name, const std::string &text) const
    {
        lxtest::writeFile(dir / name, text);
        return dir / name;
    }
};

TEST_F(LxconfStartup, WrongArgumentsPrintUsageAndExitOne)
{
    for (const auto &args :
         std::vector<std::vector<std::string>>{{}, {"a"}, {"-F", "a", "b"}, {"a", "b", "c"}, {"-f", "a", "b", "c"}}) {
        const Result result = lxconf(args);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, usage(LXCONF_PATH));
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(LxconfStartup, DashFAsOneOfTwoArgumentsIsAFileName)
{
    const Result result = lxconf({"-f", dir / "conf"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Couldn't open Description File.\n");
}

TEST_F(LxconfStartup, DescriptionErrorsAreShownAndExitOne)
{
    Result result = lxconf({file("crlf.vars", "VARIABLE: A\r\n"), dir / "conf"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("CR-LF"), std::string::npos);
    result = lxconf({dir.path(), dir / "conf"}); // a folder opens but cannot be read
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Couldn't read Description File.\n");
}

TEST_F(LxconfStartup, OverlongPathIsRefused)
{
    const Result result = lxconf({"/" + std::string(300, 'p'), dir / "conf"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("Path too long"), std::string::npos);
}
