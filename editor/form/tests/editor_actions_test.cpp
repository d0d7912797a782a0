// Save, Revert, Done, the window manager's close and the rows' help, pressed on a real window.
#include "window_fixture.h" // first: gtest must come before the X headers

#include <cstring>

#include <Xm/RowColumn.h>
#include <Xm/TextF.h>

#include <lumarix/wm.h>

#include "config_save.h"
#include "form_internal.h"
#include "test_description.h"

namespace {

using namespace lx::test;

class EditorActions : public EditorWindowTest {
protected:
    void SetUp() override
    {
        oldConfig_ = standardConfig(dir_.path());
        open(standardDescription(), oldConfig_);
    }
    std::string backupPath() const { return lx::backupPathFor(configPath_, std::time(nullptr)); }
    std::string oldConfig_;
};

TEST_F(EditorActions, SaveWritesTheChangesMakesTheBackupAndReports)
{
    type("LX_NUM", "3");
    type("LX_WAVES", "1  2 3");
    choose("LX_SPEED", "slow");
    type("LX_NOTE", "");
    SaveCB(gwSaveButton, nullptr, nullptr);

    EXPECT_EQ(readFile(configPath_), "# test configuration\nLX_BASE " + dir_.path() +
                                         "\nLX_MODE yes\nLX_NUM 3\nLX_WAVES 1  2 3\nLX_SPEED slow\n");
    EXPECT_EQ(readFile(backupPath()), oldConfig_);
    Widget report = findDialog("info_dialog");
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(messageText(report), "Saved options to file " + configPath_ + "\n");
    // Without a running suite there is no restart note, and the report closes itself.
    EXPECT_TRUE(spinUntil([] { return findDialog("info_dialog") == nullptr; }, 4000));

    // The saved values are the new baseline: nothing is changed any more.
    EXPECT_STREQ(var("LX_NUM").value, "3");
    EXPECT_STREQ(var("LX_SPEED").value, "slow");
    char text[256];
    int changed = 0;
    for (int i = 0; i < gNumVars; ++i) {
        GetWidgetValue(&gVarList[i], text, &changed);
        EXPECT_EQ(changed, 0) << gVarList[i].name;
    }
}

TEST_F(EditorActions, FailedCheckTouchesNoFile)
{
    type("LX_BASE", "");
    type("LX_NUM", "9");
    CaptureStderr err;
    SaveCB(gwSaveButton, nullptr, nullptr);
    EXPECT_NE(err.text().find("Parameter \"Suite folder\" must\n have a value supplied for it."), std::string::npos);
    EXPECT_EQ(readFile(configPath_), oldConfig_);
    EXPECT_FALSE(std::filesystem::exists(backupPath()));
    EXPECT_STREQ(var("LX_NUM").value, "2");
}

TEST_F(EditorActions, RevertReloadsEveryRow)
{
    type("LX_NUM", "7");
    choose("LX_MODE", "No");
    type("LX_NOTE", "typed, never stored");
    RevertCB(nullptr, nullptr, nullptr);
    EXPECT_EQ(fieldText("LX_NUM"), "2");
    EXPECT_EQ(chosen("LX_MODE"), "Yes");
    // A variable stored nowhere keeps what was typed.
    EXPECT_EQ(fieldText("LX_NOTE"), "typed, never stored");
}

// Without changes lxconf simply quits (see the lxconf session tests); with changes it asks as
// Done does, and Cancel keeps the window and the edits.
TEST_F(EditorActions, ClosingTheWindowWithChangesAsksLikeDone)
{
    type("LX_NUM", "5");
    std::string asked;
    after(300, [&] {
        if (Widget question = findDialog("question")) {
            asked = messageText(question);
            answerDialog(question, false);
        }
    });
    sendDeleteWindow(shell_);
    spinFor(800);
    EXPECT_EQ(asked, "You have made changes.\nAre you sure you want to quit?");
    EXPECT_TRUE(XtIsRealized(shell_));
    EXPECT_EQ(fieldText("LX_NUM"), "5");
}

} // namespace
