// suite_init_helper CAPFILE A B C D: IWInitSHM(A, B, C, D) against the cap in CAPFILE, then prints
// the shared global record it filled in and calls IWStop. With SUITE_HELPER_FULL_ARENA set the
// arena refuses the slot table, as a full one would.
#include "lumarix/shm.h"
#include "lumarix/suite.h"
#include "system_cap.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sys/sem.h>

extern "C" void *SMCalloc(SMArena *arena, int count, uint64_t size)
{
    static const auto real = reinterpret_cast<void *(*)(SMArena *, int, uint64_t)>(dlsym(RTLD_NEXT, "SMCalloc"));
    if (std::getenv("SUITE_HELPER_FULL_ARENA") && count == IW_SLOT_COUNT && size == IW_SLOT_BYTES)
        return nullptr;
    return real(arena, count, size);
}

int main(int, char **argv) // CAPFILE A B C D
{
    lx::suite::SetSystemCapFileForTesting(argv[1]);
    const int result = IWInitSHM(std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]));
    std::printf("init %d\n", result);
    if (result != 1)
        return 0;
    const auto &g = *static_cast<IWSharedGlobals *>(IW_iwl_ptr);
    int32_t slots[2][2] = {}; // the first two fields of the first and of the last slot
    if (g.slotTable)
        for (int i : {0, 1})
            std::memcpy(slots[i], static_cast<char *>(g.slotTable) + i * (IW_SLOT_COUNT - 1) * IW_SLOT_BYTES, 8);
    const int focus = g.focusSemId, lock = g.lockSemId; // their values below: -1 for none
    std::printf("caller %d %d %d %d\nunset %d %d %d cleared %d\nworking MB %.9g %.9g\nthreshold %d\n"
                "slots %d: %d %d, %d %d\non: working set %d, named list %d\nsemaphores %d %d\n",
                g.callerValues[0], g.callerValues[1], g.callerValues[2], g.callerValues[3], g.unsetA, g.unsetB,
                g.unsetC, g.cleared, g.workingSet / 1048576.0, g.workingUnit / 1048576.0, g.pageThreshold, g.slotCount,
                slots[0][0], slots[0][1], slots[1][0], slots[1][1], g.workingSetOn, g.namedListOn,
                semctl(focus, 0, GETVAL), semctl(lock, 0, GETVAL));
    const int stopped = IWStop();
    std::printf("stop %d: %d %d\n", stopped, semctl(focus, 0, GETVAL), semctl(lock, 0, GETVAL));
    return 0;
}
