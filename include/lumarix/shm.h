/* lumarix/shm.h - the suite's per-user shared-memory arena.
 *
 * Three layers, bottom up:
 *   SG_   segment keeper: one segment (System V or a shared file mapping) per user,
 *         mapped at the same address in every process, with a heap inside it;
 *   SM    arena control: a control segment and an id file under /tmp through which
 *         later processes find, attach, detach and remove the arena;
 *   IW    named shared blocks: allocations listed under a name, guarded across
 *         processes by the Config Protection Semaphore.
 *
 * Caveats:
 *   (filled in by the layers below)
 *   - Names: the id file is "/tmp/$USER.api_shmid" and the semaphore "/IWConfigSem_$LOGNAME";
 *     with USER or LOGNAME unset, the login name of the real user id (getpwuid) is used instead.
 *   - /tmp is shared with other users: the id file is trusted only when it is a regular file of
 *     ours, not writable by group or others and not a symbolic link, and the control segment only
 *     when we own it; otherwise attach returns 3, says why on stderr and removes nothing. The id
 *     file is replaced by renaming a freshly made file, never written through a planted one.
 *   - A creator counts as gone only when signal 0 reports that no such process exists.
 *   - A process that dies holding the Config Protection Semaphore blocks the named-block list:
 *     every list operation then fails after 5 seconds until the semaphore is removed
 *     (IWRemoveConfigSem) and made afresh.
 *   - The heap takes no lock: IWAlcSHM, IWFreeSHM and the SM allocation calls must not race
 *     with each other or with the list operations of another process.
 */
#ifndef LUMARIX_SHM_H
#define LUMARIX_SHM_H

#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Segment keeper ------------------------------------------------------------------ */
/* SG-SECTION-BEGIN (owned by the segment keeper) */

key_t SG_key(const char *path, char project);
void *SG_create(const char *path, uint64_t size);
void *SG_attach(const char *path, uint64_t size);
void SG_detach(void *start);
void SG_destroy(void *start);
void *SHMsbrk(int64_t increment);
void *SG_malloc(void *arena, uint64_t bytes);
void *SG_calloc(void *arena, int count, uint64_t size);
void *SG_realloc(void *arena, void *block, uint64_t bytes);
void *SG_reCalloc(void *arena, void *block, int count, uint64_t size);
void SG_free(void *arena, void *block);

/* SG-SECTION-END */

/* ---- Arena control ------------------------------------------------------------------- */
/* SM-SECTION-BEGIN (owned by arena control and named blocks) */

/* The arena handle: word 0 is the segment start (null: no arena), word 1 unused,
 * word 2 cleared by SMAttachToArena. */
typedef struct SMArena {
    uint64_t word[3];
} SMArena;

/* Arena control, "sm-lib". The arena of a user is found through a 4,168-byte control segment
 * (key SG_key(HOME, 'F')) whose id is kept in the id file "/tmp/$USER.api_shmid". Results are
 * small codes; most operations also set a per-process last error read by SMGetError:
 * 0 ok, 1 a shared-memory call failed, 2 the id file could not be used, 4 not the creator. */

/* Creates the control segment, the id file and the arena (SG_create) of size bytes, in the
 * mapped file path when path is non-null and non-empty. 0 created (handle word 0 is the start,
 * null if the segment keeper failed, which is reported with perror); 1 this process already
 * holds a control block (handle cleared); else the last error: 1 the control segment could not
 * be made or belongs to another user, 2 the id file could not be written and read back. */
int SMCreateArena(SMArena *arena, uint64_t size, const char *path);
/* Finds the arena through the id file and attaches it. 0 attached; 3 no arena: no id file, an
 * id file or control segment not to be trusted (one line on stderr, nothing removed), or the
 * creator gone / nothing attached (leftovers removed: control segment, id file, data segment). */
int SMAttachToArena(SMArena *arena);
/* Detaches the control block and the arena. Returns the last error (0). */
int SMDetachFromArena(SMArena *arena);
/* Removes the arena (when arena is non-null), the mapped file (when remove_file is set), the
 * control segment and the id file. Refused with last error 4 when the caller is not the creator. */
void SMExit(SMArena *arena, int remove_file);
/* Removes the arena and the control segment. Returns the last error: 0, or 4 when the caller is
 * not the creator (nothing removed). */
int SMDestroyArena(SMArena *arena);
/* Allocation in the arena (no lock is taken). Each returns the block, or null for a null handle
 * or when the heap is exhausted. SMRealloc with a null block returns null without allocating. */
void *SMMalloc(SMArena *arena, uint64_t bytes);
void *SMCalloc(SMArena *arena, int count, uint64_t size);
void *SMRecalloc(SMArena *arena, void *block, int count, uint64_t size);
void *SMRealloc(SMArena *arena, void *block, uint64_t bytes);
/* Frees a block when both arena and block are non-null. */
void SMFree(SMArena *arena, void *block);
/* The arena's info pointer (segment start + header word 4); null without an arena. */
void *SMGetInfo(SMArena *arena);
/* Stores info as its distance from the segment start, the same in every process. */
void SMPutInfo(SMArena *arena, void *info);
/* Free bytes on the file system holding directory, or -1 when it cannot be examined. */
int64_t SMGetSpaceFree(const char *directory);
/* The address-space limit (RLIMIT_AS). 0 ok, -1 failed (errno set). */
int SMGetRLimit(uint64_t *current, uint64_t *maximum);
/* Sets the address-space limit. 0 ok, -1 failed (errno set). */
int SMSetRLimit(uint64_t current, uint64_t maximum);
/* Stores state in the control block's sync byte, first waiting (printing "=") until the creator
 * has set it, unless state is 1. Returns state; -1 when no control block is mapped. */
int SMSetSyncState(int state);
/* The sync byte; 0 when no control block is mapped. */
int SMGetSyncState(void);
/* The last error, which is cleared. */
int SMGetError(void);
/* The library's name: "API Tallowmere manager". */
const char *SMGetMethod(void);
/* Turns the trace line "sm-lib : <operation>, pid=<pid>" on stderr on (1) or off (0). */
void SMSetTrace(int on);

/* ---- Named shared blocks ------------------------------------------------------------- */

/* One listed block, allocated in the arena; the list is doubly linked in allocation order. */
typedef struct NamedSHMBlock {
    struct NamedSHMBlock *prev;
    struct NamedSHMBlock *next;
    int32_t size;  /* count x element size, cut to 32 bits */
    int32_t freed; /* always 0 */
    void *addr;    /* the block itself */
    char *name;    /* copy of the name in the arena, or null */
} NamedSHMBlock;

/* The shared global record (SMGetInfo) anchors the list: first record and count. */
#define IW_GLOBAL_RECORD_SIZE 1016
#define IW_NAMED_FIRST_OFFSET 544
#define IW_NAMED_COUNT_OFFSET 552

extern SMArena IW_arena;      /* this process's arena handle */
extern SMArena *IW_arena_ptr; /* &IW_arena once attached or created; null: no arena */
extern void *IW_iwl_ptr;      /* the suite's shared global record (SMGetInfo) */

/* A zeroed block of count x size bytes in the arena; null without an arena, for a zero size or
 * count, or when the heap is exhausted ("SMCalloc failed: ..." on stdout). No lock is taken. */
void *IWAlcSHM(int count, uint64_t size);
/* Frees a block of the arena (null: nothing). No lock is taken. */
void IWFreeSHM(void *block);
/* A zeroed block listed under name (null: listed without a name). Null without an arena, for a
 * zero size or count, when the heap is exhausted or the semaphore is not acquired in 5 s. */
void *IWAlcNamedSHM(int count, uint64_t size, const char *name);
/* The block of the oldest record named exactly name, or null (not found, no arena, semaphore
 * not acquired in 5 s). */
void *IWRtNamedSHMAdd(const char *name);
/* Unlists and frees a named block; a block not in the list is freed all the same. Needs the
 * semaphore opened earlier in this process; nothing is freed when it is not acquired in 5 s. */
void IWFreeNamedSHM(void *block);
/* Opens or creates the Config Protection Semaphore "/IWConfigSem_$LOGNAME". 1 open, 0 failed. */
int IWOpenConfigSem(void);
/* Removes the semaphore's name from the system and forgets the handle (if it was open). */
void IWRemoveConfigSem(void);
/* Prints every record and the stored count to stdout, without taking the semaphore. */
void IWDumpNamedSHM(void);

/* SM-SECTION-END */

#ifdef __cplusplus
}
#endif

#endif /* LUMARIX_SHM_H */
