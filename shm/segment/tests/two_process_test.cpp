// Two processes on one segment at one address, in the mode this binary was built for (System V
// segment, or a mapped file when LX_TEST_FILE_MODE is 1).
#include <sys/shm.h>

#include <cstring>

#include "segment_test_support.h"

namespace lx::test {
namespace {

constexpr bool kFileMode = LX_TEST_FILE_MODE;

// Another process reads what we wrote and allocates from the same heap, at the same address (one
// that maps it elsewhere may not use the heap).
// Destroy removes the backing and forgets it; the memory stays usable here until detach, which
// unmaps it and forgets the heap, and in the attached process.
TEST(TwoProcesses, ShareThenDestroyAndDetach)
{
    TempDir dir;
    const std::string path = kFileMode ? dir / "arena.map" : "",
                      attach = "sg-attach:" + (kFileMode ? path : "-") + ":8388608";
    setenv("LX_SHMSTADDR", kAddressText.c_str(), 1);
    void *start = SG_create(path.c_str(), 8 << 20);
    ASSERT_EQ(hex(start), "0x" + kAddressText) << "the segment must lie where LX_SHMSTADDR says";
    auto write_block = [](const char *text) { return std::strcpy(static_cast<char *>(SG_malloc(nullptr, 32)), text); };
    char *mine = write_block("shared text");
    const std::string read = "read:" + hex(mine) + ":shared text";
    Process helper({kHelper, attach, read, "write:theirs", "heap-check", "wait", read},
                   {"LX_SHMSTADDR=" + kAddressText});
    ASSERT_EQ(helper.line(), "start 0x500000000000");
    ASSERT_EQ(helper.line(), "read ok");
    auto *theirs = reinterpret_cast<char *>(std::strtoull(helper.line().substr(6).c_str(), nullptr, 16));
    ASSERT_EQ(helper.line(), "check ok");
    EXPECT_STREQ(theirs, "theirs");
    char *next = write_block("again"); // the same heap: no overlap, and their block is ours to free
    EXPECT_TRUE(next + 32 <= theirs || next >= theirs + 16);
    SG_free(nullptr, theirs);
    EXPECT_EQ(heap_fault(), "");
    // Elsewhere the heap is refused rather than corrupted.
    Result r = run_helper({attach, "malloc:64", "sbrk:0"}, {"LX_SHMSTADDR=510000000000"});
    EXPECT_EQ(r.out, "start 0x510000000000\nblock (nil)\nsbrk 0xffffffffffffffff\n");
    EXPECT_NE(r.err.find("laid out for another address"), std::string::npos) << r.err;
    SG_destroy(start);
    EXPECT_FALSE(kFileMode ? exists(path) : shmget(SG_key(nullptr, 'N'), 0, 0) >= 0);
    EXPECT_EQ(giShmId, -1);
    EXPECT_STREQ(mine, "shared text");
    EXPECT_NE(SG_malloc(nullptr, 100), nullptr);
    SG_detach(start);
    EXPECT_EQ(msync(start, 4096, MS_ASYNC), -1) << "unmapped";
    EXPECT_EQ(GBLdl_p, nullptr);
    EXPECT_EQ(SG_malloc(nullptr, 8), nullptr);
    EXPECT_EQ(SHMsbrk(0), kRefused);
    EXPECT_EQ(SG_malloc_usable_size(mine), 0u);
    helper.send("go");
    EXPECT_EQ(helper.line(), "read ok") << "the attached process keeps its memory";
    EXPECT_EQ(run_helper({attach}).out, kFileMode
                                            ? "Couldn't open file for mmap: No such file or directory\nstart (nil)\n"
                                            : "shmget failed: errno 2 No such file or directory\nstart (nil)\n");
    if (kFileMode) { // the path was forgotten: a second destroy removes nothing
        writeFile(path, "new");
        SG_destroy(start);
        EXPECT_TRUE(exists(path));
    }
}

} // namespace
} // namespace lx::test
