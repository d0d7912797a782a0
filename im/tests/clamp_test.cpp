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
    std::string write_line(int mode, const std::vector<float> &values, bool verbose)
    {
        path = dir.file("clamp.img");
        EXPECT_EQ(IMOpen(1, path.c_str(), "new"), 0);
        EXPECT_EQ(IMCrHdr3(1, static_cast<int>(values.size()), 1, 1, 1, 1, 1, 2, mode), 0);
        EXPECT_EQ(IMWrHdr(1, "clamp", 0, 0, 1, 0), 0);
        IMAlVerbose(verbose);
        testing::internal::CaptureStderr();
        EXPECT_EQ(IMWrSec(1, values.data()), 0);
        IMClose(1);
        return testing::internal::GetCapturedStderr();
    }
    template <typename T>
    std::vector<T> stored(size_t count)
    {
        const std::vector<uint8_t> file = read_bytes(path);
        std::vector<T> out(count);
        std::memcpy(out.data(), file.data() + 1024 + 4096, count * sizeof(T));
        return out;
    }
    ScratchDir dir;
    std::string path;
};

// The limits of each mode are the pixel kernels' (their tests); here: a section longer than one
// conversion chunk has every chunk written and counted, and the count is said in verbose mode only.
TEST_F(Clamping, CountsAddUpOverChunks)
{
    std::vector<float> in(400 * 400);
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = i % 3 == 0 ? 300.0f : i % 3 == 1 ? -5.0f : static_cast<float>(i % 256);
    EXPECT_EQ(write_line(0, in, true), "IMWrSec 1: intensity truncation (hi=53334, lo=53333).\n");
    const std::vector<uint8_t> bytes = stored<uint8_t>(in.size());
    for (size_t i = 0; i < in.size(); ++i)
        ASSERT_EQ(bytes[i], i % 3 == 0 ? 255 : i % 3 == 1 ? 0 : i % 256) << i;
    EXPECT_EQ(write_line(0, in, false), "");
}

} // namespace
