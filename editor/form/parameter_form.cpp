// The parameter form: a framed, scrolled grid of rows (help button, value widget), and the
// transfer of values between the widgets and the variable table.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <Xm/Frame.h>
#include <Xm/Label.h>
#include <Xm/PushB.h>
#include <Xm/RowColumn.h>
#include <Xm/ScrolledW.h>
#include <Xm/TextF.h>

#include <lumarix/settings.h>
#include <lumarix/wm.h>

#include "config_file.h"
#include "editor_window.h"
#include "form_internal.h"
#include "text_rules.h"

namespace {

// The unset entry "-----" of each optional option menu. It is also stored after the last
// choice in choiceWidgets, but a variable with 20 choices has no slot left there.
std::array<Widget, MAX_VARS> unsetEntries{};

bool isOptionMenu(const ConfigVar &var) { return var.type == VAR_BOOLEAN || var.type == VAR_ONEOFMANY; }
bool isTextField(const ConfigVar &var) { return var.type == VAR_SIMPLE || var.type == VAR_MULTIVALUE; }

void setUserData(Widget w, long index) { XtVaSetValues(w, XmNuserData, reinterpret_cast<XtPointer>(index), nullptr); }

long userData(Widget w)
{
    XtPointer data = nullptr;
    XtVaGetValues(w, XmNuserData, &data, nullptr);
    return static_cast<long>(reinterpret_cast<intptr_t>(data));
}

// Every cell is created unmanaged and the grid's cells are managed in one call, so that the
// rows are laid out once rather than once per row.
struct PendingCells {
    Widget grid = nullptr;
    std::vector<Widget> cells;       // managed with the grid
    std::vector<Widget> optionMenus; // managed once the window is realized (see below)
    Widget valueTitle = nullptr;     // managed with them, once as wide as the view asks
};
PendingCells pending;

Widget addTitleCell(Widget grid, const char *text)
{
    Widget frame = XmCreateFrame(grid, const_cast<char *>("frame"), nullptr, 0);
    XmString label = XmStringCreateLocalized(const_cast<char *>(text));
    XtVaCreateManagedWidget("info", xmLabelWidgetClass, frame, XmNlabelString, label, XmNalignment, XmALIGNMENT_CENTER,
                            nullptr);
    XmStringFree(label);
    return frame;
}

XtPointer indexData(int index) { return reinterpret_cast<XtPointer>(static_cast<intptr_t>(index)); }

void createHelpButton(Widget grid, int index)
{
    ConfigVar &var = gVarList[index];
    XmString label = XmStringCreateLocalized(var.shortDesc);
    // Flat, so that it reads as the row's label; Tab goes from value to value, not through these.
    Widget button =
        XtVaCreateWidget("info", xmPushButtonWidgetClass, grid, XmNlabelString, label, XmNshadowThickness, 0,
                         XmNhighlightThickness, 0, XmNtraversalOn, False, XmNalignment, XmALIGNMENT_BEGINNING, nullptr);
    XmStringFree(label);
    XtAddCallback(button, XmNactivateCallback, ShowHelp, indexData(index));
    WMSetHelpText(button, "%s", "Click for help on this setting, or press F1 in its value");
    pending.cells.push_back(button);
}

Widget createOptionMenu(Widget grid, int index)
{
    ConfigVar &var = gVarList[index];
    Widget pulldown = XmCreatePulldownMenu(grid, const_cast<char *>("pd"), nullptr, 0);
    int count = var.numChoices > 0 ? var.numChoices : 0;
    std::vector<Widget> entries;
    for (int i = 0; i < count && i < MAX_CHOICES; ++i) {
        // The widget's name is the choice text, so the name is also its label.
        Widget entry = XmCreatePushButton(pulldown, var.choices[i], nullptr, 0);
        setUserData(entry, i);
        entries.push_back(entry);
        var.choiceWidgets[i] = entry;
    }
    unsetEntries[static_cast<size_t>(index)] = nullptr;
    if (var.optional && var.value[0] == '\0') {
        Widget unset = XmCreatePushButton(pulldown, const_cast<char *>("-----"), nullptr, 0);
        setUserData(unset, -1);
        entries.push_back(unset);
        unsetEntries[static_cast<size_t>(index)] = unset;
        if (count < MAX_CHOICES)
            var.choiceWidgets[count] = unset;
    }
    XtManageChildren(entries.data(), static_cast<Cardinal>(entries.size()));
    Arg args[2];
    XtSetArg(args[0], XmNsubMenuId, pulldown);
    // Its own tab group, so that Tab goes through the rows in order whatever their kind.
    XtSetArg(args[1], XmNnavigationType, XmEXCLUSIVE_TAB_GROUP);
    Widget menu = XmCreateOptionMenu(grid, const_cast<char *>("optionMenu"), args, 2);
    pending.optionMenus.push_back(menu);
    return menu;
}

Widget createTextField(Widget grid)
{
    Widget field = XtVaCreateWidget("Label", xmTextFieldWidgetClass, grid, XmNeditable, True, XmNmaxLength, 255,
                                    XmNnavigationType, XmEXCLUSIVE_TAB_GROUP, nullptr);
    pending.cells.push_back(field);
    return field;
}

// A row whose type is unknown keeps an empty cell, so that the next rows stay in their columns.
void addEmptyValueCell(Widget grid)
{
    XmString empty = XmStringCreateLocalized(const_cast<char *>(""));
    pending.cells.push_back(
        XtVaCreateWidget("empty", xmLabelWidgetClass, grid, XmNlabelString, empty, XmNsensitive, False, nullptr));
    XmStringFree(empty);
}

void copyValue(char (&target)[256], const char *text) { std::snprintf(target, sizeof target, "%s", text); }

void loadOptionMenu(ConfigVar &var, size_t index, const char *found)
{
    Widget unset = unsetEntries[index];
    if (found == nullptr) {
        if (var.optional) {
            var.value[0] = '\0';
            if (unset != nullptr)
                XtVaSetValues(var.valueWidget, XmNmenuHistory, unset, nullptr);
        }
        return;
    }
    // Every choice is compared; the stored value takes the description file's spelling.
    for (int i = 0; i < var.numChoices && i < MAX_CHOICES; ++i) {
        if (lx::equalsIgnoreCase(found, var.choices[i])) {
            copyValue(var.value, var.choices[i]);
            XtVaSetValues(var.valueWidget, XmNmenuHistory, var.choiceWidgets[i], nullptr);
        }
    }
    if (var.optional && unset != nullptr)
        XtUnmanageChild(unset); // once a value is known, "no value" is no longer offered
}

void loadTextField(ConfigVar &var, const char *found)
{
    if (found == nullptr)
        return;
    copyValue(var.value, found);
    XmTextFieldSetString(var.valueWidget, var.value);
}

} // namespace

namespace lx::form {

std::optional<std::string> fieldText(ConfigVar &var)
{
    if (var.valueWidget == nullptr || !isTextField(var))
        return std::nullopt;
    char *text = XmTextFieldGetString(var.valueWidget);
    if (text == nullptr)
        return std::nullopt;
    std::string copy(text);
    XtFree(text);
    return copy;
}

void installWidgetReader()
{
    lx::FormReader reader;
    reader.widgetValue = [](ConfigVar &var, std::string &text, bool &changed) {
        char buffer[256];
        int changedFlag = 0;
        bool has = GetWidgetValue(&var, buffer, &changedFlag) == 1;
        changed = changedFlag != 0;
        if (has)
            text = buffer;
        return has;
    };
    reader.fieldText = fieldText;
    lx::installFormReader(std::move(reader));
}

} // namespace lx::form

extern "C" Widget BuildParameterForm(Widget parent)
{
    lx::form::installWidgetReader();
    Widget frame = XmCreateFrame(parent, const_cast<char *>("frame"), nullptr, 0);
    XtManageChild(frame);

    Arg args[4];
    int n = 0;
    XtSetArg(args[n], XmNwidth, 500), ++n;
    XtSetArg(args[n], XmNheight, 400), ++n;
    XtSetArg(args[n], XmNscrollingPolicy, XmAUTOMATIC), ++n;
    XtSetArg(args[n], XmNscrollBarDisplayPolicy, XmAS_NEEDED), ++n;
    Widget swindow = XmCreateScrolledWindow(frame, const_cast<char *>("swindow"), args, n);
    XtManageChild(swindow);
    // The keyboard goes from row to row (the view follows); the scroll bars are for the mouse.
    Widget horizontal = nullptr, vertical = nullptr;
    XtVaGetValues(swindow, XmNhorizontalScrollBar, &horizontal, XmNverticalScrollBar, &vertical, nullptr);
    for (Widget bar : {horizontal, vertical})
        if (bar != nullptr)
            XtVaSetValues(bar, XmNtraversalOn, False, nullptr);

    // Horizontal orientation: the "columns" are the rows, filled two cells at a time.
    Widget grid = XtVaCreateWidget("main_grid", xmRowColumnWidgetClass, swindow, XmNorientation, XmHORIZONTAL,
                                   XmNpacking, XmPACK_COLUMN, XmNnumColumns, static_cast<short>(gNumVars + 1), nullptr);
    pending = {};
    pending.grid = grid;
    pending.cells.push_back(addTitleCell(grid, "Parameter"));
    pending.valueTitle = addTitleCell(grid, "Value");

    for (int i = 0; i < gNumVars; ++i) {
        ConfigVar &var = gVarList[i];
        createHelpButton(grid, i);
        var.valueWidget = nullptr;
        if (isTextField(var))
            var.valueWidget = createTextField(grid);
        else if (isOptionMenu(var))
            var.valueWidget = createOptionMenu(grid, i);
        else
            addEmptyValueCell(grid);
        // F1 (the toolkit's help key) in the value shows the row's help, as its label does.
        if (var.valueWidget != nullptr)
            XtAddCallback(var.valueWidget, XmNhelpCallback, ShowHelp, indexData(i));
    }
    lx::form::followKeyboardFocus(swindow);
    LoadValues();
    XtManageChildren(pending.cells.data(), static_cast<Cardinal>(pending.cells.size()));
    XtManageChild(grid);
    return frame;
}

namespace lx::form {

// An option menu asks its parent for a new size when it is realized. Managed in the grid, each
// such request lays out every row again; realized while still unmanaged, the requests stay with
// the menus, and the grid lays the rows out once when they are all managed together. The
// "Value" title joins them, already as wide as the view wants the value column.
void manageOptionMenus()
{
    std::vector<Widget> late = std::move(pending.optionMenus);
    Widget grid = pending.grid;
    if (pending.valueTitle != nullptr) {
        if (XtIsRealized(grid))
            followViewWidth(XtParent(XtParent(grid)), grid, pending.valueTitle);
        late.push_back(pending.valueTitle);
    }
    pending = {};
    if (late.empty())
        return;
    if (XtIsRealized(grid))
        for (Widget cell : late)
            XtRealizeWidget(cell);
    XtManageChildren(late.data(), static_cast<Cardinal>(late.size()));
}

void completeForm()
{
    Widget grid = pending.grid;
    manageOptionMenus();
    if (grid != nullptr)
        scrollWithWheelAndPageKeys(XtParent(XtParent(grid)), grid);
}

} // namespace lx::form

extern "C" void LoadValues(void)
{
    FILE *config = nullptr;
    if (giConfigOnlyFromFile) {
        config = std::fopen(gConfigFile, "r");
        if (config == nullptr) {
            ShowError("Couldn't open config File");
            std::exit(1);
        }
    }
    for (int i = 0; i < gNumVars; ++i) {
        ConfigVar &var = gVarList[i];
        char *fromFile = nullptr;
        const char *found = nullptr;
        if (config != nullptr) {
            std::rewind(config);
            fromFile = FindValueInFile(config, var.name);
            found = fromFile;
        } else {
            found = GetSetting(var.name);
        }
        if (var.valueWidget != nullptr) {
            if (isOptionMenu(var))
                loadOptionMenu(var, static_cast<size_t>(i), found);
            else if (isTextField(var))
                loadTextField(var, found);
        }
        std::free(fromFile);
    }
    if (config != nullptr)
        std::fclose(config);
}

extern "C" int GetWidgetValue(ConfigVar *var, char *text, int *changed)
{
    *changed = 0;
    if (var == nullptr || var->valueWidget == nullptr)
        return 0;
    if (isOptionMenu(*var)) {
        Widget current = nullptr;
        XtVaGetValues(var->valueWidget, XmNmenuHistory, &current, nullptr);
        if (current == nullptr)
            return 0;
        long index = userData(current);
        if (index < 0 || index >= var->numChoices || index >= MAX_CHOICES)
            return 0;
        std::snprintf(text, 256, "%s", var->choices[index]);
        *changed = std::strcmp(text, var->value) != 0;
        return 1;
    }
    if (isTextField(*var)) {
        char *typed = XmTextFieldGetString(var->valueWidget);
        if (typed == nullptr)
            return 0;
        if (typed[0] == '\0') {
            XtFree(typed);
            return 0;
        }
        std::snprintf(text, 256, "%s", typed);
        XtFree(typed);
        *changed = std::strcmp(text, var->value) != 0;
        return 1;
    }
    return 0;
}
