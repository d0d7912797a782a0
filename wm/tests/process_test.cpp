// Programs without a display, without a main window, and with or without the anti-aliased font:
// each case runs in a child process, since the application opens once per process.
#include "wm_test_support.h"

#include <Xm/Label.h>

using namespace lxtest;

TEST(WithoutDisplay, DialogsFallBackToStandardErrorAndTheDisplayIsReportedOnce)
{
    const std::string err = HomeDir() + "/no-display.err";
    EXPECT_TRUE(inChild(
        [] {
            unsetenv("DISPLAY");
            char answer[WM_ANSWER_SIZE] = "stale";
            return CreateMainForm("No display") == nullptr && WMShowWarning("warning text %d", 1) == nullptr &&
                   WMAskQuestion("question text %d", 2) == 0 && WMShowInfo("info text 3", 2) == 0 &&
                   WMAskString("prompt text 4", answer, "x") == -1 && answer[0] == '\0';
        },
        err));
    EXPECT_EQ(readFile(err),
              "OpenApplication: cannot open display \"\"\nwarning text 1\nquestion text 2\ninfo text 3\n");
}

TEST(DialogOnlyProgram, WarningGetsAConfirmShellAsParent)
{
    EXPECT_TRUE(inChild([] {
        Widget dialog = WMShowWarning("from a program without a window");
        return dialog != nullptr && XtParent(XtParent(dialog)) == baseshell &&
               std::string(XtName(baseshell)) == "Confirm";
    }));
}

// Labels draw with the desktop's anti-aliased sans font; where no such font opens (fontconfig
// knowing no fonts) they keep Motif's core fonts rather than drawing no text at all.
TEST(Fonts, RenderTableIsAntiAliasedWhereItsFontOpensElseCore)
{
    writeFile(HomeDir() + "/no-fonts.conf", "<?xml version=\"1.0\"?><fontconfig></fontconfig>\n");
    for (const auto &[fontconfig, wanted] :
         {std::pair{"", XmFONT_IS_XFT}, std::pair{"/no-fonts.conf", XmFONT_IS_FONT}}) {
        EXPECT_TRUE(inChild([&] {
            if (*fontconfig != '\0')
                setenv("FONTCONFIG_FILE", (HomeDir() + fontconfig).c_str(), 1);
            XmString text = XmStringCreateLocalized(const_cast<char *>("Stage speed"));
            Widget label = XtVaCreateManagedWidget("label", xmLabelWidgetClass, CreateMainForm("Fonts"), XmNlabelString,
                                                   text, nullptr);
            XmRenderTable table = nullptr;
            XtVaGetValues(label, XmNrenderTable, &table, nullptr);
            XmFontType type = XmFONT_IS_FONT;
            Arg arg{XmNfontType, reinterpret_cast<XtArgVal>(&type)};
            XmRenditionRetrieve(XmRenderTableGetRendition(table, const_cast<char *>(_MOTIF_DEFAULT_LOCALE)), &arg, 1);
            return type == wanted && XmStringWidth(table, text) > 0;
        })) << (*fontconfig != '\0' ? "without fonts" : "with fonts");
    }
}
