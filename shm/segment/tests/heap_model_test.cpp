// The shared heap: random programs against its model, refused sizes and pointers, the checker,
// the statistics.
#include <cstring>
#include <random>

#include "segment_test_support.h"

namespace lx::test {
namespace {

// The heap model is the fuzz target heap_ops_fuzz: here it runs seeded random programs of
// allocations (mostly small, now and then up to 1 MiB, so the heap fills up), resizes and frees.
TEST(HeapModel, RandomProgramsKeepEveryBlockIntact)
{
    TempDir dir;
    std::mt19937 rng(7);
    for (int i = 0; i < 16; ++i) {
        std::string program(4 * 3000, '\0'); // operation (130 more: size x 16), slot, size high, size low
        for (size_t k = 0; k < program.size(); ++k)
            program[k] = static_cast<char>(k % 4 == 0   ? (rng() % 40 < 39 ? rng() % 4 : 4) + (rng() % 8 ? 0 : 130)
                                           : k % 4 == 2 ? (rng() % 8 ? 0 : rng())
                                                        : rng());
        writeFile(dir / std::to_string(i), program);
    }
    Result r = run({HEAP_OPS_FUZZ_PATH, dir.path()});
    EXPECT_EQ(r.out + r.err, "replayed 16 inputs\n");
}

class HeapEdges : public FileSegment {
protected:
    void SetUp() override { open_segment((4 << 20) + kShortfall); }
};

TEST_F(HeapEdges, SizesThatOverflowAreRefused)
{
    void *p = SG_malloc(nullptr, 10);
    for (void *q :
         {SG_malloc(nullptr, UINT64_MAX), SG_malloc(nullptr, UINT64_MAX - 8), SG_calloc(nullptr, 2, UINT64_MAX / 2 + 1),
          SG_calloc(nullptr, -1, 16), SG_reCalloc(nullptr, nullptr, 1 << 30, uint64_t{1} << 40),
          SG_realloc(nullptr, p, UINT64_MAX), SG_reCalloc(nullptr, p, -3, 8)})
        EXPECT_EQ(q, nullptr);
    EXPECT_EQ(heap_fault(), "");
}

// Each refusal is said; the heap stays whole.
TEST_F(HeapEdges, FreeingTwiceOrAForeignPointerIsRefused)
{
    void *a = SG_malloc(nullptr, 40), *b = SG_malloc(nullptr, 40);
    int on_stack = 0;
    testing::internal::CaptureStderr();
    for (void *p : {a, a, static_cast<void *>(&on_stack), static_cast<void *>(static_cast<char *>(b) + 16)})
        SG_free(nullptr, p);
    EXPECT_EQ(SG_realloc(nullptr, a, 100), nullptr);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("SG_realloc: " + hex(a)), std::string::npos) << err;
    EXPECT_NE(err.find("SG_free: " + hex(&on_stack)), std::string::npos) << err;
    EXPECT_EQ(heap_fault(), "");
    EXPECT_EQ(SG_malloc_usable_size(a), 0u);
    EXPECT_GE(SG_malloc_usable_size(b), 40u);
}

// Each overwrite (a chunk's size, a free chunk's links, the size kept after a free chunk) is found;
// the reason is cut to the buffer and terminated.
TEST_F(HeapEdges, CheckerFindsDamage)
{
    auto *a = static_cast<char *>(SG_malloc(nullptr, 600)), *b = static_cast<char *>(SG_malloc(nullptr, 600));
    auto *c = static_cast<char *>(SG_malloc(nullptr, 600));
    SG_free(nullptr, b); // between two allocated blocks: it goes to a bin
    for (char *word : {a + SG_malloc_usable_size(a), b, b + 8, c - 16}) {
        uint64_t saved, bogus = reinterpret_cast<uint64_t>(c) | 8;
        std::memcpy(&saved, word, 8);
        std::memcpy(word, &bogus, 8);
        std::string why = heap_fault();
        EXPECT_NE(why, "") << word - a;
        char cut[8] = "#######"; // the reason cut to the buffer, and terminated
        EXPECT_TRUE(!SG_heap_check(cut, 5) && cut == why.substr(0, 4) && cut[6] == '#');
        std::memcpy(word, &saved, 8);
        EXPECT_EQ(heap_fault(), "");
    }
}

// In use: 1000 bytes and the size word, rounded to 16. The break never moves back.
TEST_F(HeapEdges, StatisticsFollowAllocation)
{
    SGHeapStats during{}, after{};
    void *p = SG_malloc(nullptr, 1000);
    ASSERT_TRUE(SG_heap_stats(&during));
    SG_free(nullptr, p);
    ASSERT_TRUE(SG_heap_stats(&after));
    EXPECT_EQ(during.in_use_bytes, 1008u);
    EXPECT_EQ(std::vector<uint64_t>({after.in_use_bytes, after.system_bytes, after.max_system_bytes}),
              std::vector<uint64_t>({0, during.system_bytes, during.system_bytes}));
    testing::internal::CaptureStderr();
    SG_malloc_stats();
    const std::string n = std::to_string(after.system_bytes), system = std::string(10 - n.size(), ' ') + n;
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "max system bytes = " + system + "\nsystem bytes     = " + system + "\nin use bytes     =          0\n");
}

} // namespace
} // namespace lx::test
