// The segment's fixed layout (header words, heap state, first break), the break's limits, the user
// key and the DEBUG_SG traces: what other processes and their users depend on.
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

TEST_F(Break, LayoutIsTheSameForEveryProcess)
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
}

TEST_F(Break, TheLimitEndsAtTheEndOfTheMapping)
{
    open_segment(kAllowance);
    EXPECT_EQ(SHMsbrk(kUsable + 1), kRefused);
    EXPECT_EQ(SHMsbrk(kUsable - 8), first_break()) << "a refused request leaves the break alone";
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

TEST(Traces, CreateAttachAndEveryAllocationCall)
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
    size_t at = 0;
    for (const std::string &line : std::vector<std::string>{
             "SHMsbrk(0): GBLdl_p 0x500000000640,  curSHMbrk 0x500000499a40\n", a + " = SG_malloc(10) pid=",
             b + " = SG_calloc(2, 8) pid=", "SG_reCalloc((nil), 1, 4)\t\treturns:  " + c + " from dlcalloc\n",
             a2 + " = SG_realloc(" + a + ", 20) pid=",
             "SG_reCalloc(" + b + ", 3, 8)\t\treturns:  " + b2 + " from dlrealloc\n", "SG_free(" + c + ") pid="})
        ASSERT_NE(at = r.err.find(line, at), std::string::npos) << line << r.err;
}

} // namespace
} // namespace lx::test
