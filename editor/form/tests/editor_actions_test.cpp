// Save, Revert, Done, the window manager's close and the rows' help, pressed on a real window.
#include "window_fixture.h"  // first: gtest must come before the X headers

#include <cstring>

#include <Xm/RowColumn.h>
#include <Xm/TextF.h>

#include <lumarix/settings.h>
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

    // The dependent count is read from the form: 3 channels typed, 2 wavelengths given.
    type("LX_BASE", dir_.path().c_str());
    type("LX_NUM", "3");
    CaptureStderr err2;
    SaveCB(gwSaveButton, nullptr, nullptr);
    EXPECT_NE(err2.text().find("Variable \"Wavelengths\" must have 3 Values."), std::string::npos);
    EXPECT_EQ(readFile(configPath_), oldConfig_);
}

TEST_F(EditorActions, WithTheSuiteLiveValuesAreSetAndOthersNeedARestart)
{
    giRunningWithSHM = 1;
    type("LX_WAVES", "600 700");
    SaveCB(gwSaveButton, nullptr, nullptr);
    Widget report = findDialog("info_dialog");
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(messageText(report), "Saved options to file " + configPath_ + "\n");
    ASSERT_NE(GetSetting("LX_WAVES"), nullptr);
    EXPECT_STREQ(GetSetting("LX_WAVES"), "600 700");
    XtDestroyWidget(XtParent(report));
    spinFor(20);

    type("LX_NUM", "4");
    type("LX_WAVES", "1 2 3 4");
    SaveCB(gwSaveButton, nullptr, nullptr);
    report = findDialog("info_dialog");
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(messageText(report), "Saved options to file " + configPath_ +
                                       "\n\nNOTE: Some changed values will not take effect until Lumarix is restarted.");
    // The note stays until the user presses OK.
    spinFor(2500);
    EXPECT_EQ(findDialog("info_dialog"), report);
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

// Without changes lxconf simply quits (see the lxconf session tests); with changes it asks.
TEST_F(EditorActions, ClosingTheWindowWithChangesAsksLikeDone)
{
    type("LX_NUM", "5");
    bool asked = false;
    after(300, [&] {
        if (Widget question = findDialog("question")) {
            asked = true;
            answerDialog(question, false);
        }
    });
    sendDeleteWindow(shell_);
    spinFor(800);
    EXPECT_TRUE(asked);
    EXPECT_TRUE(XtIsRealized(shell_));
    EXPECT_EQ(fieldText("LX_NUM"), "5");
}

} // namespace
