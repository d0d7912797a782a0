// The application log, each case in a fresh process because the directory and the file name
// are resolved once per process: directory per LX_APPLICATION, fallbacks, line form,
// rotation at the size limit and a chain with a missing middle file.
// GoogleTest first: Xlib defines macros (None, Bool) that clash with its names.
#include <gtest/gtest.h>

#include <lumarix/wm.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <string>

namespace {

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void WriteFile(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

bool Exists(const std::string &path) { return access(path.c_str(), F_OK) == 0; }

class AppLog : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/lxwm-log-XXXXXX";
        home = mkdtemp(pattern);
    }
    void TearDown() override { std::system(("rm -rf '" + home + "'").c_str()); }

    // Runs `body` in a child process with HOME and LX_APPLICATION set; returns its exit code.
    int InChild(const char *application, const std::function<int()> &body)
    {
        pid_t child = fork();
        if (child == 0) {
            setenv("HOME", home.c_str(), 1);
            if (application != nullptr) {
                setenv("LX_APPLICATION", application, 1);
            } else {
                unsetenv("LX_APPLICATION");
            }
            _exit(body());
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
    }

    // The log directory and the file written by one WriteLog in a fresh process.
    std::string DirectoryFor(const char *application)
    {
        const std::string out = home + "/dir.out";
        EXPECT_EQ(InChild(application,
                          [&] {
                              WriteFile(out, LogDirectory());
                              return WriteLog("hello %d", 42) == 0 ? 0 : 1;
                          }),
                  0);
        return ReadFile(out);
    }

    std::string home;
};

TEST_F(AppLog, DirectoryAndNameFollowTheApplication)
{
    EXPECT_EQ(DirectoryFor(nullptr), home + "/lumarix-logs");
    EXPECT_TRUE(Exists(home + "/lumarix-logs/lumarixlog.txt"));

    EXPECT_EQ(DirectoryFor("PlateMark"), home + "/platemark-logs");
    EXPECT_TRUE(Exists(home + "/platemark-logs/platemarklog.txt"));

    EXPECT_EQ(DirectoryFor("morphidex"), home + "/morphidex-logs");
    EXPECT_TRUE(Exists(home + "/morphidex-logs/morphidexlog.txt"));

    std::system(("rm -rf '" + home + "/lumarix-logs'").c_str());
    EXPECT_EQ(DirectoryFor("some other program"), home + "/lumarix-logs");
    EXPECT_TRUE(Exists(home + "/lumarix-logs/lumarixlog.txt"));
    struct stat info {};
    ASSERT_EQ(stat((home + "/lumarix-logs").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0755u);
}

TEST_F(AppLog, FallsBackToHomeWhenTheDirectoryCannotBeMade)
{
    WriteFile(home + "/lumarix-logs", "a file where the directory should be");
    EXPECT_EQ(DirectoryFor(nullptr), home);
    EXPECT_TRUE(Exists(home + "/lumarixlog.txt"));
}

TEST_F(AppLog, FallsBackToTmpWithoutAUsableHome)
{
    const std::string out = home + "/dir.out";
    pid_t child = fork();
    if (child == 0) {
        setenv("HOME", (home + "/missing/deeper").c_str(), 1);
        WriteFile(out, LogDirectory());
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(ReadFile(out), "/tmp");
}

TEST_F(AppLog, LinesCarryTheTimeAndTheMessage)
{
    DirectoryFor(nullptr);
    DirectoryFor(nullptr);
    const std::string text = ReadFile(home + "/lumarix-logs/lumarixlog.txt");
    const std::regex line(
        R"(\[(Mon|Tue|Wed|Thu|Fri|Sat|Sun) [A-Z][a-z]{2} [ 0-9]\d \d\d:\d\d:\d\d \d{4}\]: hello 42\n)");
    const std::string one = text.substr(0, text.size() / 2);
    EXPECT_TRUE(std::regex_match(one, line)) << one;
    EXPECT_EQ(text.size(), 2 * one.size());
}

TEST_F(AppLog, UnwritableLogGoesToStandardError)
{
    mkdir((home + "/lumarix-logs").c_str(), 0755);
    mkdir((home + "/lumarix-logs/lumarixlog.txt").c_str(), 0755); // cannot be opened as a file
    EXPECT_EQ(InChild(nullptr, [] { return WriteLog("nowhere to go") == -1 ? 0 : 1; }), 0);
}

class AppLogRotation : public AppLog {
protected:
    void SetUp() override
    {
        AppLog::SetUp();
        dir = home + "/lumarix-logs";
        mkdir(dir.c_str(), 0755);
    }
    std::string Log(int n = 0) { return dir + "/lumarixlog" + (n > 0 ? std::to_string(n) : std::string()) + ".txt"; }
    void WriteOneLine()
    {
        ASSERT_EQ(InChild(nullptr, [] { return WriteLog("after") == 0 ? 0 : 1; }), 0);
    }
    std::string dir;
};

TEST_F(AppLogRotation, LogOf1199999BytesIsNotRotated)
{
    WriteFile(Log(), std::string(1199999, 'a'));
    WriteOneLine();
    EXPECT_FALSE(Exists(Log(1)));
    const std::string text = ReadFile(Log());
    EXPECT_GT(text.size(), 1199999u);
    EXPECT_NE(text.find("]: after\n", 1199999), std::string::npos);
}

TEST_F(AppLogRotation, LogOf1200000BytesIsRotated)
{
    WriteFile(Log(), std::string(1200000, 'b'));
    WriteFile(Log(1), "old one");
    WriteOneLine();
    EXPECT_EQ(ReadFile(Log(1)).size(), 1200000u);
    EXPECT_EQ(ReadFile(Log(2)), "old one");
    const std::string fresh = ReadFile(Log());
    EXPECT_EQ(fresh.find('['), 0u);
    EXPECT_NE(fresh.find("]: after\n"), std::string::npos);
    EXPECT_LT(fresh.size(), 100u);
}

TEST_F(AppLogRotation, MissingMiddleFileDoesNotStopTheChain)
{
    WriteFile(Log(), std::string(1300000, 'c'));
    WriteFile(Log(1), "one");
    WriteFile(Log(2), "two");
    WriteFile(Log(4), "four");
    WriteFile(Log(5), "five");
    WriteOneLine();
    EXPECT_EQ(ReadFile(Log(1)).size(), 1300000u);
    EXPECT_EQ(ReadFile(Log(2)), "one");
    EXPECT_EQ(ReadFile(Log(3)), "two");
    EXPECT_FALSE(Exists(Log(4)));
    EXPECT_EQ(ReadFile(Log(5)), "four") << "the oldest, five, is dropped";
    EXPECT_NE(ReadFile(Log()).find("]: after\n"), std::string::npos);
}

} // namespace
