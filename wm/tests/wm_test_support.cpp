#include "wm_test_support.h"

#include <Xm/Xm.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#ifndef WM_TEST_ICON
#error "WM_TEST_ICON must name the suite icon"
#endif

namespace lxtest {
namespace {

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
    writeFile(dirs.base + "/config/pixmaps/lx_app_icon.xpm", readFile(WM_TEST_ICON));
    // The viewer records how many arguments it got and the first one, after a short pause
    // that shows whether the caller waits for it.
    const std::string viewer = dirs.base + "/bin/WMShowHelp";
    writeFile(viewer,
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
    return appDisplay();
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
    spinFor(50);
    return form;
}

} // namespace lxtest
