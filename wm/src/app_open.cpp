// Opening the toolkit application once, and the layer's process-wide state.
#include "layer_state.h"
#include "toolkit_verbs.h"

#include <lumarix/settings.h>
#include <lumarix/wm.h>

#include <X11/Shell.h>

#include <cstdio>

namespace lx::wm {

LayerState &State() {
    static LayerState state;
    return state;
}

const std::optional<std::string> &StandardBackground() {
    LayerState &s = State();
    if (!s.backgroundLookedUp) {
        s.backgroundLookedUp = true;
        if (const char *colour = GetSetting("LX_STD_BKG_COLOR")) {
            s.background = colour;
        }
    }
    return s.background;
}

namespace {

// XtOpenApplication ends the process when the display cannot be opened; opening the display
// ourselves in the same steps lets the layer fall back to standard error instead.
Display *OpenDisplayWithoutExiting(LayerState &s, String *fallback) {
    XtToolkitInitialize();
    s.app = XtCreateApplicationContext();
    if (fallback != nullptr) {
        XtAppSetFallbackResources(s.app, fallback);
    }
    // Only the class name is passed as argument vector: the process's own arguments must not
    // act as toolkit options.
    static char className[] = "Lumarix";
    static char *argv[] = {className, nullptr};
    int argc = 1;
    Display *display = XtOpenDisplay(s.app, nullptr, nullptr, kAppClass, nullptr, 0, &argc, argv);
    if (display == nullptr) {
        XtDestroyApplicationContext(s.app);
        s.app = nullptr;
    }
    return display;
}

}  // namespace
}  // namespace lx::wm

using namespace lx::wm;

static void OpenApplicationOnce(const char *caller) {
    LayerState &s = State();
    if (s.display != nullptr || s.openFailed) {
        return;
    }
    String *fallback = nullptr;
    if (const auto &colour = StandardBackground()) {
        std::snprintf(s.fallbackLine.data(), s.fallbackLine.size(), "*.background: %s",
                      colour->c_str());
        s.fallbackList = {s.fallbackLine.data(), nullptr};
        fallback = s.fallbackList.data();
    }
    Display *display = OpenDisplayWithoutExiting(s, fallback);
    if (display == nullptr) {
        s.openFailed = true;
        std::fprintf(stderr, "%s: cannot open display \"%s\"\n", caller, XDisplayName(nullptr));
        return;
    }
    s.sessionShell = XtVaAppCreateShell(nullptr, kAppClass, sessionShellWidgetClass, display,
                                        XtNjoinSession, False, nullptr);
    s.display = display;
}

extern "C" void OpenApplication(void) {
    const char *caller = __func__;
    lx::wm::GuardCallback(caller, [caller] { OpenApplicationOnce(caller); });
}

extern "C" XtAppContext WMGetAppContext(void) { return State().app; }

extern "C" Display *WMGetDisplay(void) { return State().display; }
