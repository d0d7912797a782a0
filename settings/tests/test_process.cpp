#include "test_process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <pwd.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace lxtest {
namespace {

bool isSuiteVariable(const std::string &entry)
{
    for (const char *prefix : {"LX_", "PM_", "OB_", "OXL_", "PMBASE=", "DEBUG_SHM="})
        if (entry.rfind(prefix, 0) == 0)
            return true;
    return false;
}

std::vector<std::string> buildEnv(const Env &changes)
{
    std::vector<std::string> env;
    for (char **entry = environ; *entry; ++entry)
        if (!isSuiteVariable(*entry))
            env.emplace_back(*entry);
    for (const auto &change : changes) {
        const bool remove = change[0] == '-';
        const std::string name = remove ? change.substr(1) : change.substr(0, change.find('='));
        std::erase_if(env, [&](const std::string &e) { return e.rfind(name + "=", 0) == 0; });
        if (!remove)
            env.push_back(change);
    }
    return env;
}

std::vector<char *> pointers(std::vector<std::string> &texts)
{
    std::vector<char *> result;
    for (auto &text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

pid_t spawn(const std::vector<std::string> &argv, const Env &env, int outFd, int errFd)
{
    std::vector<std::string> args = argv;
    std::vector<std::string> vars = buildEnv(env);
    auto argp = pointers(args);
    auto envp = pointers(vars);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(outFd, 1);
        dup2(errFd, 2);
        const int devnull = open("/dev/null", O_RDONLY);
        dup2(devnull, 0);
        execve(argp[0], argp.data(), envp.data());
        _exit(127);
    }
    return pid;
}

int statusOf(int raw) { return WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw); }

std::string tempPath(const char *stem)
{
    std::string pattern = (std::filesystem::temp_directory_path() / stem).string() + "XXXXXX";
    const int fd = mkstemp(pattern.data());
    if (fd < 0)
        throw std::runtime_error("mkstemp failed");
    close(fd);
    return pattern;
}

}  // namespace

Result run(const std::vector<std::string> &argv, const Env &env)
{
    const std::string outPath = tempPath("lxtest-out");
    const std::string errPath = tempPath("lxtest-err");
    const int outFd = open(outPath.c_str(), O_WRONLY | O_TRUNC);
    const int errFd = open(errPath.c_str(), O_WRONLY | O_TRUNC);
    const pid_t pid = spawn(argv, env, outFd, errFd);
    close(outFd);
    close(errFd);
    int raw = 0;
    while (waitpid(pid, &raw, 0) < 0 && errno == EINTR) {
    }
    Result result{statusOf(raw), readFile(outPath), readFile(errPath)};
    unlink(outPath.c_str());
    unlink(errPath.c_str());
    return result;
}

Background::Background(const std::vector<std::string> &argv, const Env &env)
{
    int pipeFds[2];
    if (pipe(pipeFds) != 0)
        throw std::runtime_error("pipe failed");
    errPath_ = tempPath("lxtest-bg-err");
    const int errFd = open(errPath_.c_str(), O_WRONLY | O_TRUNC);
    pid_ = spawn(argv, env, pipeFds[1], errFd);
    close(pipeFds[1]);
    close(errFd);
    outFd_ = pipeFds[0];
}

Background::~Background()
{
    if (status_ < 0 && pid_ > 0) {
        ::kill(pid_, SIGKILL);
        wait();
    }
    if (outFd_ >= 0)
        close(outFd_);
    unlink(errPath_.c_str());
}

std::string Background::line(std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (auto newline = buffer_.find('\n'); newline != std::string::npos) {
            std::string text = buffer_.substr(0, newline);
            buffer_.erase(0, newline + 1);
            return text;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline -
                                                                                std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return "";
        pollfd fd{outFd_, POLLIN, 0};
        if (poll(&fd, 1, static_cast<int>(left.count())) <= 0)
            continue;
        char chunk[512];
        const ssize_t got = read(outFd_, chunk, sizeof chunk);
        if (got <= 0)
            return "";
        buffer_.append(chunk, static_cast<size_t>(got));
    }
}

void Background::signal(int number) { ::kill(pid_, number); }

int Background::wait()
{
    if (status_ >= 0)
        return status_;
    int raw = 0;
    while (waitpid(pid_, &raw, 0) < 0 && errno == EINTR) {
    }
    status_ = statusOf(raw);
    return status_;
}

std::string Background::errors() const { return readFile(errPath_); }

TempDir::TempDir()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "lxtest-dirXXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeFile(const std::string &path, const std::string &text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

bool exists(const std::string &path) { return access(path.c_str(), F_OK) == 0; }

std::string hostName()
{
    char host[100] = {};
    gethostname(host, sizeof host);
    host[sizeof host - 1] = '\0';
    return host;
}

std::string userName()
{
    if (const char *name = std::getenv("LOGNAME"))
        return name;
    const passwd *entry = getpwuid(getuid());
    return entry ? entry->pw_name : "root";
}

}  // namespace lxtest
