// Starts the real lxconf (and, for live tests, lxsuite) and drives its window through the X
// server as a person would.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "config_save.h"
#include "test_files.h"
#include "x_session.h"

namespace lx::test {

using lxtest::Box;
using lxtest::XSession;

inline const char *kTitle = "Session Test Settings";

inline const char *kDescription = "TITLE: Session Test Settings\n"
                                  "VARIABLE: LX_NAME\nSHORTDESC: Microscope name\nTYPE: SIMPLE\nCANSETLIVE:\n"
                                  "HELP: The name shown in every window title.\n%%\n"
                                  "VARIABLE: LX_SPEED\nSHORTDESC: Stage speed\nTYPE: ONEOFMANY 3\nslow\nnormal\nfast\n"
                                  "VARIABLE: LX_SIZE\nSHORTDESC: Shared memory (MB)\nTYPE: SIMPLE\n"
                                  "VARIABLE: LX_FLAG\nSHORTDESC: Autosave\nTYPE: BOOLEAN\nyes\nno\n";
inline const char *kConfig = "# session test\nLX_SPEED normal\nLX_SIZE 100\nLX_FLAG yes\n";

inline std::string env(const char *name)
{
    const char *value = std::getenv(name);
    return value != nullptr ? value : "";
}

inline void sleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// A program started in the test's folder, with standard error kept in a file.
class Program {
public:
    Program(const std::vector<std::string> &args, const std::string &dir, const std::vector<std::string> &environment,
            const std::string &stdoutPath = "")
    {
        errPath_ = dir + "/stderr-" + std::to_string(counter_++);
        pid_ = ::fork();
        if (pid_ == 0) {
            int fd = ::open(errPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            ::dup2(fd, 2);
            if (!stdoutPath.empty()) {
                int out = ::open(stdoutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
                ::dup2(out, 1);
            }
            if (::chdir(dir.c_str()) != 0)
                ::_exit(126);
            for (const std::string &assignment : environment)
                ::putenv(const_cast<char *>(assignment.c_str()));
            std::vector<char *> argv;
            for (const std::string &arg : args)
                argv.push_back(const_cast<char *>(arg.c_str()));
            argv.push_back(nullptr);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
    }
    ~Program()
    {
        if (pid_ > 0 && !exited_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    // The exit status, or -1 while it still runs after `ms`.
    int waitExit(int ms)
    {
        for (int waited = 0; waited <= ms; waited += 20) {
            int status = 0;
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                exited_ = true;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            sleepMs(20);
        }
        return -1;
    }
    std::string errors() const { return readFile(errPath_); }
    pid_t pid() const { return pid_; }

private:
    static inline int counter_ = 0;
    pid_t pid_ = -1;
    bool exited_ = false;
    std::string errPath_;
};

// The editor's window as the user sees it: rows of (help button, value) and the four buttons.
struct EditorScreen {
    Window window = 0;
    Window grid = 0;
    std::vector<Box> cells;   // grid cells in reading order, titles first
    std::vector<Box> buttons; // Done, Save, Revert, Help
    Box label(int row) const { return cells[static_cast<size_t>(2 + 2 * row)]; }
    Box value(int row) const { return cells[static_cast<size_t>(3 + 2 * row)]; }
};

class LxconfDriver : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_FALSE(env("LXCONF").empty());
        ASSERT_TRUE(x_.ok());
        writeFile(dir_ / "session.vars", kDescription);
        writeFile(dir_ / "session.conf", kConfig);
        std::filesystem::create_directory(dir_ / "home");
    }

    // Settings come only from the test's own folder; a private user name keeps any suite
    // running on this machine out of sight unless `withSuite`.
    std::vector<std::string> environment(bool withSuite) const
    {
        // One arena address for every process of the suite.
        std::vector<std::string> e = {"HOME=" + (dir_ / "home"), "LX_BASE=" + dir_.path(),
                                      "LX_SHMSTADDR=0x600000000000", "LX_SIZE=64"};
        if (!withSuite)
            e.push_back("USER=lxconf-test-" + std::to_string(::getpid()));
        return e;
    }

    // `cells`: the grid's cells, the two titles included (two per variable).
    std::unique_ptr<Program> startEditor(bool withSuite = false, size_t cells = 10,
                                         const std::vector<std::string> &extraEnv = {})
    {
        // New windows open at the pointer: keep the whole window on the screen.
        std::system("xdotool mousemove --sync 100 100");
        std::vector<std::string> environmentNow = environment(withSuite);
        environmentNow.insert(environmentNow.end(), extraEnv.begin(), extraEnv.end());
        auto program = std::make_unique<Program>(
            std::vector<std::string>{env("LXCONF"), "-f", dir_ / "session.vars", dir_ / "session.conf"}, dir_.path(),
            environmentNow);
        screen_.window = x_.waitForTopLevel(kTitle, 10000);
        if (screen_.window == 0) {
            ADD_FAILURE() << "the editor's window did not appear: " << program->errors();
            return program;
        }
        sleepMs(300);
        Window grid =
            x_.findDescendant(screen_.window, [cells](const std::vector<Box> &kids) { return kids.size() == cells; });
        Window area = x_.findDescendant(
            screen_.window, [](const std::vector<Box> &kids) { return kids.size() == 4 && kids[0].y == kids[3].y; });
        if (grid == 0 || area == 0) {
            ADD_FAILURE() << "the editor's rows or buttons were not found";
            return program;
        }
        screen_.grid = grid;
        screen_.cells = x_.children(grid);
        screen_.buttons = x_.children(area);
        x_.focus(screen_.window);
        return program;
    }

    void typeInto(int row, const std::string &text)
    {
        x_.click(screen_.value(row));
        x_.key("End");
        for (int i = 0; i < 12; ++i)
            x_.key("BackSpace");
        if (!text.empty())
            x_.typeText(text);
    }

    // Opens the row's option menu and clicks the choice with that index.
    void pick(int row, int choice)
    {
        // The menu's button sits at the left of its cell, as wide as its longest choice.
        Box cell = screen_.value(row);
        x_.click(cell.x + 25, cell.centerY());
        // The posted menu: a popup whose pane holds the entries.
        std::vector<Box> entries;
        for (int waited = 0; waited < 2000 && entries.size() < 2; waited += 50) {
            for (const Box &popup : x_.popups()) {
                std::vector<Box> kids = x_.children(popup.window);
                if (kids.size() == 1)
                    kids = x_.children(kids[0].window);
                if (kids.size() >= 2)
                    entries = kids;
            }
            sleepMs(50);
        }
        ASSERT_GT(entries.size(), static_cast<size_t>(choice)) << "the option menu did not open";
        x_.click(entries[static_cast<size_t>(choice)]);
    }

    void press(const char *button)
    {
        static const std::vector<std::string> names = {"Done", "Save", "Revert", "Help"};
        size_t index = static_cast<size_t>(std::find(names.begin(), names.end(), button) - names.begin());
        x_.click(screen_.buttons.at(index));
    }

    // Answers the open question: Cancel with Return (its default button), OK by moving to it first.
    void answer(bool ok)
    {
        // Titled after the main window, so that a person sees whose question it is.
        Window question = x_.waitForTopLevel(std::string(kTitle) + ": Question", 5000);
        ASSERT_NE(question, 0u) << "no question titled \"" << kTitle << ": Question\" was asked";
        x_.focus(question);
        x_.key(ok ? "Left Return" : "Return");
    }

    std::string backupPath() const { return lx::backupPathFor(dir_ / "session.conf", std::time(nullptr)); }

    TempDir dir_;
    XSession x_;
    EditorScreen screen_;
};

} // namespace lx::test
