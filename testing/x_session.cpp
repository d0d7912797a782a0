#include "x_session.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <thread>

#include <X11/Xutil.h>

namespace lxtest {

namespace {

void sleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

int run(const std::string &command) { return std::system(command.c_str()); }

} // namespace

// Windows come and go while the test looks at them (a dialog destroyed between listing and
// asking about it): such errors mean "gone", not a reason to end the test process.
XSession::XSession() : display_(XOpenDisplay(nullptr))
{
    XSetErrorHandler([](Display *, XErrorEvent *) { return 0; });
}

XSession::~XSession()
{
    if (display_ != nullptr)
        XCloseDisplay(display_);
}

Window XSession::findTopLevel(const std::string &title)
{
    Window root = DefaultRootWindow(display_), parent = 0, *kids = nullptr;
    unsigned int count = 0;
    XSync(display_, False);
    if (!XQueryTree(display_, root, &root, &parent, &kids, &count))
        return 0;
    Window found = 0;
    for (unsigned int i = count; i-- > 0 && found == 0;) {
        XWindowAttributes attributes;
        if (!XGetWindowAttributes(display_, kids[i], &attributes) || attributes.map_state != IsViewable)
            continue;
        char *name = nullptr;
        if (XFetchName(display_, kids[i], &name) && name != nullptr) {
            if (title == name)
                found = kids[i];
            XFree(name);
        }
        XClassHint hint{};
        if (found == 0 && XGetClassHint(display_, kids[i], &hint)) {
            if (hint.res_name != nullptr && title == hint.res_name)
                found = kids[i];
            XFree(hint.res_name);
            XFree(hint.res_class);
        }
    }
    XFree(kids);
    return found;
}

Window XSession::waitForTopLevel(const std::string &title, int ms)
{
    for (int waited = 0; waited <= ms; waited += 50) {
        if (Window w = findTopLevel(title))
            return w;
        sleepMs(50);
    }
    return 0;
}

bool XSession::waitUntilGone(const std::string &title, int ms)
{
    for (int waited = 0; waited <= ms; waited += 50) {
        if (findTopLevel(title) == 0)
            return true;
        sleepMs(50);
    }
    return false;
}

std::vector<Box> XSession::children(Window w)
{
    Window root = 0, parent = 0, *kids = nullptr;
    unsigned int count = 0;
    std::vector<Box> boxes;
    if (!XQueryTree(display_, w, &root, &parent, &kids, &count))
        return boxes;
    for (unsigned int i = 0; i < count; ++i) {
        XWindowAttributes attributes;
        if (!XGetWindowAttributes(display_, kids[i], &attributes) || attributes.map_state != IsViewable)
            continue;
        Box box;
        box.window = kids[i];
        box.width = attributes.width;
        box.height = attributes.height;
        Window child = 0;
        XTranslateCoordinates(display_, kids[i], attributes.root, 0, 0, &box.x, &box.y, &child);
        boxes.push_back(box);
    }
    XFree(kids);
    std::sort(boxes.begin(), boxes.end(),
              [](const Box &a, const Box &b) { return a.y != b.y ? a.y < b.y : a.x < b.x; });
    return boxes;
}

Window XSession::findDescendant(Window top, const std::function<bool(const std::vector<Box> &)> &test)
{
    std::deque<Window> queue{top};
    while (!queue.empty()) {
        Window w = queue.front();
        queue.pop_front();
        std::vector<Box> kids = children(w);
        if (w != top && test(kids))
            return w;
        for (const Box &kid : kids)
            queue.push_back(kid.window);
    }
    return 0;
}

void XSession::click(int x, int y)
{
    run("xdotool mousemove --sync " + std::to_string(x) + " " + std::to_string(y) + " click 1");
    sleepMs(150);
}

void XSession::typeText(const std::string &text)
{
    run("xdotool type --delay 20 '" + text + "'");
    sleepMs(100);
}

void XSession::key(const std::string &keys)
{
    run("xdotool key --clearmodifiers " + keys);
    sleepMs(150);
}

void XSession::focus(Window w)
{
    XSetInputFocus(display_, w, RevertToParent, CurrentTime);
    XSync(display_, False);
    sleepMs(50);
}

void XSession::closeWindow(Window w)
{
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = w;
    event.xclient.message_type = XInternAtom(display_, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(display_, "WM_DELETE_WINDOW", False));
    XSendEvent(display_, w, False, NoEventMask, &event);
    XSync(display_, False);
}

} // namespace lxtest
