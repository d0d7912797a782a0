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

int SMCreateArena(SMArena *arena, uint64_t size, const char *path);
int SMAttachToArena(SMArena *arena);
int SMDetachFromArena(SMArena *arena);
void SMExit(SMArena *arena, int remove_file);
int SMDestroyArena(SMArena *arena);
void *SMMalloc(SMArena *arena, uint64_t bytes);
void *SMCalloc(SMArena *arena, int count, uint64_t size);
void *SMRecalloc(SMArena *arena, void *block, int count, uint64_t size);
void *SMRealloc(SMArena *arena, void *block, uint64_t bytes);
void SMFree(SMArena *arena, void *block);
void *SMGetInfo(SMArena *arena);
void SMPutInfo(SMArena *arena, void *info);
int64_t SMGetSpaceFree(const char *directory);
int SMGetRLimit(uint64_t *current, uint64_t *maximum);
int SMSetRLimit(uint64_t current, uint64_t maximum);
int SMSetSyncState(int state);
int SMGetSyncState(void);
int SMGetError(void);
const char *SMGetMethod(void);

/* ---- Named shared blocks ------------------------------------------------------------- */

extern SMArena IW_arena;      /* this process's arena handle */
extern SMArena *IW_arena_ptr; /* &IW_arena once attached or created; null: no arena */
extern void *IW_iwl_ptr;      /* the suite's shared global record (SMGetInfo) */

void *IWAlcSHM(int count, uint64_t size);
void IWFreeSHM(void *block);
void *IWAlcNamedSHM(int count, uint64_t size, const char *name);
void *IWRtNamedSHMAdd(const char *name);
void IWFreeNamedSHM(void *block);
int IWOpenConfigSem(void);
void IWRemoveConfigSem(void);
void IWDumpNamedSHM(void);

/* SM-SECTION-END */

#ifdef __cplusplus
}
#endif

#endif /* LUMARIX_SHM_H */
