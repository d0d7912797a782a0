// Transfers that the system makes short or refuses: the eleven attempts of unbuffered I/O (system
// calls replaced so that each moves a few bytes or fails), and a device that is always full.
#include <cerrno>

#include "im_stream.h"
#include "im_test_support.h"

using namespace imtest;

namespace {

int g_calls = 0;

ssize_t read_a_few(int fd, void *buffer, size_t bytes)
{
    return ++g_calls, ::read(fd, buffer, std::min<size_t>(bytes, 3));
}

ssize_t write_a_few(int fd, const void *buffer, size_t bytes)
{
    return ++g_calls, ::write(fd, buffer, std::min<size_t>(bytes, 3));
}

ssize_t fail_io(int, void *, size_t) { return ++g_calls, errno = EIO, -1; }

class SlowDescriptor : public ::testing::Test {
protected:
    void TearDown() override
    {
        lx::im::file_calls() = saved;
        IMClose(1);
    }
    // A one-section mode 0 file of nx x 1 pixels holding 0, 1, 2, ..., opened with `attribute`
    // and then transferred through `calls`.
    void create(int nx, const char *attribute, lx::im::FileCalls calls)
    {
        lx::im::file_calls() = saved;
        IMClose(1);
        ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0);
        ASSERT_EQ(IMCrHdr3(1, nx, 1, 1, 1, 1, 1, 2, 0), 0);
        ASSERT_EQ(IMWrHdr(1, "slow", 0, 0, 1, 0), 0);
        ramp.resize(nx);
        for (int i = 0; i < nx; ++i)
            ramp[i] = static_cast<float>(i);
        ASSERT_EQ(IMWrSec(1, ramp.data()), 0);
        IMClose(1);
        ASSERT_EQ(IMOpen(1, path.c_str(), attribute), 0);
        lx::im::file_calls() = calls;
        g_calls = 0;
    }
    lx::im::FileCalls saved = lx::im::file_calls();
    TempDir dir;
    std::string path = dir / "slow.img";
    std::vector<float> ramp;
};

// Three bytes a call: 30 bytes take 10 calls, 33 take the eleventh (still said), 34 are cut short.
TEST_F(SlowDescriptor, TransfersStopAtElevenAttemptsAndSaySoOnTheEleventh)
{
    const std::string retries = "iStreamFileRead: too many retries (11), only 33 elements read...\n";
    const struct {
        int pixels, status, calls;
        std::string err;
    } reads[] = {{30, 0, 10, ""},
                 {33, 0, 11, retries}, // the eleventh attempt completes the transfer and still says so
                 {34, 212, 11,
                  retries + "iStreamFileEOF() is unavailable with unbuffered file IO.\n"
                            "IMRdSec 1: only 33 pixels read (EOF=0).\n        Success\n"}};
    for (const auto &c : reads) {
        create(c.pixels, "ro_unbuffered", {read_a_few, saved.write});
        std::vector<float> out(c.pixels);
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMRdSec(1, out.data()), c.status); }), c.err) << c.pixels;
        EXPECT_EQ(g_calls, c.calls) << c.pixels;
        EXPECT_TRUE(c.status != 0 || out == ramp) << c.pixels;
    }
    for (int nx : {33, 34}) {
        create(nx, "old_unbuffered", {saved.read, write_a_few});
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMWrSec(1, ramp.data()), nx == 33 ? 0 : 213); }),
                  "iStreamFileWrite: too many retries (11), only 33 elements written...\n" +
                      std::string(nx == 33 ? "" : "IMWrSec 1: incorrect number of pixels written.\n        Success\n"));
        EXPECT_EQ(g_calls, 11);
    }
    create(8, "ro_unbuffered", {fail_io, saved.write}); // failing calls add nothing
    const std::string err = stderr_of([&] { EXPECT_EQ(IMRdSec(1, ramp.data()), 212); });
    EXPECT_EQ(g_calls, 11);
    EXPECT_NE(err.find("IMRdSec 1: only 0 pixels read (EOF=0).\n        Input/output error\n"), std::string::npos)
        << err;
}

// Every write to /dev/full fails with "No space left on device": buffered streams learn it when
// the section is flushed, unbuffered ones at once.
TEST(FullDevice, SectionAndHeaderWritesReportTheFailure)
{
    for (const char *attribute : {"new", "new_unbuffered"}) {
        if (IMOpen(1, "/dev/full", attribute) != 0)
            GTEST_SKIP() << "/dev/full cannot be opened for writing here";
        ASSERT_EQ(IMCrHdr3(1, 16, 16, 1, 1, 1, 1, 2, 6), 0);
        const std::vector<float> section(256, 5.0f);
        const std::string err = stderr_of([&] {
            EXPECT_EQ(IMWrSec(1, section.data()), 213) << attribute;
            EXPECT_EQ(IMWrHdr(1, "full", 0, 0, 1, 0), 209) << attribute;
        });
        EXPECT_NE(err.find("IMWrSec 1: incorrect number of pixels written.\n        No space left on device\n"),
                  std::string::npos)
            << err;
        IMClose(1);
    }
}

} // namespace
