// File access of file streams: buffered (stdio with a fixed buffer) or unbuffered (descriptor).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include <lumarix/im.h>

#include "im_call.h"

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
    emit("iCreateBufferedIOModeArgs: %d is an invalid open mode.\n", open_mode);
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
    emit("iCreateUnbufferedIOModeArgs: %d is an invalid open mode.\n", open_mode);
    return -1;
}

FileCalls g_file_calls = {::read, ::write};

// Transfers of buffered streams from this size on bypass the stdio buffer (smaller ones, such as
// single lines, gain from it).
constexpr long long kDirectTransferBytes = 256 * 1024;

} // namespace

FileCalls &file_calls() { return g_file_calls; }

// 0 or 206 (the caller prints the failure line).
int open_file(Stream &s)
{
    switch (s.io_kind) {
    case IM_IO_BUFFERED: {
        const char *mode = buffered_mode(s.open_mode);
        if (!mode)
            return IM_ERR_OPEN_FAILED;
        s.file = std::fopen(s.name.c_str(), mode);
        if (!s.file)
            return IM_ERR_OPEN_FAILED;
        s.io_buffer = std::make_unique_for_overwrite<char[]>(kBufferedBytes);
        std::setvbuf(s.file, s.io_buffer.get(), _IOFBF, kBufferedBytes);
        return 0;
    }
    case IM_IO_UNBUFFERED: {
        const int flags = unbuffered_flags(s.open_mode);
        if (flags < 0)
            return IM_ERR_OPEN_FAILED;
        s.fd = ::open(s.name.c_str(), flags | O_CLOEXEC, 0644);
        return s.fd < 0 ? IM_ERR_OPEN_FAILED : 0;
    }
    case IM_IO_COMPRESSED: emit("iStreamFileOpen: compressed IO not supported.\n"); return IM_ERR_OPEN_FAILED;
    default: return IM_ERR_OPEN_FAILED; // the database service is not part of this build
    }
}

void close_file(Stream &s)
{
    if (s.io_kind == IM_IO_COMPRESSED)
        emit("iStreamFileClose: compressed IO not supported.\n");
    const bool open = s.file || s.fd >= 0;
    if (!open && s.io_kind != IM_IO_DATABASE) {
        emit("iStreamFileClose %d: an unopened file was requested to be closed.\n", s.number);
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

// Unbuffered transfers repeat plain reads or writes of what is left, at most kMaxTransferAttempts
// times; an attempt that moves nothing or fails adds nothing. Returns the bytes moved and the
// attempts.
template <typename Transfer>
static std::pair<long long, int> transfer_with_retries(long long total, Transfer transfer)
{
    long long done = 0;
    int attempts = 0;
    while (done < total && attempts < kMaxTransferAttempts) {
        ++attempts;
        const ssize_t n = transfer(done, total - done);
        if (n > 0)
            done += n;
    }
    return {done, attempts};
}

// Large transfers of a buffered stream go straight to the descriptor: stdio would move most of
// such a request directly as well, but pass the rest through its buffer, which costs a quarter
// more for a section. fflush hands pending writes to the system, drops read-ahead, puts the
// descriptor at the stream's position and makes stdio ask the descriptor for its position from
// then on (POSIX and glibc), so reading or writing the descriptor leaves the stream consistent.
static int direct_descriptor(Stream &s, off_t *start)
{
    if (std::fflush(s.file) != 0)
        return -1;
    const int fd = fileno(s.file);
    *start = ::lseek(fd, 0, SEEK_CUR);
    return *start < 0 ? -1 : fd; // not seekable: stdio moves the bytes
}

// Moves `bytes` with plain calls until done, the end of the file or an error (a signal only
// interrupts); as stdio does for its own large transfers. Returns the bytes moved.
template <typename Transfer>
static long long transfer_all(long long bytes, Transfer transfer)
{
    long long done = 0;
    while (done < bytes) {
        const ssize_t n = transfer(done, bytes - done);
        if (n > 0)
            done += n;
        else if (n == 0 || errno != EINTR)
            break;
    }
    return done;
}

// Only a complete read counts; anything short is read again by stdio, which reports the end of
// the file or the error as it does. Returns the elements read, or -1 when stdio is to read.
static long long read_buffered_directly(Stream &s, void *buffer, long long size, long long count)
{
    off_t start = 0;
    const int fd = direct_descriptor(s, &start);
    if (fd < 0)
        return -1;
    const long long bytes = size * count;
    const long long done = transfer_all(bytes, [&](long long at, long long left) {
        return ::read(fd, static_cast<char *>(buffer) + at, static_cast<size_t>(left));
    });
    if (done == bytes)
        return count;
    ::lseek(fd, start, SEEK_SET);
    return -1;
}

// Returns the elements written (errno set when short), or -1 when stdio is to write.
static long long write_buffered_directly(Stream &s, const void *buffer, long long size, long long count)
{
    off_t start = 0;
    const int fd = direct_descriptor(s, &start);
    if (fd < 0)
        return -1;
    return transfer_all(size * count,
                        [&](long long at, long long left) {
                            return ::write(fd, static_cast<const char *>(buffer) + at, static_cast<size_t>(left));
                        }) /
           size;
}

long long stream_file_read(Stream &s, void *buffer, long long size, long long count)
{
    if (size <= 0 || count <= 0)
        return 0;
    if (s.io_kind == IM_IO_BUFFERED && s.file) {
        if (size * count >= kDirectTransferBytes)
            if (const long long read = read_buffered_directly(s, buffer, size, count); read >= 0)
                return read;
        return static_cast<long long>(std::fread(buffer, size, count, s.file));
    }
    if (s.io_kind == IM_IO_UNBUFFERED && s.fd >= 0) {
        auto [done, attempts] = transfer_with_retries(size * count, [&](long long at, long long left) {
            return g_file_calls.read(s.fd, static_cast<char *>(buffer) + at, static_cast<size_t>(left));
        });
        if (attempts == kMaxTransferAttempts)
            emit("iStreamFileRead: too many retries (%d), only %lld elements read...\n", attempts, done / size);
        return done / size;
    }
    if (s.io_kind == IM_IO_COMPRESSED)
        emit("iStreamFileRead: compressed IO not supported.\n");
    return 0;
}

long long stream_file_write(Stream &s, const void *buffer, long long size, long long count)
{
    if (size <= 0 || count <= 0)
        return 0;
    if (s.io_kind == IM_IO_BUFFERED && s.file) {
        if (size * count >= kDirectTransferBytes)
            if (const long long wrote = write_buffered_directly(s, buffer, size, count); wrote >= 0)
                return wrote;
        return static_cast<long long>(std::fwrite(buffer, size, count, s.file));
    }
    if (s.io_kind == IM_IO_UNBUFFERED && s.fd >= 0) {
        auto [done, attempts] = transfer_with_retries(size * count, [&](long long at, long long left) {
            return g_file_calls.write(s.fd, static_cast<const char *>(buffer) + at, static_cast<size_t>(left));
        });
        if (attempts == kMaxTransferAttempts)
            emit("iStreamFileWrite: too many retries (%d), only %lld elements written...\n", attempts, done / size);
        return done / size;
    }
    if (s.io_kind == IM_IO_COMPRESSED)
        emit("iStreamFileWrite: compressed IO is unsupported.\n");
    return 0;
}

// Positions a buffered stream through its descriptor. stdio's own absolute seek first reads from
// the "block boundary" below the target, a boundary its 2,097,160-byte buffer puts up to 2 MiB
// away: positioning at every section would read up to a section's worth of bytes for nothing.
// fflush writes out and drops read-ahead and makes stdio forget its offset; the zero-length
// relative seek that follows is the positioning call stdio needs between reads and writes, and
// with the offset forgotten it only asks the descriptor where it stands.
static bool seek_buffered(std::FILE *file, off_t offset, int whence)
{
    if (std::fflush(file) != 0 || ::lseek(fileno(file), offset, whence) < 0)
        return false;
    return fseeko(file, 0, SEEK_CUR) == 0;
}

bool stream_file_seek(Stream &s, long long offset, int whence)
{
    if (s.io_kind == IM_IO_BUFFERED && s.file)
        return seek_buffered(s.file, static_cast<off_t>(offset), whence);
    if (s.io_kind == IM_IO_UNBUFFERED && s.fd >= 0)
        return ::lseek(s.fd, static_cast<off_t>(offset), whence) >= 0;
    if (s.io_kind == IM_IO_COMPRESSED)
        emit("iStreamFileSeek: compressed IO not supported.\n");
    return false;
}

long long stream_file_tell(Stream &s)
{
    if (s.io_kind == IM_IO_BUFFERED && s.file)
        return ftello(s.file);
    if (s.io_kind == IM_IO_UNBUFFERED && s.fd >= 0)
        return ::lseek(s.fd, 0, SEEK_CUR);
    if (s.io_kind == IM_IO_COMPRESSED)
        emit("dStreamFileTell: compressed IO not supported.\n");
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

bool stream_file_flush(Stream &s) { return !s.file || std::fflush(s.file) == 0; }

int stream_file_eof(Stream &s)
{
    if (s.io_kind == IM_IO_UNBUFFERED) {
        emit("iStreamFileEOF() is unavailable with unbuffered file IO.\n");
        return 0;
    }
    return s.file && std::feof(s.file) ? 1 : 0;
}

} // namespace lx::im
