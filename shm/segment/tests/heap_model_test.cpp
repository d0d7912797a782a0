// The shared heap against a model: random malloc/calloc/realloc/free runs in which every block
// keeps its contents and size, is aligned and lies inside the allowance, and the heap checker
// passes after every step; running out of memory returns null and leaves the heap consistent.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>

#include "segment_test_support.h"

namespace lx::test {
namespace {

struct Block {
    uint64_t size;
    uint8_t seed;
};

uint8_t pattern(uint8_t seed, uint64_t i) { return static_cast<uint8_t>(seed + i * 7 + (i >> 8)); }

class HeapRun {
public:
    HeapRun(void *start, uint64_t allowance, uint32_t seed)
        : lo_(static_cast<char *>(start) + kFirstBreak), hi_(lo_ + allowance), rng_(seed)
    {
    }

    // One random operation; false (with a message) as soon as anything is wrong.
    ::testing::AssertionResult step(uint64_t max_size)
    {
        unsigned op = rng_() % 100;
        if (op < 40 || live_.empty())
            return do_malloc(random_size(max_size));
        if (op < 50)
            return do_calloc(max_size);
        if (op < 65)
            return do_realloc(max_size);
        return do_free();
    }
    ::testing::AssertionResult heap_is_consistent() const
    {
        char reason[256];
        if (!SG_heap_check(reason, sizeof reason))
            return ::testing::AssertionFailure() << "checker: " << reason;
        return ::testing::AssertionSuccess();
    }
    ::testing::AssertionResult all_contents_kept() const
    {
        for (const auto &[p, b] : live_)
            if (!holds(p, b))
                return ::testing::AssertionFailure() << "block " << hex(p) << " lost its contents";
        return ::testing::AssertionSuccess();
    }
    void free_all()
    {
        for (const auto &[p, b] : live_)
            SG_free(nullptr, p);
        live_.clear();
    }
    unsigned nulls() const { return nulls_; }
    size_t live_count() const { return live_.size(); }

private:
    uint64_t random_size(uint64_t max_size)
    {
        unsigned kind = rng_() % 100;
        uint64_t n = kind < 70 ? rng_() % 257 : kind < 95 ? 257 + rng_() % 3840 : 4097 + rng_() % 200000;
        return n < max_size ? n : rng_() % (max_size + 1);
    }
    static bool holds(const char *p, const Block &b)
    {
        for (uint64_t i = 0; i < b.size; ++i)
            if (static_cast<uint8_t>(p[i]) != pattern(b.seed, i))
                return false;
        return true;
    }
    static void fill(char *p, const Block &b)
    {
        for (uint64_t i = 0; i < b.size; ++i)
            p[i] = static_cast<char>(pattern(b.seed, i));
    }
    ::testing::AssertionResult placed_well(char *p, uint64_t size) const
    {
        if (reinterpret_cast<uintptr_t>(p) % 16 != 0)
            return ::testing::AssertionFailure() << hex(p) << " is not 16-byte aligned";
        if (p < lo_ || p + size > hi_)
            return ::testing::AssertionFailure() << hex(p) << " lies outside the allowance";
        if (SG_malloc_usable_size(p) < size)
            return ::testing::AssertionFailure()
                   << hex(p) << " has " << SG_malloc_usable_size(p) << " usable bytes for " << size;
        auto after = live_.upper_bound(p);
        if (after != live_.end() && p + size > after->first)
            return ::testing::AssertionFailure() << hex(p) << " overlaps the next block";
        if (after != live_.begin()) {
            auto before = std::prev(after);
            if (before->first == p || before->first + before->second.size > p)
                return ::testing::AssertionFailure() << hex(p) << " overlaps the block before";
        }
        return ::testing::AssertionSuccess();
    }
    ::testing::AssertionResult add(char *p, uint64_t size)
    {
        auto placed = placed_well(p, size);
        if (!placed)
            return placed;
        Block b{size, static_cast<uint8_t>(rng_())};
        fill(p, b);
        live_[p] = b;
        return heap_is_consistent();
    }
    ::testing::AssertionResult do_malloc(uint64_t size)
    {
        auto *p = static_cast<char *>(SG_malloc(nullptr, size));
        if (p == nullptr) {
            ++nulls_;
            return heap_is_consistent();
        }
        return add(p, size);
    }
    ::testing::AssertionResult do_calloc(uint64_t max_size)
    {
        int count = 1 + static_cast<int>(rng_() % 16);
        uint64_t each = random_size(max_size) / static_cast<uint64_t>(count);
        auto *p = static_cast<char *>(SG_calloc(nullptr, count, each));
        if (p == nullptr) {
            ++nulls_;
            return heap_is_consistent();
        }
        for (uint64_t i = 0; i < count * each; ++i)
            if (p[i] != 0)
                return ::testing::AssertionFailure() << "calloc left byte " << i << " set";
        return add(p, count * each);
    }
    ::testing::AssertionResult do_realloc(uint64_t max_size)
    {
        auto it = std::next(live_.begin(), static_cast<long>(rng_() % live_.size()));
        char *old = it->first;
        Block b = it->second;
        uint64_t size = rng_() % 4 == 0 ? b.size + rng_() % 64 : random_size(max_size);
        auto *p = static_cast<char *>(SG_realloc(nullptr, old, size));
        if (p == nullptr) {
            ++nulls_;
            if (!holds(old, b))
                return ::testing::AssertionFailure() << "a failed realloc changed the block";
            return heap_is_consistent();
        }
        live_.erase(it);
        Block kept{std::min(size, b.size), b.seed};
        if (!holds(p, kept))
            return ::testing::AssertionFailure() << "realloc to " << size << " lost the contents";
        auto placed = placed_well(p, size);
        if (!placed)
            return placed;
        Block grown{size, b.seed};
        fill(p, grown);
        live_[p] = grown;
        return heap_is_consistent();
    }
    ::testing::AssertionResult do_free()
    {
        auto it = std::next(live_.begin(), static_cast<long>(rng_() % live_.size()));
        if (!holds(it->first, it->second))
            return ::testing::AssertionFailure() << "block lost its contents before free";
        SG_free(nullptr, it->first);
        live_.erase(it);
        return heap_is_consistent();
    }

    char *lo_, *hi_;
    std::mt19937 rng_;
    std::map<char *, Block> live_;
    unsigned nulls_ = 0;
};

class HeapAgainstModel : public ::testing::TestWithParam<uint32_t> {
protected:
    void open_heap(uint64_t allowance)
    {
        allowance_ = allowance;
        unsetenv("LX_SHMSTADDR");
        start_ = SG_create((dir_ / "heap.map").c_str(), allowance + kBreakShortfall);
        ASSERT_NE(start_, nullptr);
    }
    void TearDown() override
    {
        if (start_ != nullptr) {
            SG_detach(start_);
            SG_destroy(start_);
        }
    }
    // After everything is freed, the whole allowance serves one block again.
    void expect_everything_reusable()
    {
        SGHeapStats stats{};
        ASSERT_TRUE(SG_heap_stats(&stats));
        EXPECT_EQ(stats.in_use_bytes, 0u);
        void *all = SG_malloc(nullptr, allowance_ - 64);
        EXPECT_NE(all, nullptr) << "freed memory did not merge back into one piece";
        SG_free(nullptr, all);
    }

    TempDir dir_;
    void *start_ = nullptr;
    uint64_t allowance_ = 0;
};

TEST_P(HeapAgainstModel, RandomRunKeepsEveryBlockIntact)
{
    open_heap(64 << 20);
    HeapRun run(start_, allowance_, GetParam());
    for (int i = 0; i < 4000; ++i) {
        ASSERT_TRUE(run.step(1 << 20)) << "step " << i;
        if (i % 500 == 0) {
            ASSERT_TRUE(run.all_contents_kept()) << "step " << i;
        }
    }
    EXPECT_EQ(run.nulls(), 0u) << "a roomy heap ran out of memory";
    ASSERT_TRUE(run.all_contents_kept());
    run.free_all();
    ASSERT_TRUE(run.heap_is_consistent());
    expect_everything_reusable();
}

TEST_P(HeapAgainstModel, RunningOutOfMemoryReturnsNullAndKeepsTheHeapWhole)
{
    open_heap(256 << 10);
    HeapRun run(start_, allowance_, GetParam());
    for (int i = 0; i < 3000; ++i)
        ASSERT_TRUE(run.step(48 << 10)) << "step " << i;
    EXPECT_GT(run.nulls(), 0u) << "the small heap never filled up";
    ASSERT_TRUE(run.all_contents_kept());
    run.free_all();
    ASSERT_TRUE(run.heap_is_consistent());
    expect_everything_reusable();
}

INSTANTIATE_TEST_SUITE_P(Seeds, HeapAgainstModel, ::testing::Values(1u, 7u, 42u, 1234u, 99991u));

class HeapEdges : public ::testing::Test {
protected:
    void SetUp() override
    {
        unsetenv("LX_SHMSTADDR");
        start_ = SG_create((dir_ / "heap.map").c_str(), (4 << 20) + kBreakShortfall);
        ASSERT_NE(start_, nullptr);
    }
    void TearDown() override
    {
        SG_detach(start_);
        SG_destroy(start_);
    }
    bool consistent(std::string *why = nullptr)
    {
        char reason[256];
        bool ok = SG_heap_check(reason, sizeof reason);
        if (why)
            *why = reason;
        return ok;
    }
    TempDir dir_;
    void *start_ = nullptr;
};

TEST_F(HeapEdges, SizesThatOverflowAreRefused)
{
    EXPECT_EQ(SG_malloc(nullptr, UINT64_MAX), nullptr);
    EXPECT_EQ(SG_malloc(nullptr, UINT64_MAX - 8), nullptr);
    EXPECT_EQ(SG_calloc(nullptr, 2, UINT64_MAX / 2 + 1), nullptr);
    EXPECT_EQ(SG_calloc(nullptr, -1, 16), nullptr);
    EXPECT_EQ(SG_reCalloc(nullptr, nullptr, 1 << 30, uint64_t{1} << 40), nullptr);
    void *p = SG_malloc(nullptr, 10);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(SG_realloc(nullptr, p, UINT64_MAX), nullptr);
    EXPECT_EQ(SG_reCalloc(nullptr, p, -3, 8), nullptr);
    EXPECT_TRUE(consistent());
    SG_free(nullptr, p);
}

TEST_F(HeapEdges, FreeingTwiceOrAForeignPointerIsRefused)
{
    void *a = SG_malloc(nullptr, 40);
    void *b = SG_malloc(nullptr, 40);
    int on_stack = 0;
    testing::internal::CaptureStderr();
    SG_free(nullptr, a);
    SG_free(nullptr, a);
    SG_free(nullptr, &on_stack);
    SG_free(nullptr, static_cast<char *>(b) + 16);
    EXPECT_EQ(SG_realloc(nullptr, a, 100), nullptr);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("SG_realloc: " + hex(a) + " is not an allocated block"), std::string::npos) << err;
    EXPECT_NE(err.find("SG_free: " + hex(a) + " is not an allocated block of the shared heap"), std::string::npos)
        << err;
    EXPECT_NE(err.find(hex(&on_stack)), std::string::npos) << err;
    std::string why;
    EXPECT_TRUE(consistent(&why)) << why;
    EXPECT_EQ(SG_malloc_usable_size(a), 0u);
    EXPECT_GE(SG_malloc_usable_size(b), 40u);
}

TEST_F(HeapEdges, CheckerFindsAnOverrunIntoTheNextChunk)
{
    auto *a = static_cast<char *>(SG_malloc(nullptr, 100));
    void *b = SG_malloc(nullptr, 100);
    void *c = SG_malloc(nullptr, 100);
    ASSERT_TRUE(a && b && c);
    uint64_t saved;
    char *past_end = a + SG_malloc_usable_size(a); // the next chunk's size word
    std::memcpy(&saved, past_end, 8);
    std::memset(past_end, 0x5A, 8);
    std::string why;
    EXPECT_FALSE(consistent(&why));
    EXPECT_FALSE(why.empty());
    for (size_t size = 1; size <= why.size() + 2; ++size) { // a short buffer: the reason cut, ended, no further
        std::string buffer(size + 1, '#');
        EXPECT_FALSE(SG_heap_check(buffer.data(), size));
        const size_t n = std::min(size - 1, why.size());
        EXPECT_EQ(buffer, why.substr(0, n) + '\0' + std::string(size - n, '#')) << size;
    }
    std::memcpy(past_end, &saved, 8);
    EXPECT_TRUE(consistent(&why)) << why;
}

TEST_F(HeapEdges, CheckerFindsABrokenFreeList)
{
    void *a = SG_malloc(nullptr, 600);
    auto *b = static_cast<char *>(SG_malloc(nullptr, 600));
    void *c = SG_malloc(nullptr, 600);
    ASSERT_TRUE(a && b && c);
    SG_free(nullptr, b); // between two allocated blocks: it goes to a bin
    std::string why;
    ASSERT_TRUE(consistent(&why)) << why;
    void *saved;
    std::memcpy(&saved, b, sizeof saved);
    void *bogus = c;
    std::memcpy(b, &bogus, sizeof bogus); // a write after free over the forward link
    EXPECT_FALSE(consistent(&why));
    EXPECT_FALSE(why.empty());
    std::memcpy(b, &saved, sizeof saved);
    EXPECT_TRUE(consistent(&why)) << why;
}

TEST_F(HeapEdges, StatisticsFollowAllocation)
{
    SGHeapStats before{}, during{}, after{};
    ASSERT_TRUE(SG_heap_stats(&before));
    EXPECT_EQ(before.in_use_bytes, 0u);
    void *p = SG_malloc(nullptr, 1000);
    ASSERT_TRUE(SG_heap_stats(&during));
    EXPECT_GE(during.in_use_bytes, 1000u);
    EXPECT_LE(during.in_use_bytes, 1000u + 32u);
    EXPECT_GE(during.system_bytes, during.in_use_bytes);
    SG_free(nullptr, p);
    ASSERT_TRUE(SG_heap_stats(&after));
    EXPECT_EQ(after.in_use_bytes, 0u);
    EXPECT_EQ(after.system_bytes, during.system_bytes) << "the break never moves back";
    EXPECT_EQ(after.max_system_bytes, during.system_bytes);

    testing::internal::CaptureStderr();
    SG_malloc_stats();
    std::string err = testing::internal::GetCapturedStderr();
    char expected[200];
    std::snprintf(expected, sizeof expected,
                  "max system bytes = %10u\nsystem bytes     = %10u\nin use bytes     = %10u\n",
                  static_cast<unsigned>(after.max_system_bytes), static_cast<unsigned>(after.system_bytes), 0u);
    EXPECT_EQ(err, expected);
}

} // namespace
} // namespace lx::test
