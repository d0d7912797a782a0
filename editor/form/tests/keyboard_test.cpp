// Keyboard use of a long form: Tab goes from row to row whatever the row's kind, the form
// scrolls so that the row with the focus is in view, and after the last row come the buttons.
// Keys are typed through the X server (xdotool), as a user would.
#include "window_fixture.h" // first: gtest must come before the X headers

#include <cstdlib>
#include <string>

#include <Xm/TextF.h>
#include <Xm/Xm.h>

namespace {

using namespace lx::test;

class KeyboardNavigation : public EditorWindowTest {
protected:
    void press(const char *key)
    {
        std::string command = std::string("xdotool key --clearmodifiers ") + key;
        ASSERT_EQ(std::system(command.c_str()), 0);
        spinFor(150);
    }

    // Whether the widget lies wholly inside the scrolled window's visible area.
    bool inView(Widget w)
    {
        Widget clip = nullptr;
        XtVaGetValues(XtNameToWidget(frame_, "swindow"), XmNclipWindow, &clip, nullptr);
        Position wx = 0, wy = 0, cx = 0, cy = 0;
        XtTranslateCoords(w, 0, 0, &wx, &wy);
        XtTranslateCoords(clip, 0, 0, &cx, &cy);
        Dimension wh = 0, ch = 0;
        XtVaGetValues(w, XmNheight, &wh, nullptr);
        XtVaGetValues(clip, XmNheight, &ch, nullptr);
        return wy >= cy && wy + wh <= cy + ch;
    }
};

TEST_F(KeyboardNavigation, TabGoesRowByRowWhateverTheirKindKeepsTheRowInViewThenReachesTheButtons)
{
    constexpr int kRows = 40;
    std::string text;
    for (int i = 0; i < kRows; ++i) {
        std::string n = std::to_string(i);
        text += "VARIABLE: V" + n + "\nSHORTDESC: Row " + n + "\n";
        text += (i % 3 == 1)   ? "TYPE: BOOLEAN\nyes\nno\n"
                : (i % 3 == 2) ? "TYPE: ONEOFMANY 2\na\nb\n"
                               : "TYPE: SIMPLE\n";
    }
    open(text, "V0 zero\n");
    ASSERT_FALSE(HasFatalFailure());
    XSetInputFocus(XtDisplay(shell_), XtWindow(shell_), RevertToParent, CurrentTime);
    XmProcessTraversal(gVarList[0].valueWidget, XmTRAVERSE_CURRENT);
    spinFor(200);
    ASSERT_EQ(XmGetFocusWidget(shell_), gVarList[0].valueWidget);
    ASSERT_FALSE(inView(gVarList[kRows - 1].valueWidget)) << "the form should be taller than its view";
    for (int row = 1; row < kRows; ++row) {
        press("Tab");
        Widget focus = XmGetFocusWidget(shell_);
        // An option menu takes the focus on its button, a child of the menu.
        bool inRow = focus == gVarList[row].valueWidget || (focus && XtParent(focus) == gVarList[row].valueWidget);
        ASSERT_TRUE(inRow) << "after Tab number " << row << " the focus is on " << (focus ? XtName(focus) : "nothing");
        EXPECT_TRUE(inView(gVarList[row].valueWidget)) << "row " << row;
    }
    EXPECT_FALSE(inView(gVarList[0].valueWidget));
    press("Tab");
    Widget focus = XmGetFocusWidget(shell_);
    ASSERT_NE(focus, nullptr);
    EXPECT_EQ(XtParent(focus), actionArea_);
}

} // namespace
