// The real lxconf under the test X server, used as a person would: clicks and keys through the
// X server, results read from the configuration file, its backup, the exit status and the
// windows that appear.
#include "lxconf_driver.h"

namespace {

using namespace lx::test;

class LxconfSession : public LxconfDriver {
protected:
    // A description of `rows` text rows under the session's title, with `extra` after them.
    void writeRows(int rows, const std::string &extra = "")
    {
        std::string text = "TITLE: Session Test Settings\n";
        for (int i = 0; i < rows; ++i)
            text += "VARIABLE: V" + std::to_string(i) + "\nSHORTDESC: Row " + std::to_string(i) + "\nTYPE: SIMPLE\n";
        writeFile(dir_ / "session.vars", text + extra);
        writeFile(dir_ / "session.conf", "# rows\n");
    }
    // Where the first row's label is on the screen now.
    int firstRowY() { return x_.children(screen_.grid).at(2).y; }
    void wheel(const Box &over, int button)
    {
        std::string command = "xdotool mousemove --sync " + std::to_string(over.centerX()) + " " +
                              std::to_string(over.centerY()) + " click " + std::to_string(button);
        ASSERT_EQ(std::system(command.c_str()), 0);
        sleepMs(300);
    }
};

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

    // Everything is saved: closing the window (which is Done) quits at once with status 0.
    x_.closeWindow(screen_.window);
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

    // F1 in the row's value shows the same help, and the note carries a readable title.
    x_.focus(screen_.window);
    x_.click(screen_.value(0));
    x_.key("F1");
    Window f1Help = x_.waitForTopLevel("Session Test Settings: Note", 3000);
    ASSERT_NE(f1Help, 0u) << "F1 in a value shows no help";
    x_.focus(f1Help);
    x_.key("Return");
    EXPECT_TRUE(x_.waitUntilGone("info_dialog_popup", 2000));

    // A row without help says so and closes by itself.
    x_.click(screen_.label(2));
    EXPECT_NE(x_.waitForTopLevel("info_dialog_popup", 3000), 0u);
    EXPECT_TRUE(x_.waitUntilGone("info_dialog_popup", 4000));
}

TEST_F(LxconfSession, WheelArrowAndPageKeysScrollALongFormByRows)
{
    writeRows(40);
    auto editor = startEditor(false, 82);
    ASSERT_NE(screen_.grid, 0u);
    const int pitch = screen_.label(1).y - screen_.label(0).y;
    const int start = firstRowY();

    wheel(screen_.label(2), 5); // one notch down over a row's label: three rows
    EXPECT_EQ(start - firstRowY(), 3 * pitch);
    wheel(screen_.value(6), 4); // one notch up over a value: back
    EXPECT_EQ(firstRowY(), start);

    // One click on the scroll bar's lower arrow: one row.
    Window swindow = x_.findDescendant(screen_.window, [](const std::vector<Box> &kids) {
        return std::any_of(kids.begin(), kids.end(), [](const Box &b) { return b.width < 40 && b.height > 200; });
    });
    ASSERT_NE(swindow, 0u);
    for (const Box &bar : x_.children(swindow))
        if (bar.width < 40 && bar.height > 200)
            x_.click(bar.centerX(), bar.y + bar.height - 6);
    sleepMs(300);
    EXPECT_EQ(start - firstRowY(), pitch) << "a scroll-arrow click moves one row";

    // Page Down in a value moves a whole view (400 pixels high) and takes the focus along.
    x_.click(screen_.value(2));
    x_.key("Next");
    int paged = start - firstRowY() - pitch;
    EXPECT_GE(paged, 300);
    EXPECT_LE(paged, 400);
    x_.typeText("X");
    press("Save");
    EXPECT_NE(x_.waitForTopLevel("info_dialog_popup", 3000), 0u);
    std::string saved = readFile(dir_ / "session.conf");
    EXPECT_EQ(saved.find("V2 X"), std::string::npos) << "the focus stayed behind: " << saved;
    EXPECT_NE(saved.find(" X\n"), std::string::npos) << saved;
}

TEST_F(LxconfSession, ARowOfUnknownTypeKeepsTheNextRowsInTheirColumns)
{
    writeRows(2, "VARIABLE: V_ODD\nSHORTDESC: Odd row\nTYPE: COLOUR\n"
                 "VARIABLE: V_LAST\nSHORTDESC: Last row\nTYPE: SIMPLE\n");
    auto editor = startEditor(false, 10);
    ASSERT_EQ(screen_.cells.size(), 10u);
    for (int row = 1; row < 4; ++row) {
        EXPECT_EQ(screen_.label(row).x, screen_.label(0).x) << "row " << row;
        EXPECT_EQ(screen_.value(row).x, screen_.value(0).x) << "row " << row;
    }
}

// The value column takes half of what a wider window gives, so that a long path shows whole, and
// gives it back when the window narrows again.
TEST_F(LxconfSession, AWiderWindowWidensTheValuesUntilALongPathShowsWhole)
{
    writeRows(3);
    writeFile(dir_ / "session.conf", "V1 /data/microscopes/scope-7/acquisitions/2026/november/plate-0042/raw\n");
    auto editor = startEditor(false, 8);
    ASSERT_EQ(screen_.cells.size(), 8u);
    const Box narrow = screen_.value(1), window = x_.children(screen_.window).at(0);
    EXPECT_GE(x_.textEnd(narrow), narrow.width - 20) << "the path does not fill the narrow field";
    auto resize = [&](const std::string &size) {
        std::system(("xdotool windowsize " + std::to_string(screen_.window) + " " + size).c_str());
        sleepMs(500);
        screen_.cells = x_.children(screen_.grid);
        return screen_.value(1);
    };
    // Whole: the path ends where it ends in a field with room to spare.
    const Box roomy = resize("1160 500");
    const int end = x_.textEnd(roomy);
    EXPECT_LT(end, roomy.width - 20) << "the path is cut even at 1160 pixels";
    const Box wide = resize("1100 500");
    EXPECT_EQ(x_.textEnd(wide), end) << "the path is still cut at 1100 pixels";
    EXPECT_EQ(resize(std::to_string(window.width) + " " + std::to_string(window.height)).width, narrow.width);
}

TEST_F(LxconfSession, ALongHelpLineWrapsAtTheDialogsWidth)
{
    std::string longLine;
    for (int i = 0; i < 40; ++i)
        longLine += "word" + std::to_string(i) + " ";
    writeRows(1, "VARIABLE: V_LONG\nSHORTDESC: Long help\nTYPE: SIMPLE\nHELP: " + longLine + "\n%%\n");
    auto editor = startEditor(false, 6);
    x_.click(screen_.label(1));
    Window note = x_.waitForTopLevel("Session Test Settings: Note", 3000);
    ASSERT_NE(note, 0u) << "the help note is not titled";
    Display *d = XOpenDisplay(nullptr);
    XWindowAttributes attributes{};
    XGetWindowAttributes(d, note, &attributes);
    XCloseDisplay(d);
    EXPECT_LT(attributes.width, 800) << "a long help line is not wrapped"; // unwrapped: wider than the screen
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
    for (const Case &c :
         std::vector<Case>{{{"-f", dir_ / "session.vars", dir_ / "missing.conf"}, "Couldn't open config File", false},
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
        auto editor = startEditor(false, 10, {"PATH=" + (dir_ / "browser")});
        press("Help");
        for (int waited = 0; waited < 5000 && readFile(dir_ / "opened").empty(); waited += 50)
            sleepMs(50);
        EXPECT_EQ(readFile(dir_ / "opened"), dir_ / "help/Parmset.htm\n") << editor->errors();
        press("Done");
        EXPECT_EQ(editor->waitExit(3000), 0);
    }
    auto editor = startEditor(false, 10, {"PATH=" + (dir_ / "nothing")});
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
