/* lumarix/suite.h - the suite's start-up and shut-down of the per-user shared arena.
 *
 * IWInitSHM is run once by the first program of a user's run of the suite. It sizes the arena
 * from settings (see lumarix/settings.h), checks the size against the system's shared-memory
 * cap, creates the arena and the suite's shared global record in it, and fills the parts of
 * that record the runtime needs from the start. IWStop undoes it.
 *
 * Settings read (first one set wins within a row):
 *   arena size, MB     LX_SIZE PM_SIZE OB_SIZE OXL_SIZE                   2000, clamped 30..15000
 *   attach address     LX_SHMSTADDR (hexadecimal)                          IW_DEFAULT_SHMSTADDR
 *   file-backed arena  OB_USE_SHM_FILE (boolean)                           off
 *   arena file folder  LX_TMP PM_TMP OB_TMP OXL_SHMDIR                     /tmp
 *   working set, MB    LX_WORKING_SET PM_.. OB_.. OXL_WORKING_SET          1800 (0..15000)
 *   working unit, MB   LX_WORKING_UNIT PM_.. OB_.. OXL_WORKING_UNIT        100 (0..15000)
 *   page threshold     LX_PGTHRESH PM_PGTHRESH OB_PGTHRESH                 0
 * The working set is lowered to (arena MB - 30) and the unit to (working set / 5) when larger;
 * a lowered value is stored back as LX_WORKING_SET / LX_WORKING_UNIT and the user's settings
 * file is rewritten (WriteUserSettings).
 *
 * Caveats:
 *   - The arena needs a system cap (/proc/sys/kernel/shmmax) of at least size + 1 MB.
 *   - A failure after the arena was created leaves the arena in place.
 */
#ifndef LUMARIX_SUITE_H
#define LUMARIX_SUITE_H

#include "lumarix/shm.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Where the arena is mapped when LX_SHMSTADDR is neither in the environment nor a setting: free
 * in ordinary processes and in sanitizer builds. Other processes attach where the creator put it. */
#define IW_DEFAULT_SHMSTADDR "0x500000000000"

/* The tables of the shared global record (IWSharedGlobals, laid out in lumarix/shm.h beside the
 * named-block list it anchors): slot entries and their size, small-table entries. */
#define IW_SLOT_COUNT 100
#define IW_SLOT_BYTES 984
#define IW_SMALL_COUNT 500

/* Sizes, checks and creates the arena and the shared global record (see above). `first` and
 * `second` below 0 become 0, `third` is clamped to 1..1280 and `fourth` to 1..1024; the four
 * are stored in the record for the rest of the runtime. Also publishes the suite's release in
 * the named block "LUMARIX_BASE_VERSION". Returns 1, or -1 (with a message on standard error)
 * when the arena or the record cannot be created. */
int IWInitSHM(int first, int second, int third, int fourth);

/* Removes the two semaphores and, when this process created it, the arena with its file,
 * control segment and id file. Returns 1. */
int IWStop(void);

#ifdef __cplusplus
}
#endif

#endif /* LUMARIX_SUITE_H */
