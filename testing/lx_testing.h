// Test plumbing shared by every subsystem's tests: real processes with a controlled environment,
// scratch folders, whole-file reads and writes.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace lxtest {

// Environment changes: "NAME=value" sets, "-NAME" removes. Every LX_/PM_/OB_/OXL_ variable of
// the test's own environment (and PMBASE, DEBUG_SHM) is removed first, so a run sees only what
// the test gives it.
using Env = std::vector<std::string>;

struct Result {
    int status = -1; // exit status, or 128 + signal
    std::string out;
    std::string err;
};

// A program running with its standard input and output held by the test. `wrapper` runs it
// (e.g. setpriv ..., unshare ...); the program and the wrapper are looked up in PATH. At
// destruction its input is closed; one still running two seconds later is killed.
class Process {
public:
    Process(const std::vector<std::string> &argv, const Env &env = {}, const std::vector<std::string> &wrapper = {});
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    // The next line of standard output without its newline; "" at end or after `timeout`.
    std::string line(std::chrono::milliseconds timeout = std::chrono::seconds(30));
    // The next line that starts with `prefix`, skipping others; "" at end or after the time-out.
    std::string lineStarting(const std::string &prefix);
    void send(const std::string &line); // one line to standard input
    void signal(int number);
    int wait(); // closes standard input and waits: exit status, or 128 + signal
    // After wait(): all of standard output (lines already read included) and standard error.
    Result finish();
    std::string errors() const; // standard error so far
    pid_t pid() const { return pid_; }

private:
    void readMore(int timeoutMs);

    pid_t pid_ = -1;
    int inFd_ = -1, outFd_ = -1;
    int status_ = -1;
    bool outEnded_ = false;
    std::string seen_, pending_;
    std::string errPath_;
};

// Runs `body` in a child process (for state a library sets up once per process), with standard
// error in `err`; whether the body returned true.
bool inChild(const std::function<bool()> &body, const std::string &err = "/dev/null");

// Runs a program to its end with empty standard input.
Result run(const std::vector<std::string> &argv, const Env &env = {}, const std::vector<std::string> &wrapper = {});

inline const std::vector<std::string> kAsNobody{"setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"};

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
bool exists(const std::string &path); // also a dangling symbolic link
std::string hostName();
std::string userName();
// The value after "key " on the first line of text that starts with it, or "".
std::string field(const std::string &text, const std::string &key);
// The space-separated words of `text` (a command line or an Env written as one string).
std::vector<std::string> words(const std::string &text);
// The first of `parts` that `text` lacks after the one before it, or "" when all appear in order.
std::string missingInOrder(const std::string &text, const std::vector<std::string> &parts);

// The program's exit status when it ends within `ms` (as wait() gives it), else -1 with the
// program left running.
int exitWithin(Process &program, int ms);

} // namespace lxtest
