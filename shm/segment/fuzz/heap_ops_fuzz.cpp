// Fuzz target: the input is a program of heap operations (allocate, zero-allocate, resize, free,
// take bytes from the break behind the heap's back) run on a small fresh heap. Every block must
// be aligned, lie inside the allowance, overlap no other and keep its contents; the heap checker
// must pass after every operation; once all is freed, the whole heap serves one block again
// (unless memory was taken behind its back). The tests run it on seeded random programs too.
#include <lumarix/shm.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr uint64_t kUsable = 1 << 20;
constexpr uint64_t kAllowance = kUsable + 4'821'400; // kUsable past the first break
constexpr uint64_t kFirstBreak = 4'823'616;
constexpr size_t kSlots = 32;

struct Slot {
    unsigned char *p = nullptr;
    uint64_t size = 0;
    unsigned char fill = 0;
};

[[noreturn]] void fault(const char *what, const char *reason = "")
{
    std::fprintf(stderr, "heap_ops_fuzz: %s %s\n", what, reason);
    std::abort();
}

void check_heap()
{
    char reason[256];
    if (!SG_heap_check(reason, sizeof reason))
        fault("checker:", reason);
}

void verify(const Slot &s)
{
    for (uint64_t i = 0; i < s.size; ++i)
        if (s.p[i] != s.fill)
            fault("a block lost its contents");
}

std::array<Slot, kSlots> slots;
unsigned char *heap_begin = nullptr;

void take(Slot &s, void *p, uint64_t size, unsigned char fill)
{
    s.p = static_cast<unsigned char *>(p);
    s.size = size;
    s.fill = fill;
    if (reinterpret_cast<uintptr_t>(p) % 16 != 0)
        fault("misaligned block");
    if (s.p < heap_begin || s.p + size > heap_begin + kUsable)
        fault("block outside the allowance");
    if (SG_malloc_usable_size(p) < size)
        fault("block smaller than asked");
    for (const Slot &o : slots)
        if (&o != &s && o.p != nullptr && s.p < o.p + o.size && o.p < s.p + size)
            fault("blocks overlap");
    std::memset(p, fill, size);
}

const std::string &segment_path()
{
    static const std::string path = "/tmp/lx-heap-ops-fuzz-" + std::to_string(getpid());
    return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = [] {
        unsetenv("LX_SHMSTADDR");
        return true;
    }();
    (void)once;
    void *start = SG_create(segment_path().c_str(), kAllowance);
    if (start == nullptr)
        fault("cannot create the segment");
    heap_begin = static_cast<unsigned char *>(start) + kFirstBreak;
    slots = {};
    bool foreign = false;
    for (size_t i = 0; i + 4 <= size; i += 4) {
        unsigned op = data[i] % 5;
        Slot &s = slots[data[i + 1] % kSlots];
        uint64_t n = (uint64_t{data[i + 2]} << 8 | data[i + 3]) * (data[i] & 0x80 ? 16 : 1);
        auto fill = static_cast<unsigned char>(data[i] ^ data[i + 3]);
        if (op == 0 || op == 1) {
            if (s.p) {
                verify(s);
                SG_free(nullptr, s.p);
                s = Slot{};
            }
            void *p = op == 0 ? SG_malloc(nullptr, n) : SG_calloc(nullptr, static_cast<int>(n % 64), n / 64);
            uint64_t asked = op == 0 ? n : (n % 64) * (n / 64);
            if (p && op == 1)
                for (uint64_t k = 0; k < asked; ++k)
                    if (static_cast<unsigned char *>(p)[k] != 0)
                        fault("calloc block not zeroed");
            if (p)
                take(s, p, asked, fill);
        } else if (op == 2 && s.p) {
            verify(s);
            void *p = SG_realloc(nullptr, s.p, n);
            if (p) {
                Slot kept{static_cast<unsigned char *>(p), n < s.size ? n : s.size, s.fill};
                verify(kept);
                take(s, p, n, fill);
            } else {
                verify(s);
            }
        } else if (op == 3 && s.p) {
            verify(s);
            SG_free(nullptr, s.p);
            s = Slot{};
        } else if (op == 4) {
            // memory the heap must step over
            foreign |= n % 64 != 0 && SHMsbrk(static_cast<int64_t>(n % 64)) != reinterpret_cast<void *>(-1);
        }
        check_heap();
    }
    for (Slot &s : slots)
        if (s.p) {
            verify(s);
            SG_free(nullptr, s.p);
            s = Slot{};
        }
    check_heap();
    if (!foreign && SG_malloc(nullptr, kUsable - 64) == nullptr)
        fault("freed memory did not merge back into one piece");
    SG_detach(start);
    SG_destroy(start); // removes the file; the next input makes it afresh
    return 0;
}
