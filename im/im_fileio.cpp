// File access of file streams: buffered (stdio with a fixed buffer) or unbuffered (descriptor).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include <lumarix/im.h>

#include "im_stream.h"

namespace lx::im {
namespace {

const char *buffered_mode(int open_mode)
{
    switch (open_mode) {
    case IM_MODE_NEW: return "wb+";
    case IM_MODE_RO: return "rb";
    case IM_MODE_OLD:
    case IM_MODE_APPEND: return "rb+";
    }
    std::fprintf(stderr, "iCreateBufferedIOModeArgs: %d is an invalid open mode.\n", open_mode);
    return nullptr;
}

int unbuffered_flags(int open_mode)
{
    switch (open_mode) {
    case IM_MODE_NEW: return O_RDWR | O_CREAT | O_TRUNC;
    case IM_MODE_RO: return O_RDONLY;
    case IM_MODE_OLD:
    case IM_MODE_APPEND: return O_RDWR;
    }
    std::fprintf(stderr, "iCreateUnbufferedIOModeArgs: %d is an invalid open mode.\n", open_mode);
    return -1;
}

constexpr int kMaxAttempts = 11;

} // namespace

// 0 or 206 (the caller prints the failure line).
int open_file(Stream &s)
{
    switch (s.io_kind) {
    case IM_IO_BUFFERED: {
        const char *mode = buffered_mode(s.open_mode);
        if (!mode)
            return 206;
        s.file = std::fopen(s.name.c_str(), mode);
        if (!s.file)
            return 206;
        s.io_buffer = std::make_unique_for_overwrite<char[]>(kBufferedBytes);
        std::setvbuf(s.file, s.io_buffer.get(), _IOFBF, kBufferedBytes);
        return 0;
    }
    case IM_IO_UNBUFFERED: {
        const int flags = unbuffered_flags(s.open_mode);
        if (flags < 0)
            return 206;
        s.fd = ::open(s.name.c_str(), flags | O_CLOEXEC, 0644);
        return s.fd < 0 ? 206 : 0;
    }
    case IM_IO_COMPRESSED: std::fprintf(stderr, "iStreamFileOpen: compressed IO not supported.\n"); return 206;
    default: return 206; // the database service is not part of this build
    }
}

void close_file(Stream &s)
{
    if (s.io_kind == IM_IO_COMPRESSED)
        std::fprintf(stderr, "iStreamFileClose: compressed IO not supported.\n");
    const bool open = s.file || s.fd >= 0;
    if (!open && s.io_kind != IM_IO_DATABASE) {
        std::fprintf(stderr, "iStreamFileClose %d: an unopened file was requested to be closed.\n", s.number);
        return;
    }
    if (s.file)
        std::fclose(s.file);
    if (s.fd >= 0)
        ::close(s.fd);
    s.file = nullptr;
    s.fd = -1;
    s.io_buffer.reset();
}

// Unbuffered transfers repeat plain reads or writes of what is left, at most kMaxAttempts times;
// an attempt that moves nothing or fails adds nothing. Returns the bytes moved and the attempts.
template <typename Transfer>
static std::pair<long long, int> transfer_with_retries(long long total, Transfer transfer)
{
    long long done = 0;
    int attempts = 0;
    while (done < total && attempts < kMaxAttempts) {
        ++attempts;
        const ssize_t n = transfer(done, total - done);
        if (n > 0)
            done += n;
    }
    return {done, attempts};
}

long long stream_file_read(Stream &s, void *buffer, long long size, long long count)
{
    if (size <= 0 || count <= 0)
        return 0;
    if (s.io_kind == IM_IO_BUFFERED && s.file)
        return static_cast<long long>(std::fread(buffer, size, count, s.file));
    if (s.io_kind == IM_IO_UNBUFFERED && s.fd >= 0) {
        auto [done, attempts] = transfer_with_retries(size * count, [&](long long at, long long left) {
            return ::read(s.fd, static_cast<char *>(buffer) + at, left);
        });
        if (attempts == kMaxAttempts)
            std::fprintf(stderr, "iStreamFileRead: too many retries (%d), only %lld elements read...\n", attempts,
                         done / size);
        return done / size;
    }
    if (s.io_kind == IM_IO_COMPRESSED)
        std::fprintf(stderr, "iStreamFileRead: compressed IO not supported.\n");
    return 0;
}

long long stream_file_write(Stream &s, const void *buffer, long long size, long long count)
{
    if (size <= 0 || count <= 0)
        return 0;
    if (s.io_kind == IM_IO_BUFFERED && s.file)
        return static_cast<long long>(std::fwrite(buffer, size, count, s.file));
    if (s.io_kind == IM_IO_UNBUFFERED && s.fd >= 0) {
        auto [done, attempts] = transfer_with_retries(size * count, [&](long long at, long long left) {
            return ::write(s.fd, static_cast<const char *>(buffer) + at, left);
        });
        if (attempts == kMaxAttempts)
            std::fprintf(stderr, "iStreamFileWrite: too many retries (%d), only %lld elements written...\n",
                         attempts, done / size);
        return done / size;
    }
    if (s.io_kind == IM_IO_COMPRESSED)
        std::fprintf(stderr, "iStreamFileWrite: compressed IO is unsupported.\n");
    return 0;
}

bool stream_file_seek(Stream &s, long long offset, int whence)
{
    if (s.io_kind == IM_IO_BUFFERED && s.file)
        return fseeko(s.file, static_cast<off_t>(offset), whence) == 0;
    if (s.io_kind == IM_IO_UNBUFFERED && s.fd >= 0)
        return ::lseek(s.fd, static_cast<off_t>(offset), whence) >= 0;
    if (s.io_kind == IM_IO_COMPRESSED)
        std::fprintf(stderr, "iStreamFileSeek: compressed IO not supported.\n");
    return false;
}

long long stream_file_tell(Stream &s)
{
    if (s.io_kind == IM_IO_BUFFERED && s.file)
        return ftello(s.file);
    if (s.io_kind == IM_IO_UNBUFFERED && s.fd >= 0)
        return ::lseek(s.fd, 0, SEEK_CUR);
    if (s.io_kind == IM_IO_COMPRESSED)
        std::fprintf(stderr, "dStreamFileTell: compressed IO not supported.\n");
    return -1;
}

long long stream_file_size(Stream &s)
{
    struct stat st {};
    const int fd = s.file ? fileno(s.file) : s.fd;
    if (fd < 0 || fstat(fd, &st) != 0)
        return -1;
    return st.st_size;
}

void stream_file_flush(Stream &s)
{
    if (s.file)
        std::fflush(s.file);
}

} // namespace lx::im
