#include "wm_test_support.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace lxtest {
namespace {

struct RunDirs {
    TempDir root;
    std::string base = root / "base $(touch injected); dir", home = root / "home";
    RunDirs()
    {
        for (const char *dir : {"/config/pixmaps", "/help", "/bin"})
            std::filesystem::create_directories(base + dir);
        std::filesystem::create_directory(home);
        writeFile(base + "/config/pixmaps/lx_app_icon.xpm", readFile(WM_TEST_ICON));
        writeFile(base + "/config/system.lxrc", "");
        // The viewer records how many arguments it got and the first one, after a short pause
        // that shows whether the caller waits for it.
        writeFile(base + "/bin/WMShowHelp",
                  "#!/bin/sh\nsleep 0.3\nprintf '%s\\n%s\\n' \"$#\" \"$1\" > \"$(dirname \"$0\")/../viewer-args\"\n");
        ::chmod((base + "/bin/WMShowHelp").c_str(), 0755);
        ::setenv("LX_BASE", base.c_str(), 1);
        ::setenv("HOME", home.c_str(), 1);
        ::setenv("LX_STD_BKG_COLOR", "#dcd8cc", 1);
        std::filesystem::current_path(root.path());
    }
};

const RunDirs &Dirs()
{
    static const RunDirs dirs;
    return dirs;
}
// Made before any test runs, so that the application opens with them whatever a test does first.
[[maybe_unused]] const RunDirs &kMadeAtStart = Dirs();

} // namespace

const std::string &BaseDir() { return Dirs().base; }
const std::string &HomeDir() { return Dirs().home; }

Widget NewMainForm(const char *title)
{
    appDisplay();
    Widget form = CreateMainForm(title);
    XtVaSetValues(form, XmNwidth, 200, XmNheight, 120, nullptr);
    XtRealizeWidget(XtParent(form));
    spinFor(50);
    return form;
}

} // namespace lxtest
