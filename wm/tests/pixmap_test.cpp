// XPM loading for a widget.
#include "wm_test_support.h"

#include <Xm/Form.h>

#include <array>

using namespace lxtest;

namespace {

const char *kCleanXpm = "/* XPM */\nstatic char *clean[] = {\n\"4 2 2 1\",\n\"  c None\",\n\"x c #ff0000\",\n"
                        "\"  xx\",\n\"xx  \"};\n";

class Pixmaps : public ::testing::Test {
protected:
    void SetUp() override
    {
        widget = XtVaCreateManagedWidget("holder", xmFormWidgetClass, NewMainForm("Pixmaps"), XmNwidth, 20, XmNheight,
                                         20, nullptr);
        spinFor(20);
    }
    std::string Write(const char *name, const char *text)
    {
        writeFile(HomeDir() + "/" + name, text);
        return HomeDir() + "/" + name;
    }
    unsigned long PixelAt(Pixmap from, int x, int y)
    {
        XImage *image = XGetImage(XtDisplay(widget), from, x, y, 1, 1, AllPlanes, ZPixmap);
        unsigned long value = XGetPixel(image, 0, 0);
        XDestroyImage(image);
        return value;
    }
    Widget widget = nullptr;
    Pixmap pixmap = 0, mask = 0;
};

TEST_F(Pixmaps, NoneTakesTheBackgroundOrWithDepthOneTheMask)
{
    CaptureFd out(1);
    ASSERT_EQ(WMGetPixmap(widget, Write("clean.xpm", kCleanXpm).c_str(), 0, &pixmap, &mask), 1);
    EXPECT_EQ(out.text(), "") << "a clean file loads silently";
    Pixel background = 0;
    XtVaGetValues(widget, XmNbackground, &background, nullptr);
    EXPECT_EQ(PixelAt(pixmap, 0, 0), background);
    EXPECT_EQ(PixelAt(pixmap, 2, 0) & 0xffffff, 0xff0000u);

    ASSERT_EQ(WMGetPixmap(widget, Write("clean1.xpm", kCleanXpm).c_str(), 1, &pixmap, &mask), 1);
    Window root = 0;
    int x = 0, y = 0;
    unsigned int width = 0, height = 0, border = 0, depth = 0;
    ASSERT_TRUE(XGetGeometry(XtDisplay(widget), pixmap, &root, &x, &y, &width, &height, &border, &depth));
    EXPECT_EQ((std::array{depth, width, height}), (std::array{1u, 4u, 2u}));
    ASSERT_NE(mask, static_cast<Pixmap>(XmUNSPECIFIED_PIXMAP)) << "None stays transparent";
    EXPECT_EQ(PixelAt(mask, 0, 0), 0u);
    EXPECT_EQ(PixelAt(mask, 2, 0), 1u);
}

// "notacolour" cannot be parsed: the pixel takes its monochrome colour, and the picture loads.
TEST_F(Pixmaps, UnusableColoursStillLoadMissingOrBrokenFilesFail)
{
    const std::string warn =
        Write("warn.xpm", "/* XPM */\nstatic char *w[] = {\n\"2 1 2 1\",\n\"a c notacolour m black\",\n"
                          "\"b c #00ff00\",\n\"ab\"};\n");
    EXPECT_EQ(WMGetPixmap(widget, warn.c_str(), 0, &pixmap, &mask), 1);
    EXPECT_NE(pixmap, 0u);
    EXPECT_NE(pixmap, static_cast<Pixmap>(XmUNSPECIFIED_PIXMAP));
    const std::string missing = HomeDir() + "/missing.xpm";
    const std::string broken = Write("broken.xpm", "/* XPM */\nstatic char *x[] = {\n\"9 9 1\",\n");
    CaptureFd out(1);
    EXPECT_EQ(WMGetPixmap(widget, missing.c_str(), 0, &pixmap, &mask), 0);
    EXPECT_EQ(WMGetPixmap(widget, broken.c_str(), 0, &pixmap, &mask), 0);
    EXPECT_EQ(out.text(),
              "WM_getpixmap: Xpm Failed for file " + missing + "\nWM_getpixmap: Xpm Failed for file " + broken + "\n");
}

} // namespace
