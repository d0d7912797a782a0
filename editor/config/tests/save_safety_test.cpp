// A user's configuration is never lost: a save killed at any moment, a full disk and a folder
// the user may not write leave either the complete old or the complete new file. The save runs
// in a helper process, as it would in the editor.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "lx_testing.h"

using lxtest::readFile;

namespace {

// Writes a new configuration of `count` lines "VARnnnn old-nnnn".
void writeOld(const std::string &path, int count)
{
    ASSERT_EQ(lxtest::run({SAVE_HELPER, path, std::to_string(count), "old"}).status, 0);
}

} // namespace

TEST(SaveSafety, KilledAtAnyMomentTheFileIsTheWholeOldOrTheWholeNewOne)
{
    lxtest::TempDir dir;
    const std::string path = dir / "lumarix.conf";
    writeOld(path, 1000);
    const std::string oldText = readFile(path);
    const lxtest::Env pause{"LX_TEST_SAVE_PAUSE_US=40"}; // after each line and step
    // How long one uninterrupted save takes, to spread the kills over it.
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(lxtest::run({SAVE_HELPER, path, "1000"}, pause).status, 0);
    const auto duration = std::chrono::steady_clock::now() - start;
    const std::string newText = readFile(path);

    int sawOld = 0, sawNew = 0;
    // Spread over one save's time; a slower machine gets later kills until one lands after the switch.
    for (int k = 0; k < 20 || (sawNew == 0 && k < 80); ++k) {
        lxtest::writeFile(path, oldText);
        lxtest::Process save({SAVE_HELPER, path, "1000"}, pause);
        std::this_thread::sleep_for(duration * k / 16);
        save.signal(SIGKILL);
        save.wait();
        const std::string now = readFile(path);
        ASSERT_TRUE(now == oldText || now == newText) << "kill " << k << " left " << now.size() << " bytes";
        ++(now == oldText ? sawOld : sawNew);
    }
    // The kills must have landed both before and after the switch to be meaningful.
    EXPECT_GT(sawOld, 0);
    EXPECT_GT(sawNew, 0);
}

// A failed save says what failed and leaves the old file as it was: something in the way of the
// new file or of the backup, a missing folder, a full disk, a file the user may not read.
TEST(SaveSafety, FailuresLeaveTheOldFileAndSayWhatFailed)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "mounting a small file system and running as nobody need root";
    namespace fs = std::filesystem;
    lxtest::TempDir dir;
    // A private 64 KiB file system, visible only to this test process and its children.
    ASSERT_EQ(::unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    fs::create_directory(dir / "disk");
    ASSERT_EQ(::mount("lxconf-test", (dir / "disk").c_str(), "tmpfs", 0, "size=64k"), 0);
    const std::string full = dir / "disk/lumarix.conf", unreadable = dir / "lumarix.conf", blocked = dir / "b.conf";
    writeOld(full, 1200); // about 20 KiB: room for the backup, not for the new file too
    lxtest::writeFile(dir / "disk/filler", std::string(16 * 1024, 'f'));
    writeOld(unreadable, 10);
    writeOld(blocked, 10);
    fs::create_directory(blocked + "_tmp");
    fs::create_directory(dir / "folder.conf");
    fs::permissions(dir.path(), fs::perms(0777)); // the folder is not what stops the save
    fs::permissions(unreadable, fs::perms(0600));
    const std::string kept = "\n\nNothing was changed: the configuration file is as it was.\n";
    const std::string folder = dir / "folder.conf", none = dir / "none/x.conf";
    auto text = [](const std::string &name) { return fs::is_regular_file(name) ? readFile(name) : "(none)"; };
    for (const auto &[path, err] : std::vector<std::pair<std::string, std::string>>{
             {blocked, "Couldn't create temp configuration file!\n" + blocked + "_tmp: Is a directory" + kept},
             {folder,
              "Couldn't make the backup copy of the configuration file!\n" + folder + ": Is a directory" + kept},
             {none, "Couldn't create user's configuration file!\n" + none +
                        "_tmp: No such file or directory\n\n"
                        "Nothing was changed: no configuration file was written.\n"},
             {full, "Couldn't write temp configuration file!\n" + full + "_tmp: No space left on device" + kept},
             {unreadable, "Couldn't open user's configuration file!\n" + unreadable + ": Permission denied" + kept}}) {
        const std::string before = text(path);
        const auto as = path == unreadable ? lxtest::kAsNobody : std::vector<std::string>();
        const lxtest::Result result = lxtest::run({SAVE_HELPER, path, "1200"}, {}, as);
        EXPECT_EQ(std::tuple(result.status, result.err, text(path), text(path + "_tmp")),
                  std::tuple(1, err, before, "(none)"));
    }
    ::umount((dir / "disk").c_str());
}
