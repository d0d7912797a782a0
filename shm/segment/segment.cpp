// Creating, attaching, detaching and removing the shared segment, as a System V segment or as a
// shared mapping of a file, at the address LX_SHMSTADDR names.
#include <lumarix/shm.h>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "file_trust.h"
#include "heap.h"
#include "process_state.h"
#include "segment_layout.h"

extern "C" {
int giShmId = -1;
void *GBLdl_p = nullptr;
}

namespace lx::seg {
namespace {

constexpr char kProjectChar = 'N';

struct Environment {
    void *arena_addr = nullptr;
    const char *home = nullptr;
};

Environment read_environment(const char *caller)
{
    Environment env;
    if (std::getenv("DEBUG_SG") != nullptr)
        process().debug = true;
    if (const char *text = std::getenv("LX_SHMSTADDR")) {
        char *end = nullptr;
        errno = 0;
        long value = std::strtol(text, &end, 16);
        if (errno == ERANGE || end == text || *end != '\0')
            std::fprintf(stderr, "%s: LX_SHMSTADDR \"%s\" is not a hexadecimal address; using %#lx\n", caller, text,
                         static_cast<unsigned long>(value));
        env.arena_addr = reinterpret_cast<void *>(value);
    } else {
        env.arena_addr = process().creator_address;
    }
    env.home = std::getenv("HOME");
    return env;
}

uint64_t page_size() { return static_cast<uint64_t>(sysconf(_SC_PAGESIZE)); }

bool is_file_mode(const char *path) { return path != nullptr && path[0] != '\0'; }

// Maps the file shared; at the requested address exactly when one is given, so that every
// process sees the segment at the same place or fails.
void *map_file(int fd, uint64_t length, void *addr)
{
    // Rounded down to a page, as shmat rounds with SHM_RND.
    addr = reinterpret_cast<void *>(reinterpret_cast<uintptr_t>(addr) & ~(page_size() - 1));
    int flags = MAP_SHARED;
    if (addr != nullptr)
        flags |= MAP_FIXED_NOREPLACE;
    void *p = mmap(addr, length, PROT_READ | PROT_WRITE, flags, fd, 0);
    if (p == MAP_FAILED)
        return nullptr;
    if (addr != nullptr && p != addr) { // a kernel that took the address as a hint only
        munmap(p, length);
        errno = EEXIST;
        return nullptr;
    }
    return p;
}

void print_shmat_failure(const char *caller, int err, void *addr)
{
    std::printf("%s:  shmat failed: errno %d %s\n", caller, err, std::strerror(err));
    std::printf("            giShmId = %d, arena_addr = %p, SHM_RND\n", giShmId, addr);
    std::printf("Check environment variable LX_SHMSTADDR.  You may need to set it or\n");
    std::printf("increase the setting to a higher address.\n");
}

void remember_mapping(char *start, uint64_t length, const char *path)
{
    ProcessState &ps = process();
    ps.map_begin = start;
    ps.map_end = start + length;
    GBLdl_p = start + kHeapStateOffset;
    if (path != nullptr) {
        ps.file_mode = true;
        ps.file_name = path;
        ps.has_file_name = true;
    }
}

// After an attach: the heap may be used here only if it was laid out for this very mapping.
void judge_heap(const char *caller)
{
    ProcessState &ps = process();
    auto *st = static_cast<heap::State *>(GBLdl_p);
    char *first_break = ps.map_begin + kFirstBreakOffset;
    ps.heap = nullptr;
    if (st->magic != heap::kStateMagic) {
        std::fprintf(stderr, "%s: the segment at %p holds no heap; allocation is refused\n", caller,
                     static_cast<void *>(ps.map_begin));
        return;
    }
    char *brk = st->curSHMbrk;
    uint64_t room = ps.map_end > first_break ? static_cast<uint64_t>(ps.map_end - first_break) : 0;
    if (brk < first_break || static_cast<uint64_t>(brk - first_break) != st->used || st->used > st->limit ||
        st->limit > room) {
        std::fprintf(stderr,
                     "%s: the heap in the segment at %p was laid out for another address or size "
                     "(break %p); allocation is refused. Use the same LX_SHMSTADDR and size in every "
                     "process\n",
                     caller, static_cast<void *>(ps.map_begin), static_cast<void *>(brk));
        return;
    }
    ps.heap = st;
}

// Opens (and when creating, makes) the file; a file made here is removed again if a later step
// fails, so a failed create leaves nothing behind.
struct OpenedFile {
    int fd = -1;
    bool created = false;
};

// A new file is made 0600 whatever the umask; an existing one is used only when it is a regular
// file of ours that nobody else may write. A symbolic link is never followed.
OpenedFile open_file(const char *path, bool create, const char *caller)
{
    OpenedFile f;
    const int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    if (create) {
        f.fd = open(path, flags | O_CREAT | O_EXCL, 0600);
        if (f.fd >= 0) {
            f.created = true;
            fchmod(f.fd, 0600); // the umask may have taken bits away
            return f;
        }
        if (errno != EEXIST)
            return f;
    }
    f.fd = open(path, flags);
    if (f.fd < 0) {
        if (errno == ELOOP)
            std::fprintf(stderr, "%s: refusing %s: it is a symbolic link\n", caller, path);
        return f;
    }
    if (const char *why = distrust_fd(f.fd)) {
        std::fprintf(stderr, "%s: refusing %s: %s\n", caller, path, why);
        close(f.fd);
        f.fd = -1;
        errno = EPERM;
    }
    return f;
}

void *fail_file(const OpenedFile &f, const char *path)
{
    int err = errno;
    close(f.fd);
    if (f.created)
        unlink(path);
    errno = err;
    return nullptr;
}

void *create_file_segment(const char *caller, const char *path, uint64_t length, const Environment &env)
{
    if (process().debug)
        std::printf("%s: Opening file %s as mmap region of %ld bytes\n", caller, path, static_cast<long>(length));
    OpenedFile f = open_file(path, true, caller);
    if (f.fd < 0) {
        std::printf("Couldn't open file for mmap: %s\n", std::strerror(errno));
        return nullptr;
    }
    if (ftruncate(f.fd, static_cast<off_t>(length)) != 0) {
        std::fprintf(stderr, "%s: cannot set the length of %s to %" PRIu64 " bytes: %s\n", caller, path, length,
                     std::strerror(errno));
        return fail_file(f, path);
    }
    void *start = map_file(f.fd, length, env.arena_addr);
    if (start == nullptr) {
        std::fprintf(stderr, "%s: cannot map %s (%" PRIu64 " bytes) at %p: %s\n", caller, path, length, env.arena_addr,
                     std::strerror(errno));
        return fail_file(f, path);
    }
    close(f.fd);
    return start;
}

void *create_system_segment(const char *caller, uint64_t length, const Environment &env)
{
    bool debug = process().debug;
    if (debug)
        std::printf("%s: Creating shared memory of %ld bytes\n", caller, static_cast<long>(length));
    key_t key = SG_key(env.home, kProjectChar);
    if (debug)
        std::printf("%s: Key is 0x%x\n", caller, static_cast<unsigned>(key));
    // An existing segment of this key is reused; one made here is removed again if the attach
    // fails, so that a failed create leaves nothing behind.
    giShmId = shmget(key, length, IPC_CREAT | IPC_EXCL | 0600);
    bool made_here = giShmId >= 0;
    if (!made_here && errno == EEXIST)
        giShmId = shmget(key, length, IPC_CREAT | 0600);
    if (giShmId < 0) {
        int err = errno;
        std::printf("shmget failed: errno %d %s\n", err, std::strerror(err));
        return nullptr;
    }
    void *start = shmat(giShmId, env.arena_addr, SHM_RND);
    if (start == reinterpret_cast<void *>(-1)) {
        print_shmat_failure(caller, errno, env.arena_addr);
        if (made_here) {
            shmctl(giShmId, IPC_RMID, nullptr);
            giShmId = -1;
        }
        return nullptr;
    }
    return start;
}

} // namespace

ProcessState g_process;

uint64_t mapping_length(uint64_t allowance)
{
    if (allowance > kMaxAllowance || allowance < kMinAllowance)
        return 0;
    return allowance + kPrefixSize;
}

} // namespace lx::seg

using namespace lx::seg;

extern "C" key_t SG_key(const char *path, char project)
{
    (void)path;
    auto uid = static_cast<uint32_t>(getuid());
    auto c = static_cast<uint32_t>(static_cast<int>(project));
    uint32_t m = 1000;
    uint32_t key = m * uid + c;
    while (key >= 0x80000000u && m > 0) {
        --m;
        key = m * uid + c;
    }
    return static_cast<key_t>(key);
}

extern "C" void *SG_create(const char *path, uint64_t size)
{
    try {
        Environment env = read_environment(__func__);
        uint64_t length = mapping_length(size);
        if (length == 0) {
            std::fprintf(stderr, "%s: a heap of %" PRIu64 " bytes cannot be mapped (%" PRIu64 " to 2^62)\n", __func__,
                         size, kMinAllowance);
            return nullptr;
        }
        bool file = is_file_mode(path);
        void *start =
            file ? create_file_segment(__func__, path, length, env) : create_system_segment(__func__, length, env);
        if (start == nullptr)
            return nullptr;

        auto *header = static_cast<SegmentHeader *>(start);
        header->mapped_words = size + kPrefixSize;
        header->allowance = size;
        header->prefix = kPrefixSize;
        header->header_size = kHeaderSize;
        remember_mapping(static_cast<char *>(start), length, file ? path : nullptr);
        auto *st = static_cast<lx::heap::State *>(GBLdl_p);
        lx::heap::init(st, static_cast<char *>(GBLdl_p) + kBreakFromState, usable_allowance(size, length));
        process().heap = st;
        if (process().debug)
            std::fprintf(stderr, "%s: GBLdl_p %p,  cuSHMbrk %p\n", __func__, GBLdl_p,
                         static_cast<void *>(st->curSHMbrk));
        return start;
    } catch (...) {
        std::fprintf(stderr, "%s: out of memory\n", __func__);
        return nullptr;
    }
}

extern "C" void *SG_attach(const char *path, uint64_t size)
{
    try {
        Environment env = read_environment(__func__);
        uint64_t length = mapping_length(size);
        if (length == 0) {
            std::fprintf(stderr, "%s: a heap of %" PRIu64 " bytes cannot be mapped (%" PRIu64 " to 2^62)\n", __func__,
                         size, kMinAllowance);
            return nullptr;
        }
        bool debug = process().debug;
        void *start = nullptr;
        if (is_file_mode(path)) {
            if (debug)
                std::printf("%s: Attaching to file %s as mmap region of %ld bytes\n", __func__, path,
                            static_cast<long>(length));
            OpenedFile f = open_file(path, false, __func__);
            if (f.fd < 0) {
                std::printf("Couldn't open file for mmap: %s\n", std::strerror(errno));
                return nullptr;
            }
            struct stat sb {};
            if (fstat(f.fd, &sb) != 0 || static_cast<uint64_t>(sb.st_size) < length) {
                std::fprintf(stderr,
                             "%s: %s holds %lld bytes, fewer than the %" PRIu64 " a heap of %" PRIu64 " bytes needs\n",
                             __func__, path, static_cast<long long>(sb.st_size), length, size);
                close(f.fd);
                return nullptr;
            }
            start = map_file(f.fd, length, env.arena_addr);
            if (start == nullptr) {
                std::fprintf(stderr, "%s: cannot map %s (%" PRIu64 " bytes) at %p: %s\n", __func__, path, length,
                             env.arena_addr, std::strerror(errno));
                close(f.fd);
                return nullptr;
            }
            close(f.fd);
        } else {
            if (debug)
                std::printf("%s: Attaching shared memory region of %ld bytes\n", __func__, static_cast<long>(length));
            key_t key = SG_key(env.home, kProjectChar);
            if (debug)
                std::printf("%s: Key is 0x%x\n", __func__, static_cast<unsigned>(key));
            giShmId = shmget(key, length, 0600);
            if (giShmId < 0) {
                int err = errno;
                std::printf("shmget failed: errno %d %s\n", err, std::strerror(err));
                return nullptr;
            }
            start = shmat(giShmId, env.arena_addr, SHM_RND);
            if (start == reinterpret_cast<void *>(-1)) {
                print_shmat_failure(__func__, errno, env.arena_addr);
                return nullptr;
            }
            // shmat maps the whole segment, which may be longer than this caller asked for.
            struct shmid_ds ds {};
            if (shmctl(giShmId, IPC_STAT, &ds) == 0 && ds.shm_segsz > length)
                length = ds.shm_segsz;
        }
        remember_mapping(static_cast<char *>(start), length, is_file_mode(path) ? path : nullptr);
        judge_heap(__func__);
        return start;
    } catch (...) {
        std::fprintf(stderr, "%s: out of memory\n", __func__);
        return nullptr;
    }
}

extern "C" void SG_detach(void *start)
{
    ProcessState &ps = process();
    if (start == nullptr)
        return;
    bool ours = static_cast<char *>(start) == ps.map_begin;
    if (ps.file_mode) {
        if (!ours) {
            std::fprintf(stderr, "%s: %p is not the start of the mapped segment\n", __func__, start);
            return;
        }
        munmap(start, static_cast<size_t>(ps.map_end - ps.map_begin));
    } else {
        shmdt(start);
    }
    if (ours) {
        ps.map_begin = ps.map_end = nullptr;
        ps.heap = nullptr;
        GBLdl_p = nullptr;
    }
}

extern "C" void SG_destroy(void *start)
{
    (void)start;
    ProcessState &ps = process();
    if (!ps.file_mode) {
        if (giShmId < 0) {
            giShmId = shmget(SG_key(std::getenv("HOME"), kProjectChar), 100, 0600);
            if (giShmId < 0)
                std::fprintf(stderr, "Attempt to get shared memory ID failed.\nError %s", std::strerror(errno));
        }
        // An id of 0 is never removed.
        if (giShmId > 0 && shmctl(giShmId, IPC_RMID, nullptr) != 0)
            std::fprintf(stderr, "%s: shmctl failed with message:\n%s", __func__, std::strerror(errno));
        giShmId = -1;
    } else if (ps.has_file_name) {
        unlink(ps.file_name.c_str());
        ps.file_name.clear();
        ps.file_name.shrink_to_fit();
        ps.has_file_name = false;
    }
}
