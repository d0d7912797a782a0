// lxsetting: read or set a suite setting from the shell, the way every suite program sees it.
//   lxsetting get NAME         prints the setting; exit status 1 when it is unset
//   lxsetting set NAME VALUE   sets it live in every process of a running suite and records it
//                              in the user settings file; exit status 1 when it reached neither
//   lxsetting dump             prints the running suite's named shared blocks
#include "lumarix/settings.h"
#include "lumarix/shm.h"

#include <cstdio>
#include <cstring>

namespace {

int usage()
{
    std::fputs("Usage: lxsetting get NAME\n"
               "       lxsetting set NAME VALUE\n"
               "       lxsetting dump\n",
               stderr);
    return 2;
}

void detach()
{
    if (IW_arena_ptr)
        SMDetachFromArena(IW_arena_ptr);
}

// Whether the running suite now answers `name` with `value`.
bool deliveredLive(const char *name, const char *value)
{
    if (!IW_arena_ptr)
        return false;
    const auto *block = static_cast<const char *>(IWRtNamedSHMAdd(name));
    return block && std::strcmp(block, value) == 0;
}

// Names that begin with a caret belong to the process alone and are never written to a file.
int set(const char *name, const char *value)
{
    const bool suiteRuns = IWAttach() == 1;
    SetSetting(name, value);
    const bool live = deliveredLive(name, value);
    detach();
    const bool recordable = name[0] != '\0' && name[0] != '^';
    const bool recorded = recordable && WriteUserSettings() == 0;
    if (live)
        std::printf("%s: delivered to the running suite\n", name);
    else if (suiteRuns)
        std::fprintf(stderr, "lxsetting: %s could not be delivered to the running suite\n", name);
    else
        std::printf("%s: no suite is running; not delivered live\n", name);
    if (recorded) {
        std::printf("%s: recorded in %s\n", name, UserSettingsFile());
    } else if (recordable) {
        const char *file = UserSettingsFile();
        std::fprintf(stderr, "lxsetting: %s could not be recorded in %s\n", name,
                     file ? file : "the user settings file (no user settings folder)");
    }
    return live || recorded ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return usage();
    const char *command = argv[1];
    if (std::strcmp(command, "get") == 0 && argc == 3) {
        IWAttach();
        const char *value = GetSetting(argv[2]);
        if (value)
            std::printf("%s\n", value);
        detach();
        return value ? 0 : 1;
    }
    if (std::strcmp(command, "set") == 0 && argc == 4)
        return set(argv[2], argv[3]);
    if (std::strcmp(command, "dump") == 0 && argc == 2) {
        if (IWAttach() != 1) {
            std::fputs("lxsetting: no suite is running\n", stderr);
            return 1;
        }
        IWDumpNamedSHM();
        detach();
        return 0;
    }
    return usage();
}
