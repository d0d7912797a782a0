// Two processes on one segment at one address, in the mode this binary was built for (System V
// segment, or a mapped file when LX_TEST_FILE_MODE is 1): what one writes the other reads, and
// detach and destroy remove what they should and nothing else.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <regex>

#include "segment_test_support.h"

namespace lx::test {
namespace {

constexpr uint64_t kSize = 8 << 20;
constexpr bool kFileMode = LX_TEST_FILE_MODE;

bool segment_exists() { return shmget(SG_key(nullptr, 'N'), 0, 0) >= 0; }

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
        if (start_ != nullptr) {
            SG_detach(start_);
            SG_destroy(start_);
        }
    }
    // The path argument of the helper for this mode.
    std::string where() const { return kFileMode ? path_ : "-"; }
    bool backing_exists() const
    {
        struct stat sb {};
        return kFileMode ? stat(path_.c_str(), &sb) == 0 : segment_exists();
    }
    char *write_block(const char *text)
    {
        auto *block = static_cast<char *>(SG_malloc(nullptr, std::strlen(text) + 1));
        if (block != nullptr)
            std::strcpy(block, text);
        return block;
    }

    TempDir dir_;
    std::string path_;
    void *start_ = nullptr;
};

TEST_F(TwoProcesses, WhatOneWritesTheOtherReadsAtTheSameAddress)
{
    char *mine = write_block("from the creator");
    ASSERT_NE(mine, nullptr);
    Result r = run_helper({"attach", where(), std::to_string(kSize), "read", hex(mine), "from the creator", "write",
                           "from the helper", "check", "detach"});
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(field(r.out, "start"), hex(start_));
    auto *theirs = reinterpret_cast<char *>(std::strtoull(field(r.out, "block").c_str(), nullptr, 16));
    ASSERT_NE(theirs, nullptr) << r.out;
    EXPECT_STREQ(theirs, "from the helper");

    // The helper allocated from the same heap: our next block does not overlap its block, the
    // statistics count it, and freeing it here is fine.
    SGHeapStats stats{};
    ASSERT_TRUE(SG_heap_stats(&stats));
    EXPECT_GE(stats.in_use_bytes, 64u);
    char *next = write_block("again");
    ASSERT_NE(next, nullptr);
    EXPECT_TRUE(next + 6 <= theirs || next >= theirs + 16);
    SG_free(nullptr, theirs);
    char reason[256];
    EXPECT_TRUE(SG_heap_check(reason, sizeof reason)) << reason;
    EXPECT_STREQ(mine, "from the creator");
}

TEST_F(TwoProcesses, DetachUnmapsButKeepsTheSegmentAndItsContents)
{
    char *mine = write_block("kept after detach");
    SG_detach(start_);
    EXPECT_FALSE(is_mapped(start_));
    EXPECT_FALSE(is_mapped(mine));
    EXPECT_TRUE(backing_exists());
    Result r = run_helper({"attach", where(), std::to_string(kSize), "read", hex(mine), "kept after detach", "check"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    SG_destroy(start_);
    start_ = nullptr;
    EXPECT_FALSE(backing_exists());
}

TEST_F(TwoProcesses, DestroyRemovesOnlyThisSegment)
{
    // A bystander of each kind: another System V segment and another file in the same folder.
    int other = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600);
    ASSERT_GE(other, 0);
    std::string other_file = dir_ / "other.map";
    std::ofstream(other_file) << "bystander";

    char *mine = write_block("still readable");
    int id = giShmId;
    SG_destroy(start_);
    // Destroy neither detaches nor unmaps: the memory stays usable until detach.
    EXPECT_TRUE(is_mapped(start_));
    EXPECT_STREQ(mine, "still readable");
    EXPECT_NE(SG_malloc(nullptr, 100), nullptr);
    EXPECT_FALSE(backing_exists());
    if (!kFileMode) {
        struct shmid_ds ds {};
        ASSERT_EQ(shmctl(id, IPC_STAT, &ds), 0) << "attached, so not gone yet";
        EXPECT_TRUE(ds.shm_perm.mode & SHM_DEST);
    }
    SG_detach(start_);
    EXPECT_FALSE(is_mapped(start_));
    start_ = nullptr;
    struct shmid_ds ds {};
    if (!kFileMode) {
        EXPECT_EQ(shmctl(id, IPC_STAT, &ds), -1) << "gone with the last detach";
    }

    EXPECT_EQ(shmctl(other, IPC_STAT, &ds), 0);
    shmctl(other, IPC_RMID, nullptr);
    EXPECT_TRUE(exists(other_file));
    EXPECT_TRUE(exists(dir_.path()));
}

TEST_F(TwoProcesses, DestroyWhileAnotherProcessIsAttached)
{
    char *mine = write_block("shared text");
    Process helper(
        {kHelper, "attach", where(), std::to_string(kSize), "wait", "read", hex(mine), "shared text", "check"},
        Env{"LX_SHMSTADDR=" + std::string(kAddressText)});
    ASSERT_EQ(helper.lineStarting("waiting"), "waiting");
    SG_detach(start_);
    SG_destroy(start_);
    start_ = nullptr;
    EXPECT_FALSE(backing_exists());
    helper.send("go");
    Result r = helper.finish();
    EXPECT_EQ(r.status, 0) << "the attached process keeps its memory: " << r.out << r.err;
    Result late = run_helper({"attach", where(), std::to_string(kSize)});
    EXPECT_EQ(late.status, 2);
    EXPECT_EQ(late.out, kFileMode ? "Couldn't open file for mmap: No such file or directory\nnull\n"
                                  : "shmget failed: errno 2 No such file or directory\nnull\n");
}

TEST_F(TwoProcesses, AttachElsewhereRefusesTheHeapInsteadOfCorruptingIt)
{
    Result r = run_helper({"attach", where(), std::to_string(kSize), "malloc", "64", "sbrk", "0"},
                          Env{"LX_SHMSTADDR=510000000000"});
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(field(r.out, "start"), "0x510000000000");
    EXPECT_EQ(field(r.out, "block"), "(nil)");
    EXPECT_EQ(field(r.out, "sbrk"), "0xffffffffffffffff");
    EXPECT_NE(r.err.find("laid out for another address"), std::string::npos) << r.err;
    char reason[256];
    EXPECT_TRUE(SG_heap_check(reason, sizeof reason)) << reason;
}

TEST_F(TwoProcesses, AttachAtAnAddressAlreadyTakenFails)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    void *again = SG_attach(path_.c_str(), kSize);
    std::string out = testing::internal::GetCapturedStdout();
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(again, nullptr);
    if (kFileMode) {
        EXPECT_NE(err.find("SG_attach: cannot map"), std::string::npos) << err;
    } else {
        EXPECT_EQ(out.rfind("SG_attach:  shmat failed: errno 22 Invalid argument\n"
                            "            giShmId = ",
                            0),
                  0u)
            << out;
        EXPECT_NE(out.find(", arena_addr = 0x500000000000, SHM_RND\n"
                           "Check environment variable LX_SHMSTADDR.  You may need to set it or\n"
                           "increase the setting to a higher address.\n"),
                  std::string::npos)
            << out;
    }
    // The mapping we had is untouched and still ours.
    EXPECT_NE(SG_malloc(nullptr, 10), nullptr);
    char reason[256];
    EXPECT_TRUE(SG_heap_check(reason, sizeof reason)) << reason;
}

} // namespace
} // namespace lx::test
