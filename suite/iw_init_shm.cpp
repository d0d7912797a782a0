// IWInitSHM: sizing, creating and filling in the suite's arena.
#include "lumarix/settings.h"
#include "lumarix/shm.h"
#include "lumarix/suite.h"
#include "startup_messages.h"
#include "system_cap.h"
#include "working_set.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>

namespace {

using namespace lx::suite;

constexpr uint64_t kMegabyte = 1048576;

int failStartup(const char *what)
{
    if (errno != 0)
        std::perror(what);
    else
        std::fprintf(stderr, "%s: failed\n", what);
    std::fputs(kStartupFailed, stderr);
    return -1;
}

std::string firstTextSetting(std::initializer_list<const char *> names, const char *fallback)
{
    for (const char *name : names)
        if (const char *text = GetSetting(name))
            return text;
    return fallback;
}

std::string arenaFilePath()
{
    std::string path = firstTextSetting({"LX_TMP", "PM_TMP", "OB_TMP", "OXL_SHMDIR"}, "/tmp") + "/IWL.SHM";
    if (const char *login = std::getenv("LOGNAME"))
        path += std::string("_") + login;
    return path;
}

void markSlots(IWSharedGlobals &globals)
{
    auto *slots = static_cast<unsigned char *>(globals.slotTable);
    if (!slots)
        return;
    for (int i = 0; i < IW_SLOT_COUNT; ++i) {
        int32_t unset[2] = {-1, -1};
        std::memcpy(slots + static_cast<std::size_t>(i) * IW_SLOT_BYTES, unset, sizeof unset);
    }
}

bool initLists(IWSharedGlobals &globals)
{
    globals.slotTable = IWAlcSHM(IW_SLOT_COUNT, IW_SLOT_BYTES);
    globals.smallTable = IWAlcSHM(IW_SMALL_COUNT, 4);
    if (!globals.slotTable || !globals.smallTable) {
        std::fputs(kListsFailed, stdout);
        return false;
    }
    globals.slotCount = IW_SLOT_COUNT;
    globals.unsetA = globals.unsetB = -1;
    globals.cleared = 0;
    return true;
}

// One System V semaphore with value 1 under the user's key for `letter`; -1 on failure.
int createSemaphore(char letter)
{
    const char *home = std::getenv("HOME");
    const int id = semget(SG_key(home ? home : "", letter), 1, IPC_CREAT | 0600);
    if (id < 0)
        return -1;
    unsigned short values[1] = {1};
    if (semctl(id, 0, SETALL, values) != 0)
        return -1;
    return id;
}

bool initSemaphores(IWSharedGlobals &globals, const int (&callerValues)[4])
{
    globals.focusSemId = createSemaphore('C');
    if (globals.focusSemId < 0) {
        std::fprintf(stderr, LX_FOCUS_SEM_FAILED, std::strerror(errno));
        return false;
    }
    std::copy(std::begin(callerValues), std::end(callerValues), globals.callerValues);
    globals.unsetC = -1;
    globals.namedFirst = nullptr;
    globals.namedCount = 0;
    globals.namedListOn = 1;
    globals.lockSemId = createSemaphore('D');
    if (globals.lockSemId < 0) {
        std::fprintf(stderr, LX_LOCK_SEM_FAILED, std::strerror(errno));
        return false;
    }
    return true;
}

void fillGlobals(IWSharedGlobals &globals, const int (&callerValues)[4])
{
    globals.focusSemId = globals.lockSemId = -1;
    if (!initLists(globals) || !initSemaphores(globals, callerValues))
        return;
    const WorkingSet working = DecideWorkingSet(SharedSizeMB());
    globals.workingUnit = static_cast<int64_t>(working.unitMB) * static_cast<int64_t>(kMegabyte);
    globals.workingSetOn = 1;
    globals.workingSet = static_cast<int64_t>(working.setMB) * static_cast<int64_t>(kMegabyte);
    static const char *const kThresholdNames[] = {"LX_PGTHRESH", "PM_PGTHRESH", "OB_PGTHRESH"};
    globals.pageThreshold = FirstIntSetting(kThresholdNames, 3, 0, false);
    markSlots(globals);
}

void publishRelease()
{
    if (auto *block = static_cast<char *>(IWAlcNamedSHM(25, 1, "LUMARIX_BASE_VERSION")))
        std::snprintf(block, 25, "%s", LX_RELEASE_TEXT);
}

int initShm(int first, int second, int third, int fourth)
{
    const int callerValues[4] = {std::max(first, 0), std::max(second, 0), std::clamp(third, 1, 1280),
                                 std::clamp(fourth, 1, 1024)};
    if (!std::getenv("LX_SHMSTADDR")) {
        const char *address = GetSetting("LX_SHMSTADDR");
        setenv("LX_SHMSTADDR", address ? address : IW_DEFAULT_SHMSTADDR, 1);
    }
    int fileMode = 0;
    if (FindSettingBool("OB_USE_SHM_FILE", &fileMode) != 1)
        fileMode = 0;
    const std::string path = arenaFilePath();
    const uint64_t size = static_cast<uint64_t>(SharedSizeMB()) * kMegabyte;
    if (!ArenaSizeFitsCap(size))
        return -1;

    SMCreateArena(&IW_arena, size, fileMode ? path.c_str() : nullptr);
    IW_arena_ptr = &IW_arena;
    if (IW_arena.word[0] == 0) {
        IW_arena_ptr = nullptr; // no arena: keep every IW call on its no-arena path
        return failStartup(kCreateArenaFailed);
    }
    // This process now owns the user's arena: a semaphore left held by a crashed run would block
    // every named-block operation, so the list starts with a fresh one.
    IWOpenConfigSem();
    IWRemoveConfigSem();
    auto *globals = static_cast<IWSharedGlobals *>(SMCalloc(&IW_arena, 1, sizeof(IWSharedGlobals)));
    if (!globals)
        return failStartup(kRecordFailed);
    IW_iwl_ptr = globals;
    SMPutInfo(&IW_arena, globals);
    fillGlobals(*globals, callerValues);
    publishRelease();
    return 1;
}

} // namespace

extern "C" int IWInitSHM(int first, int second, int third, int fourth)
{
    try {
        return initShm(first, second, third, fourth);
    } catch (...) {
        std::fputs(kStartupFailed, stderr);
        return -1;
    }
}
