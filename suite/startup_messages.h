// The texts the suite's start-up and shut-down print, in one place. Some name a routine other
// than the one that prints them, on purpose, as the suite has always printed them: IWStart (the
// whole start-up) in kStartupFailed, IWInitLists (the tables' step) in kListsFailed, and the
// failed call with its caller in kCreateArenaFailed, kRecordFailed and kSemaphoreRemovalFailed.
#pragma once

namespace lx::suite {

inline constexpr const char *kStartupFailed = "ERROR-IWStart: Unable to create shared memory; stopping.\n";

#define LX_CAP_TOO_SMALL                                                                                               \
    "\nCan not allocate enough shared memory for proper software operation.\n"                                         \
    "Try either decreasing the value of LX_SIZE to a value smaller than\n"                                             \
    "the system maximum or have your system administrator increase the\n"                                              \
    "the system defined shared memory cap.\n\n"                                                                        \
    "Requested size: %lu bytes\nSystem cap    : %lu bytes\n\n"

inline constexpr const char *kCreateArenaFailed = "SMCreateArena (IWInitSHM())";
inline constexpr const char *kRecordFailed = "SMCalloc (IWInitSHM())";
inline constexpr const char *kSemaphoreRemovalFailed = "IWStop() -- semctl()";
inline constexpr const char *kListsFailed = "IWInitLists: Error allocating IWL lists.";
#define LX_FOCUS_SEM_FAILED "Could not create focus semaphore. (%s)\n"
#define LX_LOCK_SEM_FAILED "Could not create lock semaphore. (%s)\n"

} // namespace lx::suite
