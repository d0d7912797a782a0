#include "arena_process.h"

#include "lumarix/shm.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <pwd.h>
#include <semaphore.h>
#include <sstream>
#include <stdexcept>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace arena_test {

using Clock = std::chrono::steady_clock;

Helper::Helper(const std::vector<std::string> &commands, const std::vector<std::string> &extra_env)
{
    static int serial = 0;
    err_path_ = "/tmp/arena-test-" + std::to_string(getpid()) + "-" + std::to_string(serial++) + ".err";
    int out[2], in[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(in, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe");
    std::vector<std::string> args {ARENA_HELPER_PATH};
    args.insert(args.end(), commands.begin(), commands.end());
    pid_ = fork();
    if (pid_ == 0) {
        const int err = open(err_path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        dup2(out[1], 1);
        dup2(in[0], 0);
        dup2(err, 2);
        for (const std::string &e : extra_env) // "NAME=value" sets, a bare "NAME" unsets
            if (e.find('=') == std::string::npos)
                unsetenv(e.c_str());
            else
                putenv(const_cast<char *>(e.c_str()));
        std::vector<char *> argv;
        for (std::string &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(out[1]);
    close(in[0]);
    out_fd_ = out[0];
    in_fd_ = in[1];
}

Helper::~Helper()
{
    if (status_ == -1 && pid_ > 0) {
        ::kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(out_fd_);
    if (in_fd_ >= 0)
        close(in_fd_);
    unlink(err_path_.c_str());
}

std::string Helper::line(std::chrono::seconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        if (const size_t end = buffer_.find('\n'); end != std::string::npos) {
            std::string text = buffer_.substr(0, end);
            buffer_.erase(0, end + 1);
            return text;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd p {out_fd_, POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(std::max<long long>(left, 0))) <= 0)
            return "";
        char chunk[4096];
        const ssize_t got = read(out_fd_, chunk, sizeof chunk);
        if (got <= 0)
            return "";
        buffer_.append(chunk, static_cast<size_t>(got));
        out_.append(chunk, static_cast<size_t>(got));
    }
}

void Helper::send(const std::string &text)
{
    if (write(in_fd_, text.data(), text.size()) < 0)
        throw std::runtime_error("send");
}

int Helper::finish(std::chrono::seconds timeout)
{
    close(in_fd_);
    in_fd_ = -1;
    const auto deadline = Clock::now() + timeout;
    while (Clock::now() < deadline) {
        line(std::chrono::seconds(1));
        if (waitpid(pid_, &status_, WNOHANG) == pid_) {
            while (!line(std::chrono::seconds(0)).empty()) {
            }
            return WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
        }
    }
    return -1;
}

std::string Helper::errors() const { return readFile(err_path_); }

void Helper::kill(int signal)
{
    ::kill(pid_, signal);
    waitpid(pid_, &status_, 0);
}

std::string userName() { return getpwuid(getuid())->pw_name; }
std::string idFile() { return "/tmp/" + userName() + ".api_shmid"; }

static int segmentUnder(char project)
{
    const char *home = std::getenv("HOME");
    return shmget(SG_key(home != nullptr ? home : "", project), 0, 0);
}
int controlSegment() { return segmentUnder('F'); }
int dataSegment() { return segmentUnder('N'); }
std::string semaphoreName() { return "/IWConfigSem_" + userName(); }

void removeArena()
{
    for (const int id : {controlSegment(), dataSegment()})
        if (id >= 0)
            shmctl(id, IPC_RMID, nullptr);
    unlink(idFile().c_str());
    sem_unlink(semaphoreName().c_str());
}

void ArenaTest::SetUp()
{
    // All processes must map the arena at one address and agree on the names.
    setenv("LX_SHMSTADDR", "300000000000", 1);
    setenv("USER", userName().c_str(), 1);
    setenv("LOGNAME", userName().c_str(), 1);
    unsetenv("DEBUG_SHM");
    removeArena();
}

bool exists(const std::string &path)
{
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

std::string readFile(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace arena_test
