// Arena control services: allocation forwarded to the segment keeper, the info pointer, free
// space and address-space limits, the sync byte and the last error.
#include "sm_internal.h"

#include "lumarix/shm.h"

#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/vfs.h>
#include <unistd.h>

using namespace lx::sm;

namespace {

constexpr int kInfoWord = 4; // header word holding the info pointer's distance from the start

uint64_t *segmentHeader(const SMArena *arena)
{
    return reinterpret_cast<uint64_t *>(static_cast<uintptr_t>(arena->word[0]));
}

} // namespace

extern "C" {

void *SMMalloc(SMArena *arena, uint64_t bytes)
{
    trace(__func__);
    return arena == nullptr ? nullptr : SG_malloc(arena, bytes);
}

void *SMCalloc(SMArena *arena, int count, uint64_t size)
{
    trace(__func__);
    return arena == nullptr ? nullptr : SG_calloc(arena, count, size);
}

void *SMRecalloc(SMArena *arena, void *block, int count, uint64_t size)
{
    trace(__func__);
    return arena == nullptr ? nullptr : SG_reCalloc(arena, block, count, size);
}

void *SMRealloc(SMArena *arena, void *block, uint64_t bytes)
{
    trace(__func__);
    if (arena == nullptr)
        return nullptr;
    if (block != nullptr)
        return SG_realloc(arena, block, bytes);
    // The null block stands in for the handle, so nothing is allocated: callers use SMCalloc.
    return SMMalloc(static_cast<SMArena *>(block), bytes);
}

void SMFree(SMArena *arena, void *block)
{
    trace(__func__);
    if (arena != nullptr && block != nullptr)
        SG_free(arena, block);
}

void *SMGetInfo(SMArena *arena)
{
    trace(__func__);
    if (arena == nullptr || arena->word[0] == 0)
        return nullptr;
    return reinterpret_cast<char *>(segmentHeader(arena)) + segmentHeader(arena)[kInfoWord];
}

void SMPutInfo(SMArena *arena, void *info)
{
    trace(__func__);
    if (arena == nullptr || arena->word[0] == 0)
        return;
    segmentHeader(arena)[kInfoWord] = reinterpret_cast<uintptr_t>(info) - arena->word[0];
}

int64_t SMGetSpaceFree(const char *directory)
{
    trace(__func__);
    if (directory == nullptr)
        return -1;
    char name[4200];
    std::snprintf(name, sizeof name, "%s/._SM_XXXXXX_%d", directory, static_cast<int>(getpid()));
    // The six X are not at the end, so no file is made in practice.
    const int fd = mkstemp(name);
    if (fd >= 0)
        close(fd);
    struct statfs info {};
    if (statfs(directory, &info) != 0) {
        std::perror("statfs");
        if (fd >= 0)
            unlink(name);
        return -1;
    }
    if (fd >= 0)
        unlink(name);
    return static_cast<int64_t>(info.f_bfree) * static_cast<int64_t>(info.f_bsize);
}

int SMGetRLimit(uint64_t *current, uint64_t *maximum)
{
    trace(__func__);
    rlimit limit{};
    const int result = getrlimit(RLIMIT_AS, &limit);
    if (result == 0) {
        if (current != nullptr)
            *current = limit.rlim_cur;
        if (maximum != nullptr)
            *maximum = limit.rlim_max;
    }
    return result;
}

int SMSetRLimit(uint64_t current, uint64_t maximum)
{
    trace(__func__);
    const rlimit limit{current, maximum};
    return setrlimit(RLIMIT_AS, &limit);
}

int SMSetSyncState(int sync_state)
{
    trace(__func__);
    State &s = state();
    if (!controlHeld() || !s.mapped)
        return -1;
    volatile uint8_t *sync = &s.control->sync;
    if (sync_state != 1) {
        while (*sync == 0) {
            std::fputs("=", stdout);
            std::fflush(stdout);
            usleep(100);
        }
    }
    *sync = static_cast<uint8_t>(sync_state);
    return sync_state;
}

int SMGetSyncState(void)
{
    trace(__func__);
    const State &s = state();
    if (!controlHeld() || !s.mapped)
        return 0;
    return *static_cast<volatile const uint8_t *>(&s.control->sync);
}

int SMGetError(void)
{
    trace(__func__);
    const int error = state().last_error;
    state().last_error = SM_OK;
    return error;
}

const char *SMGetMethod(void)
{
    trace(__func__);
    return "API Tallowmere manager";
}

} // extern "C"
