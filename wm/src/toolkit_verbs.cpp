#include "toolkit_verbs.h"

#include <Xm/MessageB.h>
#include <Xm/SelectioB.h>

namespace lx::wm {

CompoundString MakeCompoundString(const char *text)
{
    return CompoundString(
        XmStringCreateLtoR(const_cast<char *>(text ? text : ""), const_cast<char *>(XmFONTLIST_DEFAULT_TAG)));
}

std::optional<std::string> ReadCompoundString(XmString text)
{
    if (text == nullptr) {
        return std::nullopt;
    }
    // XmStringGetLtoR stops at the first line break; walking the segments keeps every line.
    XmStringContext context = nullptr;
    if (!XmStringInitContext(&context, text)) {
        return std::nullopt;
    }
    std::string result;
    char *segment = nullptr;
    XmStringCharSet tag = nullptr;
    XmStringDirection direction{};
    Boolean separator = False;
    while (XmStringGetNextSegment(context, &segment, &tag, &direction, &separator)) {
        result += segment != nullptr ? segment : "";
        if (separator) {
            result += '\n';
        }
        XtFree(segment);
        XtFree(tag);
    }
    XmStringFreeContext(context);
    return result;
}

void RemoveMessageBoxButton(Widget box, unsigned char which)
{
    if (Widget child = XmMessageBoxGetChild(box, which)) {
        XtUnmanageChild(child);
    }
}

void RemoveSelectionBoxButton(Widget box, unsigned char which)
{
    if (Widget child = XmSelectionBoxGetChild(box, which)) {
        XtUnmanageChild(child);
    }
}

void DestroyDialog(Widget dialog)
{
    if (dialog == nullptr) {
        return;
    }
    XtUnmanageChild(dialog);
    XtDestroyWidget(dialog);
}

void ShowPopupShell(Widget shell) { XtPopup(shell, XtGrabNone); }

void HidePopupShell(Widget shell)
{
    XtPopdown(shell); // a no-op for a shell that is not up
}

void FitShellToChild(Widget shell, Widget child)
{
    XtWidgetGeometry preferred{};
    XtQueryGeometry(child, nullptr, &preferred);
    if ((preferred.request_mode & CWWidth) && (preferred.request_mode & CWHeight) && preferred.width > 0 &&
        preferred.height > 0) {
        XtVaSetValues(shell, XmNwidth, ToArgVal(preferred.width), XmNheight, ToArgVal(preferred.height), nullptr);
    }
}

void StopTimer(XtIntervalId &id)
{
    if (id != 0) {
        XtIntervalId pending = id;
        id = 0;
        XtRemoveTimeOut(pending);
    }
}

Widget FindWmShell(Widget w)
{
    while (w != nullptr && !XtIsWMShell(w)) {
        w = XtParent(w);
    }
    return w;
}

} // namespace lx::wm
