// Create and attach when the system says no. Each gives its message and null, and leaves nothing
// behind.
#include <sys/shm.h>

#include "segment_test_support.h"

namespace lx::test {
namespace {

bool user_segment_exists() { return shmget(SG_key(nullptr, 'N'), 0, 0) >= 0; }

// A file that did not exist is not left behind; one that did is neither removed nor cut.
TEST(CreateFails, GivesTheReasonAndLeavesNothingBehind)
{
    TempDir dir;
    const std::string mb = "1048576", all = "18446744073709551615", m = dir / "arena.map", no = dir / "no.map";
    const std::string denied = "Couldn't open file for mmap: Permission denied\nstart (nil)\n";
    const std::vector<std::string> none,
        as1GiB = {"prlimit", "--as=1073741824"}, small = {"prlimit", "--fsize=65536"},
        capped = {"unshare", "--ipc", "sh", "-c", "echo 1048576 > /proc/sys/kernel/shmmax && exec \"$0\" \"$@\""};
    ASSERT_EQ(run_helper({"sg-create:" + m + ":" + mb}).status, 0);
    writeFile(dir / "short.map", "short");
    writeFile(dir / "kept.map", "someone's data");
    ASSERT_NE(SG_create(nullptr, 1 << 20), nullptr);
    const struct {
        std::vector<std::string> wrapper;
        std::string verb, path, size, message;
    } cases[] = {
        {none, "attach", "-", "67108864", "shmget failed: errno 22 Invalid argument\nstart (nil)\n"},
        {capped, "create", "-", "4194304", "shmget failed: errno 22 Invalid argument\nstart (nil)\n"},
        {kAsNobody, "attach", "-", mb, "shmget failed: errno 2 No such file or directory\nstart (nil)\n"},
        {kAsNobody, "attach", m, mb, denied},
        {kAsNobody, "create", no, mb, denied},
        {none, "attach", no, mb, "Couldn't open file for mmap: No such file or directory\n"},
        {none, "attach", dir / "short.map", mb, "SG_attach: " + dir / "short.map" + " holds 5 bytes, fewer than"},
        {small, "create", no, mb, "SG_create: cannot set the length of " + no},
        {small, "create", dir / "kept.map", mb, "SG_create: cannot set the length of"},
        {none, "create", "-", all, "SG_create: a heap of " + all + " bytes cannot be mapped (1560 to 2^62)\n"},
        {none, "attach", "-", all, "SG_attach: a heap of " + all + " bytes cannot be mapped"},
        {none, "create", "-", "1559", "SG_create: a heap of 1559 bytes cannot be mapped"},
#if !defined(__SANITIZE_ADDRESS__) // a sanitizer build cannot start under an address-space limit
        {as1GiB, "create", no, "2147483648", "SG_create: cannot map " + no},
#endif
    };
    for (const auto &c : cases) {
        const bool existed = exists(c.path);
        const Result r =
            run({kHelper, "sg-" + c.verb + ":" + c.path + ":" + c.size}, {"LX_SHMSTADDR=" + kAddressText}, c.wrapper);
        EXPECT_EQ(r.status, 2) << c.verb << " " << c.path;
        EXPECT_NE((r.out + r.err).find(c.message), std::string::npos) << c.verb << c.path << ": " << r.out << r.err;
        EXPECT_EQ(exists(c.path), existed) << c.path;
    }
    EXPECT_EQ(readFile(dir / "kept.map"), "someone's data");
    SG_destroy(nullptr);
#if !defined(__SANITIZE_ADDRESS__)
    const Result r = run({kHelper, "sg-create:-:2147483648"}, {}, as1GiB);
    EXPECT_EQ(r.out.rfind("SG_create:  shmat failed: errno 12 Cannot allocate memory\n            giShmId = ", 0), 0u);
    EXPECT_NE(r.out.find(", arena_addr = (nil), SHM_RND\nCheck environment variable LX_SHMSTADDR.  You may need to set "
                         "it or\nincrease the setting to a higher address.\n"),
              std::string::npos)
        << r.out;
#endif
    EXPECT_FALSE(user_segment_exists()) << "a segment made for a failed create is removed";
}

// As much of the value as is hexadecimal is used, with a warning.
TEST(CreateFails, AddressThatIsNotHexadecimal)
{
    TempDir dir;
    Result r = run_helper({"sg-create:" + dir / "a.map" + ":1048576"}, {"LX_SHMSTADDR=500000000000xyz"});
    EXPECT_EQ(r.out + r.err, "start 0x500000000000\nSG_create: LX_SHMSTADDR \"500000000000xyz\" is not a hexadecimal "
                             "address; using 0x500000000000\n");
    r = run_helper({"sg-create:" + dir / "b.map" + ":1048576"}, {"LX_SHMSTADDR=nowhere"});
    EXPECT_NE(r.err.find("\"nowhere\" is not a hexadecimal address; using 0\n"), std::string::npos) << r.err;
}

} // namespace
} // namespace lx::test
