#include "lx_testing_x.h"

#include "lx_testing.h"

#include <X11/IntrinsicP.h>
#include <X11/CoreP.h>
#include <Xm/Xm.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <unistd.h>

namespace lxtest {

Display *appDisplay()
{
    OpenApplication();
    Display *display = WMGetDisplay();
    if (display == nullptr) {
        ADD_FAILURE() << "no X display: the test's own X server did not start";
        std::abort();
    }
    return display;
}

void spinFor(int ms)
{
    spinUntil([] { return false; }, ms);
}

bool spinUntil(const std::function<bool()> &done, int ms)
{
    XtAppContext app = WMGetAppContext();
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        XSync(WMGetDisplay(), False);
        while (XtAppPending(app) != 0) {
            XtAppProcessEvent(app, XtIMAll);
            if (done())
                return true;
        }
        ::usleep(2000);
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

// The click travels as button events through the event loop, as a user's would. Calling the
// activate callbacks directly is unsafe: a dialog answered that way is destroyed while Xt is
// still walking its callback list, and the button never arms, so a fault in either goes unseen.
void pressButton(Widget button)
{
    Widget holder = XtIsWidget(button) ? button : XtParent(button); // a gadget lives in its parent's window
    Position x = 0, y = 0;
    Dimension width = 0, height = 0;
    XtVaGetValues(button, XmNwidth, &width, XmNheight, &height, nullptr);
    if (!XtIsWidget(button))
        XtVaGetValues(button, XmNx, &x, XmNy, &y, nullptr);
    Display *d = XtDisplay(holder);
    Position rootX = 0, rootY = 0;
    XtTranslateCoords(holder, x + width / 2, y + height / 2, &rootX, &rootY);
    XEvent event{};
    event.xbutton.type = ButtonPress;
    event.xbutton.display = d;
    event.xbutton.window = XtWindow(holder);
    event.xbutton.root = DefaultRootWindow(d);
    event.xbutton.time = CurrentTime;
    event.xbutton.x = x + width / 2;
    event.xbutton.y = y + height / 2;
    event.xbutton.x_root = rootX;
    event.xbutton.y_root = rootY;
    event.xbutton.same_screen = True;
    event.xbutton.button = Button1;
    XSendEvent(d, XtWindow(holder), True, ButtonPressMask, &event);
    event.xbutton.type = ButtonRelease;
    event.xbutton.state = Button1Mask;
    XSendEvent(d, XtWindow(holder), True, ButtonReleaseMask, &event);
    XFlush(d);
}

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

void warpPointer(int x, int y)
{
    Display *d = appDisplay();
    XWarpPointer(d, None, DefaultRootWindow(d), 0, 0, 0, 0, x, y);
    XSync(d, False);
}

Point windowOrigin(Widget w)
{
    Display *d = XtDisplay(w);
    XSync(d, False);
    Point at;
    Window child = 0;
    XTranslateCoordinates(d, XtWindow(w), DefaultRootWindow(d), 0, 0, &at.x, &at.y, &child);
    return at;
}

bool isOnScreen(Widget w)
{
    if (w == nullptr || XtWindow(w) == 0)
        return false;
    XWindowAttributes attributes{};
    XGetWindowAttributes(XtDisplay(w), XtWindow(w), &attributes);
    return attributes.map_state == IsViewable;
}

Size sizeOf(Widget w)
{
    Dimension width = 0, height = 0;
    XtVaGetValues(w, XmNwidth, &width, XmNheight, &height, nullptr);
    return {width, height};
}

std::vector<std::string> managedChildNames(Widget parent)
{
    WidgetList children = nullptr;
    Cardinal count = 0;
    XtVaGetValues(parent, XmNchildren, &children, XmNnumChildren, &count, nullptr);
    std::vector<std::string> names;
    for (Cardinal i = 0; i < count; ++i)
        if (XtIsManaged(children[i]))
            names.push_back(XtName(children[i]));
    return names;
}

namespace {
void markDestroyed(Widget, XtPointer closure, XtPointer)
{
    auto *live = static_cast<Liveness *>(closure);
    live->alive = false;
    live->destroyedAt = std::chrono::steady_clock::now();
}
} // namespace

Liveness::Liveness(Widget w) : widget(w) { XtAddCallback(w, XmNdestroyCallback, markDestroyed, this); }

Liveness::~Liveness()
{
    if (alive)
        XtRemoveCallback(widget, XmNdestroyCallback, markDestroyed, this);
}

CaptureFd::CaptureFd(int fd) : fd_(fd)
{
    char pattern[] = "/tmp/lx-capture-XXXXXX";
    int temp = ::mkstemp(pattern);
    path_ = pattern;
    std::fflush(nullptr);
    saved_ = ::dup(fd_);
    ::dup2(temp, fd_);
    ::close(temp);
}

std::string CaptureFd::text()
{
    if (saved_ >= 0) {
        std::fflush(nullptr);
        ::dup2(saved_, fd_);
        ::close(saved_);
        saved_ = -1;
    }
    return readFile(path_);
}

CaptureFd::~CaptureFd()
{
    text();
    ::unlink(path_.c_str());
}

} // namespace lxtest
