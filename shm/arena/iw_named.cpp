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
    return IW_arena_ptr != nullptr ? reinterpret_cast<void *>(static_cast<uintptr_t>(IW_arena_ptr->word[0])) : nullptr;
}

// Debug lines go to standard output, flushed at once so that they interleave with other
// processes' output in order.
#define IW_DEBUG_LINE(...)                                                                                             \
    do {                                                                                                               \
        std::printf(__VA_ARGS__);                                                                                      \
        std::fflush(stdout);                                                                                           \
    } while (0)

const char *printable(const char *name) { return name != nullptr ? name : "(null)"; }

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

// With the semaphore held: a zeroed block of count x size bytes listed under name, or null when
// the arena is full (nothing is left half made).
void *allocateListed(int count, uint64_t size, const char *name, bool debug)
{
    void *block = IWAlcSHM(count, size);
    if (block == nullptr)
        return nullptr;
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
        return nullptr;
    }
    record->addr = block;
    record->size = static_cast<int32_t>(static_cast<uint64_t>(count) * size);
    record->name = copy;
    if (debug)
        IW_DEBUG_LINE("Before adding blocks, num blocks = %d\n", blockCount(IW_iwl_ptr));
    if (!addToSharedMemNamedList(record, debug)) {
        IWFreeSHM(copy);
        IWFreeSHM(record);
    }
    return block;
}

// With the semaphore held: the oldest record named name, or null. A record below the arena start
// is a broken list, which the caller's message reports.
NamedSHMBlock *findRecord(const char *name, const char *caller)
{
    const auto *start = static_cast<const char *>(arenaStart());
    for (NamedSHMBlock *record = firstBlock(IW_iwl_ptr); record != nullptr && name != nullptr; record = record->next) {
        if (reinterpret_cast<const char *>(record) < start) {
            std::fprintf(stderr, "------------------ %s: Found bad block pointer!\n", caller);
            return nullptr;
        }
        if (record->name != nullptr && std::strcmp(record->name, name) == 0)
            return record;
    }
    return nullptr;
}

// With the semaphore held: takes the record out of the list and frees it and its name (not its
// block).
void unlistRecord(NamedSHMBlock *record, bool debug)
{
    int index = 0;
    for (const NamedSHMBlock *r = firstBlock(IW_iwl_ptr); r != nullptr && r != record; r = r->next)
        ++index;
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
}

} // namespace

extern "C" {

void *IWAlcSHM(int count, uint64_t size)
{
    if (IW_arena_ptr == nullptr)
        return nullptr;
    const bool debug = decideDebug();
    if (debug)
        IW_DEBUG_LINE("%s: Allocating %d of %ld. Arena pointer is %p\n", __func__, count, static_cast<long>(size),
                      arenaStart());
    void *block = nullptr;
    if (size != 0 && count > 0) {
        block = SMCalloc(IW_arena_ptr, count, size);
        if (block == nullptr) {
            IW_DEBUG_LINE("SMCalloc failed: Not enough SHM %d %ld!!!\n", count, static_cast<long>(size));
            return nullptr;
        }
    }
    if (debug)
        IW_DEBUG_LINE("%s: Pointer is %p\n", __func__, block);
    return block;
}

void IWFreeSHM(void *block)
{
    // Not decided here: an undecided switch (-1) counts as on.
    if (debugFlag() != 0) {
        IW_DEBUG_LINE("%s: Arena pointer is %p\n", __func__, arenaStart());
        IW_DEBUG_LINE("%s: Freeing %p\n", __func__, block);
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
        IW_DEBUG_LINE("%s: Proc %d Allocating %d of %ld for %s\n", __func__, static_cast<int>(getpid()), count,
                      static_cast<long>(size), printable(name));
    if (!IWOpenConfigSem() || !takeSemaphore(__func__))
        return nullptr;

    void *block = allocateListed(count, size, name, debug);
    if (debug)
        IW_DEBUG_LINE("%s: Pointer is %p for %s\n", __func__, block, printable(name));
    postSemaphore();
    return block;
}

void *IWRtNamedSHMAdd(const char *name)
{
    if (IW_arena_ptr == nullptr || IW_iwl_ptr == nullptr)
        return nullptr;
    const bool debug = decideDebug();
    if (debug) {
        IW_DEBUG_LINE("%s: Arena pointer is %p\n", __func__, arenaStart());
        IW_DEBUG_LINE("%s: Proc %d Finding SHM block named: %s...\n", __func__, static_cast<int>(getpid()),
                      printable(name));
    }
    if (!IWOpenConfigSem() || !takeSemaphore(__func__))
        return nullptr;

    if (const NamedSHMBlock *record = findRecord(name, __func__)) {
        if (debug)
            IW_DEBUG_LINE("%s: Process %d found config variable at %p\n", __func__, static_cast<int>(getpid()),
                          record->addr);
        void *block = record->addr;
        postSemaphore();
        return block;
    }
    if (debug)
        IW_DEBUG_LINE("%s: Process %d did NOT find config variable\n", __func__, static_cast<int>(getpid()));
    postSemaphore();
    return nullptr;
}

void *IWSetNamedSHM(const char *name, const void *value, uint64_t bytes)
{
    if (IW_arena_ptr == nullptr || IW_iwl_ptr == nullptr || name == nullptr || bytes == 0 ||
        bytes > static_cast<uint64_t>(INT32_MAX))
        return nullptr;
    const bool debug = decideDebug();
    if (debug)
        IW_DEBUG_LINE("%s: Proc %d Setting %ld bytes for %s\n", __func__, static_cast<int>(getpid()),
                      static_cast<long>(bytes), name);
    if (!IWOpenConfigSem() || !takeSemaphore(__func__))
        return nullptr;
    void *block = nullptr;
    if (NamedSHMBlock *record = findRecord(name, __func__)) {
        // The record keeps its place in the list; only its block is replaced.
        block = IWAlcSHM(1, bytes);
        if (block == nullptr) { // a full arena: the old value's room may be enough
            IWFreeSHM(record->addr);
            record->addr = nullptr;
            block = IWAlcSHM(1, bytes);
        } else {
            IWFreeSHM(record->addr);
        }
        if (block != nullptr) {
            record->addr = block;
            record->size = static_cast<int32_t>(bytes);
        } else { // nothing left to list: drop the record
            unlistRecord(record, debug);
        }
    } else {
        block = allocateListed(1, bytes, name, debug);
    }
    if (block != nullptr)
        std::memcpy(block, value, bytes);
    postSemaphore();
    return block;
}

void IWFreeNamedSHM(void *block)
{
    const bool debug = decideDebug();
    if (debug)
        IW_DEBUG_LINE("%s: Proc %d Freeing memory at ptr %p\n", __func__, static_cast<int>(getpid()), block);
    if (!takeSemaphore(__func__))
        return;
    if (debug)
        IW_DEBUG_LINE("DeleteFromSharedMemNamedList: Removing a block from Named SHM list");

    NamedSHMBlock *record = IW_iwl_ptr != nullptr ? firstBlock(IW_iwl_ptr) : nullptr;
    while (record != nullptr && record->addr != block)
        record = record->next;
    if (record == nullptr) {
        if (debug)
            IW_DEBUG_LINE("FAILED TO FIND block pointed to by %p to delete\n", block);
        IWFreeSHM(block);
        postSemaphore();
        return;
    }

    unlistRecord(record, debug);
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
                    record->freed, record->addr, record->name != nullptr ? record->name : "(null)");
    std::printf("number of blocks should have been %d\n", blockCount(IW_iwl_ptr));
    std::fflush(stdout);
}

} // extern "C"
