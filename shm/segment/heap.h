// The shared heap: a boundary-tag allocator whose whole state lives in a State record inside the
// segment and which takes memory only from SHMsbrk. It takes no lock: callers serialise.
#pragma once

#include <cstdint>
#include <string>

#include "heap_state.h"

#pragma GCC visibility push(hidden)

namespace lx::heap {

// Requests above this are refused outright, so that size arithmetic never overflows.
constexpr uint64_t kMaxRequest = uint64_t{1} << 62;

// Writes the initial tuning into a state record: bins linked to themselves, trim threshold and
// mapping threshold 128 KiB, top pad 0, base unset, statistics zero, the break and allowance.
void init(State *st, char *first_break, uint64_t allowance);

void *allocate_zeroed(State *st, uint64_t bytes);
void *resize(State *st, void *block, uint64_t bytes);
// Bytes the caller may use in block; 0 for a block this heap did not hand out.
uint64_t usable_size(const State *st, const void *block);

struct Stats {
    uint64_t max_system_bytes;
    uint64_t system_bytes;
    uint64_t in_use_bytes;
};
Stats stats(const State *st);

// Walks every chunk and every bin. Returns true when the heap is consistent; otherwise false with
// the first fault found in reason.
bool check(const State *st, const char *map_begin, const char *map_end, std::string &reason);

} // namespace lx::heap

#pragma GCC visibility pop

#include "heap_chunks.h" // allocate and release, inline
