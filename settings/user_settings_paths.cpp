// Where the user's own settings live: a per-user, per-host directory under HOME.
#include "lumarix/settings.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct UserPaths {
    bool dirDone = false;
    std::string dir; // remembered even when it could not be created
    bool dirUsable = false;
    bool fileDone = false;
    std::optional<std::string> file;
};

UserPaths &paths()
{
    static UserPaths state;
    return state;
}

std::string buildUserDir()
{
    const char *home = std::getenv("HOME");
    std::string dir = home ? home : "";
    char host[100] = {};
    if (gethostname(host, sizeof host) == 0 && host[0] != '\0') {
        host[sizeof host - 1] = '\0';
        dir += "/.lumarix_";
        dir += host;
    } else {
        dir += "/.lumarix";
    }
    return dir;
}

bool ensureDirectory(const std::string &dir)
{
    struct stat info {};
    if (stat(dir.c_str(), &info) == 0)
        return S_ISDIR(info.st_mode);
    return mkdir(dir.c_str(), 0755) == 0 || errno == EEXIST;
}

} // namespace

extern "C" const char *UserSettingsDir(void)
{
    UserPaths &state = paths();
    if (state.dirDone)
        return state.dir.c_str();
    state.dirDone = true;
    state.dir = buildUserDir();
    if (!std::getenv("HOME") || !ensureDirectory(state.dir)) {
        std::fputs("Could not create user config directory\n", stdout);
        std::fflush(stdout);
        return nullptr;
    }
    state.dirUsable = true;
    return state.dir.c_str();
}

extern "C" const char *UserSettingsFile(void)
{
    UserPaths &state = paths();
    if (!state.fileDone) {
        state.fileDone = true;
        if (UserSettingsDir() && state.dirUsable)
            state.file = state.dir + "/user.lxrc";
    }
    return state.file ? state.file->c_str() : nullptr;
}
