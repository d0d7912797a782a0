// The suite's shared application log: directory and name per application, rotation by size.
#include <lumarix/settings.h>
#include <lumarix/wm.h>

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <strings.h>

namespace lx::wm {
namespace {

constexpr off_t kRotateAbove = 1199999; // a log larger than this is rotated before writing
constexpr int kKeptLogs = 5;

enum class Application { Lumarix, Platemark, Morphidex };

Application CurrentApplication()
{
    const char *name = GetSetting("LX_APPLICATION");
    if (name != nullptr && strcasecmp(name, "platemark") == 0) {
        return Application::Platemark;
    }
    if (name != nullptr && strcasecmp(name, "morphidex") == 0) {
        return Application::Morphidex;
    }
    return Application::Lumarix;
}

bool IsDirectory(const std::string &path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string ResolveLogDirectory()
{
    const char *home = std::getenv("HOME");
    std::string base = home != nullptr ? home : "";
    const char *leaf = "/lumarix-logs";
    switch (CurrentApplication()) {
    case Application::Platemark: leaf = "/platemark-logs"; break;
    case Application::Morphidex: leaf = "/morphidex-logs"; break;
    case Application::Lumarix: break;
    }
    std::string dir = base + leaf;
    if (IsDirectory(dir) || mkdir(dir.c_str(), 0755) == 0) {
        return dir;
    }
    if (home != nullptr && IsDirectory(base)) {
        return base;
    }
    return "/tmp";
}

const std::string &LogBaseName()
{
    static const std::string name = [] {
        switch (CurrentApplication()) {
        case Application::Platemark: return std::string("/platemarklog");
        case Application::Morphidex: return std::string("/morphidexlog");
        case Application::Lumarix: break;
        }
        return std::string("/lumarixlog");
    }();
    return name;
}

std::string LogPath(int generation)
{
    std::string path = std::string(LogDirectory()) + LogBaseName();
    if (generation > 0) {
        path += std::to_string(generation);
    }
    return path + ".txt";
}

bool Exists(const std::string &path) { return access(path.c_str(), F_OK) == 0; }

void RotateIfFull()
{
    const std::string current = LogPath(0);
    if (!Exists(current)) {
        return;
    }
    struct stat info {};
    if (stat(current.c_str(), &info) != 0) {
        std::printf("Error checking Log File: %s\n", std::strerror(errno));
        return;
    }
    if (info.st_size <= kRotateAbove) {
        return;
    }
    if (Exists(LogPath(kKeptLogs))) {
        unlink(LogPath(kKeptLogs).c_str());
    }
    for (int n = kKeptLogs - 1; n >= 1; --n) {
        if (Exists(LogPath(n))) {
            std::rename(LogPath(n).c_str(), LogPath(n + 1).c_str());
        }
    }
    std::rename(current.c_str(), LogPath(1).c_str());
}

} // namespace
} // namespace lx::wm

extern "C" const char *LogDirectory(void)
{
    try {
        static const std::string dir = lx::wm::ResolveLogDirectory();
        return dir.c_str();
    } catch (...) {
        return "/tmp";
    }
}

extern "C" int WriteLog(const char *format, ...)
{
    std::array<char, 2000> message{};
    va_list args;
    va_start(args, format);
    std::vsnprintf(message.data(), message.size(), format, args);
    va_end(args);

    std::time_t now = std::time(nullptr);
    std::array<char, 32> stamp{};
    ctime_r(&now, stamp.data());
    stamp[24] = '\0'; // the fixed 24-character form without its line end

    std::FILE *log = nullptr;
    try {
        lx::wm::RotateIfFull();
        log = std::fopen(lx::wm::LogPath(0).c_str(), "a");
    } catch (...) {
        log = nullptr;
    }
    if (log == nullptr) {
        std::fprintf(stderr, "[%s]: %s\n", stamp.data(), message.data());
        return -1;
    }
    std::fprintf(log, "[%s]: %s\n", stamp.data(), message.data());
    std::fflush(log);
    std::fclose(log);
    return 0;
}
