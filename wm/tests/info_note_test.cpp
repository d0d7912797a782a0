// The information note: gone after its timeout, kept without one until OK hides it, and its
// timer harmless once the note went early with its parent.
#include "wm_test_support.h"

#include <Xm/MessageB.h>

using namespace lxtest;

// A note for two seconds, and the one for an empty help topic (four seconds).
TEST(InfoNote, TimedNotesAreDestroyedAfterTheirTime)
{
    NewMainForm("Notes");
    for (const auto &[show, text, ms] :
         {std::tuple{+[] { WMShowInfo("Saved options to file /tmp/x.cfg", 2); }, "Saved options to file /tmp/x.cfg",
                     2000},
          std::tuple{+[] { WMPresentHelp(""); }, "There is no help available for this subject", 4000}}) {
        const auto shownAt = std::chrono::steady_clock::now();
        show();
        Widget note = findDialog("info_dialog");
        ASSERT_NE(note, nullptr);
        EXPECT_EQ(xmText(note), text);
        EXPECT_TRUE(isOnScreen(XtParent(note)));
        Liveness live(note);
        ASSERT_TRUE(spinUntil([&] { return !live.alive; }, ms + 2000));
        const auto lived = std::chrono::duration_cast<std::chrono::milliseconds>(live.destroyedAt - shownAt).count();
        EXPECT_GE(lived, ms - 50);
        EXPECT_LE(lived, ms + 600);
    }
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
