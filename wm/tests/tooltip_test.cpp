// Tooltips, driven by real pointer moves on the X server.
#include "wm_test_support.h"

#include <lumarix/settings.h>

#include <Xm/Form.h>
#include <Xm/PushB.h>

using namespace lxtest;

class Tooltip : public ::testing::Test {
protected:
    void SetUp() override
    {
        SetSetting("LX_DO_TOOLTIPS", "yes");
        warpPointer(5, 5);
        form = NewMainForm("Tooltips");
        button = Button(form, "button", 20, 20, 100, 30);
        other = Button(form, "other", 20, 70, 100, 30);
    }
    void TearDown() override { WMCancelTooltip(); }

    static Widget Button(Widget parent, const char *name, int x, int y, int width, int height)
    {
        Widget b = XtVaCreateManagedWidget(name, xmPushButtonWidgetClass, parent, XmNx, x, XmNy, y, XmNwidth, width,
                                           XmNheight, height, nullptr);
        spinFor(50);
        return b;
    }
    static void Enter(Widget w, int dx = 10, int dy = 10)
    {
        warpPointer(2, 2);
        spinFor(20);
        Point at = windowOrigin(w);
        warpPointer(at.x + dx, at.y + dy);
    }
    // The one tooltip popup of the process, under the shell that first showed a tooltip.
    static Widget Popup() { return XtNameToWidget(baseshell, "tooltip_shell"); }
    static bool Shown() { return isOnScreen(Popup()); }
    static bool ShownWithin(int ms) { return spinUntil(Shown, ms); }
    static std::string Text() { return xmText(XtNameToWidget(Popup(), "tooltip_label"), XmNlabelString); }
    // The popup is placed by its outer corner; the server reports the inside of its 1-pixel border.
    static Point OuterOrigin() { return {windowOrigin(Popup()).x - 1, windowOrigin(Popup()).y - 1}; }

    Widget form = nullptr, button = nullptr, other = nullptr;
};

TEST_F(Tooltip, ShownAfterTheDelayBelowTheWidgetForThreeSecondsOrUntilLeaving)
{
    WMSetTooltip(button, "Click for help on this setting");
    Enter(button);
    spinFor(600);
    EXPECT_FALSE(Shown()) << "not before 750 ms";
    ASSERT_TRUE(ShownWithin(600));
    EXPECT_EQ(Text(), "Click for help on this setting");
    const Point widgetAt = windowOrigin(button), tipAt = OuterOrigin();
    EXPECT_EQ(std::pair(tipAt.x, tipAt.y), std::pair(widgetAt.x + 2, widgetAt.y + 30 + 2));
    spinFor(2500);
    EXPECT_TRUE(Shown()) << "still within the display time";
    EXPECT_TRUE(spinUntil([] { return !Shown(); }, 1000));
    spinFor(1000);
    EXPECT_FALSE(Shown()) << "shows again only on a new enter";
    Enter(button);
    ASSERT_TRUE(ShownWithin(1500));
    warpPointer(2, 2);
    EXPECT_TRUE(spinUntil([] { return !Shown(); }, 500)) << "leaving hides it";
}

// A second enter handler would start a second show timer that neither leaving nor cancelling stops.
// Switching them off needs no restart; a value that is not yes or no leaves them on.
TEST_F(Tooltip, LeavingCancellingOrSwitchingOffShowsNothingWithOneSetOfHandlers)
{
    WMSetTooltip(button, "first text");
    WMSetTooltip(button, "second text");
    Enter(button);
    spinFor(300);
    warpPointer(2, 2);
    EXPECT_FALSE(ShownWithin(1300));
    Enter(button);
    spinFor(300);
    WMCancelTooltip();
    EXPECT_FALSE(ShownWithin(1300));
    SetSetting("LX_DO_TOOLTIPS", "no");
    Enter(button);
    EXPECT_FALSE(ShownWithin(1300));
    SetSetting("LX_DO_TOOLTIPS", "maybe");
    Enter(button);
    ASSERT_TRUE(ShownWithin(1500));
    EXPECT_EQ(Text(), "second text");
}

TEST_F(Tooltip, FlipsLeftAndAboveAtTheRightAndBottomEdges)
{
    Screen *screen = DefaultScreenOfDisplay(appDisplay());
    const int sw = WidthOfScreen(screen), sh = HeightOfScreen(screen);
    warpPointer(sw - 30, sh - 15); // the shell goes 10 pixels up and left of the pointer
    Widget corner = Button(NewMainForm("Corner"), "corner", 0, 0, 40, 20);
    WMSetTooltip(corner, "A tooltip text long enough to pass the right edge");
    const Point at = windowOrigin(corner);
    ASSERT_EQ(std::pair(at.x, at.y), std::pair(sw - 40, sh - 25));
    Enter(corner, 5, 5);
    ASSERT_TRUE(ShownWithin(1500));
    Dimension width = 0, height = 0;
    XtVaGetValues(Popup(), XmNwidth, &width, XmNheight, &height, nullptr);
    const Point tip = OuterOrigin();
    EXPECT_EQ(std::pair(tip.x, tip.y), std::pair(sw - width, at.y - height - 2));
}

TEST_F(Tooltip, HelpTextOfATabPageGoesToItsTab)
{
    static Widget page[2]; // the page's record starts with the widget of its tab
    page[0] = other;
    Widget pageForm = XtVaCreateManagedWidget("tabPageForm", xmFormWidgetClass, form, XmNx, 130, XmNy, 20, XmNwidth, 60,
                                              XmNheight, 60, XmNuserData, page, nullptr);
    spinFor(50);
    WMSetHelpText(pageForm, "Page %d of %s", 2, "settings");
    Enter(other);
    ASSERT_TRUE(ShownWithin(1500));
    EXPECT_EQ(Text(), "Page 2 of settings");
    Enter(pageForm);
    EXPECT_FALSE(ShownWithin(1200)) << "the page itself carries no tooltip";
}
