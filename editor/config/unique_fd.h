// An owned file descriptor, closed on destruction.
#pragma once

#include <cerrno>
#include <unistd.h>

namespace lx {

class UniqueFd {
public:
    explicit UniqueFd(int fd = -1) : fd_(fd) {}
    UniqueFd(const UniqueFd &) = delete;
    UniqueFd &operator=(const UniqueFd &) = delete;
    ~UniqueFd() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void reset()
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }
    // Closes now and reports close's error (0 when fine), which matters for written files.
    int close()
    {
        int fd = fd_;
        fd_ = -1;
        return (fd >= 0 && ::close(fd) != 0) ? errno : 0;
    }

private:
    int fd_;
};

} // namespace lx
