// A real editor window under the test X server, built the way lxconf builds it, over a
// description file and configuration file written for each test.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include <X11/Intrinsic.h>

#include "editor_window.h"
#include "test_files.h"

namespace lx::test {

// Runs the event loop for `ms` milliseconds, or until `done` holds.
void spinFor(int ms);
bool spinUntil(const std::function<bool()> &done, int ms);
// Runs `action` from inside the event loop after `ms` (to answer blocking dialogs).
void after(int ms, std::function<void()> action);

// The newest managed dialog named `name` (e.g. "info_dialog", "question"), or null.
Widget findDialog(const char *name);
std::string messageText(Widget dialog);
// Presses a message box's OK or Cancel as a click would.
void answerDialog(Widget dialog, bool ok);
void sendDeleteWindow(Widget shell);

// Captures what is written to standard error while it lives.
class CaptureStderr {
public:
    CaptureStderr();
    ~CaptureStderr();
    std::string text();

private:
    int saved_ = -1;
    std::string path_;
};

class EditorWindowTest : public ::testing::Test {
protected:
    // Writes the files, reads the description and builds and maps the window.
    void open(const std::string &description, const std::string &config, bool onlyFromFile = true);
    void TearDown() override;

    ConfigVar &var(const char *name);
    void type(const char *name, const char *text);
    std::string fieldText(const char *name);
    void choose(const char *name, const char *choice);
    std::string chosen(const char *name);
    Widget unsetEntry(const char *name);

    TempDir dir_;
    std::string descriptionPath_ = dir_ / "test.vars";
    std::string configPath_ = dir_ / "test.conf";
    Widget shell_ = nullptr;
    Widget form_ = nullptr;
    Widget actionArea_ = nullptr;
    Widget frame_ = nullptr;
};

} // namespace lx::test
