// Starting the helper program as a real second process (fork + exec) and collecting its output.
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

namespace lx::test {

struct ChildResult {
    int exit_code = -1;  // -1 when the child did not exit normally
    std::string out;
    std::string err;
};

struct ChildOptions {
    std::vector<std::pair<std::string, std::string>> env;  // set in the child before exec
    std::vector<std::string> unset;                         // removed from the child's environment
    std::vector<std::string> wrapper;                       // e.g. setpriv ... or unshare ...
};

// A running child whose standard input and output the test holds.
class Child {
public:
    Child(const std::vector<std::string> &args, const ChildOptions &options = {});
    ~Child();
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    // Reads standard output until a line starting with prefix; returns that line ("" at end).
    std::string read_line_starting(const std::string &prefix);
    // Sends a line to the child's standard input.
    void send_line(const std::string &line);
    // Closes standard input, reads the rest of both outputs and waits for the child.
    ChildResult finish();
    pid_t pid() const { return started_; }

private:
    pid_t pid_ = -1, started_ = -1;
    int in_ = -1, out_ = -1, err_ = -1;
    std::string out_seen_, out_pending_;
};

inline ChildOptions with_env(const std::string &name, const std::string &value) {
    ChildOptions o;
    o.env.emplace_back(name, value);
    return o;
}

ChildResult run(const std::vector<std::string> &args, const ChildOptions &options = {});

// The value after "key " on the first line of text that starts with it, or "".
std::string field(const std::string &text, const std::string &key);

}  // namespace lx::test
