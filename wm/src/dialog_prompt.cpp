// The modal string prompt; its answer is kept in WMStrAnswer.
#include "delete_window.h"
#include "dialog_common.h"
#include "layer_state.h"
#include "toolkit_verbs.h"

#include <lumarix/wm.h>

#include <Xm/SelectioB.h>

#include <cstring>

namespace lx::wm {
namespace {

void EmptyAnswer(char *answer)
{
    if (answer != nullptr) {
        answer[0] = '\0';
    }
}

void CloseMeansCancel(void *argument, void *)
{
    EmptyAnswer(static_cast<char *>(argument));
    WMStrAnswer = -1;
}

// Should anything else destroy the prompt, the wait ends as a cancel rather than spinning.
void PromptGoneCB(Widget, XtPointer client, XtPointer)
{
    *static_cast<bool *>(client) = true;
    if (WMStrAnswer == 0) {
        WMStrAnswer = -1;
    }
}

int AskString(const char *question, char *answer, const char *deftext)
{
    WMStrAnswer = 0;
    Widget parent = DialogParent();
    if (parent == nullptr) {
        EmptyAnswer(answer);
        WMStrAnswer = -1;
        return WMStrAnswer;
    }
    Widget dialog = XmCreatePromptDialog(parent, const_cast<char *>("prompt"), nullptr, 0);
    XtAddCallback(dialog, XmNokCallback, WMReadString, answer);
    XtAddCallback(dialog, XmNcancelCallback, WMReadString, answer);
    bool gone = false;
    XtAddCallback(dialog, XmNdestroyCallback, PromptGoneCB, &gone);
    DeleteWindowRecord *close = InstallDeleteWindowHandler(XtParent(dialog), CloseMeansCancel, answer);
    RemoveSelectionBoxButton(dialog, XmDIALOG_HELP_BUTTON);
    CompoundString label = MakeCompoundString(question);
    CompoundString text = MakeCompoundString(deftext);
    XtVaSetValues(dialog, XmNselectionLabelString, label.get(), XmNtextString, text.get(), nullptr);
    PlaceDialog(dialog);

    XtAppContext app = XtWidgetToApplicationContext(dialog);
    while (WMStrAnswer == 0) {
        XtAppProcessEvent(app, XtIMAll);
    }
    if (close != nullptr) {
        close->handler = nullptr;
    }
    if (!gone) {
        XtRemoveCallback(dialog, XmNdestroyCallback, PromptGoneCB, &gone);
        XtRemoveCallback(dialog, XmNokCallback, WMReadString, answer);
        XtRemoveCallback(dialog, XmNcancelCallback, WMReadString, answer);
        DestroyDialog(dialog);
    }
    return WMStrAnswer;
}

} // namespace
} // namespace lx::wm

extern "C" void WMReadString(Widget, XtPointer client, XtPointer call_data)
{
    lx::wm::GuardCallback(__func__, [client, call_data] {
        char *answer = static_cast<char *>(client);
        auto *cbs = static_cast<XmSelectionBoxCallbackStruct *>(call_data);
        if (cbs != nullptr && cbs->reason == XmCR_OK && answer != nullptr) {
            if (auto text = lx::wm::ReadCompoundString(cbs->value)) {
                std::strncpy(answer, text->c_str(), WM_ANSWER_SIZE - 1);
                answer[WM_ANSWER_SIZE - 1] = '\0';
                WMStrAnswer = 1;
                return;
            }
        }
        lx::wm::EmptyAnswer(answer);
        WMStrAnswer = -1;
    });
}

extern "C" int WMAskString(const char *question, char *answer, const char *deftext)
{
    int result = -1;
    lx::wm::GuardCallback(__func__, [&] { result = lx::wm::AskString(question, answer, deftext); });
    return result;
}
