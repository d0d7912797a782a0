// The real lxconf under the test X server, used as a person would (clicks and keys); results read
// from the configuration file, the suite's settings, the exit status and the windows that appear.
#include <gtest/gtest.h>

#include <csignal>
#include <optional>

#include <unistd.h>

#include "lx_testing.h"
#include "x_session.h"

namespace {

using namespace lxtest;

class LxconfSession : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(x_.ok());
        writeFile(dir_ / "session.vars", "TITLE: Session Test\nVARIABLE: LX_NAME\nSHORTDESC: Microscope name\n"
                                         "TYPE: SIMPLE\nCANSETLIVE:\nVARIABLE: LX_SIZE\nTYPE: SIMPLE\n");
        writeFile(dir_ / "session.conf", "# session test\nLX_SIZE 100\n");
        std::system("xdotool mousemove 100 100"); // new windows open at the pointer: keep them on the screen
    }

    TempDir dir_;
    Env env_{"HOME=" + dir_.path(), "LX_BASE=" + dir_.path(), "LX_SHMSTADDR=0x600000000000", "LX_SIZE=64"};
    XSession x_;
};

// Saved without a suite, the file is written and the short report closes itself. Beside a running
// suite, a live value reaches its other processes at once and the other change needs a restart.
TEST_F(LxconfSession, EditSaveAndQuitAloneAndBesideARunningSuite)
{
    for (const bool withSuite : {false, true}) {
        std::optional<Process> suite;
        if (withSuite) {
            suite.emplace(std::vector<std::string>{LXSUITE_PATH}, env_);
            ASSERT_NE(suite->lineStarting("ready"), "") << suite->errors();
        }
        // Without -f the values shown are the settings lookup's: LX_SIZE comes from the environment.
        Process editor({LXCONF_PATH, dir_ / "session.vars", dir_ / "session.conf"}, env_);
        const Window window = x_.waitForTopLevel("Session Test", 10000);
        ASSERT_NE(window, 0u) << "the editor's window did not appear: " << editor.errors();
        ::usleep(300000);
        // The grid: the two titles, then label and value per row; the action area: four buttons in a row.
        const Window grid = x_.findDescendant(window, [](const std::vector<Box> &kids) { return kids.size() == 6; });
        const Window area = x_.findDescendant(
            window, [](const std::vector<Box> &kids) { return kids.size() == 4 && kids[0].y == kids[3].y; });
        ASSERT_TRUE(grid != 0 && area != 0) << "the editor's rows or buttons were not found";
        x_.focus(window);
        x_.click(x_.children(grid).at(3));
        x_.typeText("Scope-9");
        x_.click(x_.children(grid).at(5));
        x_.key("End");
        x_.typeText("0");
        x_.click(x_.children(area).at(1)); // Save
        ASSERT_NE(x_.waitForTopLevel("info_dialog_popup", 3000), 0u) << editor.errors();
        EXPECT_EQ(readFile(dir_ / "session.conf"), "# session test\nLX_NAME Scope-9\nLX_SIZE 640\n");
        if (withSuite) {
            EXPECT_EQ(run({LXSETTING_PATH, "get", "LX_NAME"}, env_).out, "Scope-9\n");
            EXPECT_NE(run({LXSETTING_PATH, "get", "LX_SIZE"}, env_).out, "640\n");
        } else {
            EXPECT_TRUE(x_.waitUntilGone("info_dialog_popup", 2600)) << "the short report stays";
        }
        x_.closeWindow(window); // everything is saved: quits at once
        EXPECT_EQ(exitWithin(editor, 3000), 0);
        if (suite)
            suite->signal(SIGTERM); // its ending is the suite's own business
    }
}

// Every way of not starting ends with status 1 and says why on standard error. A person who
// started the editor from a menu sees no terminal: with a display, an error stays on the screen
// until dismissed (OK, or the window manager's close), and only then the editor ends.
TEST_F(LxconfSession, EveryWayOfNotStartingExitsOneAndSaysWhy)
{
    writeFile(dir_ / "bad.vars", "VARIABLE: A\nTYPE: MULTIVALUE $B\n");
    for (const auto &[args, message, byWindowManager] :
         std::vector<std::tuple<std::vector<std::string>, std::string, bool>>{
             {{LXCONF_PATH, "-f", dir_ / "session.vars", dir_ / "missing.conf"}, "Couldn't open config File", false},
             {{LXCONF_PATH, dir_ / "bad.vars", dir_ / "session.conf"}, "depends on simple Variable B", true}}) {
        Process editor(args, env_);
        Window warning = x_.waitForTopLevel("warning_popup", 5000);
        ASSERT_NE(warning, 0u) << message << " was not shown: " << editor.errors();
        EXPECT_EQ(exitWithin(editor, 1000), -1) << message << ": the editor must wait for the person";
        EXPECT_NE(editor.errors().find(message), std::string::npos) << editor.errors();
        x_.focus(warning);
        byWindowManager ? x_.closeWindow(warning) : x_.key("Return");
        EXPECT_EQ(exitWithin(editor, 3000), 1) << message;
    }

    // From a terminal without a display, a start-up error is a line on standard error and status 1.
    const std::string usage = "Improper Command Syntax\nUsage: " LXCONF_PATH " [-f] variable_description_file "
                              "config_file\n  -f signifies to take values only from the config file\n";
    const std::string overlong = "/" + std::string(300, 'p');
    Env terminal = env_;
    terminal.push_back("-DISPLAY");
    for (const auto &[args, err] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{LXCONF_PATH, "-F", "a", "b"}, usage},
             {{LXCONF_PATH, "-f", "a", "b", "c"}, usage},
             {{LXCONF_PATH, "-f", dir_ / "conf"}, "Couldn't open Description File.\n"}, // "-f": the description
             {{LXCONF_PATH, dir_.path(), "conf"}, "Couldn't read Description File.\n"},
             {{LXCONF_PATH, overlong, "conf"}, "Path too long (at most 255 characters): " + overlong + "\n"},
             {{LXCONF_PATH, dir_ / "session.vars", "conf"}, "OpenApplication: cannot open display \"\"\n"}}) {
        const Result result = run(args, terminal);
        EXPECT_EQ(std::tuple(result.status, result.err, result.out), std::tuple(1, err, ""));
    }
}

} // namespace
