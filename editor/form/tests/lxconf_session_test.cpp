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

TEST_F(LxconfSession, RevertRestoresTheFileValues)
{
    auto editor = startEditor();
    typeInto(2, "999");
    pick(3, 1); // no
    press("Revert");
    // Nothing is changed any more, so Done asks nothing.
    press("Done");
    EXPECT_EQ(editor->waitExit(3000), 0);
    EXPECT_EQ(x_.findTopLevel("question_popup"), 0u);
    EXPECT_EQ(readFile(dir_ / "session.conf"), kConfig);
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
    EXPECT_LT(attributes.width, 640) << "a long help line is not wrapped";
}

TEST_F(LxconfSession, DashFWithoutItsConfigurationFileEndsWithStatus1)
{
    Program editor({env("LXCONF"), "-f", dir_ / "session.vars", dir_ / "missing.conf"}, dir_.path(), environment(false));
    EXPECT_EQ(editor.waitExit(5000), 1);
    EXPECT_NE(editor.errors().find("Couldn't open config File"), std::string::npos) << editor.errors();
}

TEST_F(LxconfSession, ClosingTheWindowWithoutChangesQuits)
{
    auto editor = startEditor();
    Display *d = XOpenDisplay(nullptr);
    ASSERT_NE(d, nullptr);
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = screen_.window;
    event.xclient.message_type = XInternAtom(d, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(d, "WM_DELETE_WINDOW", False));
    XSendEvent(d, screen_.window, False, NoEventMask, &event);
    XCloseDisplay(d);
    EXPECT_EQ(editor->waitExit(3000), 0);
}

} // namespace
