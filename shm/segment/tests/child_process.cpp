#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace lx::test {
namespace {

void make_pipe(int fds[2]) {
    if (pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
}

}  // namespace

Child::Child(const std::vector<std::string> &args, const ChildOptions &options) {
    int in[2], out[2], err[2];
    make_pipe(in);
    make_pipe(out);
    make_pipe(err);
    std::vector<std::string> argv_text = options.wrapper;
    argv_text.insert(argv_text.end(), args.begin(), args.end());
    pid_ = fork();
    if (pid_ < 0) throw std::runtime_error("fork failed");
    if (pid_ == 0) {
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        for (const auto &name : options.unset) unsetenv(name.c_str());
        for (const auto &[name, value] : options.env) setenv(name.c_str(), value.c_str(), 1);
        std::vector<char *> argv;
        for (auto &a : argv_text) argv.push_back(a.data());
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    started_ = pid_;
    close(in[0]);
    close(out[1]);
    close(err[1]);
    in_ = in[1];
    out_ = out[0];
    err_ = err[0];
}

Child::~Child() {
    if (pid_ > 0) finish();
}

std::string Child::read_line_starting(const std::string &prefix) {
    for (;;) {
        size_t nl;
        while ((nl = out_pending_.find('\n')) != std::string::npos) {
            std::string line = out_pending_.substr(0, nl);
            out_seen_ += out_pending_.substr(0, nl + 1);
            out_pending_.erase(0, nl + 1);
            if (line.rfind(prefix, 0) == 0) return line;
        }
        char buf[1024];
        ssize_t n = read(out_, buf, sizeof buf);
        if (n <= 0) return "";
        out_pending_.append(buf, static_cast<size_t>(n));
    }
}

void Child::send_line(const std::string &line) {
    std::string text = line + "\n";
    if (write(in_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("write to child failed");
}

ChildResult Child::finish() {
    ChildResult r;
    if (pid_ <= 0) return r;
    close(in_);
    // Read both pipes together so that neither can fill up and stall the child.
    std::string out_rest, err_text;
    pollfd fds[2] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
    int open_count = 2;
    while (open_count > 0) {
        if (poll(fds, 2, -1) < 0) break;
        for (auto &p : fds) {
            if (p.fd < 0 || !(p.revents & (POLLIN | POLLHUP | POLLERR))) continue;
            char buf[4096];
            ssize_t n = read(p.fd, buf, sizeof buf);
            if (n <= 0) {
                close(p.fd);
                p.fd = -1;
                --open_count;
            } else {
                (p.fd == out_ ? out_rest : err_text).append(buf, static_cast<size_t>(n));
            }
        }
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    r.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = out_seen_ + out_pending_ + out_rest;
    r.err = err_text;
    return r;
}

ChildResult run(const std::vector<std::string> &args, const ChildOptions &options) {
    Child child(args, options);
    return child.finish();
}

std::string field(const std::string &text, const std::string &key) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line))
        if (line.rfind(key + " ", 0) == 0) return line.substr(key.size() + 1);
    return "";
}

}  // namespace lx::test
