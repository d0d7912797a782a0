// Shells: window-manager hints read back from the server, the one-shot resizable flag,
// placement at the pointer, the suite icon, the main form and the close handler.
#include "wm_test_support.h"

#include <gtest/gtest.h>

#include <Xm/Form.h>
#include <Xm/Xm.h>
#include <X11/Xatom.h>

#include <cstdint>
#include <vector>

using namespace lxtest;

namespace {

std::vector<long> ReadLongProperty(Widget shell, const char *name)
{
    Display *d = XtDisplay(shell);
    XSync(d, False);
    Atom actualType = 0;
    int actualFormat = 0;
    unsigned long count = 0, remaining = 0;
    unsigned char *data = nullptr;
    std::vector<long> values;
    if (XGetWindowProperty(d, XtWindow(shell), XInternAtom(d, name, False), 0, 1 << 16, False, AnyPropertyType,
                           &actualType, &actualFormat, &count, &remaining, &data) == Success &&
        data != nullptr) {
        const long *longs = reinterpret_cast<const long *>(data);
        values.assign(longs, longs + count);
        XFree(data);
    }
    return values;
}

struct Hints {
    long functions;
    long decorations;
};

Hints MwmHintsOf(Widget shell)
{
    std::vector<long> hints = ReadLongProperty(shell, "_MOTIF_WM_HINTS");
    EXPECT_GE(hints.size(), 3u);
    if (hints.size() < 3) {
        return {-1, -1};
    }
    EXPECT_EQ(hints[0] & 3, 3) << "functions and decorations flagged as present";
    return {hints[1], hints[2]};
}

Widget RealizedShell(const char *title, bool resizable)
{
    Dpy();
    WMSetResizable(resizable ? 1 : 0);
    Widget shell = CreateAppShell(title);
    XtVaCreateManagedWidget("content", xmFormWidgetClass, shell, XmNwidth, 120, XmNheight, 80, nullptr);
    XtRealizeWidget(shell);
    spinFor(30);
    return shell;
}

} // namespace

class ShellHints : public ::testing::Test {};

TEST_F(ShellHints, DecorationsAndFunctionsFollowTitleAndResizableFlag)
{
    struct Case {
        const char *title;
        bool resizable;
        long decorations, functions;
    };
    for (const Case &c : {Case{"Resizable", true, 1, 1}, Case{"Fixed", false, 58, 44}, Case{nullptr, true, 6, 1},
                          Case{nullptr, false, 2, 44}}) {
        Hints h = MwmHintsOf(RealizedShell(c.title, c.resizable));
        EXPECT_EQ(h.decorations, c.decorations) << (c.title ? c.title : "untitled") << " " << c.resizable;
        EXPECT_EQ(h.functions, c.functions) << (c.title ? c.title : "untitled") << " " << c.resizable;
    }
}

TEST_F(ShellHints, ResizableFlagAppliesToTheNextShellOnly)
{
    Dpy();
    WMSetResizable(1);
    Widget first = CreateAppShell("First");
    Widget second = CreateAppShell("Second");
    XtRealizeWidget(first);
    XtRealizeWidget(second);
    EXPECT_EQ(WMShellIsResizable(first), 1);
    EXPECT_EQ(WMShellIsResizable(second), 0);
    EXPECT_EQ(MwmHintsOf(first).functions, 1);
    EXPECT_EQ(MwmHintsOf(second).functions, 44);
}

class ShellPlacement : public ::testing::Test {};

TEST_F(ShellPlacement, ShellAppearsTenPixelsUpAndLeftOfThePointer)
{
    warpPointer(400, 300);
    Widget shell = RealizedShell("At pointer", false);
    Point at = windowOrigin(shell);
    EXPECT_EQ(at.x, 390);
    EXPECT_EQ(at.y, 290);
}

class ShellIcon : public ::testing::Test {};

TEST_F(ShellIcon, IconPixmapAndNetWmIconComeFromTheSuiteIcon)
{
    Widget shell = RealizedShell("Iconic", false);
    Pixmap icon = 0;
    XtVaGetValues(shell, XmNiconPixmap, &icon, nullptr);
    EXPECT_NE(icon, 0u);
    EXPECT_NE(icon, static_cast<Pixmap>(XmUNSPECIFIED_PIXMAP));

    std::vector<long> net = ReadLongProperty(shell, "_NET_WM_ICON");
    ASSERT_EQ(net.size(), 2u + 32u * 32u);
    EXPECT_EQ(net[0], 32);
    EXPECT_EQ(net[1], 32);
    auto pixel = [&](int x, int y) { return static_cast<unsigned long>(net[2 + y * 32 + x]) & 0xffffffffUL; };
    EXPECT_EQ(pixel(0, 0), 0x00000000UL) << "transparent corner";
    EXPECT_EQ(pixel(16, 13), 0xff79b4e6UL) << "lens centre colour";
    EXPECT_EQ(pixel(10, 28), 0xffc9a23aUL) << "slide colour";
}

TEST_F(ShellIcon, MissingIconFileIsNotAnError)
{
    Widget shell = RealizedShell("No icon", false);
    CaptureFd out(1);
    EXPECT_EQ(WMSetShellIcon(shell, "no-such-icon.xpm"), 0);
    EXPECT_NE(out.text().find("WM_getpixmap: Xpm Failed for file "), std::string::npos);
    EXPECT_EQ(WMSetShellIcon(shell, nullptr), 0);
}

class MainForm : public ::testing::Test {};

TEST_F(MainForm, SetsTheLayerAnchors)
{
    Widget form = NewMainForm("Anchors");
    ASSERT_NE(form, nullptr);
    EXPECT_STREQ(XtName(form), "form");
    EXPECT_TRUE(XmIsForm(form));
    EXPECT_EQ(XtParent(form), topshell);
    EXPECT_EQ(baseshell, topshell);
    EXPECT_EQ(current_form, form);
    EXPECT_EQ(xstart, form);
    EXPECT_EQ(left, form);
    EXPECT_EQ(top, form);
    EXPECT_NE(form1, nullptr);
    EXPECT_NE(firstshell, nullptr);

    Widget second = NewMainForm("Second");
    EXPECT_EQ(current_form, second);
    EXPECT_NE(form1, second) << "form1 stays the first form";
    EXPECT_EQ(baseshell, XtParent(second));
    EXPECT_EQ(WMGetAppContext(), XtWidgetToApplicationContext(second));
}

TEST_F(MainForm, BackgroundComesFromTheStandardColourSetting)
{
    Widget form = NewMainForm("Coloured");
    Pixel background = 0;
    XtVaGetValues(XtParent(form), XmNbackground, &background, nullptr);
    XColor colour{};
    colour.pixel = background;
    Colormap colormap = 0;
    XtVaGetValues(XtParent(form), XmNcolormap, &colormap, nullptr);
    XQueryColor(XtDisplay(form), colormap, &colour);
    EXPECT_EQ(colour.red >> 8, 0xdc);
    EXPECT_EQ(colour.green >> 8, 0xd8);
    EXPECT_EQ(colour.blue >> 8, 0xcc);
}

class DeleteWindowHandler : public ::testing::Test {};

namespace {
struct Closed {
    int calls = 0;
    void *argument = nullptr;
    void *record = nullptr;
};
Closed gClosed;
void RecordClose(void *argument, void *record)
{
    ++gClosed.calls;
    gClosed.argument = argument;
    gClosed.record = record;
}
} // namespace

TEST_F(DeleteWindowHandler, CloseRequestReachesTheHandlerAndKeepsTheWindow)
{
    NewMainForm("Closable");
    int argument = 7;
    gClosed = {};
    ASSERT_EQ(AddDeleteWindowHandler(nullptr, RecordClose, &argument), 1) << "null means baseshell";
    Widget shell = baseshell;
    sendDeleteWindow(shell);
    ASSERT_TRUE(spinUntil([] { return gClosed.calls > 0; }, 2000));
    EXPECT_EQ(gClosed.calls, 1);
    EXPECT_EQ(gClosed.argument, &argument);
    EXPECT_NE(gClosed.record, nullptr);
    EXPECT_TRUE(isOnScreen(shell)) << "the toolkit must not destroy or hide the window";
}

TEST_F(DeleteWindowHandler, RefusesWidgetsThatAreNotVendorShells)
{
    Widget form = NewMainForm("Not a shell");
    EXPECT_EQ(AddDeleteWindowHandler(form, RecordClose, nullptr), 0);
}
