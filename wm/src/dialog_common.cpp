#include "dialog_common.h"
#include "layer_state.h"
#include "toolkit_verbs.h"

#include <lumarix/wm.h>

#include <Xm/BulletinB.h>
#include <Xm/ToggleB.h>

#include <cstdio>
#include <string>

#include <X11/Shell.h>

namespace lx::wm {

const char *FormatMessage(const char *format, va_list args)
{
    auto &buffer = State().message;
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    return buffer.data();
}

Widget DialogParent()
{
    LayerState &s = State();
    if (s.dialogParentOverride != nullptr) {
        return s.dialogParentOverride;
    }
    if (s.display == nullptr || baseshell == nullptr) {
        // A program without a main window can still ask and warn.
        Widget confirm = CreateAppShell("Confirm");
        if (confirm == nullptr) {
            return nullptr;
        }
        baseshell = confirm;
    }
    return baseshell;
}

int PlaceDialogCoordinate(int centre, int size, int screenSize)
{
    int at = centre - size / 2;
    if (at < 50) {
        at = 50;
    }
    if (at >= screenSize - size) {
        at = screenSize - size;
    }
    return at;
}

namespace {

void FlipSuppressFlagCB(Widget, XtPointer client, XtPointer)
{
    GuardCallback(__func__, [client] {
        int *flag = static_cast<int *>(client);
        *flag = *flag ? 0 : 1;
    });
}

// The nearest bulletin board re-centres its dialog on every manage unless told not to.
void StopDefaultPositioning(Widget dialog)
{
    for (Widget w = dialog; w != nullptr; w = XtParent(w)) {
        if (XmIsBulletinBoard(w)) {
            XtVaSetValues(w, XmNdefaultPosition, False, nullptr);
            return;
        }
    }
}

} // namespace

std::string WrapLines(const std::string &text, size_t width)
{
    std::string out;
    size_t lineStart = 0;
    while (lineStart <= text.size()) {
        size_t end = text.find('\n', lineStart);
        std::string line = text.substr(lineStart, end == std::string::npos ? std::string::npos : end - lineStart);
        while (line.size() > width) {
            size_t cut = line.rfind(' ', width);
            if (cut == std::string::npos || cut == 0) {
                break; // one word longer than the width stays whole
            }
            out += line.substr(0, cut) + '\n';
            line.erase(0, cut + 1);
        }
        out += line;
        if (end == std::string::npos) {
            break;
        }
        out += '\n';
        lineStart = end + 1;
    }
    return out;
}

CompoundString MakeWrappedMessage(const char *text)
{
    return MakeCompoundString(WrapLines(text != nullptr ? text : "", 80).c_str());
}

void SetDialogTitle(Widget dialog, const char *kind)
{
    char *mainTitle = nullptr;
    if (baseshell != nullptr && XtIsWMShell(baseshell)) {
        XtVaGetValues(baseshell, XmNtitle, &mainTitle, nullptr);
    }
    std::string title = (mainTitle != nullptr && mainTitle[0] != '\0') ? std::string(mainTitle) + ": " + kind : kind;
    XtVaSetValues(XtParent(dialog), XmNtitle, title.c_str(), nullptr);
}

void AddSuppressToggle(Widget dialog, int *suppress, const char *label)
{
    CompoundString text = MakeCompoundString(label);
    Arg args[4];
    Cardinal count = 0;
    XtSetArg(args[count], XmNlabelString, text.get()), ++count;
    XtSetArg(args[count], XmNset, False), ++count;
    XtSetArg(args[count], XmNalignment, XmALIGNMENT_BEGINNING), ++count;
    if (State().backgroundPixel != 0) {
        XtSetArg(args[count], XmNbackground, State().backgroundPixel), ++count;
    }
    Widget toggle = XmCreateToggleButton(dialog, const_cast<char *>("NAtoggle"), args, count);
    XtAddCallback(toggle, XmNvalueChangedCallback, FlipSuppressFlagCB, suppress);
    XtManageChild(toggle);
}

} // namespace lx::wm

using namespace lx::wm;

extern "C" void WMCenterNextDialog(void) { State().centreNextDialog = true; }

extern "C" void WMSetDialogParent(Widget parent) { State().dialogParentOverride = parent; }

extern "C" void PlaceDialog(Widget dialog)
{
    LayerState &s = State();
    Widget shell = XtParent(dialog);
    XtVaSetValues(shell, XmNmappedWhenManaged, False, nullptr);
    StopDefaultPositioning(dialog);
    if (!XtIsManaged(dialog)) {
        XtManageChild(dialog);
    }
    Dimension width = 0, height = 0;
    XtVaGetValues(dialog, XmNwidth, &width, XmNheight, &height, nullptr);

    Display *display = XtDisplay(dialog);
    Screen *screen = DefaultScreenOfDisplay(display);
    int centreX = 0, centreY = 0;
    if (s.centreNextDialog) {
        s.centreNextDialog = false;
        centreX = WidthOfScreen(screen) / 2;
        centreY = HeightOfScreen(screen) / 2;
    } else {
        Window on =
            (baseshell != nullptr && XtWindow(baseshell) != 0) ? XtWindow(baseshell) : RootWindowOfScreen(screen);
        Window root = 0, child = 0;
        int winX = 0, winY = 0;
        unsigned int mask = 0;
        XQueryPointer(display, on, &root, &child, &centreX, &centreY, &winX, &winY, &mask);
    }
    const int x = PlaceDialogCoordinate(centreX, width, WidthOfScreen(screen));
    const int y = PlaceDialogCoordinate(centreY, height, HeightOfScreen(screen));

    XtVaSetValues(shell, XmNx, ToArgVal(x), XmNy, ToArgVal(y), nullptr);
    XtMapWidget(shell);
    XRaiseWindow(display, XtWindow(shell));
    XtVaSetValues(shell, XmNmappedWhenManaged, True, nullptr);
}

extern "C" void WMyes(Widget, XtPointer answer, XtPointer) { *static_cast<int32_t *>(answer) = 1; }
extern "C" void WMno(Widget, XtPointer answer, XtPointer) { *static_cast<int32_t *>(answer) = 0; }
extern "C" void WMchoice1(Widget, XtPointer answer, XtPointer) { *static_cast<int32_t *>(answer) = 1; }
extern "C" void WMchoice2(Widget, XtPointer answer, XtPointer) { *static_cast<int32_t *>(answer) = 2; }
extern "C" void WMchoice3(Widget, XtPointer answer, XtPointer) { *static_cast<int32_t *>(answer) = 3; }
