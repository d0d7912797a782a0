// What one process knows about the segment it mapped. Everything about the heap itself lives in
// the segment; these are only the mode, the kept file name and this process's mapping.
#pragma once

#include <cstdint>
#include <string>

#include "heap_state.h"

namespace lx::seg {

struct ProcessState {
    bool debug = false;      // set once DEBUG_SG was seen by a create or attach; never cleared
    bool file_mode = false;  // set once a segment was made or attached as a mapped file
    bool has_file_name = false;
    std::string file_name;   // the mapped file's path (file mode), until SG_destroy
    char *map_begin = nullptr;  // this process's mapping of the segment
    char *map_end = nullptr;
    bool heap_usable = false;  // the heap's allowance lies inside this process's mapping
};

ProcessState &process();

// The heap of this process, or null when none is attached or it cannot be used here.
heap::State *usable_heap();

}  // namespace lx::seg
