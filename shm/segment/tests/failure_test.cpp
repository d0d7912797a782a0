// Create and attach when the system says no. Each gives its message and null, and leaves nothing
// behind.
#include <sys/ipc.h>
#include <sys/shm.h>

#include "segment_test_support.h"

namespace lx::test {
namespace {

bool user_segment_exists() { return shmget(SG_key(nullptr, 'N'), 0, 0) >= 0; }

TEST(CreateFails, GivesTheReasonAndLeavesNothingBehind)
{
    TempDir dir;
    const std::string mb = std::to_string(1 << 20), big = std::to_string(uint64_t{2} << 30);
    const std::vector<std::string> none,
        as1GiB = {"prlimit", "--as=1073741824"}, small = {"prlimit", "--fsize=65536"},
        capped = {"unshare", "--ipc", "sh", "-c", "echo 1048576 > /proc/sys/kernel/shmmax && exec \"$0\" \"$@\""};
    ASSERT_EQ(run_helper({"create", dir / "arena.map", mb}).status, 0);
    writeFile(dir / "short.map", "short");
    writeFile(dir / "kept.map", "someone's data");
    ASSERT_NE(SG_create(nullptr, 1 << 20), nullptr);
    const std::string denied = "Couldn't open file for mmap: Permission denied\nnull\n";
    const struct {
        std::vector<std::string> wrapper, args;
        std::string message, gone;
    } cases[] =
    { {none, {"attach", "-", std::to_string(64 << 20)}, "shmget failed: errno 22 Invalid argument\nnull\n", ""},
      {capped, {"create", "-", "4194304"}, "shmget failed: errno 22 Invalid argument\nnull\n", ""},
      {kAsNobody, {"attach", "-", mb}, "shmget failed: errno 2 No such file or directory\nnull\n", ""},
      {kAsNobody, {"attach", dir / "arena.map", mb}, denied, ""},
      {kAsNobody, {"create", dir / "other.map", mb}, denied, dir / "other.map"},
      {none,
       {"attach", dir / "no.map", mb},
       "Couldn't open file for mmap: No such file or directory\n",
       dir / "no.map"},
      {none, {"attach", dir / "short.map", mb}, "SG_attach: " + dir / "short.map" + " holds 5 bytes, fewer than", ""},
      {small,
       {"create", dir / "new.map", mb},
       "SG_create: cannot set the length of " + dir / "new.map",
       dir / "new.map"},
      {small, {"create", dir / "kept.map", mb}, "", ""},
      {none, {"create", "-", "18446744073709551615"}, "SG_create: a heap of 18446744073709551615 bytes cannot be", ""},
      {none, {"attach", "-", "18446744073709551615"}, "SG_attach: a heap of 18446744073709551615 bytes cannot be", ""},
      {none, {"create", dir / "huge.map", "18446744073709551515"}, "cannot be mapped", dir / "huge.map"},
      {none, {"create", "-", "1559"}, "SG_create: a heap of 1559 bytes cannot be mapped (1560 to 2^62)", ""},
#if !defined(__SANITIZE_ADDRESS__) // a sanitizer build cannot start under an address-space limit
      {as1GiB,
       {"create", dir / "limited.map", big},
       "SG_create: cannot map " + dir / "limited.map",
       dir / "limited.map"},
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
    EXPECT_EQ(readFile(dir / "kept.map"), "someone's data") << "an existing file is neither removed nor cut";
    SG_destroy(nullptr);
#if !defined(__SANITIZE_ADDRESS__)
    const Result r = run({kHelper, "create", "-", big}, {}, as1GiB);
    EXPECT_EQ(r.out.rfind("SG_create:  shmat failed: errno 12 Cannot allocate memory\n", 0), 0u) << r.out;
#endif
    EXPECT_FALSE(user_segment_exists()) << "a segment made for a failed create is removed";
}

TEST(CreateFails, FileAtAnAddressAlreadyTaken)
{
    TempDir dir;
    void *taken = mmap(address(kAddress), 1 << 16, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    ASSERT_EQ(taken, address(kAddress));
    setenv("LX_SHMSTADDR", kAddressText.c_str(), 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(SG_create((dir / "a.map").c_str(), 1 << 20), nullptr);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("SG_create: cannot map " + dir / "a.map"), std::string::npos);
    EXPECT_FALSE(exists(dir / "a.map"));
}

// As much of the value as is hexadecimal is used, with a warning; too large a value fails.
TEST(CreateFails, AddressThatIsNotHexadecimal)
{
    TempDir dir;
    const struct {
        std::string value, out, err;
    } cases[] = {{"500000000000xyz", "start 0x500000000000\n",
                  "\"500000000000xyz\" is not a hexadecimal address; using 0x500000000000"},
                 {"nowhere", "start 0x", "SG_create: LX_SHMSTADDR \"nowhere\" is not a hexadecimal address; using 0\n"},
                 {"fffffffffffffffffff", "null\n", "\"fffffffffffffffffff\" is not a hexadecimal address"}};
    for (const auto &c : cases) {
        Result r = run_helper({"create", dir / "a.map", "1048576"}, {"LX_SHMSTADDR=" + c.value});
        EXPECT_EQ(r.out.rfind(c.out, 0), 0u) << r.out;
        EXPECT_NE(r.err.find(c.err), std::string::npos) << r.err;
        unlink((dir / "a.map").c_str());
    }
}

} // namespace
} // namespace lx::test
