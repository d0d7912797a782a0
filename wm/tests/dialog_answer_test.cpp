// Blocking dialogs answered the three ways a user can answer them, and the suppressible
// variants with their flag set and clear.
#include "wm_test_support.h"

#include <gtest/gtest.h>

#include <Xm/MessageB.h>
#include <Xm/PushB.h>
#include <Xm/SelectioB.h>
#include <Xm/TextF.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>

#include <cstring>

using namespace lxtest;

namespace {

// Acts on the dialog named `name` once it is up.
void WhenShown(const char *name, std::function<void(Widget)> act)
{
    std::string wanted = name;
    after(100, [wanted, act] {
        Widget dialog = findDialog(wanted.c_str());
        ASSERT_NE(dialog, nullptr) << wanted << " not found";
        act(dialog);
    });
}

void PressBox(Widget box, unsigned char which) { pressButton(XmMessageBoxGetChild(box, which)); }

std::string LogText() { return readFile(std::string(LogDirectory()) + "/lumarixlog.txt"); }

} // namespace

class Question : public ::testing::Test {
protected:
    void SetUp() override { NewMainForm("Questions"); }
};

TEST_F(Question, OkAnswersYes)
{
    std::string message;
    bool modal = false, helpHidden = false;
    WhenShown("question", [&](Widget q) {
        message = xmText(q, XmNmessageString);
        unsigned char style = 0;
        XtVaGetValues(q, XmNdialogStyle, &style, nullptr);
        modal = style == XmDIALOG_PRIMARY_APPLICATION_MODAL;
        helpHidden = !XtIsManaged(XmMessageBoxGetChild(q, XmDIALOG_HELP_BUTTON));
        PressBox(q, XmDIALOG_OK_BUTTON);
    });
    EXPECT_EQ(WMAskQuestion("Save %d changes?\nReally?", 3), 1);
    EXPECT_EQ(message, "Save 3 changes?\nReally?");
    EXPECT_TRUE(modal);
    EXPECT_TRUE(helpHidden);
    EXPECT_EQ(findDialog("question"), nullptr) << "the question is destroyed after answering";
}

namespace {
int gAskedAnswer = -1;
void AskFromButtonCB(Widget, XtPointer, XtPointer)
{
    gAskedAnswer = WMAskQuestion("You have made changes.\nAre you sure you want to quit?");
}
} // namespace

// As the editor's Done button does: the question runs inside a callback of the event loop, so
// its dialog is destroyed only when that callback has returned. Cancel and the window manager's
// close both answer no.
TEST_F(Question, AskedFromAButtonCallbackCleansUpAfterTheCallback)
{
    Widget button = XtVaCreateManagedWidget("Done", xmPushButtonWidgetClass, current_form, nullptr);
    XtAddCallback(button, XmNactivateCallback, AskFromButtonCB, nullptr);
    spinFor(50);
    gAskedAnswer = -1;
    WhenShown("question", [](Widget q) { PressBox(q, XmDIALOG_CANCEL_BUTTON); });
    pressButton(button);
    ASSERT_TRUE(spinUntil([] { return gAskedAnswer != -1; }, 3000));
    EXPECT_EQ(gAskedAnswer, 0);
    spinFor(100);
    EXPECT_EQ(findDialog("question"), nullptr);
    WhenShown("question", [](Widget q) { sendDeleteWindow(XtParent(q)); });
    gAskedAnswer = -1;
    pressButton(button);
    ASSERT_TRUE(spinUntil([] { return gAskedAnswer != -1; }, 3000));
    EXPECT_EQ(gAskedAnswer, 0);
}

class Prompt : public ::testing::Test {
protected:
    void SetUp() override { NewMainForm("Prompts"); }
    char answer[WM_ANSWER_SIZE] = "stale";
};

TEST_F(Prompt, OkReturnsTheTypedText)
{
    std::string label, shownDefault;
    WhenShown("prompt", [&](Widget p) {
        label = xmText(p, XmNselectionLabelString);
        Widget text = XmSelectionBoxGetChild(p, XmDIALOG_TEXT);
        char *initial = XmTextFieldGetString(text);
        shownDefault = initial;
        XtFree(initial);
        XmTextFieldSetString(text, const_cast<char *>("objective 40x"));
        pressButton(XmSelectionBoxGetChild(p, XmDIALOG_OK_BUTTON));
    });
    EXPECT_EQ(WMAskString("Name the preset:", answer, "default preset"), 1);
    EXPECT_EQ(WMStrAnswer, 1);
    EXPECT_STREQ(answer, "objective 40x");
    EXPECT_EQ(label, "Name the preset:");
    EXPECT_EQ(shownDefault, "default preset");
}

TEST_F(Prompt, CancelAndWindowManagerCloseEmptyTheAnswer)
{
    for (bool byClose : {false, true}) {
        WhenShown("prompt", [byClose](Widget p) {
            byClose ? sendDeleteWindow(XtParent(p)) : pressButton(XmSelectionBoxGetChild(p, XmDIALOG_CANCEL_BUTTON));
        });
        EXPECT_EQ(WMAskString("Name?", answer, "something"), -1);
        EXPECT_EQ(WMStrAnswer, -1);
        EXPECT_STREQ(answer, "");
        EXPECT_EQ(findDialog("prompt"), nullptr);
    }
}

class Suppressible : public ::testing::Test {
protected:
    void SetUp() override { NewMainForm("Suppressible"); }
};

TEST_F(Suppressible, QuestionWithFlagClearAsksAndTheToggleFlipsTheFlag)
{
    int suppress = 0;
    std::string toggleLabel;
    bool toggleInitiallyOff = false;
    WhenShown("question", [&](Widget q) {
        Widget toggle = XtNameToWidget(q, "NAtoggle");
        ASSERT_NE(toggle, nullptr);
        toggleLabel = xmText(toggle, XmNlabelString);
        toggleInitiallyOff = !XmToggleButtonGetState(toggle);
        XmToggleButtonSetState(toggle, True, True);
        PressBox(q, XmDIALOG_CANCEL_BUTTON);
    });
    EXPECT_EQ(WMAskQuestionSuppressible(&suppress, "Overwrite?"), 0);
    EXPECT_EQ(toggleLabel, "Don't ask me this again");
    EXPECT_TRUE(toggleInitiallyOff);
    EXPECT_EQ(suppress, 1);
    EXPECT_EQ(WMAskQuestionSuppressible(&suppress, "Overwrite %s?", "file"), 1) << "suppressed from now on";
    EXPECT_EQ(findDialog("question"), nullptr);
}

TEST_F(Suppressible, WarningWithFlagSetOnlyLogs)
{
    int suppress = 1;
    EXPECT_EQ(WMShowWarningSuppressible(&suppress, "Disk %d nearly full", 7), nullptr);
    EXPECT_EQ(findDialog("warning"), nullptr);
    EXPECT_NE(LogText().find("]: WMShowWarning (dialog disabled by user): Disk 7 nearly full\n"), std::string::npos);
}

TEST_F(Suppressible, WarningWithFlagClearShowsAToggleThatFlipsTheFlag)
{
    int suppress = 0;
    Widget dialog = WMShowWarningSuppressible(&suppress, "Disk %d nearly full", 8);
    ASSERT_NE(dialog, nullptr);
    Widget toggle = XtNameToWidget(dialog, "NAtoggle");
    ASSERT_NE(toggle, nullptr);
    EXPECT_EQ(xmText(toggle, XmNlabelString), "Don't show me this warning again");
    XmToggleButtonSetState(toggle, True, True);
    EXPECT_EQ(suppress, 1);
    XmToggleButtonSetState(toggle, False, True);
    EXPECT_EQ(suppress, 0);
    EXPECT_NE(LogText().find("]: WMShowWarning: Disk 8 nearly full\n"), std::string::npos);
}

class Warning : public ::testing::Test {
protected:
    void SetUp() override { NewMainForm("Warnings"); }
};

TEST_F(Warning, ShowsOkOnlyAndOkDestroysIt)
{
    Widget dialog = WMShowWarning("Value %s is out of range", "12");
    ASSERT_NE(dialog, nullptr);
    EXPECT_STREQ(XtName(dialog), "warning");
    EXPECT_EQ(xmText(dialog, XmNmessageString), "Value 12 is out of range");
    EXPECT_TRUE(XtIsManaged(XmMessageBoxGetChild(dialog, XmDIALOG_OK_BUTTON)));
    EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(dialog, XmDIALOG_CANCEL_BUTTON)));
    EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(dialog, XmDIALOG_HELP_BUTTON)));
    Liveness live(dialog);
    PressBox(dialog, XmDIALOG_OK_BUTTON);
    EXPECT_TRUE(spinUntil([&] { return !live.alive; }, 1000));
}

TEST_F(Warning, LongTextIsCutAt499Characters)
{
    const std::string longText(700, 'w');
    Widget dialog = WMShowWarning("%s", longText.c_str());
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(xmText(dialog, XmNmessageString), std::string(499, 'w'));
}
