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

TEST_F(Break, HeapFillsTheAllowanceEvenWhereAWholeGrowStepNoLongerFits)
{
    open_segment(kAllowance);
    EXPECT_NE(SG_malloc(nullptr, kUsable - 128), nullptr);
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

// Growth continues the heap where it ended; memory others took from the break is stepped over.
TEST_F(Break, HeapGrowsContiguouslyAndStepsOverMemoryOthersTook)
{
    open_segment(kAllowance);
    auto *a = static_cast<char *>(SG_malloc(nullptr, 100));
    auto *b = static_cast<char *>(SG_malloc(nullptr, 8192)); // more than the first growth left
    EXPECT_EQ(b, a + 112);
    EXPECT_LE(static_cast<char *>(SHMsbrk(0)) - first_break(), 112 + 8208 + 4096)
        << "growth takes only what is missing";
    auto *foreign = static_cast<char *>(SHMsbrk(24)); // leaves the break off the 16-byte grid
    std::memset(foreign, 0x77, 24);
    auto *c = static_cast<char *>(SG_malloc(nullptr, 1 << 20));
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(c) % 16, 0u);
    EXPECT_GE(c, foreign + 24);
    std::memset(c, 0, 1 << 20);
    SG_free(nullptr, a);
    SG_free(nullptr, b);
    SG_free(nullptr, c);
    EXPECT_EQ(heap_fault(), "");
    EXPECT_EQ(std::string(foreign, 24), std::string(24, '\x77'));
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
    std::string path = dir / "traced.map", length = std::to_string(1048576 + 2216);
    Result r = run_helper({"create", path, "1048576", "detach"}, {"DEBUG_SG=1"});
    EXPECT_EQ(r.out, "SG_create: Opening file " + path + " as mmap region of " + length + " bytes\nstart " +
                         hex(address(kAddress)) + "\n");
    EXPECT_EQ(r.err, "SG_create: GBLdl_p " + hex(address(kAddress + 1600)) + ",  cuSHMbrk " +
                         hex(address(kAddress + kFirstBreak)) + "\n");
    r = run_helper({"attach", path, "1048576"}, {"DEBUG_SG=1"});
    EXPECT_EQ(r.out.rfind("SG_attach: Attaching to file " + path + " as mmap region of " + length + " bytes\n", 0), 0u);
    r = run_helper({"create", "-", "16777216", "calls"}, {"DEBUG_SG=1"});
    std::istringstream in(r.out.substr(r.out.find("calls ")));
    std::string a, b, c, a2, b2;
    in >> a >> a >> b >> c >> a2 >> b2;
    EXPECT_EQ(r.out.rfind("SG_create: Creating shared memory of 16779432 bytes\nSG_create: Key is 0x", 0), 0u) << r.out;
    EXPECT_NE(r.err.find(a + " = SG_malloc(10) pid="), std::string::npos) << r.err;
    for (std::string line :
         {b + " = SG_calloc(2, 8) pid=", "SG_reCalloc((nil), 1, 4)\t\treturns:  " + c + " from dlcalloc\n",
          a2 + " = SG_realloc(" + a + ", 20) pid=",
          "SG_reCalloc(" + b + ", 3, 8)\t\treturns:  " + b2 + " from dlrealloc\n", "SG_free(" + c + ") pid="})
        EXPECT_NE(r.err.find(line), std::string::npos) << line << "\n" << r.err;
    EXPECT_NE(r.err.find("SHMsbrk(0): GBLdl_p 0x500000000640,  curSHMbrk 0x500000499a40\n"), std::string::npos)
        << r.err;
}

} // namespace
} // namespace lx::test
