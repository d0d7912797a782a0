// The id file under /tmp through which later processes find the control segment. /tmp is
// shared with other users, so the file is trusted only when it is ours, a regular file, not
// writable by others and not reached through a link, and it is replaced by renaming a fresh
// file rather than written in place.
#include "sm_internal.h"

#include "segment/file_trust.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lx::sm {
namespace {

void complain(const std::string &file, const char *why)
{
    std::fprintf(stderr, "sm-lib: ignoring id file %s: %s\n", file.c_str(), why);
}

} // namespace

std::string smGetIdFileName()
{
    trace(__func__);
    const char *user = std::getenv("USER");
    std::string name = user != nullptr ? std::string(user) : realUserName();
    return "/tmp/" + name + ".api_shmid";
}

std::optional<int> parseCtlId(std::string_view text)
{
    size_t i = 0;
    auto space = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (i < text.size() && space(text[i]))
        ++i;
    if (i < text.size() && text[i] == '+')
        ++i;
    const size_t digits = i;
    long long value = 0;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
        value = value * 10 + (text[i] - '0');
        if (value > INT32_MAX)
            return std::nullopt;
        ++i;
    }
    if (i == digits)
        return std::nullopt;
    while (i < text.size() && space(text[i]))
        ++i;
    if (i != text.size())
        return std::nullopt;
    return static_cast<int>(value);
}

int smWriteCtlId()
{
    trace(__func__);
    State &s = state();
    s.last_error = SM_OK;
    const std::string file = smGetIdFileName();

    struct stat existing {};
    if (lstat(file.c_str(), &existing) == 0 && existing.st_uid != geteuid()) {
        complain(file, "it belongs to another user and is left alone");
        s.last_error = SM_IDFILE_FAILED;
        return s.last_error;
    }

    std::string temp = file + ".XXXXXX";
    const int fd = mkstemp(temp.data()); // O_EXCL: never opens a planted file
    if (fd < 0) {
        s.last_error = SM_IDFILE_FAILED;
        return s.last_error;
    }
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%d\n", s.control_id);
    const bool written = fchmod(fd, 0644) == 0 && write(fd, text, static_cast<size_t>(length)) == length;
    if (close(fd) != 0 || !written || rename(temp.c_str(), file.c_str()) != 0) {
        unlink(temp.c_str());
        s.last_error = SM_IDFILE_FAILED;
    }
    return s.last_error;
}

int smGetCtlId()
{
    trace(__func__);
    State &s = state();
    s.last_error = SM_OK;
    const std::string file = smGetIdFileName();

    // O_NONBLOCK: a planted FIFO must not hang the open.
    const int fd = open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ELOOP)
            complain(file, "it is a symbolic link");
        s.control_id = -1;
        s.last_error = SM_IDFILE_FAILED;
        return s.last_error;
    }
    const char *why = lx::seg::distrust_fd(fd);
    char text[64] = {};
    ssize_t got = 0;
    if (why == nullptr) {
        got = read(fd, text, sizeof text - 1);
        if (got < 0 || static_cast<size_t>(got) == sizeof text - 1)
            why = "it does not hold a segment id";
    }
    close(fd);

    std::optional<int> id;
    if (why == nullptr) {
        id = parseCtlId(std::string_view(text, static_cast<size_t>(got)));
        if (!id)
            why = "it does not hold a segment id";
    }
    if (why != nullptr) {
        complain(file, why);
        s.control_id = -1;
        s.last_error = SM_IDFILE_FAILED;
        return s.last_error;
    }
    s.control_id = *id;
    return s.last_error;
}

void removeIdFile()
{
    const std::string file = smGetIdFileName();
    struct stat st {};
    if (lstat(file.c_str(), &st) != 0)
        return;
    if (st.st_uid != geteuid()) {
        complain(file, "it belongs to another user and is left alone");
        return;
    }
    unlink(file.c_str());
}

} // namespace lx::sm
