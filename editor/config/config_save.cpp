#include "config_save.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "messages.h"
#include "unique_fd.h"

namespace lx {

namespace {

// Test-only: LX_TEST_SAVE_PAUSE_US makes the save sleep that many microseconds after every step
// and every line, so that crash tests can kill it at any point of the rewrite.
class StepPause {
public:
    StepPause()
    {
        if (const char *text = std::getenv("LX_TEST_SAVE_PAUSE_US"))
            micros_ = std::strtol(text, nullptr, 10);
    }
    void operator()() const
    {
        if (micros_ > 0)
            usleep(static_cast<useconds_t>(micros_));
    }

private:
    long micros_ = 0;
};

struct Failure {
    std::string_view what;
    std::string file;
    int error;
};

// Buffered writes to a descriptor that remember the first error.
class Writer {
public:
    explicit Writer(int fd) : fd_(fd) {}
    void put(std::string_view bytes)
    {
        buffer_.append(bytes);
        if (buffer_.size() >= 65536)
            flush();
    }
    bool flush()
    {
        size_t done = 0;
        while (error_ == 0 && done < buffer_.size()) {
            ssize_t n = ::write(fd_, buffer_.data() + done, buffer_.size() - done);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                error_ = n < 0 ? errno : EIO;
            else
                done += static_cast<size_t>(n);
        }
        buffer_.clear();
        return error_ == 0;
    }
    int error() const { return error_; }

private:
    int fd_;
    std::string buffer_;
    int error_ = 0;
};

// Flushes, sets the mode, syncs and closes; 0 or the first errno.
int finishFile(UniqueFd &fd, Writer &writer, mode_t mode)
{
    if (!writer.flush())
        return writer.error();
    if (::fchmod(fd.get(), mode) != 0 || ::fsync(fd.get()) != 0)
        return errno;
    return fd.close();
}

void syncDirectoryOf(const std::string &path)
{
    size_t slash = path.rfind('/');
    std::string dir = slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
    UniqueFd fd(::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd)
        ::fsync(fd.get()); // durability only; the rename itself already happened
}

// Reads one piece of a line: up to 255 bytes, ending after a newline when one comes first.
bool readPiece(std::FILE *in, std::string &piece)
{
    piece.clear();
    int c;
    while (piece.size() < 255 && (c = std::getc(in)) != EOF) {
        piece.push_back(static_cast<char>(c));
        if (c == '\n')
            break;
    }
    return !piece.empty();
}

std::optional<Failure> makeBackup(const std::string &path, const std::string &backup, const StepPause &pause)
{
    UniqueFd in(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!in)
        return Failure{msg::kBackupFailed, path, errno};
    struct stat st {};
    if (::fstat(in.get(), &st) != 0)
        return Failure{msg::kBackupFailed, path, errno};

    // Written beside its final name and renamed, so an interrupted backup never replaces a good one.
    std::string partial = backup + "_tmp";
    UniqueFd out(::open(partial.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, st.st_mode & 0777));
    if (!out)
        return Failure{msg::kBackupFailed, partial, errno};
    Writer writer(out.get());
    char buffer[65536];
    for (;;) {
        ssize_t n = ::read(in.get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            int error = errno;
            ::unlink(partial.c_str());
            return Failure{msg::kBackupFailed, path, error};
        }
        if (n == 0)
            break;
        writer.put(std::string_view(buffer, static_cast<size_t>(n)));
    }
    pause();
    if (int error = finishFile(out, writer, st.st_mode & 0777); error != 0) {
        ::unlink(partial.c_str());
        return Failure{msg::kBackupFailed, backup, error};
    }
    if (::rename(partial.c_str(), backup.c_str()) != 0) {
        int error = errno;
        ::unlink(partial.c_str());
        return Failure{msg::kBackupFailed, backup, error};
    }
    return std::nullopt;
}

std::string realTarget(const std::string &path)
{
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode))
        return path;
    char *resolved = ::realpath(path.c_str(), nullptr);
    std::string target = resolved != nullptr ? resolved : path;
    std::free(resolved);
    return target;
}

const SaveEntry *ownerOfLine(std::string_view line, std::span<const SaveEntry> entries)
{
    if (!line.empty() && (line.front() == '#' || line.front() == '!'))
        return nullptr;
    for (const SaveEntry &entry : entries)
        if (!entry.name.empty() && line.find(entry.name) != std::string_view::npos)
            return &entry;
    return nullptr;
}

// Copies the kept lines of the old file into the writer.
std::optional<Failure> copyKeptLines(const std::string &path, Writer &writer, std::span<const SaveEntry> entries,
                                     const StepPause &pause)
{
    std::FILE *in = std::fopen(path.c_str(), "re");
    if (in == nullptr)
        return Failure{msg::kOpenConfigFailed, path, errno};
    std::string piece;
    std::optional<Failure> failure;
    while (readPiece(in, piece)) {
        const SaveEntry *owner = ownerOfLine(piece, entries);
        if (owner == nullptr || !owner->changed)
            writer.put(piece);
        pause();
    }
    if (std::ferror(in))
        failure = Failure{msg::kReadConfigFailed, path, errno != 0 ? errno : EIO};
    std::fclose(in);
    return failure;
}

std::optional<Failure> writeNewFile(const std::string &path, bool oldExists, std::span<const SaveEntry> entries,
                                    std::time_t now, SaveResult &result)
{
    StepPause pause;
    // A configuration file reached through a symbolic link is replaced where it really lives, so
    // that the link stays a link.
    const std::string target = realTarget(path);
    const std::string tmpPath = target + "_tmp";

    if (oldExists) {
        // An old file the user cannot read is reported as such, not as a failed backup.
        if (::access(path.c_str(), R_OK) != 0)
            return Failure{msg::kOpenConfigFailed, path, errno};
        std::string backup = backupPathFor(path, now);
        if (auto failure = makeBackup(path, backup, pause))
            return failure;
        result.backupPath = backup;
        pause();
    }

    UniqueFd out(::open(tmpPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!out)
        return Failure{oldExists ? msg::kCreateTempFailed : msg::kCreateConfigFailed, tmpPath, errno};
    pause();

    std::optional<Failure> failure;
    Writer writer(out.get());
    if (oldExists)
        failure = copyKeptLines(path, writer, entries, pause);
    for (const SaveEntry &entry : entries) {
        if (failure)
            break;
        if (!entry.changed)
            continue;
        writer.put(entry.name);
        writer.put(" ");
        writer.put(entry.newText);
        writer.put("\n");
        pause();
    }
    if (!failure) {
        if (int error = finishFile(out, writer, 0644); error != 0)
            failure = Failure{msg::kWriteTempFailed, tmpPath, error};
    }
    pause();
    if (!failure && ::rename(tmpPath.c_str(), target.c_str()) != 0)
        failure = Failure{msg::kReplaceConfigFailed, target, errno};
    if (failure) {
        out.reset();
        ::unlink(tmpPath.c_str());
        return failure;
    }
    syncDirectoryOf(target);
    pause();
    return std::nullopt;
}

} // namespace

std::string backupPathFor(const std::string &path, std::time_t now)
{
    struct tm local {};
    localtime_r(&now, &local);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%m%d%Y_%H%M", &local);
    return path + "." + stamp;
}

SaveResult saveConfigurationFile(const std::string &path, std::span<const SaveEntry> entries, std::time_t now)
{
    SaveResult result;
    struct stat st {};
    bool oldExists = ::stat(path.c_str(), &st) == 0;
    if (!oldExists && errno != ENOENT) {
        result.message = msg::saveFailed(msg::kOpenConfigFailed, path, errno, true);
        return result;
    }
    if (auto failure = writeNewFile(path, oldExists, entries, now, result)) {
        result.message = msg::saveFailed(failure->what, failure->file, failure->error, oldExists);
        return result;
    }
    result.ok = true;
    return result;
}

} // namespace lx
