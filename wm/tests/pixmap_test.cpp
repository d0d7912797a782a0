// XPM loading for a widget: success, warnings that still load, failures, transparency and
// depth-one bitmaps.
#include "wm_test_support.h"

#include <gtest/gtest.h>

#include <Xm/Form.h>
#include <Xm/Xm.h>

using namespace lxtest;

namespace {

const char *kCleanXpm = "/* XPM */\nstatic char *clean[] = {\n\"4 2 2 1\",\n\"  c None\",\n\"x c #ff0000\",\n"
                        "\"  xx\",\n\"xx  \"};\n";

// "notacolour" cannot be parsed: XPM falls back to the pixel's monochrome colour.
const char *kWarningXpm =
    "/* XPM */\nstatic char *warn[] = {\n\"2 1 2 1\",\n\"a c notacolour m black\",\n\"b c #00ff00\",\n"
    "\"ab\"};\n";

class Pixmaps : public ::testing::Test {
protected:
    void SetUp() override
    {
        Widget form = NewMainForm("Pixmaps");
        widget = XtVaCreateManagedWidget("holder", xmFormWidgetClass, form, XmNwidth, 20, XmNheight, 20, nullptr);
        spinFor(20);
    }
    std::string Write(const char *name, const char *text)
    {
        std::string path = HomeDir() + "/" + name;
        writeFile(path, text);
        return path;
    }
    unsigned long PixelAt(Pixmap pixmap, int x, int y)
    {
        XImage *image = XGetImage(XtDisplay(widget), pixmap, x, y, 1, 1, AllPlanes, ZPixmap);
        unsigned long value = XGetPixel(image, 0, 0);
        XDestroyImage(image);
        return value;
    }
    Widget widget = nullptr;
};

TEST_F(Pixmaps, CleanFileLoadsSilentlyAndNoneTakesTheBackground)
{
    const std::string path = Write("clean.xpm", kCleanXpm);
    Pixmap pixmap = 0, mask = 0;
    CaptureFd out(1);
    ASSERT_EQ(WMGetPixmap(widget, path.c_str(), 0, &pixmap, &mask), 1);
    EXPECT_EQ(out.text(), "");
    Pixel background = 0;
    XtVaGetValues(widget, XmNbackground, &background, nullptr);
    EXPECT_EQ(PixelAt(pixmap, 0, 0), background);
    EXPECT_EQ(PixelAt(pixmap, 2, 0) & 0xffffff, 0xff0000u);
}

// libXpm 3.5 reports the colour fallback as a warning only when exact colours are asked for,
// which the layer does not do; whatever it reports, the picture must load.
TEST_F(Pixmaps, UnusableColoursStillLoadAndPrintAtMostTheirLine)
{
    const std::string path = Write("warn.xpm", kWarningXpm);
    Pixmap pixmap = 0, mask = 0;
    CaptureFd out(1);
    EXPECT_EQ(WMGetPixmap(widget, path.c_str(), 0, &pixmap, &mask), 1);
    const std::string printed = out.text();
    if (!printed.empty()) {
        EXPECT_EQ(printed, "WM_getpixmap: Xpm Failed for file " + path + "\n");
    }
    EXPECT_NE(pixmap, 0u);
    EXPECT_NE(pixmap, static_cast<Pixmap>(XmUNSPECIFIED_PIXMAP));
}

TEST_F(Pixmaps, MissingOrBrokenFilesFail)
{
    Pixmap pixmap = 0, mask = 0;
    const std::string missing = HomeDir() + "/missing.xpm";
    CaptureFd out(1);
    EXPECT_EQ(WMGetPixmap(widget, missing.c_str(), 0, &pixmap, &mask), 0);
    const std::string broken = Write("broken.xpm", "/* XPM */\nstatic char *x[] = {\n\"9 9 1\",\n");
    EXPECT_EQ(WMGetPixmap(widget, broken.c_str(), 0, &pixmap, &mask), 0);
    EXPECT_EQ(out.text(), "WM_getpixmap: Xpm Failed for file " + missing + "\n" + "WM_getpixmap: Xpm Failed for file " +
                              broken + "\n");
}

TEST_F(Pixmaps, DepthOneFlagGivesABitmapWithAMask)
{
    const std::string path = Write("clean1.xpm", kCleanXpm);
    Pixmap pixmap = 0, mask = 0;
    ASSERT_EQ(WMGetPixmap(widget, path.c_str(), 1, &pixmap, &mask), 1);
    Window root = 0;
    int x = 0, y = 0;
    unsigned int width = 0, height = 0, border = 0, depth = 0;
    ASSERT_TRUE(XGetGeometry(XtDisplay(widget), pixmap, &root, &x, &y, &width, &height, &border, &depth));
    EXPECT_EQ(depth, 1u);
    EXPECT_EQ(width, 4u);
    EXPECT_EQ(height, 2u);
    ASSERT_NE(mask, static_cast<Pixmap>(XmUNSPECIFIED_PIXMAP)) << "None stays transparent";
    EXPECT_EQ(PixelAt(mask, 0, 0), 0u);
    EXPECT_EQ(PixelAt(mask, 2, 0), 1u);
}

} // namespace
