// Programs without a display or without a main window, each run as a process of its own.
#include "wm_test_support.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#ifndef WM_PROBE
#error "WM_PROBE must name the probe program"
#endif

using namespace lxtest;

namespace {

struct ProbeRun {
    int status = -1;
    std::string out, err;
};

ProbeRun RunProbe(const char *mode, bool withDisplay, const char *fontconfig = nullptr)
{
    const std::string out = HomeDir() + "/probe.out", err = HomeDir() + "/probe.err";
    pid_t child = fork();
    if (child == 0) {
        if (!withDisplay) {
            unsetenv("DISPLAY");
        }
        if (fontconfig != nullptr) {
            setenv("FONTCONFIG_FILE", fontconfig, 1);
        }
        freopen(out.c_str(), "w", stdout);
        freopen(err.c_str(), "w", stderr);
        execl(WM_PROBE, WM_PROBE, mode, static_cast<char *>(nullptr));
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(out), readFile(err)};
}

} // namespace

TEST(WithoutDisplay, DialogsFallBackToStandardError)
{
    ProbeRun run = RunProbe("no-display", false);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "form=null\nwarning=null\nquestion=0\ninfo=0\nprompt=-1 answer=[]\n");
    EXPECT_NE(run.err.find("OpenApplication: cannot open display"), std::string::npos);
    EXPECT_NE(run.err.find("warning text 1\n"), std::string::npos);
    EXPECT_NE(run.err.find("question text 2\n"), std::string::npos);
    EXPECT_NE(run.err.find("info text 3\n"), std::string::npos);
    EXPECT_EQ(run.err.find("cannot open display", run.err.find("cannot open display") + 1), std::string::npos)
        << "the missing display is reported once";
}

TEST(DialogOnlyProgram, WarningGetsAConfirmShellAsParent)
{
    ProbeRun run = RunProbe("dialog-only", true);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "parent=Confirm shell=Confirm\n");
}

// Labels draw with the desktop's anti-aliased sans font; where no such font opens (fontconfig
// knowing no fonts) they keep Motif's core fonts rather than drawing no text at all.
TEST(Fonts, RenderTableIsAntiAliasedWhereItsFontOpensElseCore)
{
    EXPECT_EQ(RunProbe("fonts", true).out, "xft drawn=1\n");
    writeFile(HomeDir() + "/no-fonts.conf", "<?xml version=\"1.0\"?><fontconfig></fontconfig>\n");
    EXPECT_EQ(RunProbe("fonts", true, (HomeDir() + "/no-fonts.conf").c_str()).out, "core drawn=1\n");
}
