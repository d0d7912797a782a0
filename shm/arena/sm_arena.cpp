// Arena control: creating, attaching, detaching and removing the user's arena.
#include "sm_internal.h"

#include "lumarix/shm.h"
#include "segment/file_trust.h"
#include "segment/process_state.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace lx::sm;

namespace {

void *segmentStart(const SMArena *arena) { return reinterpret_cast<void *>(static_cast<uintptr_t>(arena->word[0])); }

void setSegmentStart(SMArena *arena, const void *start)
{
    if (arena != nullptr)
        arena->word[0] = reinterpret_cast<uintptr_t>(start);
}

// The creator recorded in the control block decides; the copy kept at attach time serves only
// once the block is no longer mapped here.
bool callerIsCreator()
{
    const State &s = state();
    const pid_t creator = s.mapped ? s.control->creator_pid : s.creator_pid;
    return creator == getpid();
}

void removeControlSegment(const char *operation)
{
    const State &s = state();
    if (s.control_id != -1 && shmctl(s.control_id, IPC_RMID, nullptr) != 0)
        std::fprintf(stderr, "%s: Error removing control shared memory: %s", operation, std::strerror(errno));
}

// What the creator records in the control block: the path, size, creator and sync byte.
void fillControlBlock(const char *path, uint64_t size)
{
    State &s = state();
    ControlBlock *block = s.control;
    if (path != nullptr) {
        // A path of 4096 bytes or more is cut and left without a terminator.
        const size_t length = std::min(std::strlen(path), sizeof block->path);
        std::memcpy(block->path, path, length);
        if (length < sizeof block->path)
            block->path[length] = '\0';
    } else {
        block->path[0] = '\0';
    }
    block->size = size;
    block->creator_pid = getpid();
    block->sync = 1;
    s.creator_pid = block->creator_pid;
    s.arena_path.assign(block->path, strnlen(block->path, sizeof block->path));
}

} // namespace

extern "C" {

void SMSetTrace(int on) { state().trace = on ? 1 : 0; }

int SMCreateArena(SMArena *arena, uint64_t size, const char *path)
{
    try {
        trace(__func__);
        State &s = state();
        if (controlHeld()) {
            setSegmentStart(arena, nullptr);
            return SM_CONTROL_HELD;
        }
        if (smAllocateControl() != 0) { // a live suite's arena is refused before anything is touched
            setSegmentStart(arena, nullptr);
            return s.last_error;
        }
        const int made = s.control_id;
        if (smAttachControl(true) != 0) {
            shmctl(made, IPC_RMID, nullptr);
            s.control_id = -1;
            setSegmentStart(arena, nullptr);
            return s.last_error;
        }
        fillControlBlock(path, size);
        removeIdFile();
        if (smWriteCtlId() != SM_OK) { // nobody could find this arena: give the control segment back
            shmdt(s.control);
            shmctl(made, IPC_RMID, nullptr);
            s.control = reinterpret_cast<ControlBlock *>(~uintptr_t{0});
            s.mapped = false;
            s.control_id = -1;
            setSegmentStart(arena, nullptr);
            s.last_error = SM_IDFILE_FAILED;
            return SM_IDFILE_FAILED;
        }

        // The path argument of the segment keeper is the copy in the control block, which a
        // cut path leaves unterminated.
        std::string keeper_path(s.control->path, strnlen(s.control->path, sizeof s.control->path));
        errno = 0;
        void *start = SG_create(keeper_path.c_str(), size);
        const int error = errno;
        s.control->start = reinterpret_cast<uintptr_t>(start);
        setSegmentStart(arena, start);
        // Only a failure is reported, with its own reason: steps that succeed may leave errno set.
        if (start == nullptr)
            std::fprintf(stderr, "SMCreateArena() -- mm_create(): %s\n",
                         error != 0 ? std::strerror(error) : "the arena segment could not be made");
        errno = start == nullptr ? error : 0;
        return SM_OK;
    } catch (...) {
        setSegmentStart(arena, nullptr);
        state().last_error = SM_SHM_FAILED;
        return SM_SHM_FAILED;
    }
}

int SMAttachToArena(SMArena *arena)
{
    try {
        trace(__func__);
        State &s = state();
        if (arena == nullptr)
            return SM_NO_ARENA;
        arena->word[0] = 0;
        arena->word[2] = 0;
        s.control = reinterpret_cast<ControlBlock *>(~uintptr_t{0});
        s.mapped = false;
        s.control_id = -1;
        if (smAttachControl(false) != 0) {
            errno = 0;
            return SM_NO_ARENA;
        }
        std::string path(s.control->path, strnlen(s.control->path, sizeof s.control->path));
        const uint64_t size = s.control->size;
        // Without LX_SHMSTADDR the arena is attached where its creator recorded it.
        lx::seg::process().creator_address = reinterpret_cast<void *>(static_cast<uintptr_t>(s.control->start));
        errno = 0;
        void *start = SG_attach(path.c_str(), size);
        setSegmentStart(arena, start);
        if (start == nullptr) {
            if (errno == EINVAL || errno == EEXIST || errno == ENOENT)
                errno = 0;
            return SM_NO_ARENA;
        }
        // Every pointer in the arena is an address in the creator's mapping: a process that
        // landed elsewhere would follow them into memory that is not the arena.
        const uintptr_t creator_start = s.control->start;
        if (reinterpret_cast<uintptr_t>(start) != creator_start) {
            std::fprintf(stderr,
                         "%s: the arena lies at %p here but at %p in the process "
                         "that created it; unset LX_SHMSTADDR or set it as the suite does.\n",
                         __func__, start, reinterpret_cast<void *>(creator_start));
            SG_detach(start);
            setSegmentStart(arena, nullptr);
            return SM_NO_ARENA;
        }
        return SM_OK;
    } catch (...) {
        return SM_NO_ARENA;
    }
}

int SMDetachFromArena(SMArena *arena)
{
    trace(__func__);
    State &s = state();
    s.last_error = SM_OK;
    if (controlHeld() && s.mapped) {
        shmdt(s.control);
        s.mapped = false;
    }
    if (arena != nullptr && segmentStart(arena) != nullptr)
        SG_detach(segmentStart(arena));
    return s.last_error;
}

int SMDestroyArena(SMArena *arena)
{
    trace(__func__);
    State &s = state();
    s.last_error = SM_OK;
    if (arena == nullptr || segmentStart(arena) == nullptr || !controlHeld())
        return s.last_error;
    if (!callerIsCreator()) {
        s.last_error = SM_NOT_CREATOR;
        return s.last_error;
    }
    SG_destroy(segmentStart(arena));
    removeControlSegment(__func__);
    return s.last_error;
}

void SMExit(SMArena *arena, int remove_file)
{
    try {
        trace(__func__);
        State &s = state();
        s.last_error = SM_OK;
        if (controlHeld() && !callerIsCreator()) {
            s.last_error = SM_NOT_CREATOR;
            return;
        }
        if (arena != nullptr)
            SMDestroyArena(arena);
        // Only a file that holds this arena is removed: never one that SG_create refused (planted
        // by another user, a link, writable by others).
        struct stat st {};
        if (controlHeld() && remove_file && !s.arena_path.empty() && (!s.mapped || s.control->start != 0) &&
            lstat(s.arena_path.c_str(), &st) == 0 && lx::seg::distrust(st) == nullptr)
            unlink(s.arena_path.c_str());
        removeControlSegment(__func__);
        removeIdFile();
    } catch (...) {
    }
}

} // extern "C"
