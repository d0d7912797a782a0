// lxsetting: read or set a suite setting from the shell, the way every suite program sees it.
//   lxsetting get NAME         prints the setting; exit status 1 when it is unset
//   lxsetting set NAME VALUE   sets it; live in every suite process when a suite is running
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

}  // namespace

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
    if (std::strcmp(command, "set") == 0 && argc == 4) {
        const bool live = IWAttach() == 1;
        SetSetting(argv[2], argv[3]);
        if (!live)
            std::fputs("lxsetting: no suite is running; the value was not published\n", stderr);
        detach();
        return 0;
    }
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
