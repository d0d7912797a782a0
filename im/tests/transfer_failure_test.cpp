// Transfers that the system makes short or refuses: the eleven attempts of unbuffered I/O (system
// calls replaced so that each moves a few bytes or fails), and a device that is always full.
#include <lumarix/im.h>

#include <cerrno>

#include "im_stream.h"
#include "im_test_support.h"

using namespace imtest;

namespace {

int g_calls = 0;
ssize_t g_step = 3;

ssize_t read_a_few(int fd, void *buffer, size_t bytes)
{
    ++g_calls;
    return ::read(fd, buffer, std::min<size_t>(bytes, static_cast<size_t>(g_step)));
}

ssize_t write_a_few(int fd, const void *buffer, size_t bytes)
{
    ++g_calls;
    return ::write(fd, buffer, std::min<size_t>(bytes, static_cast<size_t>(g_step)));
}

ssize_t fail_io(int, void *, size_t)
{
    ++g_calls;
    errno = EIO;
    return -1;
}

class SlowDescriptor : public ::testing::Test {
protected:
    void SetUp() override { saved = lx::im::file_calls(); }
    void TearDown() override
    {
        lx::im::file_calls() = saved;
        IMClose(1);
    }
    // A one-section mode 0 file of nx x 1 pixels holding 0, 1, 2, ...
    void create(int nx)
    {
        path = dir.file("slow.img");
        ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0);
        ASSERT_EQ(IMCrHdr3(1, nx, 1, 1, 1, 1, 1, 2, 0), 0);
        ASSERT_EQ(IMWrHdr(1, "slow", 0, 0, 1, 0), 0);
        std::vector<float> ramp(nx);
        for (int i = 0; i < nx; ++i)
            ramp[i] = static_cast<float>(i);
        ASSERT_EQ(IMWrSec(1, ramp.data()), 0);
        IMClose(1);
    }
    // Reads the section three bytes a call; returns the status and what was printed.
    std::pair<int, std::string> read_slowly(std::vector<float> &out)
    {
        EXPECT_EQ(IMOpen(1, path.c_str(), "ro_unbuffered"), 0);
        lx::im::file_calls().read = read_a_few;
        g_calls = 0;
        testing::internal::CaptureStderr();
        const int status = IMRdSec(1, out.data());
        return {status, testing::internal::GetCapturedStderr()};
    }
    lx::im::FileCalls saved{};
    ScratchDir dir;
    std::string path;
};

// Three bytes a call: 30 bytes take 10 calls, 33 take the eleventh (still said), 34 are cut short.
TEST_F(SlowDescriptor, ReadsStopAtElevenAttemptsAndSaySoOnTheEleventh)
{
    const std::string retries = "iStreamFileRead: too many retries (11), only 33 elements read...\n";
    const struct {
        int pixels, status, calls;
        std::string err;
    } cases[] = {{30, 0, 10, ""},
                 {33, 0, 11, retries},
                 {34, 212, 11,
                  retries + "iStreamFileEOF() is unavailable with unbuffered file IO.\n"
                            "IMRdSec 1: only 33 pixels read (EOF=0).\n        Success\n"}};
    for (const auto &c : cases) {
        create(c.pixels);
        std::vector<float> out(c.pixels);
        const auto [status, err] = read_slowly(out);
        EXPECT_EQ(status, c.status) << c.pixels;
        EXPECT_EQ(g_calls, c.calls) << c.pixels;
        EXPECT_EQ(err, c.err) << c.pixels;
        if (status == 0) {
            EXPECT_EQ(out.back(), c.pixels - 1.0f);
        }
        lx::im::file_calls() = saved;
        IMClose(1);
    }
}

TEST_F(SlowDescriptor, WritesFollowTheSameRule)
{
    for (int nx : {33, 34}) {
        create(nx);
        ASSERT_EQ(IMOpen(1, path.c_str(), "old_unbuffered"), 0);
        lx::im::file_calls().write = write_a_few;
        g_calls = 0;
        const std::vector<float> ones(nx, 1.0f);
        testing::internal::CaptureStderr();
        const int status = IMWrSec(1, ones.data());
        const std::string err = testing::internal::GetCapturedStderr();
        lx::im::file_calls() = saved;
        EXPECT_EQ(g_calls, 11);
        if (nx == 33) {
            EXPECT_EQ(status, 0);
            EXPECT_EQ(err, "iStreamFileWrite: too many retries (11), only 33 elements written...\n");
        } else {
            EXPECT_EQ(status, 213);
            EXPECT_EQ(err, "iStreamFileWrite: too many retries (11), only 33 elements written...\n"
                           "IMWrSec 1: incorrect number of pixels written.\n        Success\n");
        }
        IMClose(1);
    }
}

TEST_F(SlowDescriptor, FailingCallsAddNothing)
{
    create(8);
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro_unbuffered"), 0);
    lx::im::file_calls().read = fail_io;
    g_calls = 0;
    std::vector<float> out(8);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRdSec(1, out.data()), 212);
    const std::string err = testing::internal::GetCapturedStderr();
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
        testing::internal::CaptureStderr();
        EXPECT_EQ(IMWrSec(1, section.data()), 213) << attribute;
        EXPECT_EQ(IMWrHdr(1, "full", 0, 0, 1, 0), 209) << attribute;
        const std::string err = testing::internal::GetCapturedStderr();
        EXPECT_NE(err.find("IMWrSec 1: incorrect number of pixels written.\n        No space left on device\n"),
                  std::string::npos)
            << err;
        IMClose(1);
    }
}

} // namespace
