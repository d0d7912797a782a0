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

} // namespace

// Only a process that is known to be gone counts as dead: a live process of another user
// answers signal 0 with EPERM, and a creator outside this process's PID namespace is recorded
// as 0 (it may well be alive).
bool processGone(pid_t pid) { return pid > 0 && kill(pid, 0) != 0 && errno == ESRCH; }

namespace {

constexpr char kDataProject = 'N';

// The data segment under our key is removed only when it is ours too.
bool dataSegmentIsOurs()
{
    const int id = shmget(SG_key(homeDirectory().c_str(), kDataProject), 0, 0);
    shmid_ds info{};
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

// The creator of a live control segment (the pid the system records; the block's own record
// when the system shows 0, as it does for a creator in another PID namespace), or 0 when the
// segment is a leftover whose creator is gone.
static pid_t liveCreator(int id, const shmid_ds &info)
{
    if (processGone(info.shm_cpid))
        return 0;
    if (info.shm_cpid > 0)
        return info.shm_cpid;
    pid_t recorded = -1;
    if (void *block = shmat(id, nullptr, SHM_RDONLY); block != reinterpret_cast<void *>(-1)) {
        recorded = static_cast<const ControlBlock *>(block)->creator_pid;
        shmdt(block);
    }
    return recorded > 0 ? recorded : -1;
}

// Makes the control segment. One that exists already belongs to a live suite unless its creator
// is gone: then it is refused (last error 1, nothing touched); a leftover is replaced. Of two
// processes making it at once, exactly one succeeds (IPC_EXCL).
int smAllocateControl()
{
    trace(__func__);
    State &s = state();
    const std::string home = homeDirectory();
    s.last_error = SM_OK;
    const key_t key = SG_key(home.c_str(), kControlProject);
    int id = -1;
    for (int attempt = 0; attempt < 3 && id < 0; ++attempt) {
        errno = 0;
        id = shmget(key, kControlBytes, IPC_CREAT | IPC_EXCL | 0660);
        if (id >= 0 || errno != EEXIST)
            break;
        const int existing = shmget(key, 0, 0);
        shmid_ds old{};
        if (existing < 0 || shmctl(existing, IPC_STAT, &old) != 0)
            continue; // removed meanwhile: try again
        if (!ownedByUs(existing, old)) {
            s.last_error = SM_SHM_FAILED;
            return 1;
        }
        if (const pid_t owner = liveCreator(existing, old); owner != 0) {
            std::fprintf(stderr, "%s: the arena of this user belongs to the running process %d\n", __func__,
                         static_cast<int>(owner));
            s.last_error = SM_SHM_FAILED;
            return 1;
        }
        shmctl(existing, IPC_RMID, nullptr); // a crashed suite's leftover
    }
    if (id < 0) {
        const int error = errno;
        std::fprintf(stderr, "%s: shmget failed\nError: %d %s\n\n", __func__, error, std::strerror(error));
        s.last_error = SM_SHM_FAILED;
        return 1;
    }
    s.control_key = key;
    s.control_id = id;
    return 0;
}

int smAttachControl(bool creating)
{
    trace(__func__);
    State &s = state();
    s.last_error = SM_OK;
    // The creator attaches the segment it has just made; the id file is written afterwards, so
    // no other process finds a control block that nobody holds yet.
    if (!creating && (smGetCtlId() != SM_OK || s.control_id == -1))
        return 1;

    if (!creating) {
        shmid_ds info{};
        if (shmctl(s.control_id, IPC_STAT, &info) != 0) {
            std::fprintf(stderr, "Failed to get shared memory information.\nError: %s", std::strerror(errno));
            removeLeftovers();
            return 1;
        }
        if (!ownedByUs(s.control_id, info)) {
            s.control_id = -1; // never remove what belongs to someone else
            return 1;
        }
        if ((info.shm_nattch == 0 && liveCreator(s.control_id, info) <= 0) || processGone(info.shm_cpid)) {
            std::fprintf(stderr, "Existing shared memory segment appears invalid.\n");
            removeLeftovers();
            return 1;
        }
    }

    void *address = shmat(s.control_id, nullptr, 0);
    if (address == reinterpret_cast<void *>(-1)) {
        s.last_error = SM_SHM_FAILED;
        return 1;
    }
    s.control = static_cast<ControlBlock *>(address);
    s.mapped = true;
    s.creator_pid = s.control->creator_pid;
    s.arena_path.assign(s.control->path, strnlen(s.control->path, sizeof s.control->path));
    s.last_error = SM_OK;
    return 0;
}

} // namespace lx::sm

extern "C" int SMArenaOwner(void)
{
    try {
        const int id = shmget(SG_key(lx::sm::homeDirectory().c_str(), lx::sm::kControlProject), 0, 0);
        shmid_ds info{};
        if (id < 0 || shmctl(id, IPC_STAT, &info) != 0 || info.shm_perm.uid != geteuid())
            return 0;
        return lx::sm::liveCreator(id, info);
    } catch (...) {
        return 0;
    }
}
