// Scrolling a long form: the mouse wheel over any row or over the scroll bar moves the form
// three rows a notch, a scroll-arrow click one row, and Page Up/Down in a value move the view by one view and the focus with
// it. Rows take the wheel's buttons and the keys for themselves, so the form looks at these
// events before any widget does, through the display's event dispatchers.
#include <algorithm>

#include <X11/keysym.h>
#include <Xm/ScrollBar.h>
#include <Xm/ScrolledW.h>

#include <lumarix/editor.h>

#include "form_internal.h"

namespace {

constexpr int kRowsPerNotch = 3;

struct Scrolling {
    Widget swindow = nullptr;
    Widget grid = nullptr;
    XtEventDispatchProc previousButton = nullptr;
    XtEventDispatchProc previousRelease = nullptr;
    XtEventDispatchProc previousKey = nullptr;
};
Scrolling scrolling;

// The distance from one row to the next: all rows of the grid are equally high.
int rowPitch()
{
    WidgetList cells = nullptr;
    Cardinal count = 0;
    XtVaGetValues(scrolling.grid, XmNchildren, &cells, XmNnumChildren, &count, nullptr);
    if (count < 4)
        return 1;
    Position first = 0, second = 0;
    XtVaGetValues(cells[0], XmNy, &first, nullptr);
    XtVaGetValues(cells[2], XmNy, &second, nullptr);
    return std::max(1, second - first);
}

bool inForm(Widget w)
{
    for (; w != nullptr; w = XtParent(w))
        if (w == scrolling.swindow)
            return true;
    return false;
}

Widget verticalBar()
{
    Widget bar = nullptr;
    XtVaGetValues(scrolling.swindow, XmNverticalScrollBar, &bar, nullptr);
    return bar != nullptr && XtIsManaged(bar) ? bar : nullptr;
}

// Moves the view by `delta` pixels (negative: up).
void scrollBy(int delta)
{
    Widget bar = verticalBar();
    if (bar == nullptr)
        return;
    int value = 0, slider = 0, increment = 0, page = 0, minimum = 0, maximum = 0;
    XmScrollBarGetValues(bar, &value, &slider, &increment, &page);
    XtVaGetValues(bar, XmNminimum, &minimum, XmNmaximum, &maximum, nullptr);
    int target = std::clamp(value + delta, minimum, std::max(minimum, maximum - slider));
    if (target != value)
        XmScrollBarSetValues(bar, target, slider, increment, page, True);
}

int viewHeight()
{
    Widget bar = verticalBar();
    int value = 0, slider = 0, increment = 0, page = 0;
    if (bar != nullptr)
        XmScrollBarGetValues(bar, &value, &slider, &increment, &page);
    return slider;
}

bool isWheel(const XEvent *event) { return event->xbutton.button == Button4 || event->xbutton.button == Button5; }

Boolean dispatchWheel(XEvent *event, XtEventDispatchProc previous)
{
    if (scrolling.swindow != nullptr && isWheel(event) &&
        inForm(XtWindowToWidget(event->xany.display, event->xany.window))) {
        if (event->type == ButtonPress) {
            int direction = event->xbutton.button == Button4 ? -1 : 1;
            scrollBy(direction * kRowsPerNotch * rowPitch());
        }
        return True;
    }
    return previous(event);
}

Boolean dispatchButton(XEvent *event) { return dispatchWheel(event, scrolling.previousButton); }
Boolean dispatchRelease(XEvent *event) { return dispatchWheel(event, scrolling.previousRelease); }

int rowOf(Widget focus)
{
    for (int i = 0; i < gNumVars; ++i) {
        Widget value = gVarList[i].valueWidget;
        if (value != nullptr && (focus == value || XtParent(focus) == value))
            return i;
    }
    return -1;
}

// The view moves by its height; the focus moves as many rows, to the nearest row with a value.
void page(int direction, Widget focus)
{
    int pitch = std::max(1, rowPitch());
    int rowsPerView = std::max(1, viewHeight() / pitch);
    scrollBy(direction * rowsPerView * pitch);
    int row = rowOf(focus);
    if (row < 0)
        return;
    int target = std::clamp(row + direction * rowsPerView, 0, gNumVars - 1);
    for (int step = 0; step < gNumVars; ++step) {
        for (int candidate : {target - direction * step, target + direction * step}) {
            if (candidate >= 0 && candidate < gNumVars && gVarList[candidate].valueWidget != nullptr) {
                XmProcessTraversal(gVarList[candidate].valueWidget, XmTRAVERSE_CURRENT);
                return;
            }
        }
    }
}

Boolean dispatchKey(XEvent *event)
{
    if (scrolling.swindow != nullptr && event->type == KeyPress) {
        KeySym sym = XLookupKeysym(&event->xkey, 0);
        if (sym == XK_Prior || sym == XK_Next || sym == XK_KP_Prior || sym == XK_KP_Next) {
            Widget target = XtWindowToWidget(event->xany.display, event->xany.window);
            Widget focus = target != nullptr ? XmGetFocusWidget(target) : nullptr;
            if (focus != nullptr && inForm(focus)) {
                page(sym == XK_Next || sym == XK_KP_Next ? 1 : -1, focus);
                return True;
            }
        }
    }
    return scrolling.previousKey(event);
}

void forget(Widget, XtPointer, XtPointer) { scrolling.swindow = nullptr; }

} // namespace

namespace lx::form {

void scrollWithWheelAndPageKeys(Widget swindow, Widget grid)
{
    scrolling.swindow = swindow;
    scrolling.grid = grid;
    // One click on a scroll arrow moves one row.
    if (Widget bar = verticalBar())
        XtVaSetValues(bar, XmNincrement, rowPitch(), nullptr);
    XtAddCallback(swindow, XmNdestroyCallback, forget, nullptr);
    if (scrolling.previousKey != nullptr)
        return; // installed once per process; later forms take over
    Display *display = XtDisplay(swindow);
    scrolling.previousButton = XtSetEventDispatcher(display, ButtonPress, dispatchButton);
    scrolling.previousRelease = XtSetEventDispatcher(display, ButtonRelease, dispatchRelease);
    scrolling.previousKey = XtSetEventDispatcher(display, KeyPress, dispatchKey);
}

} // namespace lx::form
