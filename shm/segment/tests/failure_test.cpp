// Create and attach when the system says no: a size over the system's cap, a size that cannot
// be mapped at all, files that cannot be opened, extended or mapped, a wrong LX_SHMSTADDR. Each
// gives its message and null, and leaves nothing behind.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "segment_test_support.h"

namespace lx::test {
namespace {

bool user_segment_exists() { return shmget(SG_key(nullptr, 'N'), 0, 0) >= 0; }

class CreateFails : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_FALSE(user_segment_exists()) << "a segment of this user is left over"; }
    void TearDown() override
    {
        int id = shmget(SG_key(nullptr, 'N'), 0, 0);
        if (id >= 0)
            shmctl(id, IPC_RMID, nullptr);
    }
    TempDir dir_;
};

// Helper runs that fail with status 2: their message (standard output or error) and, when named,
// a file that must not be left behind.
TEST_F(CreateFails, HelperRunsGiveTheReasonAndLeaveNothingBehind)
{
    const std::string sizes = std::to_string(1 << 20), big = std::to_string(uint64_t{2} << 30);
    const std::vector<std::string> none, as1GiB = {"prlimit", "--as=1073741824"},
                                         smallFiles = {"prlimit", "--fsize=65536"};
    ASSERT_EQ(run_helper({"create", dir_ / "arena.map", sizes}).status, 0);
    chmod((dir_ / "arena.map").c_str(), 0600);
    writeFile(dir_ / "short.map", "short");
    writeFile(dir_ / "kept.map", "someone's data");
    void *start = SG_create(nullptr, 1 << 20);
    ASSERT_NE(start, nullptr);
    const std::string denied = "Couldn't open file for mmap: Permission denied\nnull\n";
    const struct {
        std::vector<std::string> wrapper, args;
        std::string message, gone;
    } cases[] = {
        {none, {"attach", "-", std::to_string(64 << 20)}, "shmget failed: errno 22 Invalid argument\nnull\n", ""},
        {kAsNobody, {"attach", "-", sizes}, "shmget failed: errno 2 No such file or directory\nnull\n", ""},
        {kAsNobody, {"attach", dir_ / "arena.map", sizes}, denied, ""},
        {kAsNobody, {"create", dir_ / "other.map", sizes}, denied, dir_ / "other.map"},
        {none,
         {"attach", dir_ / "missing.map", sizes},
         "Couldn't open file for mmap: No such file or directory\nnull\n",
         dir_ / "missing.map"},
        {none,
         {"attach", dir_ / "short.map", sizes},
         "SG_attach: " + dir_ / "short.map" + " holds 5 bytes, fewer than the",
         ""},
        {smallFiles,
         {"create", dir_ / "fresh.map", sizes},
         "SG_create: cannot set the length of " + dir_ / "fresh.map",
         dir_ / "fresh.map"},
        {smallFiles, {"create", dir_ / "kept.map", sizes}, "", ""},
#if !defined(__SANITIZE_ADDRESS__) // a sanitizer build cannot start under an address-space limit
        {as1GiB,
         {"create", dir_ / "limited.map", big},
         "SG_create: cannot map " + dir_ / "limited.map",
         dir_ / "limited.map"},
#endif
    };
    for (const auto &c : cases) {
        std::vector<std::string> args = c.args;
        args.insert(args.begin(), kHelper);
        const Result r = run(args, {"LX_SHMSTADDR=" + kAddressText}, c.wrapper);
        EXPECT_EQ(r.status, 2) << args[1] << " " << args[2];
        EXPECT_NE((r.out + r.err).find(c.message), std::string::npos) << args[1] << args[2] << ": " << r.out << r.err;
        EXPECT_TRUE(c.gone.empty() || !exists(c.gone)) << c.gone;
    }
    EXPECT_EQ(readFile(dir_ / "kept.map"), "someone's data") << "an existing file is neither removed nor cut";
    SG_detach(start);
    SG_destroy(start);
#if !defined(__SANITIZE_ADDRESS__)
    const Result r = run({kHelper, "create", "-", big}, {}, as1GiB);
    EXPECT_EQ(r.out.rfind("SG_create:  shmat failed: errno 12 Cannot allocate memory\n", 0), 0u) << r.out;
    EXPECT_FALSE(user_segment_exists()) << "the segment made for the failed create is removed";
#endif
}

TEST_F(CreateFails, SizeOverTheSystemCap)
{
    // A private IPC namespace lets us lower the cap without touching anyone else's segments.
    const std::vector<std::string> o = {"unshare", "--ipc", "sh", "-c",
                                        "echo 1048576 > /proc/sys/kernel/shmmax && exec \"$0\" \"$@\""};
    if (run({"true"}, {}, o).status != 0)
        GTEST_SKIP() << "no private IPC namespace here";
    Result r = run({kHelper, "create", "-", "4194304"}, {}, o);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "shmget failed: errno 22 Invalid argument\nnull\n");
}

TEST_F(CreateFails, SizesThatOverflowOrCannotBeMapped)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(SG_create(nullptr, UINT64_MAX), nullptr);
    EXPECT_EQ(SG_create(nullptr, UINT64_MAX - 4'823'616 + 1), nullptr);
    EXPECT_EQ(SG_create((dir_ / "huge.map").c_str(), UINT64_MAX - 100), nullptr);
    EXPECT_EQ(SG_attach(nullptr, UINT64_MAX), nullptr);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("SG_create: a heap of 18446744073709551615 bytes cannot be mapped"), std::string::npos) << err;
    EXPECT_NE(err.find("SG_attach: a heap of"), std::string::npos) << err;
    EXPECT_FALSE(user_segment_exists());
    EXPECT_FALSE(exists(dir_ / "huge.map"));
}
TEST_F(CreateFails, FileAtAnAddressAlreadyTaken)
{
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

TEST_F(CreateFails, AddressThatIsNotHexadecimal)
{
    // As much of the value as is hexadecimal is used, with a warning.
    Result r = run_helper({"create", dir_ / "a.map", "1048576"}, Env{"LX_SHMSTADDR=500000000000xyz"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(field(r.out, "start"), "0x500000000000");
    EXPECT_NE(
        r.err.find("SG_create: LX_SHMSTADDR \"500000000000xyz\" is not a hexadecimal address; using 0x500000000000"),
        std::string::npos)
        << r.err;
    r = run_helper({"create", dir_ / "b.map", "1048576"}, Env{"LX_SHMSTADDR=nowhere"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.err.find("\"nowhere\" is not a hexadecimal address; using 0"), std::string::npos) << r.err;
    r = run_helper({"create", dir_ / "c.map", "1048576"}, Env{"LX_SHMSTADDR=fffffffffffffffffff"});
    EXPECT_EQ(r.status, 2) << "too large to be an address: the mapping there fails";
    EXPECT_NE(r.err.find("is not a hexadecimal address"), std::string::npos) << r.err;
    EXPECT_FALSE(exists(dir_ / "c.map"));
}

} // namespace
} // namespace lx::test
