// The warning dialog, plain and with a "don't show again" toggle; every warning is logged.
#include "dialog_common.h"
#include "layer_state.h"
#include "toolkit_verbs.h"

#include <lumarix/wm.h>

#include <Xm/MessageB.h>

#include <cstdio>

namespace lx::wm {
namespace {

void DestroyWarningCB(Widget w, XtPointer, XtPointer)
{
    GuardCallback(__func__, [w] { DestroyDialog(w); });
}

Widget ShowWarningText(const char *text, int *suppress)
{
    WriteLog("WMShowWarning: %s", text);
    Widget parent = DialogParent();
    if (parent == nullptr) {
        std::fprintf(stderr, "%s\n", text);
        return nullptr;
    }
    CompoundString message = MakeWrappedMessage(text);
    Arg args[2];
    XtSetArg(args[0], XmNmessageString, message.get());
    XtSetArg(args[1], XmNdialogStyle, XmDIALOG_MODELESS);
    Widget dialog = XmCreateWarningDialog(parent, const_cast<char *>("warning"), args, 2);
    RemoveMessageBoxButton(dialog, XmDIALOG_CANCEL_BUTTON);
    RemoveMessageBoxButton(dialog, XmDIALOG_HELP_BUTTON);
    XtAddCallback(dialog, XmNokCallback, DestroyWarningCB, nullptr);
    XtAddCallback(dialog, XmNcancelCallback, DestroyWarningCB, nullptr);
    if (suppress != nullptr) {
        AddSuppressToggle(dialog, suppress, "Don't show me this warning again");
    }
    SetDialogTitle(dialog, "Warning");
    PlaceDialog(dialog);
    // The caller may keep the event loop busy after warning; show the dialog now.
    if (baseshell != nullptr && XtWindow(baseshell) != 0) {
        XmUpdateDisplay(baseshell);
    }
    return dialog;
}

} // namespace
} // namespace lx::wm

using namespace lx::wm;

extern "C" Widget WMShowWarning(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const char *text = FormatMessage(format, args);
    va_end(args);
    Widget dialog = nullptr;
    GuardCallback(__func__, [&] { dialog = ShowWarningText(text, nullptr); });
    return dialog;
}

extern "C" Widget WMShowWarningSuppressible(int *suppress, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const char *text = FormatMessage(format, args);
    va_end(args);
    if (suppress != nullptr && *suppress) {
        WriteLog("WMShowWarning (dialog disabled by user): %s", text);
        return nullptr;
    }
    Widget dialog = nullptr;
    GuardCallback(__func__, [&] { dialog = ShowWarningText(text, suppress); });
    return dialog;
}
