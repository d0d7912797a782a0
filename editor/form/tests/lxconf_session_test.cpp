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

    // A row without help says so and closes by itself.
    x_.click(screen_.label(2));
    EXPECT_NE(x_.waitForTopLevel("info_dialog_popup", 3000), 0u);
    EXPECT_TRUE(x_.waitUntilGone("info_dialog_popup", 4000));
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
