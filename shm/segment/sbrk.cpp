// SHMsbrk: the heap's only source of memory, a break that only moves up inside the allowance.
#include <lumarix/shm.h>

#include <cstdio>

#include "process_state.h"

extern "C" void *SHMsbrk(int64_t increment)
{
    void *const refused = reinterpret_cast<void *>(-1);
    auto *st = static_cast<lx::heap::State *>(GBLdl_p);
    if (st == nullptr)
        return refused;
    char *previous = st->curSHMbrk;
    if (lx::seg::process().debug) {
        // The increment is worked out after this line, so the first figure is always 0.
        std::fprintf(stderr, "%s(%ld): GBLdl_p %p,  curSHMbrk %p\n", __func__, 0L, GBLdl_p,
                     static_cast<void *>(previous));
        std::fflush(stderr);
    }
    if (lx::seg::usable_heap() == nullptr || increment < 0)
        return refused;
    // Increments are rounded up to 8 bytes. One that does not fit in 32 bits is refused rather
    // than cut down, so the heap is never told it got more memory than it did.
    uint64_t inc = (static_cast<uint64_t>(increment) + 7) & ~uint64_t{7};
    if (inc > 0xFFFFFFF8u)
        return refused;
    if (st->used > st->limit || inc > st->limit - st->used)
        return refused;
    st->curSHMbrk += inc;
    st->used += inc;
    return previous;
}
