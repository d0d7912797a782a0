// What one process knows about the segment it mapped. Everything about the heap itself lives in
// the segment; these are only the mode, the kept file name and this process's mapping.
#pragma once

#include <cstdint>
#include <string>

#include "heap_state.h"

// Internal to the library: not exported, so calls stay direct.
#pragma GCC visibility push(hidden)

namespace lx::seg {

struct ProcessState {
    bool debug = false;     // set once DEBUG_SG was seen by a create or attach; never cleared
    bool file_mode = false; // set once a segment was made or attached as a mapped file
    bool has_file_name = false;
    std::string file_name;     // the mapped file's path (file mode), until SG_destroy
    char *map_begin = nullptr; // this process's mapping of the segment
    char *map_end = nullptr;
    heap::State *heap = nullptr;     // the heap state, when its allowance lies inside this mapping
    void *creator_address = nullptr; // where to attach when LX_SHMSTADDR is unset (the creator's start)
};

extern ProcessState g_process;

inline ProcessState &process() { return g_process; }

// The heap of this process, or null when none is attached or it cannot be used here.
inline heap::State *usable_heap() { return g_process.heap; }

} // namespace lx::seg

#pragma GCC visibility pop
