// Arena control internals shared by the sm_*.cpp files: the control block layout and the
// per-process state.
#pragma once

#include "lumarix/shm.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace lx::sm {

// The control segment's contents. Other processes read it at these offsets: keep the layout.
struct ControlBlock {
    char path[4096]; // mapped file holding the arena; empty: a System V segment
    char reserved0[4];
    int32_t creator_pid;
    uint64_t size;  // arena size as requested from SMCreateArena
    uint64_t start; // arena start address in the creator
    char reserved1[44];
    uint8_t sync; // 1 once the creator has finished
    char padding[3];
};
static_assert(sizeof(ControlBlock) == 4168);
static_assert(offsetof(ControlBlock, path) == 0);
static_assert(offsetof(ControlBlock, creator_pid) == 4100);
static_assert(offsetof(ControlBlock, size) == 4104);
static_assert(offsetof(ControlBlock, start) == 4112);
static_assert(offsetof(ControlBlock, sync) == 4164);

constexpr size_t kControlBytes = sizeof(ControlBlock);
constexpr char kControlProject = 'F';

struct State {
    // All bits set: no control block. The address is kept after a detach (the block then
    // counts as held), so reads go through `mapped`.
    ControlBlock *control = reinterpret_cast<ControlBlock *>(~uintptr_t{0});
    bool mapped = false;
    int control_id = -1;
    key_t control_key = -1;
    unsigned char last_error = SM_OK; // SM_OK, SM_SHM_FAILED, SM_IDFILE_FAILED, SM_NOT_CREATOR
    int trace = 0;
    // Copied from the control block when it is attached, so that SMExit still knows the
    // creator and the file after SMDetachFromArena unmapped the block.
    pid_t creator_pid = 0;
    std::string arena_path;
};

State &state();
bool controlHeld();
void trace(const char *operation);

// Id file "/tmp/<user>.api_shmid" (user from USER, else the real user's login name).
std::string smGetIdFileName();
int smWriteCtlId();
int smGetCtlId();
void removeIdFile();
// The id file's text: one non-negative decimal id, optional surrounding white space.
std::optional<int> parseCtlId(std::string_view text);

int smAllocateControl();
// True only when signal 0 reports that no process pid exists (pid 0 or less never counts as gone).
bool processGone(pid_t pid);
int smAttachControl(bool creating);

// Login name of the real user id, for when USER or LOGNAME is unset.
std::string realUserName();

} // namespace lx::sm
