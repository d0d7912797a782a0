// Helpers for the toolkit layer's tests: a private suite base directory, event-loop driving,
// pointer moves and reading windows back from the X server.
#pragma once

// GoogleTest first: Xlib defines macros (None, Bool) that clash with its names.
#include <gtest/gtest.h>

#include <lumarix/wm.h>

#include <X11/Xlib.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace lxtest {

// The suite base directory of the test run (with spaces and shell characters in its name),
// holding config/pixmaps/lx_app_icon.xpm, help pages and a recording bin/WMShowHelp.
const std::string &BaseDir();
// HOME of the test run (application logs land under it).
const std::string &HomeDir();

// Opens the application (once) and returns the display; fails the test without one.
Display *Dpy();

// Runs the event loop for `ms` milliseconds.
void SpinFor(int ms);
// Runs the event loop until `done` holds or `ms` pass; returns whether it held.
bool SpinUntil(const std::function<bool()> &done, int ms);
// Runs `action` from the event loop after `ms` (for driving blocking dialogs).
void After(int ms, std::function<void()> action);

void WarpPointer(int x, int y);
// Where the widget's window lies on the screen, read from the server.
struct Point {
    int x;
    int y;
};
Point WindowOrigin(Widget w);
bool IsOnScreen(Widget w);

// A fresh, realized main form; its shell becomes baseshell.
Widget NewMainForm(const char *title = "Test window");

// Every shell NewMainForm made that still exists.
const std::vector<Widget> &ShellsMade();

// The newest popup dialog named `name` under baseshell, or NULL.
Widget FindDialog(const char *name);
// Activates a push button as a click would.
void PressButton(Widget button);
// Sends the window manager's close request (WM_DELETE_WINDOW) to a shell.
void SendDeleteWindow(Widget shell);
// Whether the widget still exists (tracked through its destroy callback).
struct Liveness {
    explicit Liveness(Widget w);
    bool alive = true;
    std::chrono::steady_clock::time_point destroyedAt{};
};

// Captures what is written to a standard stream (1 or 2) while it lives.
class CaptureFd {
public:
    explicit CaptureFd(int fd);
    ~CaptureFd();
    std::string Text(); // stops capturing and returns what was written
private:
    int fd_;
    int saved_ = -1;
    std::string path_;
    bool done_ = false;
};

std::string ReadFile(const std::string &path);
void WriteFile(const std::string &path, const std::string &text);
bool FileExists(const std::string &path);

// The text of a message or selection box's compound-string resource.
std::string ResourceText(Widget w, const char *resource);

} // namespace lxtest
