// The segment's fixed layout (header words, heap state, first break), the break's limits and the
// user key: the numbers other processes depend on.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "segment_test_support.h"

namespace lx::test {
namespace {

void *const kRefused = reinterpret_cast<void *>(-1);

class Break : public ::testing::Test {
protected:
    void open_segment(uint64_t allowance)
    {
        allowance_ = allowance;
        unsetenv("LX_SHMSTADDR");
        start_ = static_cast<char *>(SG_create((dir_ / "segment.map").c_str(), allowance));
        ASSERT_NE(start_, nullptr);
    }
    void TearDown() override
    {
        if (start_ != nullptr) {
            SG_detach(start_);
            SG_destroy(start_);
        }
    }
    char *first_break() const { return start_ + kFirstBreak; }

    TempDir dir_;
    char *start_ = nullptr;
    uint64_t allowance_ = 0;
};

// The segment is exactly allowance + 2216 bytes; the break starts 4,823,616 bytes in, so the heap
// may use only the allowance less 4,821,400 bytes: nothing it hands out lies past the mapping.
constexpr uint64_t kAllowance = 8 << 20;
constexpr uint64_t kUsable = kAllowance - (kFirstBreak - 2216);

TEST_F(Break, LayoutIsTheSameForEveryProcessAndTheFileHoldsExactlyTheSegment)
{
    open_segment(kAllowance);
    uint64_t words[4];
    std::memcpy(words, start_, sizeof words);
    EXPECT_EQ(words[0], kAllowance + 2216);
    EXPECT_EQ(words[1], kAllowance);
    EXPECT_EQ(words[2], 2216u);
    EXPECT_EQ(words[3], 40u);
    EXPECT_EQ(std::filesystem::file_size(dir_ / "segment.map"), kAllowance + 2216);
    EXPECT_EQ(GBLdl_p, start_ + 1600);
    // The heap state ends with the break, the bytes used and the limit.
    uint64_t tail[3];
    std::memcpy(tail, start_ + 1600 + 2176 - 24, sizeof tail);
    EXPECT_EQ(tail[0], reinterpret_cast<uint64_t>(first_break()));
    EXPECT_EQ(tail[1], 0u);
    EXPECT_EQ(tail[2], kUsable);
    EXPECT_EQ(SHMsbrk(0), first_break());
    EXPECT_EQ(SHMsbrk(1), first_break());
    EXPECT_EQ(SHMsbrk(0), first_break() + 8) << "increments are rounded up to 8 bytes";
}

TEST_F(Break, TheLimitEndsAtTheEndOfTheMapping)
{
    open_segment(kAllowance);
    EXPECT_EQ(SHMsbrk(kUsable + 1), kRefused);
    EXPECT_EQ(SHMsbrk(0), first_break()) << "a refused request leaves the break alone";
    EXPECT_EQ(SHMsbrk(kUsable - 8), first_break());
    EXPECT_EQ(SHMsbrk(9), kRefused) << "9 rounds up to 16, past the limit";
    EXPECT_NE(SHMsbrk(8), kRefused);
    EXPECT_EQ(SHMsbrk(1), kRefused);
    char *last = first_break() + kUsable - 1;
    ASSERT_EQ(last, start_ + kAllowance + 2216 - 1);
    *last = 'z';
    EXPECT_EQ(*last, 'z');
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
    open_segment(uint64_t{5} << 30); // a sparse file: only touched pages cost memory
    EXPECT_EQ(SHMsbrk(-8), kRefused);
    EXPECT_EQ(SHMsbrk(INT64_MIN), kRefused);
    // Bits above 32 are never silently dropped: 4 GiB would otherwise become a zero increment.
    EXPECT_EQ(SHMsbrk(int64_t{1} << 32), kRefused);
    EXPECT_EQ(SHMsbrk((int64_t{1} << 32) + 16), kRefused);
    EXPECT_EQ(SHMsbrk(0), first_break());
    EXPECT_EQ(SHMsbrk(0xFFFFFFF8), first_break());
    EXPECT_EQ(SHMsbrk(0), first_break() + 0xFFFFFFF8);
}

TEST_F(Break, HeapOverFourGigabytesGrowsPastOneIncrement)
{
    open_segment(uint64_t{5} << 30);
    uint64_t big = (uint64_t{4} << 30) + 4096;
    auto *p = static_cast<char *>(SG_malloc(nullptr, big));
    ASSERT_NE(p, nullptr);
    p[0] = 1;
    p[big - 1] = 2; // only two pages are touched
    EXPECT_LE(p + big, first_break() + allowance_);
    char reason[256];
    EXPECT_TRUE(SG_heap_check(reason, sizeof reason)) << reason;
    SG_free(nullptr, p);
}

TEST_F(Break, HeapStepsOverMemoryOthersTookFromTheBreak)
{
    open_segment(kAllowance);
    void *a = SG_malloc(nullptr, 100);
    ASSERT_NE(a, nullptr);
    auto *foreign = static_cast<char *>(SHMsbrk(24)); // leaves the break off the 16-byte grid
    ASSERT_NE(foreign, kRefused);
    std::memset(foreign, 0x77, 24);
    auto *b = static_cast<char *>(SG_malloc(nullptr, 1 << 20)); // more than the top holds
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % 16, 0u);
    EXPECT_TRUE(b >= foreign + 24 || b + (1 << 20) <= foreign);
    std::memset(b, 0, 1 << 20);
    for (int i = 0; i < 24; ++i)
        ASSERT_EQ(static_cast<unsigned char>(foreign[i]), 0x77);
    char reason[256];
    ASSERT_TRUE(SG_heap_check(reason, sizeof reason)) << reason;
    SG_free(nullptr, a);
    SG_free(nullptr, b);
    EXPECT_TRUE(SG_heap_check(reason, sizeof reason)) << reason;
    for (int i = 0; i < 24; ++i)
        ASSERT_EQ(static_cast<unsigned char>(foreign[i]), 0x77);
}

TEST(UserKey, MixesTheUserIdWithTheProjectLetter)
{
    EXPECT_EQ(SG_key("/ignored", 'N'), static_cast<key_t>(1000u * getuid() + 'N'));
    // Other users, through the helper run under their ids.
    struct Case {
        const char *uid;
        const char *key;
    };
    // 3,000,000: the factor drops to 715 to stay below 2^31; 5,000,000: 1000 × uid wraps past 2^32.
    for (Case c : {Case{"65534", "65534078"}, Case{"3000000", "2145000078"}, Case{"5000000", "705032782"}}) {
        Result r = run({"setpriv", std::string("--reuid=") + c.uid, "--regid=65534", "--clear-groups", kHelper, "key"});
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(field(r.out, "key"), c.key) << "uid " << c.uid;
    }
}

} // namespace
} // namespace lx::test

namespace lx::test {
namespace {

TEST(CreateTrace, NamesTheFileTheStateAndTheFirstBreak)
{
    TempDir dir;
    std::string path = dir / "traced.map";
    Result r = run_helper({"create", path, "1048576", "detach"}, {"DEBUG_SG=1"});
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    uint64_t length = 1048576 + 2216;
    EXPECT_EQ(r.out, "SG_create: Opening file " + path + " as mmap region of " + std::to_string(length) +
                         " bytes\nstart " + hex(address(kAddress)) + "\n");
    EXPECT_EQ(r.err, "SG_create: GBLdl_p " + hex(address(kAddress + 1600)) + ",  cuSHMbrk " +
                         hex(address(kAddress + kFirstBreak)) + "\n");
}

} // namespace
} // namespace lx::test
