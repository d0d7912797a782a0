// A small client of the toolkit layer for tests that need a process of their own.
//   wm_probe no-display   dialogs and shells without any X display
//   wm_probe dialog-only  a warning from a program that never made a main window
#include <lumarix/wm.h>

#include <cstdio>
#include <cstring>

static int NoDisplay() {
    char answer[WM_ANSWER_SIZE] = "stale";
    std::printf("form=%s\n", CreateMainForm("No display") == nullptr ? "null" : "made");
    std::printf("warning=%s\n", WMShowWarning("warning text %d", 1) == nullptr ? "null" : "made");
    std::printf("question=%d\n", WMAskQuestion("question text %d", 2));
    std::printf("info=%d\n", WMShowInfo("info text 3", 2));
    std::printf("prompt=%d answer=[%s]\n", WMAskString("prompt text 4", answer, "x"), answer);
    return 0;
}

static int DialogOnly() {
    Widget dialog = WMShowWarning("from a program without a window");
    if (dialog == nullptr || baseshell == nullptr) {
        return 1;
    }
    std::printf("parent=%s shell=%s\n", XtName(XtParent(XtParent(dialog))), XtName(baseshell));
    return 0;
}

int main(int argc, char **argv) {
    if (argc == 2 && std::strcmp(argv[1], "no-display") == 0) {
        return NoDisplay();
    }
    if (argc == 2 && std::strcmp(argv[1], "dialog-only") == 0) {
        return DialogOnly();
    }
    std::fprintf(stderr, "usage: wm_probe no-display|dialog-only\n");
    return 2;
}
