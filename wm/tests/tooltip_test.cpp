// Tooltips driven by real pointer moves on the X server: the delay, the display time, one
// set of handlers per widget, the LX_DO_TOOLTIPS switch, edge flipping and tab pages.
#include "wm_test_support.h"

#include <gtest/gtest.h>

#include <lumarix/settings.h>

#include <Xm/Form.h>
#include <Xm/Label.h>
#include <Xm/PushB.h>
#include <Xm/Xm.h>

using namespace lxtest;

namespace {

// The one tooltip popup of the process, under whichever shell first showed a tooltip.
Widget TooltipPopup()
{
    for (Widget shell : ShellsMade()) {
        if (Widget popup = XtNameToWidget(shell, "tooltip_shell")) {
            return popup;
        }
    }
    return nullptr;
}

// The popup is placed by its outer corner; the server reports the inside of its border.
Point OuterOrigin(Widget popup)
{
    Point inside = windowOrigin(popup);
    Dimension border = 0;
    XtVaGetValues(popup, XmNborderWidth, &border, nullptr);
    return {inside.x - border, inside.y - border};
}

} // namespace

class Tooltip : public ::testing::Test {
protected:
    void SetUp() override
    {
        SetSetting("LX_DO_TOOLTIPS", "yes");
        warpPointer(5, 5);
        Widget form = NewMainForm("Tooltips");
        button = XtVaCreateManagedWidget("button", xmPushButtonWidgetClass, form, XmNx, 20, XmNy, 20, XmNwidth, 100,
                                         XmNheight, 30, nullptr);
        other = XtVaCreateManagedWidget("other", xmPushButtonWidgetClass, form, XmNx, 20, XmNy, 70, XmNwidth, 100,
                                        XmNheight, 30, nullptr);
        spinFor(50);
    }
    void TearDown() override { WMCancelTooltip(); }

    void EnterButton()
    {
        Point at = windowOrigin(button);
        warpPointer(at.x + 50, at.y + 15);
    }
    void LeaveButton() { warpPointer(2, 2); }
    Widget Popup() { return TooltipPopup(); }
    bool Shown() { return isOnScreen(Popup()); }
    bool ShownWithin(int ms)
    {
        return spinUntil([this] { return Shown(); }, ms);
    }
    std::string PopupText() { return xmText(XtNameToWidget(Popup(), "tooltip_label"), XmNlabelString); }

    Widget button = nullptr;
    Widget other = nullptr;
};

TEST_F(Tooltip, NothingShownWhenThePointerLeavesWithinTheDelay)
{
    WMSetTooltip(button, "Click for help on this setting");
    EnterButton();
    spinFor(400);
    LeaveButton();
    EXPECT_FALSE(ShownWithin(1200));
}

TEST_F(Tooltip, ShownAfterTheDelayBelowTheWidgetAndHiddenOnLeaving)
{
    WMSetTooltip(button, "Click for help on this setting");
    EnterButton();
    spinFor(600);
    EXPECT_FALSE(Shown()) << "not before 750 ms";
    ASSERT_TRUE(ShownWithin(600));
    EXPECT_EQ(PopupText(), "Click for help on this setting");
    Point widgetAt = windowOrigin(button);
    Point tipAt = OuterOrigin(Popup());
    EXPECT_EQ(tipAt.x, widgetAt.x + 2);
    EXPECT_EQ(tipAt.y, widgetAt.y + 30 + 2);
    LeaveButton();
    EXPECT_TRUE(spinUntil([this] { return !Shown(); }, 500)) << "leaving hides it";
}

TEST_F(Tooltip, HiddenAfterThreeSecondsWhileThePointerStays)
{
    WMSetTooltip(button, "Three seconds");
    EnterButton();
    ASSERT_TRUE(ShownWithin(1500));
    spinFor(2500);
    EXPECT_TRUE(Shown()) << "still within the display time";
    EXPECT_TRUE(spinUntil([this] { return !Shown(); }, 1000));
    spinFor(1000);
    EXPECT_FALSE(Shown()) << "shows again only on a new enter";
}

TEST_F(Tooltip, RegisteringTwiceKeepsOneSetOfHandlersAndTheLatestText)
{
    WMSetTooltip(button, "first text");
    WMSetTooltip(button, "second text");
    // A second enter handler would start a second show timer that leaving cannot cancel.
    EnterButton();
    spinFor(300);
    LeaveButton();
    EXPECT_FALSE(ShownWithin(1300));
    EnterButton();
    ASSERT_TRUE(ShownWithin(1500));
    EXPECT_EQ(PopupText(), "second text");
}

TEST_F(Tooltip, SwitchedOffWithoutARestartAndUnparsableValueLeavesThemOn)
{
    WMSetTooltip(button, "Switchable");
    SetSetting("LX_DO_TOOLTIPS", "no");
    EnterButton();
    EXPECT_FALSE(ShownWithin(1300));
    LeaveButton();
    spinFor(50);

    SetSetting("LX_DO_TOOLTIPS", "maybe");
    EnterButton();
    EXPECT_TRUE(ShownWithin(1500));
}

TEST_F(Tooltip, CancelStopsAPendingTooltip)
{
    WMSetTooltip(button, "Cancelled");
    EnterButton();
    spinFor(300);
    WMCancelTooltip();
    EXPECT_FALSE(ShownWithin(1000));
}

TEST_F(Tooltip, FlipsLeftAndAboveAtTheRightAndBottomEdges)
{
    Screen *screen = DefaultScreenOfDisplay(Dpy());
    const int sw = WidthOfScreen(screen), sh = HeightOfScreen(screen);
    warpPointer(sw - 30, sh - 15); // the shell goes 10 pixels up and left of the pointer
    Widget form = NewMainForm("Corner");
    Widget corner = XtVaCreateManagedWidget("corner", xmPushButtonWidgetClass, form, XmNx, 0, XmNy, 0, XmNwidth, 40,
                                            XmNheight, 20, nullptr);
    spinFor(50);
    WMSetTooltip(corner, "A tooltip text long enough to pass the right edge");
    Point at = windowOrigin(corner);
    ASSERT_EQ(at.x, sw - 40);
    ASSERT_EQ(at.y, sh - 25);
    warpPointer(2, 2);
    spinFor(50);
    warpPointer(at.x + 5, at.y + 5);
    Widget popup = nullptr;
    ASSERT_TRUE(spinUntil(
        [&] {
            popup = TooltipPopup();
            return isOnScreen(popup);
        },
        1500));
    Dimension width = 0, height = 0;
    XtVaGetValues(popup, XmNwidth, &width, XmNheight, &height, nullptr);
    Point tip = OuterOrigin(popup);
    EXPECT_EQ(tip.x, sw - width);
    EXPECT_EQ(tip.y, at.y - height - 2);
}

TEST_F(Tooltip, HelpTextOfATabPageGoesToItsTab)
{
    struct TabPage {
        Widget tab;
        int other;
    };
    static TabPage page{other, 0};
    page.tab = other;
    Widget pageForm = XtVaCreateManagedWidget("tabPageForm", xmFormWidgetClass, current_form, XmNx, 130, XmNy, 20,
                                              XmNwidth, 60, XmNheight, 60, XmNuserData, &page, nullptr);
    spinFor(50);
    WMSetHelpText(pageForm, "Page %d of %s", 2, "settings");
    WMSetHelpText(nullptr, "ignored");

    Point tabAt = windowOrigin(other);
    warpPointer(tabAt.x + 10, tabAt.y + 10);
    ASSERT_TRUE(ShownWithin(1500));
    EXPECT_EQ(PopupText(), "Page 2 of settings");
    LeaveButton();
    spinFor(100);

    Point pageAt = windowOrigin(pageForm);
    warpPointer(pageAt.x + 10, pageAt.y + 10);
    EXPECT_FALSE(ShownWithin(1200)) << "the page itself carries no tooltip";
}
