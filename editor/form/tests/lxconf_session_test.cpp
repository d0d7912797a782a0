// The real lxconf under the test X server, used as a person would: clicks and keys through the
// X server, results read from the configuration file, its backup, the exit status and the
// windows that appear.
#include "lxconf_driver.h"

namespace {

using namespace lx::test;

class LxconfSession : public LxconfDriver {};

TEST_F(LxconfSession, TypeChooseAndSaveWritesTheFileAndItsBackup)
{
    auto editor = startEditor();
    typeInto(0, "Scope-7");
    pick(1, 2); // fast
    press("Save");
    EXPECT_NE(x_.waitForTopLevel("info_dialog_popup", 3000), 0u) << editor->errors();
    EXPECT_EQ(readFile(dir_ / "session.conf"),
              "# session test\nLX_SIZE 100\nLX_FLAG yes\nLX_NAME Scope-7\nLX_SPEED fast\n");
    EXPECT_EQ(readFile(backupPath()), kConfig);
    // Without a suite the report closes itself after 2 seconds.
    EXPECT_TRUE(x_.waitUntilGone("info_dialog_popup", 4000));

    // Everything is saved: Done quits at once with status 0.
    press("Done");
    EXPECT_EQ(editor->waitExit(3000), 0);
}

TEST_F(LxconfSession, DoneWithChangesAsksAndCancelKeepsTheEdits)
{
    auto editor = startEditor();
    typeInto(2, "250");
    press("Done");
    answer(false);
    EXPECT_TRUE(x_.waitUntilGone("question_popup", 3000));
    EXPECT_EQ(editor->waitExit(500), -1) << "the editor must stay after Cancel";

    // The edit is still there: saving now writes it.
    x_.focus(screen_.window);
    press("Save");
    EXPECT_NE(x_.waitForTopLevel("info_dialog_popup", 3000), 0u);
    EXPECT_EQ(readFile(dir_ / "session.conf"), "# session test\nLX_SPEED normal\nLX_FLAG yes\nLX_SIZE 250\n");

    typeInto(2, "300");
    press("Done");
    answer(true);
    EXPECT_EQ(editor->waitExit(3000), 0);
    EXPECT_EQ(readFile(dir_ / "session.conf"), "# session test\nLX_SPEED normal\nLX_FLAG yes\nLX_SIZE 250\n");
}

TEST_F(LxconfSession, ARowsHelpButtonShowsItsHelpUntilDismissed)
{
    auto editor = startEditor();
    x_.click(screen_.label(0));
    Window help = x_.waitForTopLevel("info_dialog_popup", 3000);
    ASSERT_NE(help, 0u);
    sleepMs(3000); // a help text has no time-out
    EXPECT_NE(x_.findTopLevel("info_dialog_popup"), 0u);
    x_.focus(help);
    x_.key("Return");
    EXPECT_TRUE(x_.waitUntilGone("info_dialog_popup", 2000));

    // A row without help says so and closes by itself.
    x_.click(screen_.label(2));
    EXPECT_NE(x_.waitForTopLevel("info_dialog_popup", 3000), 0u);
    EXPECT_TRUE(x_.waitUntilGone("info_dialog_popup", 4000));
}

// A person who started the editor from a menu sees no terminal: a start-up error stays on the
// screen until dismissed (OK, or the window manager's close), and only then the editor ends with
// status 1. Standard error has the line from the start.
TEST_F(LxconfSession, StartUpErrorsWaitUntilDismissedThenExitOne)
{
    writeFile(dir_ / "bad.vars", "VARIABLE: A\nTYPE: MULTIVALUE $B\n");
    struct Case {
        std::vector<std::string> args;
        std::string message;
        bool byWindowManager;
    };
    for (const Case &c : std::vector<Case>{
             {{"-f", dir_ / "session.vars", dir_ / "missing.conf"}, "Couldn't open config File", false},
             {{dir_ / "bad.vars", dir_ / "session.conf"}, "depends on simple Variable B", true}}) {
        std::vector<std::string> args{env("LXCONF")};
        args.insert(args.end(), c.args.begin(), c.args.end());
        Program editor(args, dir_.path(), environment(false));
        Window warning = x_.waitForTopLevel("warning_popup", 5000);
        ASSERT_NE(warning, 0u) << c.message << " was not shown: " << editor.errors();
        EXPECT_EQ(editor.waitExit(1000), -1) << c.message << ": the editor must wait for the person";
        EXPECT_NE(editor.errors().find(c.message), std::string::npos) << editor.errors();
        if (c.byWindowManager) {
            x_.closeWindow(warning);
        } else {
            x_.focus(warning);
            x_.key("Return");
        }
        EXPECT_EQ(editor.waitExit(3000), 1) << c.message;
        EXPECT_TRUE(x_.waitUntilGone("warning_popup", 2000));
    }
}

TEST_F(LxconfSession, ClosingTheWindowWithoutChangesQuits)
{
    auto editor = startEditor();
    x_.closeWindow(screen_.window);
    EXPECT_EQ(editor->waitExit(3000), 0);
}

// The Help button with the base directory as installed (the page and the viewer): a desktop
// browser gets the page; without one the page's text opens in a window of its own, and the
// editor stays usable meanwhile.
TEST_F(LxconfSession, HelpButtonOpensTheManualInABrowserOrInAWindowOfItsOwn)
{
    std::filesystem::create_directories(dir_ / "help");
    std::filesystem::create_directories(dir_ / "bin");
    std::filesystem::create_directories(dir_ / "browser");
    std::filesystem::copy_file(HELP_PAGE, dir_ / "help/Parmset.htm");
    std::filesystem::create_symlink(WMSHOWHELP_PATH, dir_ / "bin/WMShowHelp");
    writeFile(dir_ / "browser/xdg-open", "#!/bin/sh\necho \"$@\" >" + (dir_ / "opened") + "\n");
    std::filesystem::permissions(dir_ / "browser/xdg-open", std::filesystem::perms::owner_all);
    {
        auto editor = startEditor(false, {"PATH=" + (dir_ / "browser")});
        press("Help");
        for (int waited = 0; waited < 5000 && readFile(dir_ / "opened").empty(); waited += 50)
            sleepMs(50);
        EXPECT_EQ(readFile(dir_ / "opened"), dir_ / "help/Parmset.htm\n") << editor->errors();
        press("Done");
        EXPECT_EQ(editor->waitExit(3000), 0);
    }
    auto editor = startEditor(false, {"PATH=" + (dir_ / "nothing")});
    press("Help");
    Window help = x_.waitForTopLevel("Lumarix Help: User Parameters", 5000);
    ASSERT_NE(help, 0u) << editor->errors();
    x_.focus(screen_.window);
    press("Done");
    EXPECT_EQ(editor->waitExit(3000), 0) << "the help window must not hold the editor up";
    x_.closeWindow(help);
    EXPECT_TRUE(x_.waitUntilGone("Lumarix Help: User Parameters", 3000));
}

} // namespace
