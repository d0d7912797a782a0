// Test support: runs the suite's programs as real processes with a controlled environment,
// and keeps scratch folders.
#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace lxtest {

// Environment changes: "NAME=value" sets, "-NAME" removes. Every LX_/PM_/OB_/OXL_ variable of
// the test's own environment is removed first, so a run sees only what the test gives it.
using Env = std::vector<std::string>;

struct Result {
    int status = -1;  // exit status, or 128 + signal
    std::string out;
    std::string err;
};

Result run(const std::vector<std::string> &argv, const Env &env = {});

// A program left running (e.g. lxsuite); killed with SIGKILL if still alive at destruction.
class Background {
public:
    Background(const std::vector<std::string> &argv, const Env &env = {});
    ~Background();
    Background(const Background &) = delete;
    Background &operator=(const Background &) = delete;

    // The next line of standard output, without its newline; "" at end or after `timeout`.
    std::string line(std::chrono::milliseconds timeout = std::chrono::seconds(30));
    void signal(int number);
    int wait();  // exit status, or 128 + signal
    std::string errors() const;
    pid_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
    int outFd_ = -1;
    int status_ = -1;
    std::string buffer_;
    std::string errPath_;
};

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    const std::string &path() const { return path_; }
    std::string operator/(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

std::string readFile(const std::string &path);
void writeFile(const std::string &path, const std::string &text);
bool exists(const std::string &path);
std::string hostName();
std::string userName();

}  // namespace lxtest
