// Dialog placement: centred on the pointer, kept 50 pixels from the left and top edges and wholly
// on the screen at the right and bottom, and centred on the screen once after the one-shot flag.
#include "wm_test_support.h"

using namespace lxtest;

TEST(DialogPlacement, CentredOnThePointerWithinTheScreenEdges)
{
    NewMainForm("Placement");
    Screen *screen = DefaultScreenOfDisplay(Dpy());
    const int sw = WidthOfScreen(screen), sh = HeightOfScreen(screen);
    // Where the dialog's corner goes for a pointer at (px, py), given the dialog's size.
    struct Case {
        int px, py;
        bool centreFlag;
        std::function<Point(int, int)> expected;
    };
    const std::vector<Case> cases = {
        {600, 500, false,
         [](int w, int h) {
             return Point{600 - w / 2, 500 - h / 2};
         }},
        {0, 0, false,
         [](int, int) {
             return Point{50, 50};
         }},
        {10, 500, false,
         [](int, int h) {
             return Point{50, 500 - h / 2};
         }},
        {sw - 1, sh - 1, false,
         [&](int w, int h) {
             return Point{sw - w, sh - h};
         }},
        {600, sh - 5, false,
         [&](int w, int h) {
             return Point{600 - w / 2, sh - h};
         }},
        {100, 900, true,
         [&](int w, int h) {
             return Point{sw / 2 - w / 2, sh / 2 - h / 2};
         }},
        {700, 400, false,
         [](int w, int h) {
             return Point{700 - w / 2, 400 - h / 2};
         }}, // the flag held once
    };
    for (const Case &c : cases) {
        if (c.centreFlag)
            WMCenterNextDialog();
        warpPointer(c.px, c.py);
        Widget dialog = WMShowWarning("Placed with the pointer at %d,%d", c.px, c.py);
        ASSERT_NE(dialog, nullptr);
        spinFor(50);
        Dimension width = 0, height = 0;
        XtVaGetValues(dialog, XmNwidth, &width, XmNheight, &height, nullptr);
        const Point at = windowOrigin(XtParent(dialog)), want = c.expected(width, height);
        EXPECT_EQ(at.x, want.x) << "pointer at " << c.px << "," << c.py;
        EXPECT_EQ(at.y, want.y) << "pointer at " << c.px << "," << c.py;
    }
}
