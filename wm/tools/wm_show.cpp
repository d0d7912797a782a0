// Shows one kind of dialog or a tooltip and stays up for four seconds, for screenshots.
//   wm_show warning|info|question|prompt|ask-suppressible|warn-suppressible|tooltip
#include <lumarix/wm.h>

#include <Xm/Form.h>
#include <Xm/Label.h>
#include <Xm/PushB.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

static void Quit(XtPointer, XtIntervalId *) { std::exit(0); }

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: wm_show KIND\n");
        return 2;
    }
    const char *kind = argv[1];
    Display *display = nullptr;
    OpenApplication();
    display = WMGetDisplay();
    if (display == nullptr) {
        return 1;
    }
    XWarpPointer(display, None, DefaultRootWindow(display), 0, 0, 0, 0, 330, 260);
    WMSetResizable(1);
    Widget form = CreateMainForm("Lumarix User Parameters");
    Widget label =
        XtVaCreateManagedWidget("Objective magnification", xmLabelWidgetClass, form, XmNtopAttachment, XmATTACH_FORM,
                                XmNleftAttachment, XmATTACH_FORM, XmNtopOffset, 12, XmNleftOffset, 12, nullptr);
    Widget info = XtVaCreateManagedWidget("info", xmPushButtonWidgetClass, form, XmNtopAttachment, XmATTACH_FORM,
                                          XmNtopOffset, 8, XmNleftAttachment, XmATTACH_WIDGET, XmNleftWidget, label,
                                          XmNleftOffset, 12, XmNrightAttachment, XmATTACH_FORM, XmNrightOffset, 12,
                                          XmNbottomAttachment, XmATTACH_FORM, XmNbottomOffset, 60, nullptr);
    XtRealizeWidget(topshell);
    XtAppAddTimeOut(WMGetAppContext(), 4000, Quit, nullptr);
    XSync(display, False);

    static int suppress = 0;
    char answer[WM_ANSWER_SIZE];
    if (std::strcmp(kind, "warning") == 0) {
        WMShowWarning("The value of LX_DATA_DIR is not a directory:\n%s", "/data/microscope/raw");
    } else if (std::strcmp(kind, "info") == 0) {
        WMShowInfo("Saved options to file /home/anna/lumarix.cfg\n\nNOTE: Some changed values will not "
                   "take effect until Lumarix is restarted.",
                   0);
    } else if (std::strcmp(kind, "question") == 0) {
        WMAskQuestion("You have made changes.\nAre you sure you want to quit?");
    } else if (std::strcmp(kind, "prompt") == 0) {
        WMAskString("Name of the new objective preset:", answer, "Plan Apo 60x oil");
    } else if (std::strcmp(kind, "ask-suppressible") == 0) {
        WMAskQuestionSuppressible(&suppress, "Overwrite the existing calibration file?");
    } else if (std::strcmp(kind, "warn-suppressible") == 0) {
        WMShowWarningSuppressible(&suppress, "The stage is not homed; positions may be off.");
    } else if (std::strcmp(kind, "tooltip") == 0) {
        WMSetTooltip(info, "Click for help on this setting");
        Position x = 0, y = 0;
        XtTranslateCoords(info, 10, 10, &x, &y);
        XWarpPointer(display, None, DefaultRootWindow(display), 0, 0, 0, 0, x, y);
    } else {
        std::fprintf(stderr, "wm_show: unknown kind %s\n", kind);
        return 2;
    }
    XtAppMainLoop(WMGetAppContext());
    return 0;
}
