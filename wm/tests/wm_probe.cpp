// A small client of the toolkit layer for tests that need a process of their own.
//   wm_probe no-display   dialogs and shells without any X display
//   wm_probe dialog-only  a warning from a program that never made a main window
//   wm_probe fonts        the kind of font a label's render table gives, and its text's width
#include <lumarix/wm.h>

#include <Xm/Label.h>

#include <cstdio>
#include <cstring>

static int NoDisplay()
{
    char answer[WM_ANSWER_SIZE] = "stale";
    std::printf("form=%s\n", CreateMainForm("No display") == nullptr ? "null" : "made");
    std::printf("warning=%s\n", WMShowWarning("warning text %d", 1) == nullptr ? "null" : "made");
    std::printf("question=%d\n", WMAskQuestion("question text %d", 2));
    std::printf("info=%d\n", WMShowInfo("info text 3", 2));
    std::printf("prompt=%d answer=[%s]\n", WMAskString("prompt text 4", answer, "x"), answer);
    return 0;
}

static int DialogOnly()
{
    Widget dialog = WMShowWarning("from a program without a window");
    if (dialog == nullptr || baseshell == nullptr) {
        return 1;
    }
    std::printf("parent=%s shell=%s\n", XtName(XtParent(XtParent(dialog))), XtName(baseshell));
    return 0;
}

static int Fonts()
{
    XmString text = XmStringCreateLocalized(const_cast<char *>("Stage speed"));
    Widget label =
        XtVaCreateManagedWidget("label", xmLabelWidgetClass, CreateMainForm("Fonts"), XmNlabelString, text, nullptr);
    XmRenderTable table = nullptr;
    XtVaGetValues(label, XmNrenderTable, &table, nullptr);
    XmFontType type = XmFONT_IS_FONT;
    Arg arg;
    XtSetArg(arg, XmNfontType, &type);
    if (XmRendition rendition = XmRenderTableGetRendition(table, const_cast<char *>(_MOTIF_DEFAULT_LOCALE))) {
        XmRenditionRetrieve(rendition, &arg, 1);
        XmRenditionFree(rendition);
    }
    std::printf("%s drawn=%d\n", type == XmFONT_IS_XFT ? "xft" : "core", XmStringWidth(table, text) > 0);
    return 0;
}

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "no-display") == 0) {
        return NoDisplay();
    }
    if (argc == 2 && std::strcmp(argv[1], "dialog-only") == 0) {
        return DialogOnly();
    }
    if (argc == 2 && std::strcmp(argv[1], "fonts") == 0) {
        return Fonts();
    }
    std::fprintf(stderr, "usage: wm_probe no-display|dialog-only|fonts\n");
    return 2;
}
