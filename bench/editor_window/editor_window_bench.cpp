// Start-up to the mapped window and saving, with 200 variables, under an X server.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/IntrinsicP.h>
#include <X11/CoreP.h>
#include <Xm/Form.h>
#include <Xm/MessageB.h>
#include <Xm/TextF.h>

#include <lumarix/wm.h>

#include "config_save.h"
#include "editor_window.h"

namespace {

// A scratch folder for the files, removed when the benchmark ends.
const std::string &scratch()
{
    struct Folder {
        std::string path;
        Folder()
        {
            char pattern[] = "/tmp/lx-window-bench-XXXXXX";
            path = ::mkdtemp(pattern);
        }
        ~Folder()
        {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    };
    static Folder folder;
    return folder.path;
}

void writeFile(const std::string &path, const std::string &text) { std::ofstream(path, std::ios::trunc) << text; }

// `count` variables of all four kinds, with a help text each; and a configuration setting all.
void writeInstallation(int count, const std::string &vars, const std::string &conf)
{
    std::string description = "TITLE: Bench " + std::to_string(count) + "\n";
    std::string config = "# bench\n";
    for (int i = 0; i < count; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "LX_VAR%03d", i);
        description += std::string("VARIABLE: ") + name + "\nSHORTDESC: Setting number " + std::to_string(i) + "\n";
        switch (i % 4) {
        case 0:
            description += "TYPE: SIMPLE\n";
            config += std::string(name) + " value-" + std::to_string(i) + "\n";
            break;
        case 1:
            description += "TYPE: BOOLEAN\nyes\nno\n";
            config += std::string(name) + " yes\n";
            break;
        case 2:
            description += "TYPE: ONEOFMANY 4\nslow\nnormal\nfast\nfastest\n";
            config += std::string(name) + " fast\n";
            break;
        default:
            description += "TYPE: MULTIVALUE 3\n";
            config += std::string(name) + " 1 2 3\n";
            break;
        }
        description += "HELP: What setting " + std::to_string(i) + " does.\n%%\n";
    }
    writeFile(vars, description);
    writeFile(conf, config);
}

// The lxconf to start: LXCONF in the environment (to compare builds), else the one built here.
const char *lxconfPath()
{
    const char *path = std::getenv("LXCONF");
    return path != nullptr && path[0] != '\0' ? path : LXCONF_PATH;
}

// Median start-up of the empty form, which the 200-variable start is compared with.
double emptyFormMedian = 0;

double median(std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    return times.empty() ? 0 : times[times.size() / 2];
}

// lxconf from exec to its main window mapped on the server. Reports the median in ms and, for
// a form with variables, its ratio to the empty form's start.
void StartupToWindowMapped(benchmark::State &state)
{
    Display *display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        state.SkipWithError("no X server (run under scripts/xvfb-run-private)");
        return;
    }
    int count = static_cast<int>(state.range(0));
    std::string vars = scratch() + "/startup.vars", conf = scratch() + "/startup.conf";
    writeInstallation(count, vars, conf);
    XSelectInput(display, DefaultRootWindow(display), SubstructureNotifyMask);
    std::string title = "Bench " + std::to_string(count);
    std::vector<double> times;

    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        pid_t pid = ::fork();
        if (pid == 0) {
            int null = ::open("/dev/null", O_WRONLY);
            ::dup2(null, 2);
            ::setenv("USER", "lxconf-bench", 1); // no suite: measure the editor alone
            ::execl(lxconfPath(), lxconfPath(), "-f", vars.c_str(), conf.c_str(), static_cast<char *>(nullptr));
            ::_exit(127);
        }
        bool mapped = false;
        while (!mapped) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type != MapNotify)
                continue;
            char *name = nullptr;
            if (XFetchName(display, event.xmap.window, &name) && name != nullptr) {
                mapped = title == name;
                XFree(name);
            }
        }
        auto elapsed = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
        times.push_back(std::chrono::duration<double, std::milli>(elapsed).count());
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        XSync(display, True);
    }
    XCloseDisplay(display);
    double middle = median(times);
    state.counters["median_ms"] = middle;
    if (count == 0)
        emptyFormMedian = middle;
    else if (emptyFormMedian > 0)
        state.counters["ratio_to_empty"] = middle / emptyFormMedian;
}
BENCHMARK(StartupToWindowMapped)->Arg(0)->Arg(200)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);

std::vector<lx::SaveEntry> entries200(int changed, int round)
{
    std::vector<lx::SaveEntry> entries;
    for (int i = 0; i < 200; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "LX_VAR%03d", i);
        bool isChanged = i < changed;
        entries.push_back({name, isChanged, isChanged ? "round-" + std::to_string(round) : ""});
    }
    return entries;
}

// The file work of a save: backup, temporary file, fsync, rename.
void SaveFile200Variables(benchmark::State &state)
{
    std::string vars = scratch() + "/save.vars", conf = scratch() + "/save.conf";
    writeInstallation(200, vars, conf);
    int round = 0;
    for (auto _ : state) {
        auto result =
            lx::saveConfigurationFile(conf, entries200(static_cast<int>(state.range(0)), ++round), std::time(nullptr));
        if (!result.ok)
            state.SkipWithError(result.message.c_str());
    }
}
BENCHMARK(SaveFile200Variables)->Arg(1)->Arg(200)->Unit(benchmark::kMicrosecond);

// The floor: copy the same file to a temporary file, fsync it and rename it back.
void CopyFsyncRenameFloor(benchmark::State &state)
{
    std::string vars = scratch() + "/floor.vars", conf = scratch() + "/floor.conf";
    writeInstallation(200, vars, conf);
    std::string tmp = conf + "_tmp";
    std::vector<char> buffer(1 << 16);
    for (auto _ : state) {
        int in = ::open(conf.c_str(), O_RDONLY);
        int out = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ssize_t n;
        while ((n = ::read(in, buffer.data(), buffer.size())) > 0)
            if (::write(out, buffer.data(), static_cast<size_t>(n)) != n)
                state.SkipWithError("write failed");
        ::fsync(out);
        ::close(out);
        ::close(in);
        ::rename(tmp.c_str(), conf.c_str());
    }
}
BENCHMARK(CopyFsyncRenameFloor)->Unit(benchmark::kMicrosecond);

// The Save button in a real window of 200 rows: checks, reading every widget, the file work and
// the report dialog (destroyed again each time).
void SaveButton200Variables(benchmark::State &state)
{
    if (std::getenv("DISPLAY") == nullptr) {
        state.SkipWithError("no X server (run under scripts/xvfb-run-private)");
        return;
    }
    std::string vars = scratch() + "/button.vars", conf = scratch() + "/button.conf";
    writeInstallation(200, vars, conf);
    std::snprintf(gDescriptionFile, sizeof gDescriptionFile, "%s", vars.c_str());
    std::snprintf(gConfigFile, sizeof gConfigFile, "%s", conf.c_str());
    giConfigOnlyFromFile = 1;
    gNumVars = 0;
    if (!ReadDescriptionFile()) {
        state.SkipWithError("description not read");
        return;
    }
    Widget form = CreateMainForm("Save bench");
    Widget shell = XtParent(form);
    BuildEditorWindow(form);
    RealizeEditorWindow(shell);
    XtAppContext app = WMGetAppContext();
    auto drain = [&] {
        XSync(WMGetDisplay(), False);
        while (XtAppPending(app) != 0)
            XtAppProcessEvent(app, XtIMAll);
    };
    drain();
    int round = 0;
    for (auto _ : state) {
        std::string text = "round-" + std::to_string(++round);
        XmTextFieldSetString(gVarList[0].valueWidget, text.data());
        SaveCB(nullptr, nullptr, nullptr);
        state.PauseTiming();
        for (Cardinal i = shell->core.num_popups; i-- > 0;)
            XtDestroyWidget(shell->core.popup_list[i]);
        drain();
        state.ResumeTiming();
    }
    XtDestroyWidget(shell);
    drain();
}
BENCHMARK(SaveButton200Variables)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
