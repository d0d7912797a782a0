// The segment's fixed layout (header words, heap state, first break), the break's limits, the user
// key, the DEBUG_SG traces and the address warning: what other processes and their users depend
// on; and create and attach when the system says no: each gives its message and null, and leaves
// nothing behind.
#include <sys/shm.h>

#include <cstring>
#include <filesystem>

#include "segment_test_support.h"

namespace lx::test {
namespace {

// The segment is exactly allowance + 2216 bytes; the break starts 4,823,616 bytes in, so the heap
// may use only the allowance less 4,821,400 bytes: nothing it hands out lies past the mapping.
constexpr uint64_t kAllowance = 8 << 20;
constexpr uint64_t kUsable = kAllowance - kShortfall;

class Break : public FileSegment {};

TEST_F(Break, LayoutIsTheSameForEveryProcessAndTheLimitEndsAtTheEndOfTheMapping)
{
    open_segment(kAllowance);
    uint64_t words[4], tail[3];
    std::memcpy(words, start_, sizeof words);
    std::memcpy(tail, start_ + 1600 + 2176 - 24, sizeof tail); // the heap state ends with break, used, limit
    EXPECT_EQ(std::vector<uint64_t>(words, words + 4),
              (std::vector<uint64_t>{kAllowance + 2216, kAllowance, 2216, 40}));
    EXPECT_EQ(std::filesystem::file_size(dir_ / "segment.map"), kAllowance + 2216);
    EXPECT_EQ(GBLdl_p, start_ + 1600);
    EXPECT_EQ(std::vector<uint64_t>(tail, tail + 3),
              (std::vector<uint64_t>{reinterpret_cast<uint64_t>(first_break()), 0, kUsable}));
    EXPECT_EQ(SHMsbrk(0), first_break());
    EXPECT_EQ(SHMsbrk(1), first_break());
    EXPECT_EQ(SHMsbrk(0), first_break() + 8) << "increments are rounded up to 8 bytes";
    EXPECT_EQ(SHMsbrk(kUsable - 7), kRefused) << "rounded up, it would end 8 bytes past the limit";
    EXPECT_EQ(SHMsbrk(kUsable - 16), first_break() + 8) << "a refused request leaves the break alone";
    EXPECT_EQ(SHMsbrk(9), kRefused) << "9 rounds up to 16, past the limit";
    EXPECT_EQ(SHMsbrk(8), first_break() + kUsable - 8);
    EXPECT_EQ(SHMsbrk(1), kRefused);
    EXPECT_EQ(first_break() + kUsable, start_ + kAllowance + 2216);
}

TEST_F(Break, AnAllowanceShorterThanTheFirstBreakLeavesTheHeapNothing)
{
    open_segment(1 << 20);
    EXPECT_EQ(SHMsbrk(0), first_break());
    EXPECT_EQ(SHMsbrk(8), kRefused);
    EXPECT_EQ(SG_malloc(nullptr, 1), nullptr);
}

TEST_F(Break, NegativeAndOverlongIncrementsAreRefused)
{
    open_segment(uint64_t{10} << 30); // a sparse file: only touched pages cost memory
    // Bits above 32 are never silently dropped: 4 GiB would otherwise become a zero increment.
    for (int64_t n : {int64_t{-8}, INT64_MIN, int64_t{1} << 32, (int64_t{1} << 32) + 16, int64_t{0xFFFFFFF9}})
        EXPECT_EQ(SHMsbrk(n), kRefused) << n;
    EXPECT_EQ(SHMsbrk(0xFFFFFFF8), first_break());
    EXPECT_EQ(SHMsbrk(0), first_break() + 0xFFFFFFF8);
    uint64_t big = (uint64_t{4} << 30) + 4096; // the heap grows past one increment
    auto *p = static_cast<char *>(SG_malloc(nullptr, big));
    ASSERT_NE(p, nullptr);
    p[big - 1] = 2;
    EXPECT_EQ(heap_fault(), "");
}

// Growth continues the heap where it ended and takes only what is missing. (Memory that others
// take from the break is stepped over: the heap model does that now and then.)
TEST_F(Break, HeapGrowsContiguously)
{
    open_segment(kAllowance);
    auto *a = static_cast<char *>(SG_malloc(nullptr, 100));
    EXPECT_EQ(static_cast<char *>(SG_malloc(nullptr, 8192)), a + 112); // more than the first growth left
    EXPECT_LE(static_cast<char *>(SHMsbrk(0)) - first_break(), 112 + 8208 + 4096);
    EXPECT_NE(SG_malloc(nullptr, kUsable - 8320 - 128), nullptr) << "the rest, though a whole grow step no longer fits";
}

TEST(UserKey, MixesTheUserIdWithTheProjectLetter)
{
    EXPECT_EQ(SG_key("/ignored", 'N'), static_cast<key_t>(1000u * getuid() + 'N'));
    // 3,000,000: the factor drops to 715 to stay below 2^31; 5,000,000: 1000 × uid wraps past 2^32.
    for (auto [uid, key] : {std::pair{"65534", "65534078"}, {"3000000", "2145000078"}, {"5000000", "705032782"}}) {
        Result r = run({"setpriv", std::string("--reuid=") + uid, "--regid=65534", "--clear-groups", kHelper, "key"});
        EXPECT_EQ(field(r.out, "key"), key) << "uid " << uid << r.err;
    }
}

// An address that is not hexadecimal is used as far as it is, with a warning.
TEST(Diagnostics, TracesOfEveryCallAndAnAddressThatIsNotHexadecimal)
{
    TempDir dir;
    const std::string path = dir / "traced.map", bytes = " as mmap region of 1050792 bytes\nstart 0x500000000000\n";
    Result r = run_helper({"sg-create:" + path + ":1048576"}, {"DEBUG_SG=1"});
    EXPECT_EQ(r.out + r.err, "SG_create: Opening file " + path + bytes +
                                 "SG_create: GBLdl_p 0x500000000640,  cuSHMbrk 0x500000499a40\n");
    EXPECT_EQ(run_helper({"sg-attach:" + path + ":1048576"}, {"DEBUG_SG=1"}).out,
              "SG_attach: Attaching to file " + path + bytes);
    r = run_helper({"sg-create:-:16777216", "calls"}, {"DEBUG_SG=1"});
    std::string a, b, c, a2, b2;
    std::istringstream(r.out.substr(r.out.find("calls ") + 6)) >> a >> b >> c >> a2 >> b2;
    EXPECT_EQ(r.out.rfind("SG_create: Creating shared memory of 16779432 bytes\nSG_create: Key is 0x", 0), 0u) << r.out;
    EXPECT_EQ(run_helper({"sg-attach:-:16777216"}, {"DEBUG_SG=1"})
                  .out.rfind("SG_attach: Attaching shared memory region of 16779432 bytes\nSG_attach: Key is 0x", 0),
              0u);
    EXPECT_EQ(missingInOrder(r.err, {"SHMsbrk(0): GBLdl_p 0x500000000640,  curSHMbrk 0x500000499a40\n",
                                     a + " = SG_malloc(10) pid=", b + " = SG_calloc(2, 8) pid=",
                                     "SG_reCalloc((nil), 1, 4)\t\treturns:  " + c + " from dlcalloc\n",
                                     a2 + " = SG_realloc(" + a + ", 20) pid=",
                                     "SG_reCalloc(" + b + ", 3, 8)\t\treturns:  " + b2 + " from dlrealloc\n",
                                     "SG_free(" + c + ") pid="}),
              "")
        << r.err;
    r = run_helper({"sg-create:" + dir / "a.map" + ":1048576"}, {"LX_SHMSTADDR=500000000000xyz"});
    EXPECT_EQ(r.out + r.err, "start 0x500000000000\nSG_create: LX_SHMSTADDR \"500000000000xyz\" is not a hexadecimal "
                             "address; using 0x500000000000\n");
    r = run_helper({"sg-create:" + dir / "b.map" + ":1048576"}, {"LX_SHMSTADDR=nowhere"});
    EXPECT_NE(r.err.find("\"nowhere\" is not a hexadecimal address; using 0\n"), std::string::npos) << r.err;
}

bool user_segment_exists() { return shmget(SG_key(nullptr, 'N'), 0, 0) >= 0; }

// A file that did not exist is not left behind; one that did is neither removed nor cut.
TEST(CreateFails, GivesTheReasonAndLeavesNothingBehind)
{
    TempDir dir;
    const std::string mb = "1048576", all = "18446744073709551615", m = dir / "arena.map", no = dir / "no.map";
    const std::string denied = "Couldn't open file for mmap: Permission denied\nstart (nil)\n";
    const std::vector<std::string> none,
        as1GiB = {"prlimit", "--as=1073741824"}, small = {"prlimit", "--fsize=65536"},
        capped = {"unshare", "--ipc", "sh", "-c", "echo 1048576 > /proc/sys/kernel/shmmax && exec \"$0\" \"$@\""};
    ASSERT_EQ(run_helper({"sg-create:" + m + ":" + mb}).status, 0);
    writeFile(dir / "short.map", "short");
    writeFile(dir / "kept.map", "someone's data");
    ASSERT_NE(SG_create(nullptr, 1 << 20), nullptr);
    const struct {
        std::vector<std::string> wrapper;
        std::string verb, path, size, message;
    } cases[] = {
        {none, "attach", "-", "67108864", "shmget failed: errno 22 Invalid argument\nstart (nil)\n"},
        {capped, "create", "-", "4194304", "shmget failed: errno 22 Invalid argument\nstart (nil)\n"},
        {kAsNobody, "attach", "-", mb, "shmget failed: errno 2 No such file or directory\nstart (nil)\n"},
        {kAsNobody, "attach", m, mb, denied},
        {kAsNobody, "create", no, mb, denied},
        {none, "attach", no, mb, "Couldn't open file for mmap: No such file or directory\n"},
        {none, "attach", dir / "short.map", mb, "SG_attach: " + dir / "short.map" + " holds 5 bytes, fewer than"},
        {small, "create", no, mb, "SG_create: cannot set the length of " + no},
        {small, "create", dir / "kept.map", mb, "SG_create: cannot set the length of"},
        {none, "create", "-", all, "SG_create: a heap of " + all + " bytes cannot be mapped (1560 to 2^62)\n"},
        {none, "attach", "-", all, "SG_attach: a heap of " + all + " bytes cannot be mapped"},
        {none, "create", "-", "1559", "SG_create: a heap of 1559 bytes cannot be mapped"},
#if !defined(__SANITIZE_ADDRESS__) // a sanitizer build cannot start under an address-space limit
        {as1GiB, "create", no, "2147483648", "SG_create: cannot map " + no},
#endif
    };
    for (const auto &c : cases) {
        const bool existed = exists(c.path);
        const Result r = run_helper({"sg-" + c.verb + ":" + c.path + ":" + c.size}, {}, c.wrapper);
        EXPECT_EQ(r.status, 2) << c.verb << " " << c.path;
        EXPECT_NE((r.out + r.err).find(c.message), std::string::npos) << c.verb << c.path << ": " << r.out << r.err;
        EXPECT_EQ(exists(c.path), existed) << c.path;
    }
    EXPECT_EQ(readFile(dir / "kept.map"), "someone's data");
    SG_destroy(nullptr);
#if !defined(__SANITIZE_ADDRESS__)
    const Result r = run({kHelper, "sg-create:-:2147483648"}, {}, as1GiB);
    EXPECT_EQ(r.out.rfind("SG_create:  shmat failed: errno 12 Cannot allocate memory\n            giShmId = ", 0), 0u);
    EXPECT_NE(r.out.find(", arena_addr = (nil), SHM_RND\nCheck environment variable LX_SHMSTADDR.  You may need to set "
                         "it or\nincrease the setting to a higher address.\n"),
              std::string::npos)
        << r.out;
#endif
    EXPECT_FALSE(user_segment_exists()) << "a segment made for a failed create is removed";
}

} // namespace
} // namespace lx::test
