// Named shared blocks internals: the record layout, the anchor in the shared global record,
// the debug switch and the Config Protection Semaphore.
#pragma once

#include "lumarix/shm.h"

#include <cstddef>
#include <cstdint>

namespace lx::iw {

static_assert(sizeof(NamedSHMBlock) == 40);
static_assert(offsetof(NamedSHMBlock, prev) == 0);
static_assert(offsetof(NamedSHMBlock, next) == 8);
static_assert(offsetof(NamedSHMBlock, size) == 16);
static_assert(offsetof(NamedSHMBlock, freed) == 20);
static_assert(offsetof(NamedSHMBlock, addr) == 24);
static_assert(offsetof(NamedSHMBlock, name) == 32);

// The two fields of the shared global record that anchor the list.
inline NamedSHMBlock *&firstBlock(void *record) { return static_cast<IWSharedGlobals *>(record)->namedFirst; }
inline int32_t &blockCount(void *record) { return static_cast<IWSharedGlobals *>(record)->namedCount; }

// -1 undecided, then 1 when DEBUG_SHM is set, else 0.
int &debugFlag();
bool decideDebug();

// Waits up to 5 seconds of real time for the semaphore. On failure writes
// "<operation>: Config Protection Semaphore could not be acquired:\n<error text>\n".
bool takeSemaphore(const char *operation);
void postSemaphore();

} // namespace lx::iw
