// The value column follows the view's width, so that a wider window shows longer values whole.
// The grid packs its cells in boxes of one size, as wide as its widest cell: the "Value" title
// asks for half the view, and with it every cell of both columns takes that width. Cells that
// ask for more keep the boxes at their own width, so a narrow window scrolls sideways as before.
#include <algorithm>

#include <Xm/Label.h>
#include <Xm/ScrolledW.h>

#include "form_internal.h"

namespace {

// Kept free at the view's right edge, so that no rounding ever makes the grid wider than the view:
// a horizontal bar would take height from the view, which may bring up the vertical bar, narrow
// the view, shrink the grid and take the horizontal bar away again, without end.
constexpr int kSlack = 8;

struct ValueColumn {
    Widget clip = nullptr;
    Widget grid = nullptr;
    Widget title = nullptr; // the label inside the "Value" title's frame
    Dimension sizedFor = 0; // the view width the title was last sized for
};
ValueColumn column;

Dimension width(Widget w)
{
    Dimension value = 0;
    XtVaGetValues(w, XmNwidth, &value, nullptr);
    return value;
}

// The title's width: half of what the view leaves besides the grid's margins and its spacing.
void fitTitleToView()
{
    const Dimension view = width(column.clip);
    if (column.title == nullptr || view == column.sizedFor)
        return;
    column.sizedFor = view;
    Dimension margin = 0, spacing = 0, frameShadow = 0, frameMargin = 0;
    XtVaGetValues(column.grid, XmNmarginWidth, &margin, XmNspacing, &spacing, nullptr);
    XtVaGetValues(XtParent(column.title), XmNshadowThickness, &frameShadow, XmNmarginWidth, &frameMargin, nullptr);
    const int box = (view - kSlack - 2 * margin - spacing) / 2;
    const int label = std::max(1, box - 2 * (frameShadow + frameMargin));
    // A label that does not recompute its size asks for the width it is given.
    XtVaSetValues(column.title, XmNrecomputeSize, False, XmNwidth, static_cast<Dimension>(label), nullptr);
}

void viewConfigured(Widget, XtPointer, XEvent *event, Boolean *)
{
    if (event->type == ConfigureNotify)
        fitTitleToView();
}

void forget(Widget, XtPointer, XtPointer) { column = {}; }

} // namespace

namespace lx::form {

void followViewWidth(Widget swindow, Widget grid, Widget valueTitle)
{
    column = {};
    XtVaGetValues(swindow, XmNclipWindow, &column.clip, nullptr);
    WidgetList children = nullptr;
    Cardinal count = 0;
    XtVaGetValues(valueTitle, XmNchildren, &children, XmNnumChildren, &count, nullptr);
    if (column.clip == nullptr || count == 0)
        return;
    column.grid = grid;
    column.title = children[0];
    fitTitleToView();
    XtAddEventHandler(column.clip, StructureNotifyMask, False, viewConfigured, nullptr);
    XtAddCallback(grid, XmNdestroyCallback, forget, nullptr);
}

} // namespace lx::form
