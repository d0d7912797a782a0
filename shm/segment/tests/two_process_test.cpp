// Two processes on one segment at one address, in the mode this binary was built for (System V
// segment, or a mapped file when LX_TEST_FILE_MODE is 1).
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include <cstring>

#include "segment_test_support.h"

namespace lx::test {
namespace {

constexpr uint64_t kSize = 8 << 20;
const std::string kSizeText = std::to_string(kSize);
constexpr bool kFileMode = LX_TEST_FILE_MODE;

class TwoProcesses : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("LX_SHMSTADDR", kAddressText.c_str(), 1);
        path_ = kFileMode ? dir_ / "arena.map" : "";
        start_ = SG_create(path_.c_str(), kSize);
        ASSERT_EQ(start_, address(kAddress)) << "the segment must lie where LX_SHMSTADDR says";
    }
    void TearDown() override
    {
        SG_detach(start_);
        SG_destroy(start_);
    }
    std::string where() const { return kFileMode ? path_ : "-"; }
    bool backing_exists() const { return kFileMode ? exists(path_) : shmget(SG_key(nullptr, 'N'), 0, 0) >= 0; }
    char *write_block(const char *text) { return std::strcpy(static_cast<char *>(SG_malloc(nullptr, 32)), text); }

    TempDir dir_;
    std::string path_;
    void *start_ = nullptr;
};

TEST_F(TwoProcesses, WhatOneWritesTheOtherReadsAtTheSameAddress)
{
    char *mine = write_block("from the creator");
    Result r = run_helper(
        {"attach", where(), kSizeText, "read", hex(mine), "from the creator", "write", "theirs", "check", "detach"});
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(field(r.out, "start"), hex(start_));
    auto *theirs = reinterpret_cast<char *>(std::strtoull(field(r.out, "block").c_str(), nullptr, 16));
    EXPECT_STREQ(theirs, "theirs");
    char *next = write_block("again"); // the same heap: no overlap, and their block is ours to free
    EXPECT_TRUE(next + 32 <= theirs || next >= theirs + 16);
    SG_free(nullptr, theirs);
    EXPECT_EQ(heap_fault(), "");
    EXPECT_STREQ(mine, "from the creator");
}

// Detach unmaps and forgets the heap; destroy removes the backing (an attached process keeps its
// memory), forgets it, and touches nothing else.
TEST_F(TwoProcesses, DetachAndDestroyRemoveWhatTheyShouldAndNothingElse)
{
    int bystander = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600);
    writeFile(dir_ / "other.map", "bystander");
    char *mine = write_block("shared text");
    SG_detach(start_);
    EXPECT_FALSE(is_mapped(start_));
    EXPECT_EQ(GBLdl_p, nullptr);
    EXPECT_EQ(SG_malloc(nullptr, 8), nullptr);
    EXPECT_EQ(SHMsbrk(0), kRefused);
    Process helper({kHelper, "attach", where(), kSizeText, "wait", "read", hex(mine), "shared text", "check"},
                   {"LX_SHMSTADDR=" + kAddressText});
    ASSERT_EQ(helper.lineStarting("waiting"), "waiting");
    SG_destroy(start_);
    EXPECT_FALSE(backing_exists());
    EXPECT_EQ(giShmId, -1);
    helper.send("go");
    Result r = helper.finish();
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(run_helper({"attach", where(), kSizeText}).out,
              kFileMode ? "Couldn't open file for mmap: No such file or directory\nnull\n"
                        : "shmget failed: errno 2 No such file or directory\nnull\n");
    if (kFileMode) { // the path was forgotten: a second destroy removes nothing
        writeFile(path_, "new");
        SG_destroy(start_);
        EXPECT_TRUE(exists(path_));
    }
    struct shmid_ds ds {};
    EXPECT_EQ(shmctl(bystander, IPC_STAT, &ds), 0);
    shmctl(bystander, IPC_RMID, nullptr);
    EXPECT_EQ(readFile(dir_ / "other.map"), "bystander");
    start_ = nullptr;
}

TEST_F(TwoProcesses, DestroyLeavesTheMemoryUsableUntilDetach)
{
    char *mine = write_block("still readable");
    SG_destroy(start_);
    EXPECT_STREQ(mine, "still readable");
    EXPECT_NE(SG_malloc(nullptr, 100), nullptr);
}

TEST_F(TwoProcesses, AttachElsewhereRefusesTheHeapInsteadOfCorruptingIt)
{
    Result r = run_helper({"attach", where(), kSizeText, "malloc", "64", "sbrk", "0"}, {"LX_SHMSTADDR=510000000000"});
    EXPECT_EQ(r.out, "start 0x510000000000\nblock (nil)\nsbrk 0xffffffffffffffff\n");
    EXPECT_NE(r.err.find("laid out for another address"), std::string::npos) << r.err;
}

TEST_F(TwoProcesses, AttachAtAnAddressAlreadyTakenFails)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(SG_attach(path_.c_str(), kSize), nullptr);
    std::string out = testing::internal::GetCapturedStdout(), err = testing::internal::GetCapturedStderr();
    if (kFileMode) {
        EXPECT_NE(err.find("SG_attach: cannot map"), std::string::npos) << err;
    } else {
        EXPECT_EQ(out, "SG_attach:  shmat failed: errno 22 Invalid argument\n            giShmId = " +
                           std::to_string(giShmId) +
                           ", arena_addr = 0x500000000000, SHM_RND\nCheck environment variable LX_SHMSTADDR.  You "
                           "may need to set it or\nincrease the setting to a higher address.\n");
    }
    EXPECT_NE(SG_malloc(nullptr, 10), nullptr) << "the mapping we had is still ours";
}

} // namespace
} // namespace lx::test
