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
 *   - Same address everywhere: heap pointers are plain addresses, so every process must map the
 *     segment where its creator did; set LX_SHMSTADDR alike in all of them. An address that is
 *     already taken makes create or attach fail (message, null) in both modes: a file is never
 *     mapped anywhere else. An attach that lands elsewhere (LX_SHMSTADDR unset) says so and its
 *     process gets null from every allocation rather than memory outside its mapping.
 *   - fork: the child inherits the mapping and this process's segment state; parent and child
 *     then share one unlocked heap, and a child's SG_destroy removes the parent's segment too.
 *   - A process that dies inside a heap call (or while another holds the heap for it) may leave
 *     the heap half changed; SG_heap_check finds such damage, nothing repairs it.
 *   - The segment (and a mapped file) is exactly allowance + 2216 bytes, header word 0. The first
 *     break lies 4,823,616 bytes in, so the heap may use only the allowance less 4,821,400 bytes
 *     (nothing for an allowance below that): no block ever lies past the end of the mapping.
 *     The break never moves down, so the heap keeps its highest size until the segment is
 *     removed. A System V segment whose id is 0 is never removed by SG_destroy.
 *   - Names: the id file is "/tmp/$USER.api_shmid" and the semaphore "/IWConfigSem_$LOGNAME";
 *     with USER or LOGNAME unset, the login name of the real user id (getpwuid) is used instead.
 *   - /tmp is shared with other users: the id file is trusted only when it is a regular file of
 *     ours, not writable by group or others and not a symbolic link, and the control segment only
 *     when we own it; otherwise attach returns SM_NO_ARENA, says why on stderr and removes
 *     nothing. The id file is replaced by renaming a freshly made file, never written through a
 *     planted one.
 *   - One arena per user id: SMCreateArena refuses (SM_SHM_FAILED) while the control segment's
 *     creator lives, whatever USER says; of two creators at the same moment exactly one succeeds.
 *   - A creator counts as gone only when signal 0 reports that no such process exists; a pid
 *     that reads as 0 (a creator in another PID namespace) never counts as gone.
 *   - A process that dies holding the Config Protection Semaphore blocks the named-block list:
 *     every list operation then fails after 5 seconds until the semaphore is removed
 *     (IWRemoveConfigSem) and made afresh.
 *   - The heap takes no lock: IWAlcSHM, IWFreeSHM and the SM allocation calls must not race
 *     with each other or with the list operations of another process. To change a listed value
 *     while other processes may do the same, use IWSetNamedSHM (one step), not look-up, free and
 *     allocate. A block found by IWRtNamedSHMAdd may be replaced (freed) by another process.
 *
 * Messages name the function that writes them, except these, which name another routine on
 * purpose and are kept as the suite has always printed them: "AddToSharedMemNamedList: ..."
 * and "DeleteFromSharedMemNamedList: ..." (the list's own steps, in IWAlcNamedSHM,
 * IWSetNamedSHM and IWFreeNamedSHM), "SMCalloc failed: ..." (IWAlcSHM), "SMCreateArena() --
 * mm_create(): ..." (the segment's creation), the DEBUG_SG lines "... from dlcalloc" and
 * "... from dlrealloc" (SG_reCalloc), and the trace and refusals headed "sm-lib" (the library).
 */
#ifndef LUMARIX_SHM_H
#define LUMARIX_SHM_H

#include <stddef.h>
#include <stdint.h>
#include <sys/ipc.h> /* key_t, which <sys/types.h> hides from strict C */
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Segment keeper ------------------------------------------------------------------ */
/* One segment per process: a System V segment, or a file mapped shared. It starts with five
 * 64-bit header words (mapped bytes = allowance + 2216, allowance, 2216, 40, info offset); the
 * heap state lies at start + 1600 and the first break at start + 4,823,616. The heap's limit is
 * clamped to what of the mapping lies past the first break. */

extern int giShmId;   /* System V id of the data segment; -1 when unknown */
extern void *GBLdl_p; /* this process's heap state (start + 1600); null when nothing is mapped */

/* System V key for the user: (1000 * uid + project) mod 2^32, the factor lowered until the key
 * is below 2^31. path is not used. */
key_t SG_key(const char *path, char project);
/* Makes the segment of size + 2216 bytes (file mode when path is non-empty; the file is created or
 * reused and set to that length) at LX_SHMSTADDR when set, and initialises the heap. size must be
 * at least 1560 (room for the heap state). Returns the segment start, or null after a message. */
void *SG_create(const char *path, uint64_t size);
/* Maps an existing segment (size as given to SG_create) at LX_SHMSTADDR. Returns the start, or
 * null after a message. When its heap was laid out at another address or for a larger size than
 * this mapping holds, a message says so and every allocation in this process returns null. */
void *SG_attach(const char *path, uint64_t size);
/* Unmaps the segment from this process. */
void SG_detach(void *start);
/* Removes the System V segment (it lives on until the last detach) or unlinks the file. It
 * neither detaches nor unmaps. start is not used. */
void SG_destroy(void *start);
/* Moves the break up by increment rounded up to 8 bytes and returns the previous break; 0 returns
 * the break unchanged. Returns (void *)-1, all bits set, when the allowance would be exceeded,
 * for a negative increment, one of 2^32 - 8 bytes or more, or when no heap is usable. */
void *SHMsbrk(int64_t increment);
/* The heap's allocation calls; arena is not used. Each returns null when the allowance is used
 * up, for a request over 2^62 bytes, or without a usable heap. Blocks are 16-byte aligned. */
void *SG_malloc(void *arena, uint64_t bytes);
/* count * size bytes, zeroed; null also for a negative count or a product over 2^62. */
void *SG_calloc(void *arena, int count, uint64_t size);
/* Resizes block (null: allocates), keeping its contents; null on failure leaves block as it was.
 * A pointer the heap did not hand out is refused with a message (null). */
void *SG_realloc(void *arena, void *block, uint64_t bytes);
/* block null: SG_calloc; else SG_realloc to count * size bytes (added bytes are not zeroed). */
void *SG_reCalloc(void *arena, void *block, int count, uint64_t size);
/* Frees block (null: nothing). A pointer the heap did not hand out, or freed twice, is refused
 * with a message. */
void SG_free(void *arena, void *block);
/* Bytes usable in an allocated block (at least what was asked for); 0 for anything else. */
uint64_t SG_malloc_usable_size(void *block);
/* Prints "max system bytes", "system bytes" and "in use bytes" (as %10u) to standard error. */
void SG_malloc_stats(void);

typedef struct SGHeapStats {
    uint64_t max_system_bytes; /* the most the heap ever took from the break */
    uint64_t system_bytes;     /* bytes the heap took from the break */
    uint64_t in_use_bytes;     /* bytes in allocated blocks, their boundary tags included */
} SGHeapStats;
/* Fills *out with the heap's statistics in full. Returns 1, or 0 without a usable heap. */
int SG_heap_stats(SGHeapStats *out);
/* Walks every chunk and bin of the heap: sizes chain up to the top, no two free chunks touch,
 * every free chunk is in the bin for its size, the statistics agree. Returns 1 when consistent,
 * else 0 with the first fault found written (terminated, cut to reason_size) into reason. */
int SG_heap_check(char *reason, size_t reason_size);

/* ---- Arena control ------------------------------------------------------------------- */
/* The arena handle: word 0 is the segment start (null: no arena), word 1 unused,
 * word 2 cleared by SMAttachToArena. */
typedef struct SMArena {
    uint64_t word[3];
} SMArena;

/* Arena control, "sm-lib". The arena of a user is found through a 4,168-byte control segment
 * (key SG_key(HOME, 'F')) whose id is kept in the id file "/tmp/$USER.api_shmid". Results are
 * the small codes below; most operations also set a per-process last error read by SMGetError. */
enum {
    SM_OK = 0,
    SM_SHM_FAILED = 1,    /* last error: a shared-memory call failed */
    SM_CONTROL_HELD = 1,  /* SMCreateArena only: this process already holds a control block */
    SM_IDFILE_FAILED = 2, /* last error: the id file could not be used */
    SM_NO_ARENA = 3,      /* SMAttachToArena only: no arena was attached */
    SM_NOT_CREATOR = 4    /* last error: the caller is not the process that created the arena */
};

/* Creates the control segment, the id file and the arena (SG_create) of size bytes, in the
 * mapped file path when path is non-null and non-empty. SM_OK created (handle word 0 is the
 * start, null if the segment keeper failed, which is reported with its reason); SM_CONTROL_HELD
 * this process already holds a control block (handle cleared); else the last error:
 * SM_SHM_FAILED a live suite holds the user's arena (nothing touched), or the control segment
 * could not be made or belongs to another user; SM_IDFILE_FAILED the id file could not be
 * written. A failure removes only what this call made. */
int SMCreateArena(SMArena *arena, uint64_t size, const char *path);
/* The process id of the live creator of this user's arena (as the control segment records it),
 * 0 when there is none or it is a crashed suite's leftover, -1 when it lives but its id is not
 * known here. Looks only; nothing is attached for long or removed. */
int SMArenaOwner(void);
/* Finds the arena through the id file and attaches it. SM_OK attached; SM_NO_ARENA: no id file,
 * an id file or control segment not to be trusted (one line on stderr, nothing removed), or the
 * creator gone / nothing attached (leftovers removed: control segment, id file, data segment). */
int SMAttachToArena(SMArena *arena);
/* Detaches the control block and the arena. Returns the last error (SM_OK). */
int SMDetachFromArena(SMArena *arena);
/* Removes the arena (when arena is non-null), the mapped file (when remove_file is set), the
 * control segment and the id file. Refused with last error SM_NOT_CREATOR when the caller is not
 * the creator. */
void SMExit(SMArena *arena, int remove_file);
/* Removes the arena and the control segment. Returns the last error: SM_OK, or SM_NOT_CREATOR
 * when the caller is not the creator (nothing removed). */
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
/* The last error (SM_OK, SM_SHM_FAILED, SM_IDFILE_FAILED or SM_NOT_CREATOR), which is cleared. */
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

/* Layout checks that hold in C99, C11 and C++. */
#if defined(__cplusplus)
#define LX_SHM_LAYOUT(cond, tag) static_assert(cond, #tag)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define LX_SHM_LAYOUT(cond, tag) _Static_assert(cond, #tag)
#else
#define LX_SHM_LAYOUT(cond, tag) typedef char lx_shm_layout_##tag[(cond) ? 1 : -1]
#endif

/* The suite's shared global record, the arena's info pointer (SMGetInfo, IW_iwl_ptr). Every
 * process of the suite reads it, so its layout is fixed (the checks below are its only statement
 * of the offsets). The named-block list is anchored in it; the suite's start-up (lumarix/suite.h)
 * makes it and fills the rest. */
typedef struct IWSharedGlobals {
    void *slotTable;         /* IW_SLOT_COUNT entries of IW_SLOT_BYTES; the first two int32 of
                                  each entry start at -1 */
    void *smallTable;        /* IW_SMALL_COUNT int32 entries */
    int32_t slotCount;       /* IW_SLOT_COUNT */
    int32_t unsetA;          /* -1 */
    int32_t unsetB;          /* -1 */
    int32_t unsetC;          /* -1 */
    int32_t cleared;         /* 0 */
    int32_t focusSemId;      /* System V semaphore (key letter C), -1 when none */
    int32_t callerValues[4]; /* the four arguments of IWInitSHM, clamped */
    int32_t lockSemId;       /* System V semaphore (key letter D), -1 when none */
    int32_t workingSetOn;    /* 1 once the working set is stored */
    int64_t workingUnit;     /* bytes */
    int64_t workingSet;      /* bytes */
    int32_t pageThreshold;
    uint8_t reservedLow[460];
    NamedSHMBlock *namedFirst; /* first named shared block record */
    int32_t namedCount;        /* number of named shared blocks */
    int32_t namedListOn;       /* 1 once the named-block list is set up */
    uint8_t reservedHigh[456];
} IWSharedGlobals;
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, slotTable) == 0, slot_table);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, smallTable) == 8, small_table);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, slotCount) == 16, slot_count);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, focusSemId) == 36, focus_sem);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, callerValues) == 40, caller_values);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, lockSemId) == 56, lock_sem);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, workingUnit) == 64, working_unit);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, workingSet) == 72, working_set);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, pageThreshold) == 80, page_threshold);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, namedFirst) == 544, named_first);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, namedCount) == 552, named_count);
LX_SHM_LAYOUT(offsetof(IWSharedGlobals, namedListOn) == 556, named_list_on);
LX_SHM_LAYOUT(sizeof(IWSharedGlobals) == 1016, record_size);

extern SMArena IW_arena;      /* this process's arena handle */
extern SMArena *IW_arena_ptr; /* &IW_arena once attached or created; null: no arena */
extern void *IW_iwl_ptr;      /* the suite's shared global record (SMGetInfo) */

/* A zeroed block of count x size bytes in the arena; null without an arena, for a zero size or
 * count, or when the heap is exhausted ("SMCalloc failed: ..." on stdout). No lock is taken. */
void *IWAlcSHM(int count, uint64_t size);
/* Frees a block of the arena (null: nothing). No lock is taken. */
void IWFreeSHM(void *block);
/* A zeroed block listed under name (null: listed without a name). Null without an arena or its
 * shared global record (IW_iwl_ptr), for a zero size or count, when the heap is exhausted or the
 * semaphore is not acquired in 5 s. */
void *IWAlcNamedSHM(int count, uint64_t size, const char *name);
/* The block of the oldest record named exactly name, or null (not found, no arena or shared
 * global record, semaphore not acquired in 5 s). */
void *IWRtNamedSHMAdd(const char *name);
/* Replaces the value listed under name in one step under the semaphore: the block of the oldest
 * record of that name (or a new record at the end of the list) becomes a fresh block of bytes
 * bytes holding a copy of value, and the old block is freed. Returns the new block, or null (no
 * arena or record, null name, zero bytes, arena full, semaphore not acquired in 5 s). */
void *IWSetNamedSHM(const char *name, const void *value, uint64_t bytes);
/* Unlists and frees a named block; a block not in the list is freed all the same. Needs the
 * semaphore opened earlier in this process; nothing is freed when it is not acquired in 5 s. */
void IWFreeNamedSHM(void *block);
/* Opens or creates (mode 0600) the Config Protection Semaphore "/IWConfigSem_$LOGNAME". 1 open,
 * 0 failed; one that is not ours or that others may open is refused, with one message per process. */
int IWOpenConfigSem(void);
/* Removes the semaphore's name from the system and forgets the handle (if it was open). */
void IWRemoveConfigSem(void);
/* Prints every record and the stored count to stdout, without taking the semaphore. */
void IWDumpNamedSHM(void);

#ifdef __cplusplus
}
#endif

#endif /* LUMARIX_SHM_H */
