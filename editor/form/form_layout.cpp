// The grid's two columns: labels as wide as the widest label, values taking the rest of the
// view's width, so that a wider window shows longer values whole. All rows are equally high,
// which keeps them aligned and gives the scrolling a fixed row pitch.
#include <algorithm>
#include <vector>

#include <X11/IntrinsicP.h>
#include <Xm/RowColumn.h>
#include <Xm/ScrolledW.h>

#include "form_internal.h"

namespace {

constexpr Dimension kMargin = 3;  // around the grid
constexpr Dimension kSpacing = 3; // between the columns and between the rows

struct Grid {
    Widget swindow = nullptr;
    Widget clip = nullptr;
    Widget grid = nullptr;
    // Cells in reading order: the two titles, then each row's label and value.
    std::vector<Widget> cells;
    std::vector<Dimension> ownWidths; // what each cell asks for
    Dimension rowHeight = 0, labelWidth = 0, minValueWidth = 0;
    Dimension laidOutFor = 0; // the view width of the last layout
};
Grid current;

void measureCells()
{
    WidgetList children = nullptr;
    Cardinal count = 0;
    XtVaGetValues(current.grid, XmNchildren, &children, XmNnumChildren, &count, nullptr);
    current.cells.assign(children, children + count);
    current.ownWidths.clear();
    for (size_t i = 0; i < current.cells.size(); ++i) {
        XtWidgetGeometry preferred{};
        XtQueryGeometry(current.cells[i], nullptr, &preferred);
        current.ownWidths.push_back(preferred.width);
        current.rowHeight = std::max(current.rowHeight, preferred.height);
        Dimension &column = i % 2 == 0 ? current.labelWidth : current.minValueWidth;
        column = std::max(column, preferred.width);
    }
}

Dimension gridHeight()
{
    const auto rows = static_cast<Dimension>((current.cells.size() + 1) / 2);
    return static_cast<Dimension>(2 * kMargin + rows * (current.rowHeight + kSpacing) - kSpacing);
}

Dimension viewWidth()
{
    Dimension width = 0, shadow = 0;
    XtVaGetValues(current.clip, XmNwidth, &width, nullptr);
    XtVaGetValues(current.swindow, XmNshadowThickness, &shadow, nullptr);
    // The scrolled window shows a horizontal bar for a work area that comes within its shadow
    // of the view's edge; keeping clear of it keeps the bar from coming and going.
    return width > 2 * shadow ? static_cast<Dimension>(width - 2 * shadow) : 0;
}

void layOut(Dimension view)
{
    const Dimension fixed = 2 * kMargin + current.labelWidth + kSpacing;
    const Dimension valueWidth = std::max<Dimension>(current.minValueWidth, view > fixed ? view - fixed : 0);
    for (size_t i = 0; i < current.cells.size(); ++i) {
        const bool value = i % 2 == 1;
        const auto row = static_cast<Position>(i / 2);
        Dimension width = value ? valueWidth : current.labelWidth;
        // An option menu keeps its own width: its button does not stretch.
        if (value && XmIsRowColumn(current.cells[i]))
            width = current.ownWidths[i];
        XtConfigureWidget(current.cells[i], static_cast<Position>(value ? fixed - kMargin : kMargin),
                          static_cast<Position>(kMargin + row * (current.rowHeight + kSpacing)), width,
                          current.rowHeight, 0);
    }
    XtVaSetValues(current.grid, XmNwidth, static_cast<Dimension>(fixed + valueWidth), XmNheight, gridHeight(),
                  nullptr);
    current.laidOutFor = view;
}

void viewResized(Widget, XtPointer, XEvent *event, Boolean *)
{
    if (event->type == ConfigureNotify)
        lx::form::viewMayHaveChanged();
}

void forget(Widget, XtPointer, XtPointer) { current = {}; }

} // namespace

namespace lx::form {

void followViewWidth(Widget swindow, Widget grid)
{
    current = {};
    current.swindow = swindow;
    current.grid = grid;
    XtVaGetValues(swindow, XmNclipWindow, &current.clip, nullptr);
    if (current.clip == nullptr)
        return;
    measureCells();
    // Values at their own widths until the realized scrolled window knows its view's width.
    layOut(0);
    XtAddEventHandler(current.clip, StructureNotifyMask, False, viewResized, nullptr);
    XtAddCallback(grid, XmNdestroyCallback, forget, nullptr);
}

// A new grid size may bring or take away a scroll bar and so change the view's width again.
void viewMayHaveChanged()
{
    for (int round = 0; round < 3 && current.grid != nullptr && viewWidth() != current.laidOutFor; ++round)
        layOut(viewWidth());
}

} // namespace lx::form
