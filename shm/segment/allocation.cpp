// The allocation calls of the shared heap, with their DEBUG_SG traces, its statistics and check.
#include <lumarix/shm.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "heap.h"
#include "process_state.h"

using lx::seg::process;
using lx::seg::usable_heap;

namespace {

// count × size for the calloc family; false when negative or too large.
bool array_bytes(int count, uint64_t size, uint64_t &bytes)
{
    if (count < 0)
        return false;
    if (size != 0 && static_cast<uint64_t>(count) > lx::heap::kMaxRequest / size)
        return false;
    bytes = static_cast<uint64_t>(count) * size;
    return true;
}

void *zeroed(uint64_t bytes)
{
    lx::heap::State *st = usable_heap();
    return st ? lx::heap::allocate_zeroed(st, bytes) : nullptr;
}

void *resized(const char *caller, void *block, uint64_t bytes)
{
    lx::heap::State *st = usable_heap();
    if (st == nullptr)
        return nullptr;
    if (block != nullptr && lx::heap::usable_size(st, block) == 0) {
        std::fprintf(stderr, "%s: %p is not an allocated block of the shared heap\n", caller, block);
        return nullptr;
    }
    return lx::heap::resize(st, block, bytes);
}

} // namespace

extern "C" void *SG_malloc(void *arena, uint64_t bytes)
{
    (void)arena;
    lx::heap::State *st = usable_heap();
    void *p = st ? lx::heap::allocate(st, bytes) : nullptr;
    if (process().debug) {
        std::fprintf(stderr, "%p = %s(%ld) pid=%d\n", p, __func__, static_cast<long>(bytes), getpid());
        std::fflush(stderr);
    }
    return p;
}

extern "C" void *SG_calloc(void *arena, int count, uint64_t size)
{
    (void)arena;
    uint64_t bytes = 0;
    void *p = array_bytes(count, size, bytes) ? zeroed(bytes) : nullptr;
    if (process().debug) {
        std::fprintf(stderr, "%p = %s(%d, %ld) pid=%d\n", p, __func__, count, static_cast<long>(size), getpid());
        std::fflush(stderr);
    }
    return p;
}

extern "C" void *SG_realloc(void *arena, void *block, uint64_t bytes)
{
    (void)arena;
    void *p = resized(__func__, block, bytes);
    if (process().debug) {
        std::fprintf(stderr, "%p = %s(%p, %ld) pid=%d\n", p, __func__, block, static_cast<long>(bytes), getpid());
        std::fflush(stderr);
    }
    return p;
}

extern "C" void *SG_reCalloc(void *arena, void *block, int count, uint64_t size)
{
    (void)arena;
    bool debug = process().debug;
    if (debug)
        std::fprintf(stderr, "%s(%p, %d, %ld)\t\treturns:  ", __func__, block, count, static_cast<long>(size));
    uint64_t bytes = 0;
    bool fits = array_bytes(count, size, bytes);
    void *p = nullptr;
    if (block == nullptr) {
        p = fits ? zeroed(bytes) : nullptr;
        if (debug)
            std::fprintf(stderr, "%p from dlcalloc\n", p);
    } else {
        p = fits ? resized(__func__, block, bytes) : nullptr;
        if (debug)
            std::fprintf(stderr, "%p from dlrealloc\n", p);
    }
    if (debug)
        std::fflush(stderr);
    return p;
}

extern "C" void SG_free(void *arena, void *block)
{
    (void)arena;
    if (process().debug) {
        std::fprintf(stderr, "%s(%p) pid=%d\n", __func__, block, getpid());
        std::fflush(stderr);
    }
    if (block == nullptr)
        return;
    lx::heap::State *st = usable_heap();
    if (st == nullptr || !lx::heap::release(st, block))
        std::fprintf(stderr, "%s: %p is not an allocated block of the shared heap\n", __func__, block);
}

extern "C" uint64_t SG_malloc_usable_size(void *block)
{
    lx::heap::State *st = usable_heap();
    return st && block ? lx::heap::usable_size(st, block) : 0;
}

extern "C" void SG_malloc_stats(void)
{
    lx::heap::State *st = usable_heap();
    lx::heap::Stats s = st ? lx::heap::stats(st) : lx::heap::Stats{};
    std::fprintf(stderr, "max system bytes = %10u\n", static_cast<unsigned>(s.max_system_bytes));
    std::fprintf(stderr, "system bytes     = %10u\n", static_cast<unsigned>(s.system_bytes));
    std::fprintf(stderr, "in use bytes     = %10u\n", static_cast<unsigned>(s.in_use_bytes));
}

extern "C" int SG_heap_stats(SGHeapStats *out)
{
    lx::heap::State *st = usable_heap();
    if (st == nullptr || out == nullptr)
        return 0;
    lx::heap::Stats s = lx::heap::stats(st);
    out->max_system_bytes = s.max_system_bytes;
    out->system_bytes = s.system_bytes;
    out->in_use_bytes = s.in_use_bytes;
    return 1;
}

extern "C" int SG_heap_check(char *reason, size_t reason_size)
{
    std::string why;
    bool ok = false;
    try {
        lx::heap::State *st = usable_heap();
        if (st == nullptr)
            why = "no usable shared heap is attached in this process";
        else
            ok = lx::heap::check(st, process().map_begin, process().map_end, why);
    } catch (...) {
        why = "out of memory while checking the heap";
    }
    if (reason != nullptr && reason_size > 0) {
        size_t n = why.size() < reason_size - 1 ? why.size() : reason_size - 1;
        std::memcpy(reason, why.data(), n);
        reason[n] = '\0';
    }
    return ok ? 1 : 0;
}
