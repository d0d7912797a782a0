#include "wm_test_support.h"

#include <Xm/Xm.h>
#include <Xm/MessageB.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#ifndef WM_TEST_ICON
#error "WM_TEST_ICON must name the suite icon"
#endif

namespace lxtest {
namespace {

// Every test process runs on an X server of its own, so that tests that move the pointer,
// stack windows or time tooltips cannot disturb (or be disturbed by) tests running at once.
// The server picks a free display number itself and reports it (-displayfd).
class OwnXServer : public ::testing::Environment {
public:
    void SetUp() override
    {
        int report[2];
        ASSERT_EQ(::pipe(report), 0);
        server_ = ::fork();
        if (server_ == 0) {
            ::close(report[0]);
            const std::string fd = std::to_string(report[1]);
            ::freopen("/dev/null", "w", stderr);
            ::execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1280x1024x24", "-nolisten", "tcp",
                     "-noreset", static_cast<char *>(nullptr));
            ::_exit(127);
        }
        ::close(report[1]);
        std::string number;
        char c = 0;
        while (::read(report[0], &c, 1) == 1 && c != '\n') {
            number += c;
        }
        ::close(report[0]);
        ASSERT_FALSE(number.empty()) << "Xvfb did not start";
        ::setenv("DISPLAY", (":" + number).c_str(), 1);
    }
    void TearDown() override
    {
        if (server_ > 0) {
            ::kill(server_, SIGTERM);
            ::waitpid(server_, nullptr, 0);
        }
    }

private:
    pid_t server_ = -1;
};

[[maybe_unused]] ::testing::Environment *const kOwnXServer = ::testing::AddGlobalTestEnvironment(new OwnXServer);

struct RunDirs {
    std::string root, base, home;
};

void Make(const std::string &path) { ::mkdir(path.c_str(), 0755); }

RunDirs CreateRunDirs()
{
    char pattern[] = "/tmp/lxwm-test-XXXXXX";
    RunDirs dirs;
    dirs.root = ::mkdtemp(pattern);
    dirs.base = dirs.root + "/base $(touch injected); dir";
    dirs.home = dirs.root + "/home";
    Make(dirs.base);
    Make(dirs.home);
    Make(dirs.base + "/config");
    Make(dirs.base + "/config/pixmaps");
    Make(dirs.base + "/help");
    Make(dirs.base + "/bin");
    WriteFile(dirs.base + "/config/pixmaps/lx_app_icon.xpm", ReadFile(WM_TEST_ICON));
    // The viewer records how many arguments it got and the first one, after a short pause
    // that shows whether the caller waits for it.
    const std::string viewer = dirs.base + "/bin/WMShowHelp";
    WriteFile(viewer,
              "#!/bin/sh\nsleep 0.3\nprintf '%s\\n%s\\n' \"$#\" \"$1\" > \"$(dirname \"$0\")/../viewer-args\"\n");
    ::chmod(viewer.c_str(), 0755);
    ::setenv("LX_BASE", dirs.base.c_str(), 1);
    ::setenv("HOME", dirs.home.c_str(), 1);
    ::setenv("LX_STD_BKG_COLOR", "#dcd8cc", 1);
    ::chdir(dirs.root.c_str());
    return dirs;
}

const RunDirs &Dirs()
{
    static const RunDirs dirs = CreateRunDirs();
    return dirs;
}

} // namespace

const std::string &BaseDir() { return Dirs().base; }
const std::string &HomeDir() { return Dirs().home; }

Display *Dpy()
{
    Dirs();
    OpenApplication();
    Display *display = WMGetDisplay();
    if (display == nullptr) {
        ADD_FAILURE() << "no X display: the test's own X server did not start";
        std::abort();
    }
    return display;
}

void SpinFor(int ms)
{
    SpinUntil([] { return false; }, ms);
}

bool SpinUntil(const std::function<bool()> &done, int ms)
{
    XtAppContext app = WMGetAppContext();
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        XSync(WMGetDisplay(), False);
        while (XtAppPending(app) != 0) {
            XtAppProcessEvent(app, XtIMAll);
            if (done()) {
                return true;
            }
        }
        ::usleep(2000);
    }
    return true;
}

namespace {
void RunAction(XtPointer client, XtIntervalId *)
{
    std::unique_ptr<std::function<void()>> action(static_cast<std::function<void()> *>(client));
    (*action)();
}
} // namespace

void After(int ms, std::function<void()> action)
{
    XtAppAddTimeOut(WMGetAppContext(), static_cast<unsigned long>(ms), RunAction,
                    new std::function<void()>(std::move(action)));
}

void WarpPointer(int x, int y)
{
    Display *d = Dpy();
    XWarpPointer(d, None, DefaultRootWindow(d), 0, 0, 0, 0, x, y);
    XSync(d, False);
}

Point WindowOrigin(Widget w)
{
    Display *d = Dpy();
    XSync(d, False);
    int x = 0, y = 0;
    Window child = 0;
    XTranslateCoordinates(d, XtWindow(w), DefaultRootWindow(d), 0, 0, &x, &y, &child);
    return {x, y};
}

bool IsOnScreen(Widget w)
{
    if (w == nullptr || XtWindow(w) == 0) {
        return false;
    }
    XWindowAttributes attributes{};
    XGetWindowAttributes(XtDisplay(w), XtWindow(w), &attributes);
    return attributes.map_state == IsViewable;
}

namespace {
std::vector<Widget> &Shells()
{
    static std::vector<Widget> shells;
    return shells;
}
void ForgetShell(Widget shell, XtPointer, XtPointer) { std::erase(Shells(), shell); }
} // namespace

const std::vector<Widget> &ShellsMade() { return Shells(); }

Widget NewMainForm(const char *title)
{
    Dpy();
    Widget form = CreateMainForm(title);
    Shells().push_back(XtParent(form));
    XtAddCallback(XtParent(form), XmNdestroyCallback, ForgetShell, nullptr);
    XtVaSetValues(form, XmNwidth, 200, XmNheight, 120, nullptr);
    XtRealizeWidget(XtParent(form));
    XRaiseWindow(XtDisplay(form), XtWindow(XtParent(form))); // above other tests' windows
    SpinFor(50);
    return form;
}

Widget FindDialog(const char *name)
{
    std::string pattern = std::string("*") + name;
    return baseshell != nullptr ? XtNameToWidget(baseshell, pattern.c_str()) : nullptr;
}

// A click travels as real button events through the event loop, as a user's would: calling the
// activate callbacks directly would let the dialog be destroyed under Xt's own callback loop.
void PressButton(Widget button)
{
    Widget holder = XtIsWidget(button) ? button : XtParent(button);
    Position x = 0, y = 0;
    Dimension width = 0, height = 0;
    XtVaGetValues(button, XmNwidth, &width, XmNheight, &height, nullptr);
    if (!XtIsWidget(button)) {
        XtVaGetValues(button, XmNx, &x, XmNy, &y, nullptr);
    }
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

void SendDeleteWindow(Widget shell)
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

namespace {
void MarkDestroyed(Widget, XtPointer client, XtPointer)
{
    auto *live = static_cast<Liveness *>(client);
    live->alive = false;
    live->destroyedAt = std::chrono::steady_clock::now();
}
} // namespace

Liveness::Liveness(Widget w) { XtAddCallback(w, XmNdestroyCallback, MarkDestroyed, this); }

CaptureFd::CaptureFd(int fd) : fd_(fd)
{
    char pattern[] = "/tmp/lxwm-capture-XXXXXX";
    int temp = ::mkstemp(pattern);
    path_ = pattern;
    std::fflush(nullptr);
    saved_ = ::dup(fd_);
    ::dup2(temp, fd_);
    ::close(temp);
}

std::string CaptureFd::Text()
{
    if (!done_) {
        std::fflush(nullptr);
        ::dup2(saved_, fd_);
        ::close(saved_);
        done_ = true;
    }
    return ReadFile(path_);
}

CaptureFd::~CaptureFd()
{
    Text();
    ::unlink(path_.c_str());
}

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void WriteFile(const std::string &path, const std::string &text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

bool FileExists(const std::string &path) { return ::access(path.c_str(), F_OK) == 0; }

std::string ResourceText(Widget w, const char *resource)
{
    XmString value = nullptr;
    XtVaGetValues(w, resource, &value, nullptr);
    if (value == nullptr) {
        return {};
    }
    std::string text;
    XmStringContext context = nullptr;
    if (XmStringInitContext(&context, value)) {
        char *segment = nullptr;
        XmStringCharSet tag = nullptr;
        XmStringDirection direction{};
        Boolean separator = False;
        while (XmStringGetNextSegment(context, &segment, &tag, &direction, &separator)) {
            text += segment != nullptr ? segment : "";
            text += separator ? "\n" : "";
            XtFree(segment);
            XtFree(tag);
        }
        XmStringFreeContext(context);
    }
    XmStringFree(value);
    return text;
}

} // namespace lxtest
