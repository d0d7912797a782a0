// Start-up once the description file is read: the main window, its action area and parameter
// form, then the event loop.
#include <Xm/Form.h>
#include <Xm/PushB.h>
#include <Xm/RowColumn.h>

#include <lumarix/wm.h>

#include "editor_window.h"
#include "form_internal.h"

Widget gwMainShell = nullptr;
Widget gwSaveButton = nullptr;

namespace {

Widget addButton(Widget area, const char *name, XtCallbackProc callback, XtPointer clientData)
{
    Widget button = XmCreatePushButton(area, const_cast<char *>(name), nullptr, 0);
    XtAddCallback(button, XmNactivateCallback, callback, clientData);
    XtManageChild(button);
    return button;
}

void closeRequested(void *, void *) { DoneCB(nullptr, nullptr, nullptr); }

char helpTopic[] = "Parmset";

} // namespace

namespace lx::form {

// Closing the window through the window manager is the same as pressing Done.
void installCloseAsDone(Widget shell) { AddDeleteWindowHandler(shell, closeRequested, nullptr); }

} // namespace lx::form

extern "C" Widget CreateActionArea(Widget form)
{
    Arg args[3];
    int n = 0;
    XtSetArg(args[n], XmNorientation, XmHORIZONTAL), ++n;
    XtSetArg(args[n], XmNbottomAttachment, XmATTACH_FORM), ++n;
    XtSetArg(args[n], XmNrightAttachment, XmATTACH_FORM), ++n;
    Widget area = XmCreateRowColumn(form, const_cast<char *>("action_area"), args, n);
    Widget done = addButton(area, "Done", DoneCB, nullptr);
    gwSaveButton = addButton(area, "Save", SaveCB, nullptr);
    addButton(area, "Revert", RevertCB, nullptr);
    addButton(area, "Help", WMHelpCB, helpTopic);
    XtManageChild(area);
    XtVaSetValues(form, XmNcancelButton, done, nullptr);
    return area;
}

extern "C" Widget BuildEditorWindow(Widget form)
{
    Widget actionArea = CreateActionArea(form);
    Widget frame = BuildParameterForm(form);
    if (frame == nullptr)
        return nullptr;
    XtVaSetValues(frame, XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM, XmNtopAttachment,
                  XmATTACH_FORM, XmNbottomAttachment, XmATTACH_WIDGET, XmNbottomWidget, actionArea, nullptr);
    // The rows are tab groups of their own; registering the buttons after them puts them last.
    XtVaSetValues(actionArea, XmNnavigationType, XmEXCLUSIVE_TAB_GROUP, nullptr);
    lx::form::installCloseAsDone(XtParent(form));
    return frame;
}

extern "C" void RealizeEditorWindow(Widget shell)
{
    // Mapped only once complete, so that the first picture shows every row.
    XtSetMappedWhenManaged(shell, False);
    XtRealizeWidget(shell);
    lx::form::completeForm();
    XtSetMappedWhenManaged(shell, True);
    XtMapWidget(shell);
}

extern "C" int RunEditorWindow(void)
{
    WMSetResizable(1);
    Widget form = CreateMainForm(gcMainTitle);
    if (form == nullptr)
        return 1;
    gwMainShell = XtParent(form);
    if (BuildEditorWindow(form) == nullptr)
        return 1;
    RealizeEditorWindow(gwMainShell);
    XtAppMainLoop(WMGetAppContext());
    return 0;
}
