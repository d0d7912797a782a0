// A user's configuration is never lost: a save killed at any moment, or one that fails, leaves
// either the complete old or the complete new file.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <thread>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "config_save.h"
#include "lx_testing.h"

using lxtest::readFile;
namespace fs = std::filesystem;

namespace {

// Saves `count` variables VAR0000.. with every value changed to "PREFIX-NNNN", as Save would.
lx::SaveResult saveNumbered(const std::string &path, int count, const std::string &prefix = "new")
{
    std::vector<lx::SaveEntry> entries;
    for (int i = 0; i < count; ++i) {
        const std::string n = std::to_string(10000 + i).substr(1);
        entries.push_back({"VAR" + n, true, prefix + "-" + n});
    }
    return lx::saveConfigurationFile(path, entries, std::time(nullptr));
}

} // namespace

TEST(SaveSafety, KilledAtAnyMomentTheFileIsTheWholeOldOrTheWholeNewOne)
{
    lxtest::TempDir dir;
    const std::string path = dir / "lumarix.conf";
    ASSERT_TRUE(saveNumbered(path, 1000, "old").ok);
    const std::string oldText = readFile(path);
    ::setenv("LX_TEST_SAVE_PAUSE_US", "40", 1); // a pause after each line and step
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(saveNumbered(path, 1000).ok);
    const auto duration = std::chrono::steady_clock::now() - start;
    const std::string newText = readFile(path);

    int sawOld = 0, sawNew = 0;
    // Kills spread over one uninterrupted save's time, later ones on a slower machine until one lands after
    // the switch: to be meaningful they must land both before and after it.
    for (int k = 0; k < 20 || (sawNew == 0 && k < 80); ++k) {
        lxtest::writeFile(path, oldText);
        const pid_t save = ::fork();
        if (save == 0)
            ::_exit(saveNumbered(path, 1000).ok ? 0 : 1);
        std::this_thread::sleep_for(duration * k / 16);
        ::kill(save, SIGKILL);
        ::waitpid(save, nullptr, 0);
        const std::string now = readFile(path);
        ASSERT_TRUE(now == oldText || now == newText) << "kill " << k << " left " << now.size() << " bytes";
        ++(now == oldText ? sawOld : sawNew);
    }
    ::unsetenv("LX_TEST_SAVE_PAUSE_US");
    EXPECT_GT(sawOld, 0);
    EXPECT_GT(sawNew, 0);
}

// A failed save says what failed and leaves the old file as it was: something in the way of the
// new file or of the backup, a missing folder, a full disk, a file the user may not read.
TEST(SaveSafety, FailuresLeaveTheOldFileAndSayWhatFailed)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "mounting a small file system and running as nobody need root";
    lxtest::TempDir dir;
    // A private 64 KiB file system, visible only to this test process and its children.
    ASSERT_EQ(::unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    fs::create_directory(dir / "disk");
    ASSERT_EQ(::mount("lxconf-test", (dir / "disk").c_str(), "tmpfs", 0, "size=64k"), 0);
    const std::string full = dir / "disk/lumarix.conf", unreadable = dir / "lumarix.conf", blocked = dir / "b.conf";
    ASSERT_TRUE(saveNumbered(full, 1200, "old").ok); // about 20 KiB: room for the backup, not for the new file too
    lxtest::writeFile(dir / "disk/filler", std::string(16 * 1024, 'f'));
    ASSERT_TRUE(saveNumbered(unreadable, 10, "old").ok && saveNumbered(blocked, 10, "old").ok);
    fs::create_directory(blocked + "_tmp");
    const std::string folder = dir / "folder.conf", none = dir / "none/x.conf";
    fs::create_directory(folder);
    fs::permissions(dir.path(), fs::perms(0777)); // the folder is not what stops the save
    fs::permissions(unreadable, fs::perms(0600));
    const std::string nothing = "\n\nNothing was changed: ", kept = nothing + "the configuration file is as it was.";
    auto text = [](const std::string &name) { return fs::is_regular_file(name) ? readFile(name) : "(none)"; };
    for (const auto &[path, err] : std::vector<std::pair<std::string, std::string>>{
             {blocked, "Couldn't create temp configuration file!\n" + blocked + "_tmp: Is a directory" + kept},
             {folder,
              "Couldn't make the backup copy of the configuration file!\n" + folder + ": Is a directory" + kept},
             {none, "Couldn't create user's configuration file!\n" + none + "_tmp: No such file or directory" +
                        nothing + "no configuration file was written."},
             {full, "Couldn't write temp configuration file!\n" + full + "_tmp: No space left on device" + kept},
             {unreadable, "Couldn't open user's configuration file!\n" + unreadable + ": Permission denied" + kept}}) {
        const std::string before = text(path);
        auto save = [&] { // as the user, who may not read that file
            const bool asUser = path != unreadable || (::setgid(65534) == 0 && ::setuid(65534) == 0);
            const lx::SaveResult result = saveNumbered(path, 1200);
            std::fputs(result.message.c_str(), stderr);
            return asUser && !result.ok;
        };
        EXPECT_TRUE(lxtest::inChild(save, dir / "err"));
        EXPECT_EQ(std::tuple(readFile(dir / "err"), text(path), text(path + "_tmp")),
                  std::tuple(err, before, "(none)"));
    }
    ::umount((dir / "disk").c_str());
}
