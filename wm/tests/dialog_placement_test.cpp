// Dialog placement: centred on the pointer, clamped at the four screen edges, and centred on
// the screen once after the one-shot flag.
#include "wm_test_support.h"

#include <gtest/gtest.h>

#include <Xm/Xm.h>

using namespace lxtest;

namespace {

struct Placed {
    Point at;
    int width;
    int height;
};

Placed WarningAtPointer(int px, int py)
{
    warpPointer(px, py);
    Widget dialog = WMShowWarning("Placed with the pointer at %d,%d", px, py);
    EXPECT_NE(dialog, nullptr);
    spinFor(50);
    Dimension width = 0, height = 0;
    XtVaGetValues(dialog, XmNwidth, &width, XmNheight, &height, nullptr);
    return {windowOrigin(XtParent(dialog)), width, height};
}

} // namespace

class DialogPlacement : public ::testing::Test {
protected:
    void SetUp() override
    {
        NewMainForm("Placement");
        Screen *screen = DefaultScreenOfDisplay(Dpy());
        screenWidth = WidthOfScreen(screen);
        screenHeight = HeightOfScreen(screen);
    }
    int screenWidth = 0;
    int screenHeight = 0;
};

TEST_F(DialogPlacement, CentredOnThePointerAwayFromTheEdges)
{
    Placed p = WarningAtPointer(600, 500);
    EXPECT_EQ(p.at.x, 600 - p.width / 2);
    EXPECT_EQ(p.at.y, 500 - p.height / 2);
}

TEST_F(DialogPlacement, KeptFiftyPixelsFromTheLeftAndTopEdges)
{
    Placed p = WarningAtPointer(0, 0);
    EXPECT_EQ(p.at.x, 50);
    EXPECT_EQ(p.at.y, 50);

    p = WarningAtPointer(10, 500);
    EXPECT_EQ(p.at.x, 50);
    EXPECT_EQ(p.at.y, 500 - p.height / 2);
}

TEST_F(DialogPlacement, KeptWhollyOnScreenAtTheRightAndBottomEdges)
{
    Placed p = WarningAtPointer(screenWidth - 1, screenHeight - 1);
    EXPECT_EQ(p.at.x, screenWidth - p.width);
    EXPECT_EQ(p.at.y, screenHeight - p.height);

    p = WarningAtPointer(600, screenHeight - 5);
    EXPECT_EQ(p.at.x, 600 - p.width / 2);
    EXPECT_EQ(p.at.y, screenHeight - p.height);
}

TEST_F(DialogPlacement, CentringFlagCentresOnlyTheNextDialog)
{
    WMCenterNextDialog();
    Placed centred = WarningAtPointer(100, 900);
    EXPECT_EQ(centred.at.x, screenWidth / 2 - centred.width / 2);
    EXPECT_EQ(centred.at.y, screenHeight / 2 - centred.height / 2);

    Placed next = WarningAtPointer(700, 400);
    EXPECT_EQ(next.at.x, 700 - next.width / 2);
    EXPECT_EQ(next.at.y, 400 - next.height / 2);
}
