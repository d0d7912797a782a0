// Dialog placement: centred on the pointer, kept 50 pixels from the left and top edges and wholly
// on the screen at the right and bottom, and centred on the screen once after the one-shot flag.
#include "wm_test_support.h"

#include <array>

using namespace lxtest;

TEST(DialogPlacement, CentredOnThePointerWithinTheScreenEdges)
{
    NewMainForm("Placement");
    Screen *screen = DefaultScreenOfDisplay(appDisplay());
    const int sw = WidthOfScreen(screen), sh = HeightOfScreen(screen);
    // Where the dialog goes along one axis: centred on the pointer, at 50, at the far edge, or
    // centred on the screen.
    enum Where { OnPointer, AtFifty, AtFarEdge, ScreenCentre };
    auto expected = [](Where where, int pointer, int size, int screenSize) {
        return std::array{pointer - size / 2, 50, screenSize - size, screenSize / 2 - size / 2}[where];
    };
    struct Case {
        int px, py;
        Where x, y;
    };
    for (const Case &c : {Case{600, 500, OnPointer, OnPointer}, Case{0, 0, AtFifty, AtFifty},
                          Case{10, 500, AtFifty, OnPointer}, Case{sw - 1, sh - 1, AtFarEdge, AtFarEdge},
                          Case{600, sh - 5, OnPointer, AtFarEdge}, Case{100, 900, ScreenCentre, ScreenCentre},
                          Case{700, 400, OnPointer, OnPointer}}) { // the centring flag held for one dialog
        if (c.x == ScreenCentre)
            WMCenterNextDialog();
        warpPointer(c.px, c.py);
        Widget dialog = WMShowWarning("Placed with the pointer at %d,%d", c.px, c.py);
        ASSERT_NE(dialog, nullptr);
        spinFor(50);
        Dimension width = 0, height = 0;
        XtVaGetValues(dialog, XmNwidth, &width, XmNheight, &height, nullptr);
        const Point at = windowOrigin(XtParent(dialog));
        EXPECT_EQ(at.x, expected(c.x, c.px, width, sw)) << "pointer at " << c.px << "," << c.py;
        EXPECT_EQ(at.y, expected(c.y, c.py, height, sh)) << "pointer at " << c.px << "," << c.py;
    }
}
