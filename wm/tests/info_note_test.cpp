// The information note: closes itself after its timeout, stays without one until OK hides it.
#include "wm_test_support.h"

#include <gtest/gtest.h>

#include <Xm/MessageB.h>
#include <Xm/Xm.h>

using namespace lxtest;
using Clock = std::chrono::steady_clock;

class InfoNote : public ::testing::Test {
protected:
    void SetUp() override { NewMainForm("Notes"); }
};

TEST_F(InfoNote, TwoSecondNoteIsDestroyedAfterAbout2000Ms)
{
    const auto shownAt = Clock::now();
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

TEST_F(InfoNote, NoteWithoutTimeoutStaysUntilOkAndOffersOnlyOk)
{
    WMShowInfo("Stays until OK", 0);
    Widget note = findDialog("info_dialog");
    ASSERT_NE(note, nullptr);
    spinFor(3000);
    EXPECT_TRUE(isOnScreen(XtParent(note)));
    EXPECT_EQ(xmText(note, XmNmessageString), "Stays until OK");
    EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(note, XmDIALOG_CANCEL_BUTTON)));
    EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(note, XmDIALOG_HELP_BUTTON)));
    pressButton(XmMessageBoxGetChild(note, XmDIALOG_OK_BUTTON));
    EXPECT_TRUE(spinUntil([&] { return !isOnScreen(XtParent(note)); }, 1000));
}

TEST_F(InfoNote, NoteDestroyedEarlyDoesNotFireItsTimer)
{
    WMShowInfo("Goes with its parent", 1);
    Widget note = findDialog("info_dialog");
    ASSERT_NE(note, nullptr);
    XtDestroyWidget(baseshell);
    baseshell = topshell = nullptr;
    spinFor(1500); // a stale timer would destroy freed memory here
    SUCCEED();
}
