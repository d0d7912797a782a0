// IWStop: removing the suite's semaphores and its arena.
#include "lumarix/shm.h"
#include "lumarix/suite.h"
#include "startup_messages.h"

#include <cerrno>
#include <cstdio>
#include <sys/ipc.h>
#include <sys/sem.h>

namespace {

void removeSemaphore(int id)
{
    if (id < 0)
        return;
    errno = 0;
    sembuf take{0, -1, SEM_UNDO};
    semop(id, &take, 1);
    if (errno == EINVAL)
        return;
    if (semctl(id, 0, IPC_RMID) != 0)
        std::perror(lx::suite::kSemaphoreRemovalFailed);
}

} // namespace

extern "C" int IWStop(void)
{
    if (!IW_arena_ptr)
        return 1;
    if (auto *globals = static_cast<IWSharedGlobals *>(IW_iwl_ptr)) {
        removeSemaphore(globals->focusSemId);
        removeSemaphore(globals->lockSemId);
    }
    SMExit(&IW_arena, 1);
    IW_arena_ptr = nullptr;
    IW_iwl_ptr = nullptr;
    return 1;
}
