// Narrowing floats into a file's pixel mode with clamping, as a section write with conversion does.
#include <cmath>
#include <limits>

#include "pixel_test_support.h"

using namespace pixel_test;

namespace {

// Each integer mode's limits: compared against, and stored when clamped (the lower limit of
// 16-bit signed pixels is -32767 on purpose).
struct Limits {
    int mode;
    std::size_t bytes;
    double lo, hi;
    std::int64_t lo_pixel, hi_pixel;
};

const Limits kModes[] = {
    {px::kModeByte, 1, 0.0, 255.0, 0, 255},
    {px::kModeInt16, 2, -32767.0, 32767.0, -32767, 32767},
    {px::kModeUInt16, 2, 0.0, 65535.0, 0, 65535},
    {px::kModeInt32, 4, -2147483648.0, 2147483648.0, -2147483648LL, 2147483647LL},
};

void PrintTo(const Limits &m, std::ostream *os) { *os << "mode " << m.mode; }

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
    const float inf = std::numeric_limits<float>::infinity(), big = std::numeric_limits<float>::max();
    const float tiny = std::numeric_limits<float>::denorm_min();
    std::vector<float> v = {inf,
                            -inf,
                            NAN,
                            -NAN,
                            bit_cast<float>(0x7f800001u),
                            bit_cast<float>(0xffc12345u),
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
                            big,
                            -big,
                            tiny,
                            -tiny,
                            1e10f,
                            -1e10f,
                            255.9f,
                            254.9f,
                            -32766.9f,
                            -123456.7f};
    for (const Limits &any : kModes)
        for (double limit : {any.lo, any.hi}) {
            const auto f = static_cast<float>(limit);
            for (float x : {f, std::nextafter(f, -inf), std::nextafter(f, inf), f - 0.5f, f + 0.5f, f - 1, f + 1, -f})
                v.push_back(x);
        }
    std::mt19937 rng(static_cast<std::uint32_t>(m.mode) + 99);
    std::uniform_int_distribution<std::uint32_t> bits;
    std::uniform_real_distribution<double> near(m.lo - 300.0, m.hi + 300.0), wide(m.lo * 1.5 - 300, m.hi * 1.5 + 300);
    for (int i = 0; i < 30000; ++i)
        v.insert(v.end(), {bit_cast<float>(bits(rng)), static_cast<float>(near(rng)), static_cast<float>(wide(rng))});
    return v;
}

class NarrowByMode : public ::testing::TestWithParam<Limits> {
protected:
    // Narrows in[0..n) and checks every stored pixel against the plain definition, one value at a
    // time in double precision, the counts, and the bytes after the output.
    void check(const float *in, std::size_t n)
    {
        const Limits &m = GetParam();
        Guarded out(n * m.bytes);
        px::ClampCounts counts;
        ASSERT_EQ(px::narrow_from_float(m.mode, in, out.data(), n, counts), px::kStatusOk);
        std::size_t low = 0, high = 0;
        for (std::size_t i = 0; i < n; ++i) {
            const double v = in[i];
            low += v < m.lo;
            high += v > m.hi;
            const std::int64_t want = std::isnan(v) ? 0
                                      : v < m.lo    ? m.lo_pixel
                                      : v > m.hi    ? m.hi_pixel
                                                    : std::min(static_cast<std::int64_t>(std::trunc(v)), m.hi_pixel);
            ASSERT_EQ(stored(m, out.data(), i), want) << "pixel " << i << " of " << n << " from " << std::hexfloat << v;
        }
        EXPECT_EQ(std::pair(counts.low, counts.high), std::pair(low, high)) << n << " pixels";
        EXPECT_TRUE(out.guard_intact()) << "wrote past " << n << " pixels";
    }
};

TEST_P(NarrowByMode, EveryInputMatchesThePlainDefinitionAtEveryLengthAndStart)
{
    const std::vector<float> in = inputs_for(GetParam());
    check(in.data(), in.size());
    for (std::size_t offset = 0; offset < 4; ++offset)
        for (std::size_t n : kLengths)
            check(in.data() + offset, std::min(n, in.size() - offset));
}

INSTANTIATE_TEST_SUITE_P(Modes, NarrowByMode, ::testing::ValuesIn(kModes),
                         [](const auto &p) { return "Mode" + std::to_string(p.param.mode); });

} // namespace
