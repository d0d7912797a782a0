// The information note: gone after its time-out, or kept until OK without one.
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

// A stale timer of the note that went early with its parent would destroy freed memory, or the
// next note; a note without a time-out stays until OK, its only button, hides it.
TEST(InfoNote, NoteGoneEarlyLeavesNoTimerAndANoteWithoutTimeoutStaysUntilOk)
{
    NewMainForm("Notes");
    WMShowInfo("Goes with its parent", 1);
    ASSERT_NE(findDialog("info_dialog"), nullptr);
    XtDestroyWidget(baseshell);
    baseshell = topshell = nullptr;
    WMShowInfo("Stays until OK", 0);
    Widget note = findDialog("info_dialog");
    ASSERT_NE(note, nullptr);
    Liveness live(note);
    spinFor(1500);
    ASSERT_TRUE(live.alive);
    EXPECT_TRUE(isOnScreen(XtParent(note)));
    EXPECT_EQ(xmText(note), "Stays until OK");
    EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(note, XmDIALOG_CANCEL_BUTTON)));
    EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(note, XmDIALOG_HELP_BUTTON)));
    pressButton(XmMessageBoxGetChild(note, XmDIALOG_OK_BUTTON));
    EXPECT_TRUE(spinUntil([&] { return !isOnScreen(XtParent(note)); }, 1000));
}
