// Whether a file found in a folder that other users share (/tmp) may be used: only a regular
// file of ours that neither group nor others may write.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#pragma GCC visibility push(hidden)

namespace lx::seg {

// Why the file must not be used, or null when it may.
inline const char *distrust(const struct stat &st)
{
    if (!S_ISREG(st.st_mode))
        return "it is not a regular file";
    if (st.st_uid != geteuid())
        return "it belongs to another user";
    if ((st.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return "it is writable by group or others";
    return nullptr;
}

inline const char *distrust_fd(int fd)
{
    struct stat st {};
    return fstat(fd, &st) != 0 ? "it cannot be examined" : distrust(st);
}

} // namespace lx::seg

#pragma GCC visibility pop
