// Shared allocations and the list of named shared blocks. The list lives in the arena and is
// anchored in the shared global record; every change and look-up holds the Config Protection
// Semaphore.
#include "iw_internal.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

using namespace lx::iw;

extern "C" {
SMArena IW_arena = {{0, 0, 0}};
SMArena *IW_arena_ptr = nullptr;
void *IW_iwl_ptr = nullptr;
}

namespace {

void *arenaStart()
{
    return IW_arena_ptr != nullptr ? reinterpret_cast<void *>(static_cast<uintptr_t>(IW_arena_ptr->word[0]))
                                   : nullptr;
}

// Debug lines go to standard output, flushed at once so that they interleave with other
// processes' output in order.
#define IW_DEBUG_LINE(...)              \
    do {                                \
        std::printf(__VA_ARGS__);       \
        std::fflush(stdout);            \
    } while (0)

const char *printable(const char *name)
{
    return name != nullptr ? name : "(null)";
}

// Appends a listed record; false when the stored count and first pointer disagree.
bool addToSharedMemNamedList(NamedSHMBlock *record, bool debug)
{
    NamedSHMBlock *&first = firstBlock(IW_iwl_ptr);
    int32_t &count = blockCount(IW_iwl_ptr);
    int position = 0;
    if (count == 0) {
        first = record;
        count = 1;
    } else if (first == nullptr) {
        std::fprintf(stderr, "AddToSharedMemNamedList: Failed to put block in named list\n");
        return false;
    } else {
        NamedSHMBlock *last = first;
        position = 1;
        while (last->next != nullptr) {
            last = last->next;
            ++position;
        }
        last->next = record;
        record->prev = last;
        ++count;
    }
    if (debug)
        IW_DEBUG_LINE("Added block %s at position %d, new num blocks %d\n",
                  record->name != nullptr ? record->name : "(NONE)", position, count);
    return true;
}

} // namespace

extern "C" {

void *IWAlcSHM(int count, uint64_t size)
{
    if (IW_arena_ptr == nullptr)
        return nullptr;
    const bool debug = decideDebug();
    if (debug)
        IW_DEBUG_LINE("IWAlcSHM: Allocating %d of %ld. Arena pointer is %p\n", count, static_cast<long>(size), arenaStart());
    void *block = nullptr;
    if (size != 0 && count > 0) {
        block = SMCalloc(IW_arena_ptr, count, size);
        if (block == nullptr) {
            IW_DEBUG_LINE("SMCalloc failed: Not enough SHM %d %ld!!!\n", count, static_cast<long>(size));
            return nullptr;
        }
    }
    if (debug)
        IW_DEBUG_LINE("IWAlcSHM: Pointer is %p\n", block);
    return block;
}

void IWFreeSHM(void *block)
{
    // Not decided here: an undecided switch (-1) counts as on.
    if (debugFlag() != 0) {
        IW_DEBUG_LINE("IWFreeSHM: Arena pointer is %p\n", arenaStart());
        IW_DEBUG_LINE("IWFreeSHM: Freeing %p\n", block);
    }
    if (block != nullptr)
        SMFree(IW_arena_ptr, block);
}

void *IWAlcNamedSHM(int count, uint64_t size, const char *name)
{
    if (IW_arena_ptr == nullptr || IW_iwl_ptr == nullptr) // no arena, or no shared global record
        return nullptr;
    const bool debug = decideDebug();
    if (debug)
        IW_DEBUG_LINE("IWAlcNamedSHM: Proc %d Allocating %d of %ld for %s\n", static_cast<int>(getpid()), count,
                  static_cast<long>(size), printable(name));
    if (!IWOpenConfigSem() || !takeSemaphore("IWAlcNamedSHM"))
        return nullptr;

    void *block = IWAlcSHM(count, size);
    if (block != nullptr) {
        auto *record = static_cast<NamedSHMBlock *>(IWAlcSHM(1, sizeof(NamedSHMBlock)));
        char *copy = nullptr;
        if (record != nullptr && name != nullptr) {
            copy = static_cast<char *>(IWAlcSHM(static_cast<int>(std::strlen(name) + 1), 1));
            if (copy != nullptr)
                std::memcpy(copy, name, std::strlen(name) + 1);
        }
        if (record == nullptr || (name != nullptr && copy == nullptr)) {
            // The arena is full: give back what was taken rather than list a broken record.
            IWFreeSHM(record);
            IWFreeSHM(block);
            block = nullptr;
        } else {
            record->addr = block;
            record->size = static_cast<int32_t>(static_cast<uint64_t>(count) * size);
            record->name = copy;
            if (debug)
                IW_DEBUG_LINE("Before adding blocks, num blocks = %d\n", blockCount(IW_iwl_ptr));
            if (!addToSharedMemNamedList(record, debug)) {
                IWFreeSHM(copy);
                IWFreeSHM(record);
            }
        }
    }
    if (debug)
        IW_DEBUG_LINE("IWAlcNamedSHM: Pointer is %p for %s\n", block, printable(name));
    postSemaphore();
    return block;
}

void *IWRtNamedSHMAdd(const char *name)
{
    if (IW_arena_ptr == nullptr || IW_iwl_ptr == nullptr)
        return nullptr;
    const bool debug = decideDebug();
    if (debug) {
        IW_DEBUG_LINE("IWRtNamedSHMAdd: Arena pointer is %p\n", arenaStart());
        IW_DEBUG_LINE("IWRtNamedSHMAdd: Proc %d Finding SHM block named: %s...\n", static_cast<int>(getpid()),
                  printable(name));
    }
    if (!IWOpenConfigSem() || !takeSemaphore("IWRtNamedSHMAdd"))
        return nullptr;

    const auto *start = static_cast<const char *>(arenaStart());
    for (NamedSHMBlock *record = firstBlock(IW_iwl_ptr); record != nullptr && name != nullptr;
         record = record->next) {
        if (reinterpret_cast<const char *>(record) < start) {
            std::fprintf(stderr, "------------------ IWRtNamedSHMAdd: Found bad block pointer!\n");
            break;
        }
        if (record->name != nullptr && std::strcmp(record->name, name) == 0) {
            if (debug)
                IW_DEBUG_LINE("IWRtNamedSHMAdd: Process %d found config variable at %p\n", static_cast<int>(getpid()),
                          record->addr);
            void *block = record->addr;
            postSemaphore();
            return block;
        }
    }
    if (debug)
        IW_DEBUG_LINE("IWRtNamedSHMAdd: Process %d did NOT find config variable\n", static_cast<int>(getpid()));
    postSemaphore();
    return nullptr;
}

void IWFreeNamedSHM(void *block)
{
    const bool debug = decideDebug();
    if (debug)
        IW_DEBUG_LINE("IWFreeNamedSHM: Proc %d Freeing memory at ptr %p\n", static_cast<int>(getpid()), block);
    if (!takeSemaphore("IWFreeNamedSHM"))
        return;
    if (debug)
        IW_DEBUG_LINE("DeleteFromSharedMemNamedList: Removing a block from Named SHM list");

    NamedSHMBlock *record = IW_iwl_ptr != nullptr ? firstBlock(IW_iwl_ptr) : nullptr;
    int index = 0;
    while (record != nullptr && record->addr != block) {
        record = record->next;
        ++index;
    }
    if (record == nullptr) {
        if (debug)
            IW_DEBUG_LINE("FAILED TO FIND block pointed to by %p to delete\n", block);
        IWFreeSHM(block);
        postSemaphore();
        return;
    }

    if (record->prev != nullptr)
        record->prev->next = record->next;
    if (record->next != nullptr)
        record->next->prev = record->prev;
    if (firstBlock(IW_iwl_ptr) == record)
        firstBlock(IW_iwl_ptr) = record->next;
    const int32_t remaining = --blockCount(IW_iwl_ptr);
    if (debug) {
        IW_DEBUG_LINE("Deleted block %d, named %s. New num blocks %d\n", index,
                  record->name != nullptr ? record->name : "(NONE)", remaining);
        IW_DEBUG_LINE("Now freeing it's shared memory parts name %p and block %p\n", static_cast<void *>(record->name),
                  record->addr);
    }
    if (record->name != nullptr)
        IWFreeSHM(record->name);
    IWFreeSHM(record);
    IWFreeSHM(block);
    postSemaphore();
}

void IWDumpNamedSHM(void)
{
    if (IW_iwl_ptr == nullptr)
        return;
    int number = 0;
    for (const NamedSHMBlock *record = firstBlock(IW_iwl_ptr); record != nullptr; record = record->next, ++number)
        std::printf("SHM Block %d\nprev:\t\t%p\nnext:\t\t%p\nsize:\t\t%d\nfreed:\t\t%d\naddr:\t\t%p\nname:\t\t%s\n",
                    number, static_cast<void *>(record->prev), static_cast<void *>(record->next), record->size,
                    record->freed, record->addr, record->name != nullptr ? record->name : "(NONE)");
    std::printf("number of blocks should have been %d\n", blockCount(IW_iwl_ptr));
    std::fflush(stdout);
}

} // extern "C"
