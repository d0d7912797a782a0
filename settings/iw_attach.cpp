// Attaching this process to the user's running suite arena, once.
#include "lumarix/settings.h"
#include "lumarix/shm.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
bool gAttachDone = false;
}

extern "C" int IWAttach(void)
{
    if (IW_arena_ptr || gAttachDone)
        return 1;
    // The segment must land at the suite's agreed address, which may be a setting.
    if (!std::getenv("LX_SHMSTADDR"))
        if (const char *address = GetSetting("LX_SHMSTADDR"))
            setenv("LX_SHMSTADDR", address, 1);
    errno = 0;
    if (SMAttachToArena(&IW_arena) != SM_OK) {
        if (errno != 0)
            std::perror("IWIntRetArenaPtr()");
        return -1;
    }
    if (errno != 0)
        std::fprintf(stderr, "%s(): %s\n", __func__, std::strerror(errno)); // as perror would
    IW_iwl_ptr = SMGetInfo(&IW_arena);
    IW_arena_ptr = &IW_arena;
    gAttachDone = true;
    return 1;
}
