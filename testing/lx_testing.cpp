#include "lx_testing.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <pwd.h>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
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

int statusOf(int raw) { return WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw); }

} // namespace

Process::Process(const std::vector<std::string> &argv, const Env &env, const std::vector<std::string> &wrapper)
{
    std::vector<std::string> args = wrapper;
    args.insert(args.end(), argv.begin(), argv.end());
    std::vector<std::string> vars = buildEnv(env);
    auto argp = pointers(args);
    auto envp = pointers(vars);
    char errPattern[] = "/tmp/lxtest-errXXXXXX";
    const int errFd = mkstemp(errPattern);
    int in[2], out[2];
    if (errFd < 0 || pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
        throw std::runtime_error("cannot start a test process");
    errPath_ = errPattern;
    pid_ = fork();
    if (pid_ == 0) {
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(errFd, 2);
        environ = envp.data();
        execvp(argp[0], argp.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    close(errFd);
    inFd_ = in[1];
    outFd_ = out[0];
}

Process::~Process()
{
    if (status_ < 0 && pid_ > 0) {
        if (inFd_ >= 0)
            close(inFd_);
        inFd_ = -1;
        int raw = 0;
        for (int tries = 0; tries < 200 && waitpid(pid_, &raw, WNOHANG) == 0; ++tries)
            usleep(10'000);
        if (waitpid(pid_, &raw, WNOHANG) == 0)
            ::kill(pid_, SIGKILL);
        wait();
    }
    if (outFd_ >= 0)
        close(outFd_);
    if (inFd_ >= 0)
        close(inFd_);
    unlink(errPath_.c_str());
}

void Process::readMore(int timeoutMs)
{
    pollfd fd{outFd_, POLLIN, 0};
    if (outEnded_ || poll(&fd, 1, timeoutMs) <= 0)
        return;
    char chunk[4096];
    const ssize_t got = read(outFd_, chunk, sizeof chunk);
    if (got <= 0)
        outEnded_ = true;
    else
        pending_.append(chunk, static_cast<size_t>(got));
}

std::string Process::line(std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (auto newline = pending_.find('\n'); newline != std::string::npos) {
            std::string text = pending_.substr(0, newline);
            seen_ += pending_.substr(0, newline + 1);
            pending_.erase(0, newline + 1);
            return text;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || outEnded_)
            return "";
        readMore(static_cast<int>(left.count()));
    }
}

std::string Process::lineStarting(const std::string &prefix)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (;;) {
        std::string text = line();
        if (!text.empty() && text.rfind(prefix, 0) == 0)
            return text;
        if (text.empty() && (outEnded_ || std::chrono::steady_clock::now() >= deadline))
            return "";
    }
}

void Process::send(const std::string &text)
{
    const std::string withNewline = text + "\n";
    if (write(inFd_, withNewline.data(), withNewline.size()) != static_cast<ssize_t>(withNewline.size()))
        throw std::runtime_error("write to a test process failed");
}

void Process::signal(int number) { ::kill(pid_, number); }

int Process::wait()
{
    if (status_ >= 0)
        return status_;
    if (inFd_ >= 0)
        close(inFd_);
    inFd_ = -1;
    // Read while waiting, so that a full pipe cannot stall the program.
    int raw = 0;
    while (!outEnded_)
        readMore(-1);
    while (waitpid(pid_, &raw, 0) < 0 && errno == EINTR) {
    }
    status_ = statusOf(raw);
    return status_;
}

Result Process::finish()
{
    wait();
    return {status_, seen_ + pending_, errors()};
}

std::string Process::errors() const { return readFile(errPath_); }

Result run(const std::vector<std::string> &argv, const Env &env, const std::vector<std::string> &wrapper)
{
    return Process(argv, env, wrapper).finish();
}

bool inChild(const std::function<bool()> &body, const std::string &err)
{
    const pid_t child = fork();
    if (child == 0) {
        const bool held = std::freopen(err.c_str(), "w", stderr) != nullptr && body();
        std::fflush(nullptr);
        _exit(held ? 0 : 1);
    }
    int raw = 0;
    while (waitpid(child, &raw, 0) < 0 && errno == EINTR) {
    }
    return child > 0 && statusOf(raw) == 0;
}

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

bool exists(const std::string &path)
{
    struct stat info {};
    return lstat(path.c_str(), &info) == 0;
}

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

std::string field(const std::string &text, const std::string &key)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.rfind(key + " ", 0) == 0)
            return line.substr(key.size() + 1);
    return "";
}

std::vector<std::string> words(const std::string &text)
{
    std::istringstream in(text);
    std::vector<std::string> result;
    for (std::string word; in >> word;)
        result.push_back(word);
    return result;
}

std::string missingInOrder(const std::string &text, const std::vector<std::string> &parts)
{
    size_t at = 0;
    for (const std::string &part : parts)
        if ((at = text.find(part, at)) == std::string::npos)
            return part;
    return "";
}

int exitWithin(Process &program, int ms)
{
    siginfo_t info{};
    for (int waited = 0; waited <= ms; waited += 20, usleep(20'000))
        if (waitid(P_PID, static_cast<id_t>(program.pid()), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
            info.si_pid == program.pid())
            return program.wait();
    return -1;
}

} // namespace lxtest
