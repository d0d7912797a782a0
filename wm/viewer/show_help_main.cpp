// WMShowHelp PAGE: the suite's help viewer. Opens the page with the desktop's browser
// (xdg-open, then x-www-browser, as found on PATH); without one, shows the page as plain text
// in a window of its own. Returns at once in every case (the window lives on in a child), so
// that a program waiting for the viewer is not held up. Exit status 1 when the page cannot be
// read, 2 on a usage error.
#include "help_page_text.h"
#include "help_window.h"

#include <X11/Xlib.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string FindOnPath(const std::string &program)
{
    const char *path = std::getenv("PATH");
    std::stringstream dirs(path != nullptr ? path : "");
    for (std::string dir; std::getline(dirs, dir, ':');) {
        const std::string candidate = (dir.empty() ? "." : dir) + "/" + program;
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return {};
}

// Runs the browser on the page. A browser that is still running after a while has the page
// open; one that ended at once counts only when it succeeded (xdg-open hands over and ends).
bool OpenedWith(const std::string &browser, const std::string &page)
{
    const std::string program = FindOnPath(browser);
    if (program.empty()) {
        return false;
    }
    const pid_t child = fork();
    if (child < 0) {
        return false;
    }
    if (child == 0) {
        execl(program.c_str(), program.c_str(), page.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    for (int waited = 0; waited < 3000; waited += 20) {
        int status = 0;
        const pid_t done = waitpid(child, &status, WNOHANG);
        if (done == child) {
            return WIFEXITED(status) && WEXITSTATUS(status) == 0;
        }
        if (done < 0 && errno != EINTR) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

bool DisplayCanBeOpened()
{
    Display *display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        return false;
    }
    XCloseDisplay(display);
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fputs("Usage: WMShowHelp help_page\n", stderr);
        return 2;
    }
    const std::string page = argv[1];
    std::ifstream file(page, std::ios::binary);
    std::stringstream html;
    if (!file || !(html << file.rdbuf())) {
        std::fprintf(stderr, "WMShowHelp: cannot read %s: %s\n", page.c_str(), std::strerror(errno));
        return 1;
    }
    for (const char *browser : {"xdg-open", "x-www-browser"}) {
        if (OpenedWith(browser, page)) {
            return 0;
        }
    }
    const lx::wm::HelpPageText text = lx::wm::PlainTextOfHelpPage(html.str());
    if (!DisplayCanBeOpened()) {
        std::fputs(text.body.c_str(), stdout);
        return 0;
    }
    std::fflush(nullptr);
    const pid_t window = fork();
    if (window < 0) {
        std::fprintf(stderr, "WMShowHelp: cannot start the help window: %s\n", std::strerror(errno));
        return 1;
    }
    if (window > 0) {
        return 0;
    }
    setsid();
    return lx::wm::RunHelpWindow(text, page);
}
