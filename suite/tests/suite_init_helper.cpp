// Drives the suite's start-up for the tests and prints what it did.
//   suite_init_helper working ARENA_MB           the working-set rules alone (no arena)
//   suite_init_helper init CAPFILE A B C D       IWInitSHM against CAPFILE, the record, IWStop
#include "lumarix/settings.h"
#include "lumarix/shm.h"
#include "lumarix/suite.h"
#include "system_cap.h"
#include "working_set.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

namespace {

void printSlot(const IWSharedGlobals &globals, int index)
{
    int32_t fields[2];
    std::memcpy(fields, static_cast<const unsigned char *>(globals.slotTable) + index * IW_SLOT_BYTES, sizeof fields);
    std::printf("slot %d %d %d\n", index, fields[0], fields[1]);
}

const char *semaphoreState(int id)
{
    if (id < 0)
        return "none";
    const int value = semctl(id, 0, GETVAL);
    if (value < 0)
        return errno == EINVAL || errno == EIDRM ? "removed" : "error";
    return value == 1 ? "one" : "other";
}

int init(char **argv)
{
    lx::suite::SetSystemCapFileForTesting(argv[2]);
    const int result = IWInitSHM(std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]), std::atoi(argv[6]));
    std::printf("init %d\n", result);
    if (result != 1)
        return 0;
    const auto &globals = *static_cast<IWSharedGlobals *>(IW_iwl_ptr);
    std::printf("caller %d %d %d %d\n", globals.callerValues[0], globals.callerValues[1], globals.callerValues[2],
                globals.callerValues[3]);
    std::printf("unset %d %d %d cleared %d\n", globals.unsetA, globals.unsetB, globals.unsetC, globals.cleared);
    std::printf("working %lld %lld on %d\n", static_cast<long long>(globals.workingSet),
                static_cast<long long>(globals.workingUnit), globals.workingSetOn);
    std::printf("threshold %d\n", globals.pageThreshold);
    std::printf("slots %d\n", globals.slotCount);
    printSlot(globals, 0);
    printSlot(globals, IW_SLOT_COUNT - 1);
    std::printf("named list %d\n", globals.namedListOn);
    const char *version = static_cast<const char *>(IWRtNamedSHMAdd("LUMARIX_BASE_VERSION"));
    std::printf("version %s\n", version ? version : "(none)");
    const int focus = globals.focusSemId, lock = globals.lockSemId;
    std::printf("semaphores %s %s\n", semaphoreState(focus), semaphoreState(lock));
    std::fflush(stdout);
    if (argv[7])
        std::printf("arena file %s\n", access(argv[7], F_OK) == 0 ? "present" : "absent");
    std::printf("stop %d\n", IWStop());
    std::printf("semaphores %s %s\n", semaphoreState(focus), semaphoreState(lock));
    if (argv[7])
        std::printf("arena file %s\n", access(argv[7], F_OK) == 0 ? "present" : "absent");
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], "working") == 0) {
        const auto working = lx::suite::DecideWorkingSet(std::atoi(argv[2]));
        std::printf("working %d %d\n", working.setMB, working.unitMB);
        return 0;
    }
    if ((argc == 7 || argc == 8) && std::strcmp(argv[1], "init") == 0)
        return init(argv);
    std::fputs("usage: suite_init_helper working MB | init CAPFILE A B C D [ARENA_FILE]\n", stderr);
    return 2;
}
