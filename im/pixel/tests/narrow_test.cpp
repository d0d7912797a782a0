// Narrowing floats into a file's pixel mode with clamping, as a section write with conversion does.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "pixel_convert.h"
#include "pixel_test_support.h"

namespace px = lx::im::pixel;
using pixel_test::Guarded;
using pixel_test::kLengths;

namespace {

struct Limits {
    int mode;
    std::size_t bytes;
    double lo, hi;                   // compared against
    std::int64_t lo_pixel, hi_pixel; // stored when clamped
};

const Limits kModes[] = {
    {px::kModeByte, 1, 0.0, 255.0, 0, 255},
    {px::kModeInt16, 2, -32767.0, 32767.0, -32767, 32767},
    {px::kModeUInt16, 2, 0.0, 65535.0, 0, 65535},
    {px::kModeInt32, 4, -2147483648.0, 2147483648.0, -2147483648LL, 2147483647LL},
};

void PrintTo(const Limits &m, std::ostream *os) { *os << "mode " << m.mode; }

enum Clamp { kNone, kLow, kHigh };

struct Expected {
    std::int64_t pixel;
    Clamp clamp;
};

// The plain definition, one value at a time, in double precision.
Expected plain(const Limits &m, float f)
{
    if (std::isnan(f))
        return {0, kNone};
    const double v = f;
    if (v < m.lo)
        return {m.lo_pixel, kLow};
    if (v > m.hi)
        return {m.hi_pixel, kHigh};
    return {std::min(static_cast<std::int64_t>(std::trunc(v)), m.hi_pixel), kNone};
}

std::int64_t stored(const Limits &m, const unsigned char *out, std::size_t i)
{
    switch (m.mode) {
    case px::kModeByte: return out[i];
    case px::kModeInt16: return reinterpret_cast<const std::int16_t *>(out)[i];
    case px::kModeUInt16: return reinterpret_cast<const std::uint16_t *>(out)[i];
    default: return reinterpret_cast<const std::int32_t *>(out)[i];
    }
}

// Values at, just beyond and just inside each limit of every mode, the special values, and
// random values: both over the whole float range and over the limits of `m`.
std::vector<float> inputs_for(const Limits &m)
{
    const float inf = std::numeric_limits<float>::infinity();
    std::vector<float> v = {inf,
                            -inf,
                            std::numeric_limits<float>::quiet_NaN(),
                            -std::numeric_limits<float>::quiet_NaN(),
                            pixel_test::bits_float(0x7f800001u),
                            pixel_test::bits_float(0xffc12345u),
                            0.0f,
                            -0.0f,
                            0.4999f,
                            -0.4999f,
                            0.5f,
                            -0.5f,
                            0.99999994f,
                            -0.99999994f,
                            1.0f,
                            -1.0f,
                            std::numeric_limits<float>::max(),
                            -std::numeric_limits<float>::max(),
                            std::numeric_limits<float>::denorm_min(),
                            -std::numeric_limits<float>::denorm_min(),
                            1e10f,
                            -1e10f};
    for (const Limits &any : kModes) {
        for (double limit : {any.lo, any.hi}) {
            const auto f = static_cast<float>(limit);
            for (float x :
                 {f, std::nextafter(f, -inf), std::nextafter(f, inf), f - 0.5f, f + 0.5f, f - 1.0f, f + 1.0f, -f})
                v.push_back(x);
        }
    }
    std::mt19937 rng(static_cast<std::uint32_t>(m.mode) + 99);
    std::uniform_int_distribution<std::uint32_t> bits;
    std::uniform_real_distribution<double> near(m.lo - 300.0, m.hi + 300.0);
    std::uniform_real_distribution<double> wide(m.lo * 1.5 - 300.0, m.hi * 1.5 + 300.0);
    for (int i = 0; i < 30000; ++i) {
        v.push_back(pixel_test::bits_float(bits(rng)));
        v.push_back(static_cast<float>(near(rng)));
        v.push_back(static_cast<float>(wide(rng)));
    }
    return v;
}

class NarrowByMode : public ::testing::TestWithParam<Limits> {
protected:
    // Narrows in[0..n) and checks every stored pixel, the counts and the bytes after the output.
    void check(const float *in, std::size_t n)
    {
        const Limits &m = GetParam();
        Guarded out(n * m.bytes);
        px::ClampCounts counts;
        ASSERT_EQ(px::narrow_from_float(m.mode, in, out.data(), n, counts), px::kStatusOk);
        std::size_t low = 0, high = 0;
        for (std::size_t i = 0; i < n; ++i) {
            const Expected e = plain(m, in[i]);
            low += e.clamp == kLow;
            high += e.clamp == kHigh;
            ASSERT_EQ(stored(m, out.data(), i), e.pixel)
                << "pixel " << i << " of " << n << " from " << std::hexfloat << in[i];
        }
        EXPECT_EQ(counts.low, low) << n << " pixels";
        EXPECT_EQ(counts.high, high) << n << " pixels";
        EXPECT_TRUE(out.guard_intact()) << "wrote past " << n << " pixels";
    }
};

TEST_P(NarrowByMode, EveryInputMatchesThePlainDefinition)
{
    const std::vector<float> in = inputs_for(GetParam());
    check(in.data(), in.size());
}

TEST_P(NarrowByMode, VectorTailsAndUnalignedStarts)
{
    const std::vector<float> in = inputs_for(GetParam());
    for (std::size_t offset = 0; offset < 4; ++offset)
        for (std::size_t n : kLengths)
            check(in.data() + offset, std::min(n, in.size() - offset));
}

TEST_P(NarrowByMode, CountsAddUpAcrossCallsAndLongRuns)
{
    const Limits &m = GetParam();
    // Longer than the kernels' internal step, alternating low, high and in-range values.
    const std::size_t n = (1u << 20) + 7;
    std::vector<float> in(n);
    for (std::size_t i = 0; i < n; ++i)
        in[i] = i % 3 == 0   ? static_cast<float>(m.lo) - 1000.0f
                : i % 3 == 1 ? static_cast<float>(m.hi) * 2.0f + 1.0f
                             : 7.0f;
    std::vector<unsigned char> out(n * m.bytes);
    px::ClampCounts counts{5, 6};
    ASSERT_EQ(px::narrow_from_float(m.mode, in.data(), out.data(), n, counts), px::kStatusOk);
    EXPECT_EQ(counts.low, 5 + (n + 2) / 3);
    EXPECT_EQ(counts.high, 6 + (n + 1) / 3);
    const std::size_t last_in_range = (n - 1) - ((n - 1) % 3 + 1) % 3;
    EXPECT_EQ(stored(m, out.data(), last_in_range), 7);
    EXPECT_EQ(stored(m, out.data(), last_in_range - 1), m.hi_pixel);
    EXPECT_EQ(stored(m, out.data(), last_in_range - 2), m.lo_pixel);
}

INSTANTIATE_TEST_SUITE_P(Modes, NarrowByMode, ::testing::ValuesIn(kModes),
                         [](const auto &param_info) { return "Mode" + std::to_string(param_info.param.mode); });

// The limits as a user meets them, one value at a time.
class NarrowLimits : public ::testing::Test {
protected:
    static std::int64_t one(int mode, float v, px::ClampCounts &counts)
    {
        unsigned char out[8] = {};
        EXPECT_EQ(px::narrow_from_float(mode, &v, out, 1, counts), px::kStatusOk);
        for (const Limits &m : kModes)
            if (m.mode == mode)
                return stored(m, out, 0);
        return -1;
    }
};

TEST_F(NarrowLimits, ByteClampsAndCountsBothWays)
{
    px::ClampCounts c;
    EXPECT_EQ(one(px::kModeByte, 300.0f, c), 255);
    EXPECT_EQ(one(px::kModeByte, -5.0f, c), 0);
    EXPECT_EQ(one(px::kModeByte, 255.9f, c), 255);
    EXPECT_EQ(one(px::kModeByte, 254.9f, c), 254);
    EXPECT_EQ(c.high, 2u);
    EXPECT_EQ(c.low, 1u);
    EXPECT_EQ(one(px::kModeByte, -0.5f, c), 0);
    EXPECT_EQ(c.low, 2u) << "below 0.0 is counted even though truncation also gives 0";
}

TEST_F(NarrowLimits, Int16LowerLimitIsMinus32767)
{
    px::ClampCounts c;
    EXPECT_EQ(one(px::kModeInt16, -32768.0f, c), -32767);
    EXPECT_EQ(c.low, 1u);
    EXPECT_EQ(one(px::kModeInt16, -32767.0f, c), -32767);
    EXPECT_EQ(one(px::kModeInt16, -32766.9f, c), -32766);
    EXPECT_EQ(one(px::kModeInt16, 32767.0f, c), 32767);
    EXPECT_EQ(c.low, 1u);
    EXPECT_EQ(c.high, 0u);
}

TEST_F(NarrowLimits, UInt16TruncatesTowardZero)
{
    px::ClampCounts c;
    EXPECT_EQ(one(px::kModeUInt16, 65535.5f, c), 65535);
    EXPECT_EQ(one(px::kModeUInt16, 65534.99f, c), 65534);
    EXPECT_EQ(one(px::kModeUInt16, 0.99f, c), 0);
    EXPECT_EQ(c.high, 1u);
    EXPECT_EQ(c.low, 0u);
}

TEST_F(NarrowLimits, Int32AtTwoToThe31IsTheLargestPixelUncounted)
{
    px::ClampCounts c;
    EXPECT_EQ(one(px::kModeInt32, 2147483648.0f, c), 2147483647);
    EXPECT_EQ(c.high, 0u);
    EXPECT_EQ(one(px::kModeInt32, 2147483904.0f, c), 2147483647);
    EXPECT_EQ(c.high, 1u);
    EXPECT_EQ(one(px::kModeInt32, -2147483648.0f, c), -2147483648LL);
    EXPECT_EQ(one(px::kModeInt32, -2147483904.0f, c), -2147483648LL);
    EXPECT_EQ(one(px::kModeInt32, -123456.7f, c), -123456);
    EXPECT_EQ(c.low, 1u);
}

TEST_F(NarrowLimits, NaNBecomesZeroUncountedInEveryMode)
{
    for (const Limits &m : kModes) {
        px::ClampCounts c;
        EXPECT_EQ(one(m.mode, std::numeric_limits<float>::quiet_NaN(), c), 0) << m.mode;
        EXPECT_EQ(one(m.mode, -std::numeric_limits<float>::quiet_NaN(), c), 0) << m.mode;
        EXPECT_EQ(c.low + c.high, 0u) << m.mode;
        EXPECT_EQ(one(m.mode, std::numeric_limits<float>::infinity(), c), m.hi_pixel);
        EXPECT_EQ(one(m.mode, -std::numeric_limits<float>::infinity(), c), m.lo_pixel);
        EXPECT_EQ(c.low, 1u);
        EXPECT_EQ(c.high, 1u);
    }
}

TEST(NarrowOtherModes, FloatIsCopiedAndTheRestRefused)
{
    const std::vector<float> in = {1.5f, -2.25f, 1e30f, -0.0f, 7.0f};
    Guarded out(in.size() * 4);
    px::ClampCounts c;
    ASSERT_EQ(px::narrow_from_float(px::kModeFloat, in.data(), out.data(), in.size(), c), px::kStatusOk);
    EXPECT_EQ(std::memcmp(out.data(), in.data(), in.size() * 4), 0);
    EXPECT_TRUE(out.guard_intact());

    const std::vector<std::pair<int, int>> refused = {{px::kModeComplexInt16, px::kStatusComplex16},
                                                      {px::kModeComplexFloat, px::kStatusInvalidMode},
                                                      {px::kModeDouble, px::kStatusInvalidMode},
                                                      {5, px::kStatusInvalidMode},
                                                      {11, px::kStatusInvalidMode}};
    for (auto [mode, status] : refused) {
        Guarded untouched(0);
        EXPECT_EQ(px::narrow_from_float(mode, in.data(), untouched.data(), in.size(), c), status);
        EXPECT_TRUE(untouched.guard_intact()) << "mode " << mode;
    }
    EXPECT_EQ(c.low + c.high, 0u);
}

} // namespace
