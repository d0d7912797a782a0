// Create and attach when the system says no: a size over the system's cap, a size that cannot
// be mapped at all, files that cannot be opened, extended or mapped, a wrong LX_SHMSTADDR. Each
// gives its message and null, and leaves nothing behind.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include <fstream>

#include "segment_test_support.h"

namespace lx::test {
namespace {

bool user_segment_exists() { return shmget(SG_key(nullptr, 'N'), 0, 0) >= 0; }

class CreateFails : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_FALSE(user_segment_exists()) << "a segment of this user is left over"; }
    void TearDown() override {
        int id = shmget(SG_key(nullptr, 'N'), 0, 0);
        if (id >= 0) shmctl(id, IPC_RMID, nullptr);
    }
    TempDir dir_;
};

TEST_F(CreateFails, SizeOverTheSystemCap) {
    // A private IPC namespace lets us lower the cap without touching anyone else's segments.
    const std::vector<std::string> o = {"unshare", "--ipc", "sh", "-c", "echo 1048576 > /proc/sys/kernel/shmmax && exec \"$0\" \"$@\""};
    Result probe = run({"true"}, {}, o);
    if (probe.status != 0) GTEST_SKIP() << "no private IPC namespace here: " << probe.err;
    Result r = run({kHelper, "create", "-", "4194304"}, {}, o);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "shmget failed: errno 22 Invalid argument\nnull\n");
}

TEST_F(CreateFails, SizesThatOverflowOrCannotBeMapped) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(SG_create(nullptr, UINT64_MAX), nullptr);
    EXPECT_EQ(SG_create(nullptr, UINT64_MAX - 4'823'616 + 1), nullptr);
    EXPECT_EQ(SG_create((dir_ / "huge.map").c_str(), UINT64_MAX - 100), nullptr);
    EXPECT_EQ(SG_attach(nullptr, UINT64_MAX), nullptr);
    std::string out = testing::internal::GetCapturedStdout();
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("SG_create: a heap of 18446744073709551615 bytes cannot be mapped"),
              std::string::npos) << err;
    EXPECT_NE(err.find("SG_attach: a heap of"), std::string::npos) << err;
    EXPECT_FALSE(user_segment_exists());
    EXPECT_FALSE(exists(dir_ / "huge.map"));
}

TEST_F(CreateFails, SegmentLargerThanTheAddressSpace) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "a sanitizer build cannot start under an address-space limit";
#endif
    const std::vector<std::string> o = {"prlimit", "--as=1073741824"};  // 1 GiB of address space for the helper
    Result r = run({kHelper, "create", "-", std::to_string(uint64_t{2} << 30)}, {}, o);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out.rfind("SG_create:  shmat failed: errno 12 Cannot allocate memory\n", 0), 0u) << r.out;
    EXPECT_FALSE(user_segment_exists()) << "the segment made for the failed create is removed";

    std::string path = dir_ / "limited.map";
    r = run({kHelper, "create", path, std::to_string(uint64_t{2} << 30)}, {}, o);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("SG_create: cannot map " + path), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("Cannot allocate memory"), std::string::npos) << r.err;
    EXPECT_FALSE(exists(path)) << "a file made by a failed create is removed again";
}

TEST_F(CreateFails, AttachWithALargerSizeThanCreated) {
    void *start = SG_create(nullptr, 1 << 20);
    ASSERT_NE(start, nullptr);
    Result r = run_helper({"attach", "-", std::to_string(64 << 20)});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "shmget failed: errno 22 Invalid argument\nnull\n");
    SG_detach(start);
    SG_destroy(start);
    EXPECT_FALSE(user_segment_exists());
}

TEST_F(CreateFails, AnotherUserFindsNoSegment) {
    void *start = SG_create(nullptr, 1 << 20);
    ASSERT_NE(start, nullptr);
    Result r = run({kHelper, "attach", "-", std::to_string(1 << 20)}, {}, kAsNobody);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "shmget failed: errno 2 No such file or directory\nnull\n");
    SG_detach(start);
    SG_destroy(start);
}

TEST_F(CreateFails, FileThatCannotBeOpened) {
    // The directory is ours alone; another user can neither make nor open files in it.
    std::string path = dir_ / "arena.map";
    Result made = run_helper({"create", path, "1048576"});
    ASSERT_EQ(made.status, 0) << made.out << made.err;
    chmod(path.c_str(), 0600);

    Result r = run({kHelper, "attach", path, "1048576"}, {}, kAsNobody);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "Couldn't open file for mmap: Permission denied\nnull\n");

    std::string other = dir_ / "other.map";
    r = run({kHelper, "create", other, "1048576"}, {}, kAsNobody);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "Couldn't open file for mmap: Permission denied\nnull\n");
    EXPECT_FALSE(exists(other));

    r = run_helper({"attach", dir_ / "missing.map", "1048576"});
    EXPECT_EQ(r.out, "Couldn't open file for mmap: No such file or directory\nnull\n");
    EXPECT_FALSE(exists(dir_ / "missing.map"));
}

TEST_F(CreateFails, FileThatCannotBeExtended) {
    const std::vector<std::string> small_files = {"prlimit", "--fsize=65536"};
    std::string fresh = dir_ / "fresh.map";
    Result r = run({kHelper, "create", fresh, "1048576"}, {}, small_files);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("SG_create: cannot set the length of " + fresh), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("File too large"), std::string::npos) << r.err;
    EXPECT_FALSE(exists(fresh)) << "the file made for the failed create is removed";

    std::string kept = dir_ / "kept.map";
    { std::ofstream(kept) << "someone's data"; }
    r = run({kHelper, "create", kept, "1048576"}, {}, small_files);
    EXPECT_EQ(r.status, 2);
    ASSERT_TRUE(exists(kept)) << "an existing file is not removed";
    std::ifstream in(kept);
    std::string text;
    std::getline(in, text);
    EXPECT_EQ(text, "someone's data");
}

TEST_F(CreateFails, FileShorterThanTheSegmentIsNotAttached) {
    std::string path = dir_ / "short.map";
    { std::ofstream(path) << "short"; }
    Result r = run_helper({"attach", path, "1048576"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("SG_attach: " + path + " holds 5 bytes, fewer than the"), std::string::npos) << r.err;
}

TEST_F(CreateFails, FileAtAnAddressAlreadyTaken) {
    void *taken = mmap(address(kAddress), 1 << 16, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    ASSERT_EQ(taken, address(kAddress));
    setenv("LX_SHMSTADDR", kAddressText.c_str(), 1);
    std::string path = dir_ / "arena.map";
    testing::internal::CaptureStderr();
    void *start = SG_create(path.c_str(), 1 << 20);
    std::string err = testing::internal::GetCapturedStderr();
    munmap(taken, 1 << 16);
    EXPECT_EQ(start, nullptr);
    EXPECT_NE(err.find("SG_create: cannot map " + path), std::string::npos) << err;
    EXPECT_NE(err.find("File exists"), std::string::npos) << err;
    EXPECT_FALSE(exists(path));
}

TEST_F(CreateFails, AddressThatIsNotHexadecimal) {
    // As much of the value as is hexadecimal is used, with a warning.
    Result r = run_helper({"create", dir_ / "a.map", "1048576"}, Env{"LX_SHMSTADDR=500000000000xyz"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(field(r.out, "start"), "0x500000000000");
    EXPECT_NE(r.err.find("SG_create: LX_SHMSTADDR \"500000000000xyz\" is not a hexadecimal address; using 0x500000000000"),
              std::string::npos) << r.err;
    r = run_helper({"create", dir_ / "b.map", "1048576"}, Env{"LX_SHMSTADDR=nowhere"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.err.find("\"nowhere\" is not a hexadecimal address; using 0"), std::string::npos) << r.err;
    r = run_helper({"create", dir_ / "c.map", "1048576"}, Env{"LX_SHMSTADDR=fffffffffffffffffff"});
    EXPECT_EQ(r.status, 2) << "too large to be an address: the mapping there fails";
    EXPECT_NE(r.err.find("is not a hexadecimal address"), std::string::npos) << r.err;
    EXPECT_FALSE(exists(dir_ / "c.map"));
}

}  // namespace
}  // namespace lx::test
