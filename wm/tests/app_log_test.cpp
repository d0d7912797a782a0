// The application log, each case in a fresh process because the directory and the file name are
// resolved once per process: directory per LX_APPLICATION, fallbacks, line form, rotation at the
// size limit and a chain with a missing middle file.
#include <gtest/gtest.h>

#include "lx_testing.h"

#include <lumarix/wm.h>

#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <regex>

using namespace lxtest;

namespace {

class AppLog : public ::testing::Test {
protected:
    // Runs `body` in a child process with HOME and LX_APPLICATION set.
    bool InApplication(const char *application, const std::function<bool()> &body, const std::string &homeDir = "")
    {
        return inChild([&] {
            setenv("HOME", homeDir.empty() ? home.path().c_str() : homeDir.c_str(), 1);
            application != nullptr ? setenv("LX_APPLICATION", application, 1) : unsetenv("LX_APPLICATION");
            return body();
        });
    }
    // The log directory of a fresh process, after it wrote one line.
    std::string DirectoryFor(const char *application)
    {
        EXPECT_TRUE(InApplication(application, [&] {
            writeFile(home / "dir.out", LogDirectory());
            return WriteLog("hello %d", 42) == 0;
        }));
        return readFile(home / "dir.out");
    }
    std::string Log(int n = 0) { return home / "lumarix-logs/lumarixlog" + (n > 0 ? std::to_string(n) : "") + ".txt"; }

    TempDir home;
};

TEST_F(AppLog, DirectoryAndNameFollowTheApplication)
{
    for (const auto &[application, name] :
         std::initializer_list<std::pair<const char *, std::string>>{{"PlateMark", "platemark"},
                                                                     {"morphidex", "morphidex"},
                                                                     {"some other program", "lumarix"},
                                                                     {nullptr, "lumarix"}}) {
        EXPECT_EQ(DirectoryFor(application), home / name + "-logs");
        EXPECT_TRUE(exists(home / name + "-logs/" + name + "log.txt")) << name;
    }
    struct stat info {};
    ASSERT_EQ(stat((home / "lumarix-logs").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0755u);
}

TEST_F(AppLog, FallsBackToHomeThenToTmp)
{
    writeFile(home / "lumarix-logs", "a file where the directory should be");
    EXPECT_EQ(DirectoryFor(nullptr), home.path());
    EXPECT_TRUE(exists(home / "lumarixlog.txt"));
    EXPECT_TRUE(InApplication(
        nullptr, [] { return std::string(LogDirectory()) == "/tmp"; }, home / "missing/deeper"));
}

TEST_F(AppLog, LinesCarryTheTimeAndTheMessageOrGoToStandardError)
{
    DirectoryFor(nullptr);
    DirectoryFor(nullptr);
    const std::string text = readFile(Log());
    const std::regex line(
        R"(\[(Mon|Tue|Wed|Thu|Fri|Sat|Sun) [A-Z][a-z]{2} [ 0-9]\d \d\d:\d\d:\d\d \d{4}\]: hello 42\n)");
    const std::string one = text.substr(0, text.size() / 2);
    EXPECT_TRUE(std::regex_match(one, line)) << one;
    EXPECT_EQ(text, one + one);
    std::filesystem::remove(Log());
    mkdir(Log().c_str(), 0755); // cannot be opened as a file
    EXPECT_TRUE(InApplication(nullptr, [] { return WriteLog("nowhere to go") == -1; }));
}

TEST_F(AppLog, RotatesAbove1199999BytesAndKeepsFiveOlderLogs)
{
    mkdir((home / "lumarix-logs").c_str(), 0755);
    auto writeOneLine = [&] { ASSERT_TRUE(InApplication(nullptr, [] { return WriteLog("after") == 0; })); };
    writeFile(Log(), std::string(1199999, 'a'));
    writeOneLine();
    EXPECT_FALSE(exists(Log(1)));
    EXPECT_EQ(readFile(Log()).find("]: after\n"), 1199999u + 25) << "appended, not rotated";

    writeFile(Log(), std::string(1200000, 'b'));
    for (int n : {1, 2, 4, 5})
        writeFile(Log(n), std::to_string(n));
    writeOneLine();
    EXPECT_EQ(readFile(Log(1)), std::string(1200000, 'b'));
    EXPECT_EQ(readFile(Log(2)), "1");
    EXPECT_EQ(readFile(Log(3)), "2");
    EXPECT_FALSE(exists(Log(4))) << "a missing middle file does not stop the chain";
    EXPECT_EQ(readFile(Log(5)), "4") << "the oldest, 5, is dropped";
    EXPECT_EQ(readFile(Log()).find("]: after\n"), 25u);
}

} // namespace
