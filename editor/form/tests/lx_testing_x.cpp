// Stand-in for the shared X harness until it is merged.
#include "lx_testing_x.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

#include <X11/IntrinsicP.h>
#include <X11/CoreP.h>
#include <Xm/PushB.h>

#include "lx_testing.h"

namespace lxtest {

void spinFor(int ms)
{
    spinUntil([] { return false; }, ms);
}

bool spinUntil(const std::function<bool()> &done, int ms)
{
    XtAppContext app = WMGetAppContext();
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        XFlush(WMGetDisplay());
        while (XtAppPending(app) != 0)
            XtAppProcessEvent(app, XtIMAll);
        usleep(2000);
    }
    return true;
}

namespace {
void runLater(XtPointer closure, XtIntervalId *)
{
    std::unique_ptr<std::function<void()>> action(static_cast<std::function<void()> *>(closure));
    (*action)();
}
} // namespace

void after(int ms, std::function<void()> action)
{
    XtAppAddTimeOut(WMGetAppContext(), static_cast<unsigned long>(ms), runLater,
                    new std::function<void()>(std::move(action)));
}

Widget findDialog(const char *name)
{
    if (baseshell == nullptr)
        return nullptr;
    WidgetList popups = baseshell->core.popup_list;
    for (Cardinal i = baseshell->core.num_popups; i-- > 0;) {
        WidgetList children = nullptr;
        Cardinal count = 0;
        XtVaGetValues(popups[i], XmNchildren, &children, XmNnumChildren, &count, nullptr);
        for (Cardinal c = 0; c < count; ++c)
            if (!children[c]->core.being_destroyed && std::strcmp(XtName(children[c]), name) == 0 &&
                XtIsManaged(children[c]))
                return children[c];
    }
    return nullptr;
}

std::string xmText(Widget w, const char *resource)
{
    XmString value = nullptr;
    XtVaGetValues(w, resource, &value, nullptr);
    if (value == nullptr)
        return {};
    // Component by component, so that every line break comes back as "\n".
    std::string text;
    XmStringContext context = nullptr;
    if (XmStringInitContext(&context, value)) {
        unsigned int length = 0;
        XtPointer data = nullptr;
        XmStringComponentType type;
        while ((type = XmStringGetNextTriple(context, &length, &data)) != XmSTRING_COMPONENT_END) {
            if (type == XmSTRING_COMPONENT_SEPARATOR)
                text += "\n";
            else if ((type == XmSTRING_COMPONENT_TEXT || type == XmSTRING_COMPONENT_LOCALE_TEXT) && data != nullptr)
                text.append(static_cast<const char *>(data), length);
            XtFree(static_cast<char *>(data));
            data = nullptr;
        }
        XmStringFreeContext(context);
    }
    XmStringFree(value);
    return text;
}

void pressButton(Widget button)
{
    XmPushButtonCallbackStruct cbs{};
    cbs.reason = XmCR_ACTIVATE;
    XtCallCallbacks(button, XmNactivateCallback, &cbs);
}

namespace {
void markDestroyed(Widget, XtPointer closure, XtPointer) { static_cast<Liveness *>(closure)->alive = false; }
} // namespace

Liveness::Liveness(Widget w) { XtAddCallback(w, XmNdestroyCallback, markDestroyed, this); }

void sendDeleteWindow(Widget shell)
{
    Display *d = XtDisplay(shell);
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = XtWindow(shell);
    event.xclient.message_type = XInternAtom(d, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(d, "WM_DELETE_WINDOW", False));
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(d, XtWindow(shell), False, NoEventMask, &event);
    XFlush(d);
}

CaptureFd::CaptureFd(int fd) : fd_(fd)
{
    char pattern[] = "/tmp/lxform-stderr-XXXXXX";
    int temp = ::mkstemp(pattern);
    path_ = pattern;
    std::fflush(stderr);
    saved_ = ::dup(fd_);
    ::dup2(temp, fd_);
    ::close(temp);
}

std::string CaptureFd::text()
{
    if (saved_ >= 0) {
        std::fflush(stderr);
        ::dup2(saved_, fd_);
        ::close(saved_);
        saved_ = -1;
    }
    return lxtest::readFile(path_);
}

CaptureFd::~CaptureFd()
{
    text();
    ::unlink(path_.c_str());
}

} // namespace lxtest
