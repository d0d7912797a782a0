// The information note, which can close itself after some seconds.
#include "dialog_common.h"
#include "layer_state.h"
#include "toolkit_verbs.h"

#include <lumarix/wm.h>

#include <Xm/MessageB.h>

#include <cstdint>
#include <cstdio>

namespace lx::wm {
namespace {

// OK hides the note through the message box's own automatic unmanage.
void AcknowledgeInfoCB(Widget, XtPointer, XtPointer) { State().infoAcknowledge = 0; }

// A note destroyed before its timer fires (with its parent, say) must not be destroyed twice.
void ForgetInfoTimerCB(Widget, XtPointer client, XtPointer)
{
    XtRemoveTimeOut(static_cast<XtIntervalId>(reinterpret_cast<uintptr_t>(client)));
}

} // namespace
} // namespace lx::wm

using namespace lx::wm;

extern "C" void WMPostinfotimeout(XtPointer dialog, XtIntervalId *id)
{
    GuardCallback(__func__, [dialog, id] {
        Widget note = static_cast<Widget>(dialog);
        // Inside a nested event loop the destruction waits for the outer callback to return,
        // by when Xt may have handed this timer's id to another timer.
        if (id != nullptr) {
            XtRemoveCallback(note, XmNdestroyCallback, ForgetInfoTimerCB,
                             reinterpret_cast<XtPointer>(static_cast<uintptr_t>(*id)));
        }
        DestroyDialog(note);
    });
}

extern "C" int WMShowInfo(const char *text, int seconds)
{
    GuardCallback(__func__, [&] {
        Widget parent = DialogParent();
        if (parent == nullptr) {
            std::fprintf(stderr, "%s\n", text != nullptr ? text : "");
            return;
        }
        Widget dialog = XmCreateInformationDialog(parent, const_cast<char *>("info_dialog"), nullptr, 0);
        RemoveMessageBoxButton(dialog, XmDIALOG_CANCEL_BUTTON);
        RemoveMessageBoxButton(dialog, XmDIALOG_HELP_BUTTON);
        XtAddCallback(dialog, XmNokCallback, AcknowledgeInfoCB, nullptr);
        XtAddCallback(dialog, XmNcancelCallback, AcknowledgeInfoCB, nullptr);
        CompoundString message = MakeWrappedMessage(text);
        XtVaSetValues(dialog, XmNmessageString, message.get(), nullptr);
        State().infoAcknowledge = 1;
        SetDialogTitle(dialog, "Note");
        PlaceDialog(dialog);
        if (seconds >= 1) {
            XtIntervalId timer =
                XtAppAddTimeOut(XtWidgetToApplicationContext(dialog), static_cast<unsigned long>(seconds) * 1000UL,
                                WMPostinfotimeout, dialog);
            XtAddCallback(dialog, XmNdestroyCallback, ForgetInfoTimerCB,
                          reinterpret_cast<XtPointer>(static_cast<uintptr_t>(timer)));
        }
    });
    return 0;
}
