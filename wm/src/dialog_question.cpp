// The modal yes/no question, plain and with a "don't ask again" toggle.
#include "delete_window.h"
#include "dialog_common.h"
#include "layer_state.h"
#include "toolkit_verbs.h"

#include <lumarix/wm.h>

#include <Xm/MessageB.h>

#include <cstdint>
#include <cstdio>

namespace lx::wm {
namespace {

struct QuestionWait {
    int32_t answer = -1;
    bool gone = false;
};

void CloseMeansNo(void *argument, void *)
{
    if (argument != nullptr) {
        *static_cast<int32_t *>(argument) = 0;
    }
}

// Should anything else destroy the dialog, the wait must end rather than spin for ever.
void QuestionGoneCB(Widget, XtPointer client, XtPointer)
{
    auto *wait = static_cast<QuestionWait *>(client);
    wait->gone = true;
    if (wait->answer == -1) {
        wait->answer = 0;
    }
}

int AskQuestionText(const char *text, int *suppress)
{
    Widget parent = DialogParent();
    if (parent == nullptr) {
        std::fprintf(stderr, "%s\n", text);
        return 0;
    }
    QuestionWait wait;
    CompoundString message = MakeWrappedMessage(text);
    // Cancel is the answer that keeps the user's work, so Return (and the first focus) gives it.
    Arg args[3];
    XtSetArg(args[0], XmNmessageString, message.get());
    XtSetArg(args[1], XmNdialogStyle, XmDIALOG_PRIMARY_APPLICATION_MODAL);
    XtSetArg(args[2], XmNdefaultButtonType, XmDIALOG_CANCEL_BUTTON);
    Widget dialog = XmCreateQuestionDialog(parent, const_cast<char *>("question"), args, 3);
    XtVaSetValues(dialog, XmNinitialFocus, XmMessageBoxGetChild(dialog, XmDIALOG_CANCEL_BUTTON), nullptr);
    XtAddCallback(dialog, XmNokCallback, WMyes, &wait.answer);
    XtAddCallback(dialog, XmNcancelCallback, WMno, &wait.answer);
    XtAddCallback(dialog, XmNdestroyCallback, QuestionGoneCB, &wait);
    RemoveMessageBoxButton(dialog, XmDIALOG_HELP_BUTTON);
    DeleteWindowRecord *close = InstallDeleteWindowHandler(XtParent(dialog), CloseMeansNo, &wait.answer);
    if (suppress != nullptr) {
        AddSuppressToggle(dialog, suppress, "Don't ask me this again");
    }
    SetDialogTitle(dialog, "Question");
    PlaceDialog(dialog);

    XtAppContext app = XtWidgetToApplicationContext(dialog);
    while (wait.answer == -1) {
        XtAppProcessEvent(app, XtIMAll);
    }

    // The answer cell dies with this call, while a nested destroy may finish later.
    if (close != nullptr) {
        close->argument = nullptr;
    }
    if (!wait.gone) {
        XtRemoveCallback(dialog, XmNdestroyCallback, QuestionGoneCB, &wait);
        XtRemoveCallback(dialog, XmNokCallback, WMyes, &wait.answer);
        XtRemoveCallback(dialog, XmNcancelCallback, WMno, &wait.answer);
        DestroyDialog(dialog);
    }
    return wait.answer == 1 ? 1 : 0;
}

} // namespace
} // namespace lx::wm

using namespace lx::wm;

extern "C" int WMAskQuestion(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const char *text = FormatMessage(format, args);
    va_end(args);
    int result = 0;
    GuardCallback(__func__, [&] { result = AskQuestionText(text, nullptr); });
    return result;
}

extern "C" int WMAskQuestionSuppressible(int *suppress, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const char *text = FormatMessage(format, args);
    va_end(args);
    if (suppress != nullptr && *suppress) {
        return 1;
    }
    int result = 0;
    GuardCallback(__func__, [&] { result = AskQuestionText(text, suppress); });
    return result;
}
