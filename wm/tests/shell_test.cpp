// Shells and the main form.
#include "wm_test_support.h"

#include <Xm/Form.h>

#include <vector>

using namespace lxtest;

namespace {

std::vector<long> LongProperty(Widget shell, const char *name)
{
    Display *d = XtDisplay(shell);
    XSync(d, False);
    Atom type = 0;
    int format = 0;
    unsigned long count = 0, remaining = 0;
    unsigned char *data = nullptr;
    XGetWindowProperty(d, XtWindow(shell), XInternAtom(d, name, False), 0, 1 << 16, False, AnyPropertyType, &type,
                       &format, &count, &remaining, &data);
    std::vector<long> values(reinterpret_cast<long *>(data), reinterpret_cast<long *>(data) + (data ? count : 0));
    XFree(data);
    return values;
}

Widget RealizedShell(const char *title, bool resizable)
{
    appDisplay();
    WMSetResizable(resizable ? 1 : 0);
    Widget shell = CreateAppShell(title);
    XtVaCreateManagedWidget("content", xmFormWidgetClass, shell, XmNwidth, 120, XmNheight, 80, nullptr);
    XtRealizeWidget(shell);
    spinFor(30);
    return shell;
}

} // namespace

TEST(Shell, HintsFollowTheTitleAndTheResizableFlagOfTheNextShellOnly)
{
    struct Case {
        const char *title;
        bool resizable;
        long decorations, functions;
    };
    for (const Case &c : {Case{"Resizable", true, 1, 1}, Case{"Fixed", false, 58, 44}, Case{nullptr, true, 6, 1},
                          Case{nullptr, false, 2, 44}}) {
        std::vector<long> hints = LongProperty(RealizedShell(c.title, c.resizable), "_MOTIF_WM_HINTS");
        ASSERT_GE(hints.size(), 3u);
        EXPECT_EQ(hints[0] & 3, 3) << "functions and decorations flagged as present";
        EXPECT_EQ(hints[1], c.functions) << (c.title ? c.title : "untitled") << " " << c.resizable;
        EXPECT_EQ(hints[2], c.decorations) << (c.title ? c.title : "untitled") << " " << c.resizable;
    }
    WMSetResizable(1);
    Widget first = CreateAppShell("First");
    Widget second = CreateAppShell("Second");
    EXPECT_EQ(std::pair(WMShellIsResizable(first), WMShellIsResizable(second)), std::pair(1, 0));
}

TEST(Shell, AppearsTenPixelsUpAndLeftOfThePointerWithTheSuiteIcon)
{
    warpPointer(400, 300);
    Widget shell = RealizedShell("Iconic", false);
    const Point at = windowOrigin(shell);
    EXPECT_EQ(std::pair(at.x, at.y), std::pair(390, 290));
    Pixmap icon = 0;
    XtVaGetValues(shell, XmNiconPixmap, &icon, nullptr);
    EXPECT_TRUE(icon != 0 && icon != static_cast<Pixmap>(XmUNSPECIFIED_PIXMAP));
    std::vector<long> net = LongProperty(shell, "_NET_WM_ICON");
    ASSERT_EQ(net.size(), 2u + 32u * 32u);
    EXPECT_EQ(std::pair(net[0], net[1]), std::pair(32L, 32L));
    auto pixel = [&](int x, int y) { return static_cast<unsigned long>(net[2 + y * 32 + x]) & 0xffffffffUL; };
    EXPECT_EQ(pixel(0, 0), 0x00000000UL) << "transparent corner";
    EXPECT_EQ(pixel(16, 13), 0xff79b4e6UL) << "lens centre colour";
    EXPECT_EQ(pixel(10, 28), 0xffc9a23aUL) << "slide colour";

    CaptureFd out(1);
    EXPECT_EQ(WMSetShellIcon(shell, "no-such-icon.xpm"), 0);
    EXPECT_NE(out.text().find("WM_getpixmap: Xpm Failed for file "), std::string::npos);
}

TEST(MainForm, SetsTheAnchorsAndTakesTheStandardBackground)
{
    Widget form = NewMainForm("Anchors");
    EXPECT_STREQ(XtName(form), "form");
    EXPECT_TRUE(XtParent(form) == topshell && baseshell == topshell && current_form == form);
    EXPECT_TRUE(xstart == form && left == form && top == form);
    Widget second = NewMainForm("Second");
    EXPECT_TRUE(current_form == second && baseshell == XtParent(second) && form1 == form) << "form1 stays the first";

    XColor colour{};
    Colormap colormap = 0;
    XtVaGetValues(baseshell, XmNbackground, &colour.pixel, XmNcolormap, &colormap, nullptr);
    XQueryColor(XtDisplay(form), colormap, &colour);
    EXPECT_EQ((colour.red >> 8) << 16 | (colour.green >> 8) << 8 | colour.blue >> 8, 0xdcd8cc);
}

TEST(DeleteWindowHandler, CloseRequestReachesTheHandlerAndKeepsTheWindow)
{
    Widget form = NewMainForm("Closable");
    int closes = 0;
    auto count = [](void *argument, void *) { ++*static_cast<int *>(argument); };
    EXPECT_EQ(AddDeleteWindowHandler(form, count, &closes), 0) << "not a shell";
    ASSERT_EQ(AddDeleteWindowHandler(nullptr, count, &closes), 1) << "null means baseshell";
    sendDeleteWindow(baseshell);
    ASSERT_TRUE(spinUntil([&] { return closes > 0; }, 2000));
    spinFor(50);
    EXPECT_EQ(closes, 1);
    EXPECT_TRUE(isOnScreen(baseshell)) << "the toolkit must not destroy or hide the window";
}
