// lxconf beside a running suite: a saved live variable reaches other processes at once, and a
// changed variable that is not live brings the restart note.
#include "lxconf_driver.h"

namespace {

using namespace lx::test;

class LxconfWithSuite : public LxconfDriver {
protected:
    void SetUp() override
    {
        LxconfDriver::SetUp();
        if (HasFatalFailure())
            return;
        suite_ = std::make_unique<Program>(std::vector<std::string>{LXSUITE_PATH}, dir_.path(), environment(true),
                                           dir_ / "suite.out");
        bool ready = false;
        for (int waited = 0; waited < 10000 && !ready; waited += 50) {
            ready = readFile(dir_ / "suite.out").find("ready") != std::string::npos;
            sleepMs(50);
        }
        ASSERT_TRUE(ready) << "lxsuite did not start: " << suite_->errors();
    }

    void TearDown() override
    {
        if (suite_) {
            ::kill(suite_->pid(), SIGTERM);
            EXPECT_EQ(suite_->waitExit(5000), 0) << suite_->errors();
        }
    }

    // What `lxsetting get NAME` prints in a process of its own.
    std::string settingSeenElsewhere(const std::string &name)
    {
        Program lookup({LXSETTING_PATH, "get", name}, dir_.path(), environment(true), dir_ / "lookup.out");
        lookup.waitExit(5000);
        return readFile(dir_ / "lookup.out");
    }

    std::unique_ptr<Program> suite_;
};

TEST_F(LxconfWithSuite, SavedLiveValueIsSeenByOtherProcessesAndOthersNeedARestart)
{
    auto editor = startEditor(true);
    typeInto(0, "Scope-9");
    press("Save");
    ASSERT_NE(x_.waitForTopLevel("info_dialog_popup", 3000), 0u) << editor->errors();
    // Only a live variable changed: the short report, which closes itself.
    EXPECT_TRUE(x_.waitUntilGone("info_dialog_popup", 4000));
    EXPECT_EQ(settingSeenElsewhere("LX_NAME"), "Scope-9\n");

    typeInto(2, "512");
    press("Save");
    ASSERT_NE(x_.waitForTopLevel("info_dialog_popup", 3000), 0u);
    // The restart note stays until the user presses OK.
    sleepMs(3000);
    EXPECT_NE(x_.findTopLevel("info_dialog_popup"), 0u);
    EXPECT_NE(settingSeenElsewhere("LX_SIZE"), "512\n");
    EXPECT_EQ(readFile(dir_ / "session.conf"),
              "# session test\nLX_SPEED normal\nLX_FLAG yes\nLX_NAME Scope-9\nLX_SIZE 512\n");
}

} // namespace
