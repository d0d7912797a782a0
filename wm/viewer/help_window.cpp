#include "help_window.h"

#include <lumarix/wm.h>

#include <Xm/Form.h>
#include <Xm/PushB.h>
#include <Xm/Text.h>

#include <cstdlib>

namespace lx::wm {
namespace {

void CloseCB(Widget, XtPointer, XtPointer) { std::exit(0); }

void WindowClosed(void *, void *) { std::exit(0); }

std::string WindowTitle(const HelpPageText &text, const std::string &path)
{
    if (!text.title.empty()) {
        return "Lumarix Help: " + text.title;
    }
    const size_t slash = path.rfind('/');
    return "Lumarix Help: " + (slash == std::string::npos ? path : path.substr(slash + 1));
}

} // namespace

int RunHelpWindow(const HelpPageText &text, const std::string &path)
{
    WMSetResizable(1);
    Widget form = CreateMainForm(WindowTitle(text, path).c_str());
    if (form == nullptr) {
        return 1;
    }
    Widget close =
        XtVaCreateManagedWidget("Close", xmPushButtonWidgetClass, form, XmNrightAttachment, XmATTACH_FORM,
                                XmNbottomAttachment, XmATTACH_FORM, XmNrightOffset, 8, XmNbottomOffset, 8, nullptr);
    XtAddCallback(close, XmNactivateCallback, CloseCB, nullptr);
    Arg args[12];
    int n = 0;
    XtSetArg(args[n], XmNeditMode, XmMULTI_LINE_EDIT), ++n;
    XtSetArg(args[n], XmNeditable, False), ++n;
    XtSetArg(args[n], XmNcursorPositionVisible, False), ++n;
    XtSetArg(args[n], XmNwordWrap, True), ++n;
    XtSetArg(args[n], XmNscrollHorizontal, False), ++n;
    XtSetArg(args[n], XmNrows, 30), ++n;
    XtSetArg(args[n], XmNcolumns, 80), ++n;
    XtSetArg(args[n], XmNvalue, text.body.c_str()), ++n;
    Widget body = XmCreateScrolledText(form, const_cast<char *>("helpText"), args, n);
    XtVaSetValues(XtParent(body), XmNtopAttachment, XmATTACH_FORM, XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment,
                  XmATTACH_FORM, XmNbottomAttachment, XmATTACH_WIDGET, XmNbottomWidget, close, XmNtopOffset, 8,
                  XmNleftOffset, 8, XmNrightOffset, 8, XmNbottomOffset, 8, nullptr);
    XtManageChild(body);
    AddDeleteWindowHandler(XtParent(form), WindowClosed, nullptr);
    XtRealizeWidget(XtParent(form));
    XtAppMainLoop(WMGetAppContext());
    return 0;
}

} // namespace lx::wm
