// Floats written to integer modes: truncated toward zero, clamped at each mode's limits, the
// clamped values counted and reported in verbose mode only.
#include <lumarix/im.h>

#include "im_test_support.h"

using namespace imtest;

namespace {

class Clamping : public ::testing::Test {
protected:
    void TearDown() override
    {
        IMClose(1);
        IMAlVerbose(0);
    }
    // Writes `values` as a one-line section of `mode`; returns what IMWrSec printed.
    std::string write_line(int mode, const std::vector<float> &values, bool verbose, int *status = nullptr)
    {
        path = dir.file("clamp.img");
        EXPECT_EQ(IMOpen(1, path.c_str(), "new"), 0);
        EXPECT_EQ(IMCrHdr3(1, static_cast<int>(values.size()), 1, 1, 1, 1, 1, 2, mode), 0);
        EXPECT_EQ(IMWrHdr(1, "clamp", 0, 0, 1, 0), 0);
        IMAlVerbose(verbose);
        testing::internal::CaptureStderr();
        const int result = IMWrSec(1, values.data());
        if (status)
            *status = result;
        else
            EXPECT_EQ(result, 0);
        IMClose(1);
        return testing::internal::GetCapturedStderr();
    }
    template <typename T> std::vector<T> stored(size_t count)
    {
        const std::vector<uint8_t> file = read_bytes(path);
        std::vector<T> out(count);
        std::memcpy(out.data(), file.data() + 1024 + 4096, count * sizeof(T));
        return out;
    }
    ScratchDir dir;
    std::string path;
};

TEST_F(Clamping, ByteModeStopsAtZeroAnd255)
{
    const std::vector<float> in = {300.0f, -5.0f, 255.9f, -0.5f, 12.7f, 0.0f};
    EXPECT_EQ(write_line(0, in, true), "IMWrSec 1: intensity truncation (hi=2, lo=2).\n");
    EXPECT_EQ(stored<uint8_t>(in.size()), std::vector<uint8_t>({255, 0, 255, 0, 12, 0}));
    EXPECT_EQ(write_line(0, in, false), ""); // counted, but said only in verbose mode
}

TEST_F(Clamping, SignedSixteenBitStopsAtMinus32767)
{
    const std::vector<float> in = {-32768.0f, -40000.0f, 32767.5f, -32766.9f, 1.9f};
    EXPECT_EQ(write_line(1, in, true), "IMWrSec 1: intensity truncation (hi=1, lo=2).\n");
    EXPECT_EQ(stored<int16_t>(in.size()), std::vector<int16_t>({-32767, -32767, 32767, -32766, 1}));
}

TEST_F(Clamping, UnsignedSixteenAndThirtyTwoBitLimits)
{
    EXPECT_EQ(write_line(6, {70000.0f, -1.0f, 65535.9f, 65535.0f}, true),
              "IMWrSec 1: intensity truncation (hi=2, lo=1).\n");
    EXPECT_EQ(stored<uint16_t>(4), std::vector<uint16_t>({65535, 0, 65535, 65535}));
    // 2^31 is not above the limit, so it is not counted, but it is stored as the largest pixel.
    EXPECT_EQ(write_line(7, {3e9f, -3e9f, 2147483648.0f, -2147483648.0f, -7.9f}, true),
              "IMWrSec 1: intensity truncation (hi=1, lo=1).\n");
    EXPECT_EQ(stored<int32_t>(5),
              std::vector<int32_t>({2147483647, -2147483647 - 1, 2147483647, -2147483647 - 1, -7}));
}

// A section longer than one conversion chunk: every chunk is written and counted.
TEST_F(Clamping, CountsAddUpOverChunks)
{
    std::vector<float> in(400 * 400);
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = i % 3 == 0 ? 300.0f : i % 3 == 1 ? -5.0f : static_cast<float>(i % 256);
    EXPECT_EQ(write_line(0, in, true), "IMWrSec 1: intensity truncation (hi=53334, lo=53333).\n");
    const std::vector<uint8_t> bytes = stored<uint8_t>(in.size());
    for (size_t i = 0; i < in.size(); ++i)
        ASSERT_EQ(bytes[i], i % 3 == 0 ? 255 : i % 3 == 1 ? 0 : i % 256) << i;
}

} // namespace
