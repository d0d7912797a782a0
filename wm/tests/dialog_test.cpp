// Blocking dialogs answered the three ways a user can answer them, the suppressible variants,
// and the warning's text: formatted, wrapped at 80 columns, cut at 499 characters.
#include "wm_test_support.h"

#include <Xm/MessageB.h>
#include <Xm/PushB.h>
#include <Xm/SelectioB.h>
#include <Xm/TextF.h>
#include <Xm/ToggleB.h>

using namespace lxtest;

namespace {

enum class Answer { Ok, Cancel, Close };

// Answers the dialog named `name` once it is up, after `inspect` has looked at it.
void AnswerWhenShown(const char *name, Answer how, std::function<void(Widget)> inspect = {})
{
    after(100, [name, how, inspect] {
        Widget dialog = findDialog(name);
        ASSERT_NE(dialog, nullptr) << name << " not shown";
        if (inspect)
            inspect(dialog);
        if (how == Answer::Close)
            return sendDeleteWindow(XtParent(dialog));
        const bool ok = how == Answer::Ok;
        pressButton(XmIsMessageBox(dialog)
                        ? XmMessageBoxGetChild(dialog, ok ? XmDIALOG_OK_BUTTON : XmDIALOG_CANCEL_BUTTON)
                        : XmSelectionBoxGetChild(dialog, ok ? XmDIALOG_OK_BUTTON : XmDIALOG_CANCEL_BUTTON));
    });
}

std::string LogText() { return readFile(std::string(LogDirectory()) + "/lumarixlog.txt"); }

int gAnswer = -1;
void AskFromButtonCB(Widget, XtPointer, XtPointer) { gAnswer = WMAskQuestion("Are you sure you want to quit?"); }

} // namespace

class Dialog : public ::testing::Test {
protected:
    void SetUp() override { NewMainForm("Dialogs"); }
};

// The inspecting lambdas run inside the blocking call.
TEST_F(Dialog, QuestionShowsItsTextModallyAndOkAnswersYes)
{
    AnswerWhenShown("question", Answer::Ok, [](Widget q) {
        unsigned char style = 0;
        char *title = nullptr;
        Widget byReturn = nullptr;
        XtVaGetValues(q, XmNdialogStyle, &style, XmNdefaultButton, &byReturn, nullptr);
        XtVaGetValues(XtParent(q), XmNtitle, &title, nullptr);
        EXPECT_EQ(xmText(q), "Save 3 changes?\nReally?");
        EXPECT_STREQ(title, "Dialogs: Question");
        EXPECT_EQ(style, XmDIALOG_PRIMARY_APPLICATION_MODAL);
        EXPECT_EQ(byReturn, XmMessageBoxGetChild(q, XmDIALOG_CANCEL_BUTTON)) << "Return keeps the user's work";
        EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(q, XmDIALOG_HELP_BUTTON)));
    });
    EXPECT_EQ(WMAskQuestion("Save %d changes?\nReally?", 3), 1);
    EXPECT_EQ(findDialog("question"), nullptr);
}

// As the editor's Done button does: the question runs inside a callback of the event loop, so
// its dialog can go only when that callback has returned. Cancel and the close request say no.
TEST_F(Dialog, QuestionAskedFromAButtonCallbackAnswersNoToCancelAndClose)
{
    Widget button = XtVaCreateManagedWidget("Done", xmPushButtonWidgetClass, current_form, nullptr);
    XtAddCallback(button, XmNactivateCallback, AskFromButtonCB, nullptr);
    spinFor(50);
    for (Answer how : {Answer::Cancel, Answer::Close}) {
        gAnswer = -1;
        AnswerWhenShown("question", how);
        pressButton(button);
        ASSERT_TRUE(spinUntil([] { return gAnswer != -1; }, 3000));
        EXPECT_EQ(gAnswer, 0);
        EXPECT_TRUE(spinUntil([] { return findDialog("question") == nullptr; }, 500));
    }
}

TEST_F(Dialog, PromptOkReturnsTheTextCancelAndCloseEmptyIt)
{
    char answer[WM_ANSWER_SIZE] = "stale";
    AnswerWhenShown("prompt", Answer::Ok, [](Widget p) {
        EXPECT_EQ(xmText(p, XmNselectionLabelString), "Name the preset:");
        Widget text = XmSelectionBoxGetChild(p, XmDIALOG_TEXT);
        char *initial = XmTextFieldGetString(text);
        EXPECT_STREQ(initial, "default preset");
        XtFree(initial);
        XmTextFieldSetString(text, const_cast<char *>("objective 40x"));
    });
    EXPECT_EQ(WMAskString("Name the preset:", answer, "default preset"), 1);
    EXPECT_EQ(WMStrAnswer, 1);
    EXPECT_STREQ(answer, "objective 40x");
    for (Answer how : {Answer::Cancel, Answer::Close}) {
        AnswerWhenShown("prompt", how);
        EXPECT_EQ(WMAskString("Name?", answer, "something"), -1);
        EXPECT_EQ(WMStrAnswer, -1);
        EXPECT_STREQ(answer, "");
        EXPECT_EQ(findDialog("prompt"), nullptr);
    }
}

TEST_F(Dialog, SuppressibleQuestionAsksUntilItsToggleIsSet)
{
    int suppress = 0;
    AnswerWhenShown("question", Answer::Cancel, [](Widget q) {
        Widget toggle = XtNameToWidget(q, "NAtoggle");
        ASSERT_NE(toggle, nullptr);
        EXPECT_EQ(xmText(toggle, XmNlabelString), "Don't ask me this again");
        EXPECT_FALSE(XmToggleButtonGetState(toggle));
        XmToggleButtonSetState(toggle, True, True);
    });
    EXPECT_EQ(WMAskQuestionSuppressible(&suppress, "Overwrite?"), 0);
    EXPECT_EQ(suppress, 1);
    EXPECT_EQ(WMAskQuestionSuppressible(&suppress, "Overwrite %s?", "file"), 1) << "suppressed from now on";
    EXPECT_EQ(findDialog("question"), nullptr);
}

TEST_F(Dialog, SuppressibleWarningShowsAToggleOrOnlyLogs)
{
    int suppress = 0;
    Widget dialog = WMShowWarningSuppressible(&suppress, "Disk %d nearly full", 8);
    ASSERT_NE(dialog, nullptr);
    Widget toggle = XtNameToWidget(dialog, "NAtoggle");
    ASSERT_NE(toggle, nullptr);
    EXPECT_EQ(xmText(toggle, XmNlabelString), "Don't show me this warning again");
    XmToggleButtonSetState(toggle, True, True);
    EXPECT_EQ(suppress, 1);
    EXPECT_EQ(WMShowWarningSuppressible(&suppress, "Disk %d nearly full", 7), nullptr);
    EXPECT_NE(LogText().find("]: WMShowWarning: Disk 8 nearly full\n"), std::string::npos);
    EXPECT_NE(LogText().find("]: WMShowWarning (dialog disabled by user): Disk 7 nearly full\n"), std::string::npos);
}

// A line of 80 stays whole; a longer one is cut at its last space within 80; a longer word stays.
TEST_F(Dialog, WarningTextIsWrappedAt80ColumnsAndCutAt499Characters)
{
    const std::string eighty = std::string(50, 'a') + " " + std::string(29, 'b'), word = std::string(81, 'c') + " d";
    for (const auto &[text, shown] :
         {std::pair{eighty + "\n" + eighty + " " + word, eighty + "\n" + eighty + "\n" + word},
          std::pair{std::string(700, 'w'), std::string(499, 'w')}})
        EXPECT_EQ(xmText(WMShowWarning("%s", text.c_str())), shown);
}

// The caller may keep the event loop busy after warning: the text is drawn before it returns.
TEST_F(Dialog, WarningIsDrawnBeforeTheCallReturnsAndOkDestroysIt)
{
    Widget dialog = WMShowWarning("Value %s is out of range", "12");
    ASSERT_EQ(findDialog("warning"), dialog);
    Dimension width = 0, height = 0;
    XtVaGetValues(dialog, XmNwidth, &width, XmNheight, &height, nullptr);
    ASSERT_TRUE(isOnScreen(dialog));
    XImage *image = XGetImage(XtDisplay(dialog), XtWindow(dialog), 0, 0, width, height, AllPlanes, ZPixmap);
    ASSERT_NE(image, nullptr);
    int dark = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            dark += (XGetPixel(image, x, y) & 0xffffff) < 0x606060;
    XDestroyImage(image);
    EXPECT_GT(dark, 20);
    EXPECT_EQ(xmText(dialog), "Value 12 is out of range");
    EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(dialog, XmDIALOG_CANCEL_BUTTON)));
    EXPECT_FALSE(XtIsManaged(XmMessageBoxGetChild(dialog, XmDIALOG_HELP_BUTTON)));
    Liveness live(dialog);
    pressButton(XmMessageBoxGetChild(dialog, XmDIALOG_OK_BUTTON));
    EXPECT_TRUE(spinUntil([&] { return !live.alive; }, 1000));
}
