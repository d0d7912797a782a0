// The information note: gone after its timeout, kept without one until OK hides it, and its
// timer harmless once the note went early with its parent; the note for an empty help topic.
#include "wm_test_support.h"

#include <Xm/MessageB.h>

using namespace lxtest;

TEST(InfoNote, TwoSecondNoteIsDestroyedAfterAbout2000Ms)
{
    NewMainForm("Notes");
    const auto shownAt = std::chrono::steady_clock::now();
    EXPECT_EQ(WMShowInfo("Saved options to file /tmp/x.cfg\n", 2), 0);
    Widget note = findDialog("info_dialog");
    ASSERT_NE(note, nullptr);
    Liveness live(note);
    EXPECT_TRUE(isOnScreen(XtParent(note)));
    ASSERT_TRUE(spinUntil([&] { return !live.alive; }, 4000));
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(live.destroyedAt - shownAt).count();
    EXPECT_GE(ms, 1950);
    EXPECT_LE(ms, 2600);
}

TEST(InfoNote, NoteWithoutTimeoutStaysUntilOkAndOffersOnlyOk)
{
    NewMainForm("Notes");
    WMShowInfo("Stays until OK", 0);
    Widget note = findDialog("info_dialog");
    ASSERT_NE(note, nullptr);
    spinFor(1500);
    EXPECT_TRUE(isOnScreen(XtParent(note)));
    EXPECT_EQ(xmText(note), "Stays until OK");
    EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(note, XmDIALOG_CANCEL_BUTTON)));
    EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(note, XmDIALOG_HELP_BUTTON)));
    pressButton(XmMessageBoxGetChild(note, XmDIALOG_OK_BUTTON));
    EXPECT_TRUE(spinUntil([&] { return !isOnScreen(XtParent(note)); }, 1000));
}

TEST(InfoNote, NoteDestroyedEarlyLeavesNoTimerBehind)
{
    NewMainForm("Notes");
    WMShowInfo("Goes with its parent", 1);
    ASSERT_NE(findDialog("info_dialog"), nullptr);
    XtDestroyWidget(baseshell);
    baseshell = topshell = nullptr;
    // A stale timer would destroy freed memory, or a new note, here.
    WMShowInfo("A new note", 0);
    Widget next = findDialog("info_dialog");
    ASSERT_NE(next, nullptr);
    Liveness live(next);
    spinFor(1500);
    EXPECT_TRUE(live.alive);
}

TEST(InfoNote, EmptyHelpTopicGivesANoteThatClosesAfterFourSeconds)
{
    NewMainForm("Help");
    WMPresentHelp("");
    Widget note = findDialog("info_dialog");
    ASSERT_NE(note, nullptr);
    EXPECT_EQ(xmText(note), "There is no help available for this subject");
    Liveness live(note);
    spinFor(3500);
    EXPECT_TRUE(live.alive);
    EXPECT_TRUE(spinUntil([&] { return !live.alive; }, 1500));
}
