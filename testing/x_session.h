// Drives a real program's windows from outside, as a user would: finds windows on the X server
// and types and clicks with xdotool.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <X11/Xlib.h>

namespace lxtest {

struct Box {
    Window window = 0;
    int x = 0, y = 0; // on the screen
    int width = 0, height = 0;
    int centerX() const { return x + width / 2; }
    int centerY() const { return y + height / 2; }
};

class XSession {
public:
    XSession();
    ~XSession();
    bool ok() const { return display_ != nullptr; }

    // A viewable top-level window whose WM_NAME is `title` or whose WM_CLASS instance is `title`.
    Window findTopLevel(const std::string &title);
    Window waitForTopLevel(const std::string &title, int ms);
    bool waitUntilGone(const std::string &title, int ms);

    // Viewable children of `w`, on screen, sorted top to bottom, then left to right.
    std::vector<Box> children(Window w);
    // The first viewable descendant (breadth first) whose children satisfy `test`.
    Window findDescendant(Window top, const std::function<bool(const std::vector<Box> &)> &test);

    void click(int x, int y);
    void click(const Box &box) { click(box.centerX(), box.centerY()); }
    void typeText(const std::string &text);
    void key(const std::string &keys);
    void focus(Window w);
    // Asks the window's client to close it, as a window manager's close does.
    void closeWindow(Window w);

private:
    Display *display_ = nullptr;
};

} // namespace lxtest
