// The editor window in the test's own process: the form as built and loaded, what counts as a
// value and a change, and what Save, Revert, Done and the rows' help do.
#include "lx_testing_x.h" // first: GoogleTest must come before the X headers

#include <cstdlib>
#include <memory>

#include <Xm/MessageB.h>
#include <Xm/TextF.h>

#include "editor_window.h"
#include "lx_testing.h"

namespace {

using namespace lxtest;

const std::string kDescription =
    "TITLE: Test installation\nVARIABLE: LX_BASE\nSHORTDESC: Suite folder\nTYPE: SIMPLE\nMUSTBESET:\nCHECKREAD:\n"
    "HELP: Where the suite lives.\nSecond line.\n%%\nVARIABLE: LX_NUM\nSHORTDESC: Channels\nTYPE: SIMPLE\n"
    "VARIABLE: LX_WAVES\nSHORTDESC: Wavelengths\nTYPE: MULTIVALUE $LX_NUM\nCANSETLIVE:\n"
    "VARIABLE: LX_MODE\nSHORTDESC: Fast mode\nTYPE: BOOLEAN\nYes\nNo\nCANSETLIVE:\n"
    "VARIABLE: LX_SPEED\nSHORTDESC: Stage speed\nTYPE: ONEOFMANY 3\nslow\nnormal\nfast\nMUSTBESET:\n"
    "VARIABLE: LX_LETTER\nSHORTDESC: Letter\nTYPE: ONEOFMANY "
    "20\nA\nB\nC\nD\nE\nF\nG\nH\nI\nJ\nK\nL\nM\nN\nO\nP\nQ\nR\nS\nT\n"
    "VARIABLE: LX_ODD\nTYPE: COLOUR\nVARIABLE: LX_NOTE\nSHORTDESC: Note\nTYPE: SIMPLE\nCANSETLIVE:\n";
enum { BASE, NUM, WAVES, MODE, SPEED, LETTER, ODD, NOTE };
const std::string kConfig = "# test\nLX_BASE /tmp\nLX_NUM 2\nLX_WAVES 457 528\nLX_MODE yes\nLX_SPEED FAST\n";

class EditorWindow : public ::testing::Test {
protected:
    // Writes the files, reads the description, and builds and maps the window as lxconf does.
    void open(const std::string &description, const std::string &config)
    {
        writeFile(dir_ / "test.vars", description);
        writeFile(config_, config);
        std::snprintf(gDescriptionFile, sizeof gDescriptionFile, "%s", (dir_ / "test.vars").c_str());
        std::snprintf(gConfigFile, sizeof gConfigFile, "%s", config_.c_str());
        giConfigOnlyFromFile = 1;
        ASSERT_EQ(ReadDescriptionFile(), 1);
        WMSetResizable(1);
        Widget form = CreateMainForm("Editor test");
        ASSERT_NE(form, nullptr) << "no display";
        shell_ = XtParent(form);
        frame_ = BuildEditorWindow(form);
        RealizeEditorWindow(shell_);
        spinFor(100);
    }
    void TearDown() override
    {
        if (shell_ != nullptr)
            XtDestroyWidget(shell_);
    }

    Widget pulldown(int row)
    {
        Widget menu = nullptr;
        XtVaGetValues(gVarList[row].valueWidget, XmNsubMenuId, &menu, nullptr);
        return menu;
    }
    // Types into a text field, or chooses an option menu's entry by its name (its text).
    void set(int row, const char *text)
    {
        Widget w = gVarList[row].valueWidget;
        if (XmIsTextField(w))
            return XmTextFieldSetString(w, const_cast<char *>(text));
        XtVaSetValues(w, XmNmenuHistory, XtNameToWidget(pulldown(row), text), nullptr);
    }
    // What the row shows: the field's text or the chosen entry's name.
    std::string shown(int row)
    {
        Widget w = gVarList[row].valueWidget, current = nullptr;
        if (XmIsTextField(w))
            return std::unique_ptr<char, void (*)(char *)>(XmTextFieldGetString(w), XtFree).get();
        XtVaGetValues(w, XmNmenuHistory, &current, nullptr);
        return current != nullptr ? XtName(current) : "";
    }
    TempDir dir_;
    std::string config_ = dir_ / "test.conf";
    Widget shell_ = nullptr, frame_ = nullptr;
};

// The rows as built and loaded. Choices are named by their text, match in any case and take the
// description's spelling; once a value is known the unset entry is hidden; a required menu has
// none; an optional one without a value shows it. Revert loads every row again.
TEST_F(EditorWindow, RowsLoadedRevertedAndDoneAsksAboutChanges)
{
    open(kDescription, kConfig);
    Widget grid = XtNameToWidget(frame_, "*main_grid");
    short rows = 0;
    unsigned char orientation = 0, packing = 0;
    XtVaGetValues(grid, XmNnumColumns, &rows, XmNorientation, &orientation, XmNpacking, &packing, nullptr);
    EXPECT_EQ(std::tuple(rows, orientation, packing), std::tuple(short(gNumVars + 1), XmHORIZONTAL, XmPACK_COLUMN));
    // Titles, then per variable its help button and its value; a row of unknown type keeps an empty cell.
    EXPECT_EQ(managedChildNames(grid),
              std::vector<std::string>({"frame", "frame", "info", "Label", "info", "Label", "info", "Label", "info",
                                        "optionMenu", "info", "optionMenu", "info", "optionMenu", "info", "empty",
                                        "info", "Label"}));
    EXPECT_EQ(managedChildNames(XtNameToWidget(XtParent(frame_), "action_area")),
              std::vector<std::string>({"Done", "Save", "Revert", "Help"}));
    EXPECT_STREQ(XtName(pulldown(SPEED)), "pd");
    auto rowsShown = [&] { return std::vector({shown(MODE), shown(SPEED), shown(NUM), shown(LETTER), shown(NOTE)}); };
    EXPECT_EQ(rowsShown(), std::vector<std::string>({"Yes", "fast", "2", "-----", ""}));
    EXPECT_FALSE(XtIsManaged(XtNameToWidget(pulldown(MODE), "-----")));
    EXPECT_EQ(XtNameToWidget(pulldown(SPEED), "-----"), nullptr);
    int changed = 7; // no variable: no value and no change
    EXPECT_EQ(std::pair(GetWidgetValue(nullptr, nullptr, &changed), changed), std::pair(0, 0));

    set(NUM, "7");
    set(MODE, "No");
    set(NOTE, "typed, never stored");
    RevertCB(nullptr, nullptr, nullptr);
    EXPECT_EQ(rowsShown(), std::vector<std::string>({"Yes", "fast", "2", "-----", "typed, never stored"}));

    // Closing the window is Done: with changes it asks, and No keeps the window and the edits.
    set(NUM, "5");
    std::string asked;
    after(300, [&] {
        if (Widget question = findDialog("question")) {
            asked = xmText(question);
            pressButton(XmMessageBoxGetChild(question, XmDIALOG_CANCEL_BUTTON));
        }
    });
    sendDeleteWindow(shell_);
    spinUntil([&] { return !asked.empty() && findDialog("question") == nullptr; }, 3000);
    EXPECT_EQ(asked, "You have made changes.\nAre you sure you want to quit?");
    EXPECT_EQ(shown(NUM), "5");
}

// Save writes the rows that changed: typed or chosen anew. A value as loaded (a stored "yes" loads
// as the choice "Yes"), an empty field and the unset entry are no change.
TEST_F(EditorWindow, SaveWritesTheChangesReportsAndDeliversLiveValues)
{
    open(kDescription, kConfig);
    set(NUM, "3");
    set(WAVES, "");
    set(SPEED, "slow");
    SaveCB(gwSaveButton, nullptr, nullptr);
    EXPECT_EQ(readFile(config_), "# test\nLX_BASE /tmp\nLX_WAVES 457 528\nLX_MODE yes\nLX_NUM 3\nLX_SPEED slow\n");
    ASSERT_NE(findDialog("info_dialog"), nullptr);
    EXPECT_EQ(xmText(findDialog("info_dialog")), "Saved options to file " + config_ + "\n");

    // With a suite running, live values are set at once; any other change needs a restart.
    giRunningWithSHM = 1;
    set(NOTE, "live note");
    set(SPEED, "normal");
    SaveCB(gwSaveButton, nullptr, nullptr);
    Liveness note(findDialog("info_dialog"));
    EXPECT_EQ(xmText(note.widget),
              "Saved options to file " + config_ +
                  "\n\nNOTE: Some changed values will not take effect until Lumarix is restarted.");

    set(WAVES, "1 2"); // the count is what the form shows now
    set(NUM, "9");
    CaptureFd err(2);
    SaveCB(gwSaveButton, nullptr, nullptr);
    EXPECT_EQ(err.text(), "Variable \"Wavelengths\" must have 9 Values.\n");
    EXPECT_STREQ(gVarList[NUM].value, "3"); // nothing saved: the baseline is still the last save's

    // A row's help stays until dismissed, like the note; the note that there is none closes itself.
    ShowHelp(nullptr, reinterpret_cast<XtPointer>(intptr_t{BASE}), nullptr);
    Liveness help(findDialog("info_dialog"));
    EXPECT_EQ(xmText(findDialog("info_dialog")), "Where the suite lives.\nSecond line.\n");
    ShowHelp(nullptr, reinterpret_cast<XtPointer>(intptr_t{NUM}), nullptr);
    Liveness none(findDialog("info_dialog"));
    EXPECT_EQ(xmText(findDialog("info_dialog")), "No Help information provided for this variable");
    spinFor(2600);
    EXPECT_EQ(std::vector({note.alive, help.alive, none.alive}), std::vector({true, true, false}));
}

// Keys and the mouse on a long form, through the X server as a person would use them.
TEST_F(EditorWindow, ALongFormFollowsTheFocusAndScrollsByRows)
{
    const char *types[] = {"SIMPLE\n", "BOOLEAN\nyes\nno\n", "ONEOFMANY 2\na\nb\n"};
    std::string text;
    for (int i = 0; i < 30; ++i)
        text += "VARIABLE: V" + std::to_string(i) + "\nTYPE: " + types[i % 3];
    open(text, "V0 zero\n");
    Widget clip = nullptr, bar = nullptr, grid = XtNameToWidget(frame_, "*main_grid");
    XtVaGetValues(XtNameToWidget(frame_, "swindow"), XmNclipWindow, &clip, XmNverticalScrollBar, &bar, nullptr);
    auto row = [](int i) { return gVarList[i].valueWidget; };
    auto top = [](Widget w) { return windowOrigin(w).y; };
    auto scrolled = [&] { return top(clip) - top(grid); };
    auto inView = [&](int i) {
        return top(row(i)) >= top(clip) && top(row(i)) + sizeOf(row(i)).height <= top(clip) + sizeOf(clip).height;
    };
    auto focused = [&](int i) { // an option menu's focus is on its button
        Widget focus = XmGetFocusWidget(shell_);
        return focus != nullptr && (focus == row(i) || XtParent(focus) == row(i));
    };
    // Runs xdotool, after moving the pointer `dy` pixels below the top of `w` when there is one.
    auto xdotool = [&](const std::string &command, Widget w = nullptr, int dy = 0) {
        const Point at = w ? windowOrigin(w) : Point{};
        const std::string move = w ? "mousemove " + std::to_string(at.x + 10) + " " + std::to_string(at.y + dy) : "";
        ASSERT_EQ(std::system(("xdotool " + move + " " + command).c_str()), 0);
        spinFor(150);
    };
    XSetInputFocus(XtDisplay(shell_), XtWindow(shell_), RevertToParent, CurrentTime);
    XmProcessTraversal(row(0), XmTRAVERSE_CURRENT);
    spinFor(100);
    for (int i = 1; i < 14; ++i) {
        xdotool("key Tab");
        ASSERT_TRUE(focused(i)) << "row " << i;
        EXPECT_TRUE(inView(i)) << "row " << i;
    }
    XmProcessTraversal(row(29), XmTRAVERSE_CURRENT);
    xdotool("key Tab"); // after the last row come the buttons
    EXPECT_EQ(XtParent(XmGetFocusWidget(shell_)), XtNameToWidget(XtParent(frame_), "action_area"));

    // Page Up in a value moves the view by its height and the focus by as many rows.
    const int pitch = top(row(1)) - top(row(0)), page = sizeOf(clip).height / pitch;
    XmProcessTraversal(row(29), XmTRAVERSE_CURRENT);
    spinFor(100);
    const int bottom = scrolled();
    xdotool("key Prior");
    EXPECT_EQ(bottom - scrolled(), page * pitch);
    EXPECT_TRUE(focused(29 - page));

    // The wheel moves three rows a notch, over any row; a click on the lower scroll arrow one row.
    const int start = scrolled();
    xdotool("click 5 click 5", row(29 - page), 5);
    xdotool("click 4", row(29 - page), 5);
    EXPECT_EQ(scrolled() - start, 3 * pitch);
    xdotool("click 1", bar, sizeOf(bar).height - 6);
    EXPECT_EQ(scrolled() - start, 4 * pitch);
}

// The value column takes half of what a wider window gives, so that long values show whole, and
// gives it back when the window narrows again.
TEST_F(EditorWindow, TheValueColumnFollowsTheWindowsWidth)
{
    open(kDescription, kConfig);
    Widget clip = nullptr, grid = XtNameToWidget(frame_, "*main_grid"), field = gVarList[BASE].valueWidget;
    XtVaGetValues(XtNameToWidget(frame_, "swindow"), XmNclipWindow, &clip, nullptr);
    auto resize = [&](Size to) { XResizeWindow(XtDisplay(shell_), XtWindow(shell_), to.width, to.height); };
    const int narrow = sizeOf(field).width;
    const Size shell = sizeOf(shell_);
    resize({1160, 500});
    spinFor(300);
    EXPECT_GT(sizeOf(field).width, narrow + 200);
    const int gap = sizeOf(clip).width - sizeOf(grid).width; // the two columns fill the view but for a few pixels
    EXPECT_TRUE(gap == 8 || gap == 9) << gap;
    resize(shell);
    spinFor(300);
    EXPECT_EQ(sizeOf(field).width, narrow);
}

} // namespace
