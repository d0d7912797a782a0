// A user's configuration is never lost: a save killed at any moment, a full disk and a folder
// the user may not write leave either the complete old or the complete new file. The save runs
// in a helper process, as it would in the editor.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "test_files.h"

namespace {

using lx::test::readFile;
using lx::test::writeFile;

std::string helperPath()
{
    const char *path = std::getenv("LX_CONFIG_SAVE_HELPER");
    return path != nullptr ? path : "";
}

std::string numberedLines(int count, const char *prefix)
{
    std::string text = "# generated configuration\n";
    char line[64];
    for (int i = 0; i < count; ++i) {
        std::snprintf(line, sizeof line, "VAR%04d %s-%04d\n", i, prefix, i);
        text += line;
    }
    return text;
}

// The file the helper writes from numberedLines(count, "old").
std::string expectedNew(int count)
{
    std::string text = "# generated configuration\n";
    return text + numberedLines(count, "new").substr(text.size());
}

struct HelperRun {
    pid_t pid = -1;
    int stderrFd = -1;
};

// Starts the helper, optionally as another user, with its standard error on a pipe.
HelperRun startHelper(const std::string &config, int count, long pauseMicros, bool asNobody = false)
{
    int fds[2];
    if (::pipe(fds) != 0)
        return {};
    pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(fds[1], 2);
        ::close(fds[0]);
        ::close(fds[1]);
        std::string countText = std::to_string(count);
        std::string pause = "LX_TEST_SAVE_PAUSE_US=" + std::to_string(pauseMicros);
        ::putenv(pause.data());
        std::string helper = helperPath();
        if (asNobody)
            ::execlp("setpriv", "setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", helper.c_str(),
                     config.c_str(), countText.c_str(), static_cast<char *>(nullptr));
        else
            ::execl(helper.c_str(), helper.c_str(), config.c_str(), countText.c_str(), static_cast<char *>(nullptr));
        ::_exit(127);
    }
    ::close(fds[1]);
    return {pid, fds[0]};
}

// Waits for the helper; returns its exit status (or -signal) and what it wrote on standard error.
std::pair<int, std::string> finish(HelperRun run)
{
    std::string err;
    char buffer[4096];
    ssize_t n;
    while ((n = ::read(run.stderrFd, buffer, sizeof buffer)) > 0)
        err.append(buffer, static_cast<size_t>(n));
    ::close(run.stderrFd);
    int status = 0;
    ::waitpid(run.pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), err};
}

class SaveSafety : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_FALSE(helperPath().empty()) << "LX_CONFIG_SAVE_HELPER is not set"; }
    lx::test::TempDir dir_;
    std::string path_ = dir_ / "lumarix.conf";
};

TEST_F(SaveSafety, KilledAtAnyMomentTheFileIsTheWholeOldOrTheWholeNewOne)
{
    const int count = 2000;
    const long pause = 40; // microseconds after each line and step
    const std::string oldText = numberedLines(count, "old");
    const std::string newText = expectedNew(count);

    // How long one uninterrupted save takes, to spread the kills over it.
    writeFile(path_, oldText);
    auto start = std::chrono::steady_clock::now();
    auto [status, err] = finish(startHelper(path_, count, pause));
    auto duration = std::chrono::steady_clock::now() - start;
    ASSERT_EQ(status, 0) << err;
    ASSERT_EQ(readFile(path_), newText);

    int sawOld = 0, sawNew = 0;
    const int kills = 30;
    for (int k = 0; k < kills; ++k) {
        writeFile(path_, oldText);
        HelperRun run = startHelper(path_, count, pause);
        std::this_thread::sleep_for(duration * k / (kills - 4));
        ::kill(run.pid, SIGKILL);
        finish(run);
        std::string now = readFile(path_);
        ASSERT_TRUE(now == oldText || now == newText) << "kill " << k << " left " << now.size() << " bytes";
        (now == oldText ? sawOld : sawNew)++;
    }
    // The kills must have landed both before and after the switch to be meaningful.
    EXPECT_GT(sawOld, 0);
    EXPECT_GT(sawNew, 0);
}

TEST_F(SaveSafety, FullDiskLeavesTheOldFileAndSaysWhatFailed)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "mounting a small file system needs root";
    // A private 64 KiB file system, visible only to this test process and its children.
    ASSERT_EQ(::unshare(CLONE_NEWNS), 0) << std::strerror(errno);
    ASSERT_EQ(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    std::string disk = dir_ / "disk";
    std::filesystem::create_directory(disk);
    ASSERT_EQ(::mount("lxconf-test", disk.c_str(), "tmpfs", 0, "size=64k"), 0) << std::strerror(errno);

    const int count = 1200; // about 20 KiB
    std::string path = disk + "/lumarix.conf";
    const std::string oldText = numberedLines(count, "old");
    writeFile(path, oldText);
    // Leave room for the backup but not for the whole new file.
    writeFile(disk + "/filler", std::string(16 * 1024, 'f'));

    auto [status, err] = finish(startHelper(path, count, 0));
    std::string now = readFile(path);
    bool tmpLeft = std::filesystem::exists(path + "_tmp");
    ::umount(disk.c_str());

    EXPECT_EQ(status, 1);
    EXPECT_EQ(now, oldText);
    EXPECT_FALSE(tmpLeft);
    EXPECT_EQ(err.rfind("Couldn't write temp configuration file!\n" + path + "_tmp: No space left on device", 0), 0u)
        << err;
    EXPECT_NE(err.find("Nothing was changed: the configuration file is as it was."), std::string::npos);
}

TEST_F(SaveSafety, FolderTheUserMayNotWriteLeavesTheOldFileAndSaysWhatFailed)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "running as nobody needs root";
    ::chmod(dir_.path().c_str(), 0755); // nobody may enter and read, not write
    const std::string oldText = numberedLines(10, "old");
    writeFile(path_, oldText);
    ASSERT_EQ(::chown(path_.c_str(), 65534, 65534), 0); // even the owner of the file

    auto [status, err] = finish(startHelper(path_, 10, 0, true));
    EXPECT_EQ(status, 1) << err;
    EXPECT_EQ(readFile(path_), oldText);
    EXPECT_EQ(err.rfind("Couldn't make the backup copy of the configuration file!\n", 0), 0u) << err;
    EXPECT_NE(err.find("Permission denied"), std::string::npos) << err;
    EXPECT_NE(err.find("Nothing was changed"), std::string::npos) << err;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 1);
}

TEST_F(SaveSafety, ConfigurationTheUserMayNotReadIsLeftAlone)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "running as nobody needs root";
    ::chmod(dir_.path().c_str(), 0777); // the folder is not what stops the save
    const std::string oldText = numberedLines(10, "old");
    writeFile(path_, oldText);
    ::chmod(path_.c_str(), 0600); // owned by root

    auto [status, err] = finish(startHelper(path_, 10, 0, true));
    EXPECT_EQ(status, 1) << err;
    EXPECT_EQ(readFile(path_), oldText);
    EXPECT_EQ(err.rfind("Couldn't open user's configuration file!\n" + path_ + ": Permission denied", 0), 0u) << err;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 1);
}

} // namespace
