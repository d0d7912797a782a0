// Process-wide state of the toolkit layer: one instance, set up lazily, event-loop thread only.
#pragma once

#include <X11/Intrinsic.h>
#include <Xm/Xm.h>

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lx::wm {

inline constexpr const char *kAppClass = "Lumarix";

// One shell made by CreateMainForm with its integer flag (0 at registration).
struct RegisteredShell {
    Widget shell = nullptr;
    int flag = 0;
};

// What the form-layout helpers start from for each new main form.
struct LayoutRecord {
    Widget lastWidget = nullptr;
    int row = 0;
    int column = 0;
    int depth = 0;
};

struct EventHandlerSlot {
    Widget widget = nullptr;
    XtEventHandler handler = nullptr;
    XtPointer data = nullptr;
};

struct LayerState {
    XtAppContext app = nullptr;
    Display *display = nullptr;
    Widget sessionShell = nullptr;
    bool openFailed = false;

    bool backgroundLookedUp = false;
    std::optional<std::string> background; // LX_STD_BKG_COLOR, absent stays absent
    std::array<char, 50> fallbackLine{};   // "*.background: %s", cut at 49 characters
    std::array<char, 50> shellFallbackLine{};
    std::vector<String> fallbackList; // the background line, then the fonts' lines
    std::vector<String> shellFallbackList;
    bool antiAliased = false;  // the render table's sans font opens
    Pixel backgroundPixel = 0; // 0: no background set
    bool colormapRead = false;
    Colormap colormap = 0;

    int resizableNext = 0;
    std::map<Widget, int> resizableOf;   // each shell's resizable flag (shells have no user data)
    std::vector<RegisteredShell> shells; // grows in steps of 20 entries

    // Where the form-layout helpers (not part of this layer yet) continue in a new main form:
    // the next widget starts a row, and that row is the form's first.
    int nextStartsRow = 0;
    int nextIsFirstRow = 0;
    LayoutRecord layout;
    std::array<EventHandlerSlot, 32> evtable{};
    int evHandlerCount = 0;
    std::string defaultDirKey;
    std::string defaultExtKey;

    // Dialogs.
    Widget dialogParentOverride = nullptr;
    bool centreNextDialog = false;
    std::array<char, 500> message{}; // the shared message buffer
    int infoAcknowledge = 0;

    // Help.
    bool haveHelpEvent = false;
    XEvent helpEvent{};
};

LayerState &State();

// The standard background colour setting, looked up once.
const std::optional<std::string> &StandardBackground();

// The parent for a new dialog; creates the "Confirm" shell when needed. NULL without display.
Widget DialogParent();

} // namespace lx::wm
