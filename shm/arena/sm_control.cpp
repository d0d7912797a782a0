// The control segment: creating it, and finding and checking it for later processes. Finding
// the leftovers of a crashed suite (nobody attached, or the creator gone) removes them.
#include "sm_internal.h"

#include "lumarix/shm.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

namespace lx::sm {
namespace {

std::string homeDirectory()
{
    const char *home = std::getenv("HOME");
    std::string copy = home != nullptr ? home : "";
    if (copy.size() >= 4096)
        copy.resize(4095);
    return copy;
}

// The control segment is used only when it belongs to us; another user may have made a
// segment under our key.
bool ownedByUs(int id, const shmid_ds &info)
{
    if (info.shm_perm.uid == geteuid())
        return true;
    std::fprintf(stderr, "sm-lib: ignoring control segment %d: it belongs to user id %u\n", id,
                 static_cast<unsigned>(info.shm_perm.uid));
    return false;
}

// Only a process that is known to be gone counts as dead: a live process of another user
// answers signal 0 with EPERM.
bool processGone(pid_t pid)
{
    return pid <= 0 || (kill(pid, 0) != 0 && errno == ESRCH);
}

constexpr char kDataProject = 'N';

// The data segment under our key is removed only when it is ours too.
bool dataSegmentIsOurs()
{
    const int id = shmget(SG_key(homeDirectory().c_str(), kDataProject), 0, 0);
    shmid_ds info {};
    return id < 0 || shmctl(id, IPC_STAT, &info) != 0 || ownedByUs(id, info);
}

void removeLeftovers()
{
    SMExit(nullptr, 1);
    if (dataSegmentIsOurs())
        SG_destroy(nullptr);
    state().control_id = -1;
}

} // namespace

int smAllocateControl()
{
    trace("smAllocateControl");
    State &s = state();
    const std::string home = homeDirectory();
    s.last_error = kOk;
    errno = 0;
    const key_t key = SG_key(home.c_str(), kControlProject);
    int id = shmget(key, kControlBytes, IPC_CREAT | IPC_EXCL | 0660);
    if (id < 0 && errno == EEXIST) {
        // An existing block of ours is reused, unless a crashed suite left it: then the
        // system would keep naming the dead process as its creator, so make it afresh.
        id = shmget(key, kControlBytes, 0660);
        shmid_ds old {};
        if (id >= 0 && shmctl(id, IPC_STAT, &old) == 0 && old.shm_perm.uid == geteuid() &&
            (old.shm_nattch == 0 || processGone(old.shm_cpid)) && shmctl(id, IPC_RMID, nullptr) == 0)
            id = shmget(key, kControlBytes, IPC_CREAT | 0660);
    }
    if (id < 0) {
        std::fprintf(stderr, "smAllocateControl: shmget failed\nError: %d %s\n\n", errno, std::strerror(errno));
        s.last_error = kShmCallFailed;
        return 1;
    }
    shmid_ds info {};
    if (shmctl(id, IPC_STAT, &info) != 0 || !ownedByUs(id, info)) {
        s.last_error = kShmCallFailed;
        return 1;
    }
    s.control_key = key;
    s.control_id = id;
    smWriteCtlId();
    return 0;
}

int smAttachControl(bool creating)
{
    trace("smAttachControl");
    State &s = state();
    s.last_error = kOk;
    if (smGetCtlId() != kOk || s.control_id == -1)
        return 1;

    if (!creating) {
        shmid_ds info {};
        if (shmctl(s.control_id, IPC_STAT, &info) != 0) {
            std::fprintf(stderr, "Failed to get shared memory information.\nError: %s", std::strerror(errno));
            removeLeftovers();
            return 1;
        }
        if (!ownedByUs(s.control_id, info)) {
            s.control_id = -1; // never remove what belongs to someone else
            return 1;
        }
        if (info.shm_nattch == 0 || processGone(info.shm_cpid)) {
            std::fprintf(stderr, "Existing shared memory segment appears invalid.\n");
            removeLeftovers();
            return 1;
        }
    }

    void *address = shmat(s.control_id, nullptr, 0);
    if (address == reinterpret_cast<void *>(-1)) {
        s.last_error = kShmCallFailed;
        return 1;
    }
    s.control = static_cast<ControlBlock *>(address);
    s.mapped = true;
    s.creator_pid = s.control->creator_pid;
    s.arena_path.assign(s.control->path, strnlen(s.control->path, sizeof s.control->path));
    s.last_error = kOk;
    return 0;
}

} // namespace lx::sm
