// Stand-in for the shared X harness until it is merged: the same names, only what these tests use.
#pragma once

#include <gtest/gtest.h>

#include <lumarix/wm.h>

#include <X11/Xlib.h>
#include <Xm/Xm.h>

#include <functional>
#include <string>

namespace lxtest {

void spinFor(int ms);
bool spinUntil(const std::function<bool()> &done, int ms);
void after(int ms, std::function<void()> action);
Widget findDialog(const char *name);
void pressButton(Widget button);
void sendDeleteWindow(Widget shell);
std::string xmText(Widget w, const char *resource = XmNmessageString);

struct Liveness {
    explicit Liveness(Widget w);
    Liveness(const Liveness &) = delete;
    Liveness &operator=(const Liveness &) = delete;
    bool alive = true;
};

class CaptureFd {
public:
    explicit CaptureFd(int fd);
    ~CaptureFd();
    std::string text();

private:
    int fd_;
    int saved_ = -1;
    std::string path_;
};

} // namespace lxtest
