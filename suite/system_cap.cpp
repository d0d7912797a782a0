#include "system_cap.h"

#include "startup_messages.h"

#include <cstdio>
#include <memory>

namespace lx::suite {
namespace {

std::string &capFile()
{
    static std::string path = kSystemCapFile;
    return path;
}

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};

} // namespace

void SetSystemCapFileForTesting(const std::string &path) { capFile() = path; }

bool ArenaSizeFitsCap(uint64_t size)
{
    std::unique_ptr<FILE, FileCloser> file(std::fopen(capFile().c_str(), "r"));
    if (!file) {
        std::perror("Could not open /proc/sys/kernel/shmmax to verify shared memory size");
        std::fputs(kStartupFailed, stderr);
        return false;
    }
    unsigned long cap = 0;
    if (std::fscanf(file.get(), "%lu", &cap) != 1) {
        std::fputs("Invalid entry in /proc/sys/kernel/shmmax\n", stderr);
        std::fputs(kStartupFailed, stderr);
        return false;
    }
    constexpr uint64_t kMegabyte = 1048576;
    if (size + kMegabyte > cap) {
        std::fprintf(stderr, LX_CAP_TOO_SMALL, static_cast<unsigned long>(size), cap);
        std::fputs(kStartupFailed, stderr);
        return false;
    }
    return true;
}

} // namespace lx::suite
