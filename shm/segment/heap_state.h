// The heap's whole state: one 2,176-byte record inside the segment, so that every process that
// maps the segment at the same address shares the heap. Pointers in it are absolute addresses.
#pragma once

#include <cstddef>
#include <cstdint>

#include "segment_layout.h"

namespace lx::heap {

// Boundary tags: every chunk starts with the size of the chunk before it (valid only when that
// one is free) and its own size, whose low bits carry flags.
struct Chunk {
    uint64_t prev_size;
    uint64_t head;
};

// A free chunk keeps its bin links where the user data of an allocated one would be.
struct Links {
    Links *fd;
    Links *bk;
};

constexpr uint64_t kPrevInUse = 1; // the chunk before this one is allocated
constexpr uint64_t kGap = 2;       // fence over memory that another caller took from the break
constexpr uint64_t kFlagMask = 15;

constexpr uint64_t kAlign = 16;
constexpr uint64_t kChunkHeader = sizeof(Chunk); // user data starts here
constexpr uint64_t kMinChunk = 32;
constexpr unsigned kBinCount = 128;
constexpr uint64_t kSmallLimit = 1024; // chunks below this size have an exact bin each
constexpr uint64_t kStateMagic = 0x4c58'4845'4150'0001ULL;

struct State {
    uint64_t magic;
    Chunk *top;         // the chunk that borders the break; null before the first growth
    char *base;         // first chunk; all bits set until the heap first grows
    uint64_t binmap[2]; // bit i set: bin i is not empty
    uint64_t trim_threshold;
    uint64_t top_pad;
    uint64_t mmap_threshold; // kept for the record; the heap never maps memory
    uint64_t system_bytes;   // taken from the break by the heap
    uint64_t max_system_bytes;
    uint64_t in_use_bytes;  // sum of the sizes of allocated chunks
    uint64_t foreign_bytes; // break memory that others took between our growths
    Links bins[kBinCount];  // each empty bin is linked to itself
    uint64_t reserved;
    char *curSHMbrk; // where the next growth of the heap begins
    uint64_t used;   // bytes handed out by SHMsbrk so far
    uint64_t limit;  // the allowance
};
static_assert(sizeof(State) == seg::kHeapStateSize);

// The bin of a free chunk: exact bins of 16-byte steps below 1 KiB, then eight bins per doubling;
// the last bin holds everything from 240 KiB up.
inline unsigned bin_index(uint64_t size)
{
    if (size < kSmallLimit)
        return static_cast<unsigned>(size >> 4);
    unsigned p = 63u - static_cast<unsigned>(__builtin_clzll(size));
    unsigned idx = 64u + (p - 10u) * 8u + static_cast<unsigned>((size >> (p - 3u)) & 7u);
    return idx < kBinCount ? idx : kBinCount - 1;
}
static_assert(offsetof(State, curSHMbrk) == seg::kHeapStateSize - 24);
static_assert(offsetof(State, limit) == seg::kHeapStateSize - 8);

} // namespace lx::heap
