// The X harness for tests of windows made in the test's own process (the toolkit layer and
// what is built on it). Linking it starts a private X server per test process (x_server.cpp);
// XSession (x_session.h) drives another program's windows from outside.
#pragma once

// GoogleTest first: Xlib defines macros (None, Bool) that clash with its names.
#include <gtest/gtest.h>

#include <lumarix/wm.h>

#include <X11/Xlib.h>
#include <Xm/Xm.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace lxtest {

// Opens the application (once) and returns its display; ends the test process without one.
Display *appDisplay();

// Runs the event loop for `ms` milliseconds.
void spinFor(int ms);
// Runs the event loop until `done` holds or `ms` pass; returns whether it held.
bool spinUntil(const std::function<bool()> &done, int ms);
// Runs `action` from inside the event loop after `ms` (to answer blocking dialogs).
void after(int ms, std::function<void()> action);

// The newest managed, living dialog named `name` (e.g. "warning", "question") among the popups
// of baseshell, or null.
Widget findDialog(const char *name);
// Presses a push button (widget or gadget) as a click would.
void pressButton(Widget button);
// Sends the window manager's close request (WM_DELETE_WINDOW) to a shell.
void sendDeleteWindow(Widget shell);
// The text of a compound-string resource, each line break as "\n".
std::string xmText(Widget w, const char *resource = XmNmessageString);

void warpPointer(int x, int y);
struct Point {
    int x = 0, y = 0;
};
// Where the widget's window lies on the screen, read from the server.
Point windowOrigin(Widget w);
// Whether the widget's window is viewable, read from the server.
bool isOnScreen(Widget w);
struct Size {
    int width = 0, height = 0;
};
// The widget's width and height resources.
Size sizeOf(Widget w);
// The names of the widget's managed children, in their order.
std::vector<std::string> managedChildNames(Widget parent);

// Whether the widget still exists, and when it went (tracked through its destroy callback).
struct Liveness {
    explicit Liveness(Widget w);
    ~Liveness(); // a widget that outlives it no longer reports to it
    Liveness(const Liveness &) = delete;
    Liveness &operator=(const Liveness &) = delete;
    bool alive = true;
    std::chrono::steady_clock::time_point destroyedAt{};
    Widget widget;
};

// Captures what is written to a standard stream (1 or 2) while it lives.
class CaptureFd {
public:
    explicit CaptureFd(int fd);
    ~CaptureFd();
    CaptureFd(const CaptureFd &) = delete;
    CaptureFd &operator=(const CaptureFd &) = delete;
    std::string text(); // stops capturing and returns what was written

private:
    int fd_;
    int saved_ = -1;
    std::string path_;
};

} // namespace lxtest
