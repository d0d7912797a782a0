// Widening a section to floats, as a section read with conversion does: in place, from a separate
// buffer, and in one pass with the swap of a foreign-order file.
#include <cmath>
#include <limits>

#include "pixel_test_support.h"

using namespace pixel_test;

namespace {

// Distinct neighbouring values in a shuffled order (every value of an 8- or 16-bit type once the
// length reaches its range), so that a pixel overwritten before it was read shows up.
template <class T>
std::vector<T> shuffled_values(std::size_t n, std::uint32_t seed)
{
    std::mt19937 rng(seed);
    std::vector<T> v(n);
    const std::int32_t edges[] = {INT32_MIN, INT32_MAX, 0,         -1,         1,
                                  16777216,  16777217,  -16777217, 2147483583, 2147483584};
    std::uniform_int_distribution<std::int32_t> any;
    for (std::size_t i = 0; i < n; ++i)
        v[i] = sizeof(T) <= 2 ? static_cast<T>(std::numeric_limits<T>::min() + i)
                              : static_cast<T>(i < 10 ? edges[i] : any(rng));
    std::shuffle(v.begin(), v.end(), rng);
    return v;
}

// In place and into an output `n % 4` floats past a vector boundary: each pixel the float nearest
// its value, nothing written outside.
template <class T>
void expect_widened(int mode, std::size_t n)
{
    SCOPED_TRACE(::testing::Message() << "mode " << mode << ", " << n << " pixels");
    const std::vector<T> values = shuffled_values<T>(n, static_cast<std::uint32_t>(n * 31 + mode));
    Guarded in_place(n * 4), copy((n + n % 4) * 4);
    if (n > 0)
        std::memcpy(in_place.data(), values.data(), n * sizeof(T));
    ASSERT_EQ(px::widen_to_float(mode, in_place.data(), n), px::kStatusOk);
    ASSERT_EQ(px::widen_copy(mode, values.data(), copy.data() + n % 4 * 4, n), px::kStatusOk);
    const auto *out = reinterpret_cast<const float *>(in_place.data());
    for (std::size_t i = 0; i < n; ++i)
        ASSERT_EQ(bit_cast<std::uint32_t>(out[i]),
                  bit_cast<std::uint32_t>(static_cast<float>(static_cast<double>(values[i]))))
            << "pixel " << i << " was " << +values[i];
    EXPECT_EQ(std::memcmp(copy.data() + n % 4 * 4, out, n * 4), 0);
    EXPECT_TRUE(in_place.guard_intact() && copy.guard_intact());
    EXPECT_TRUE(std::all_of(copy.data(), copy.data() + n % 4 * 4, [](unsigned char b) { return b == kGuard; }));
}

TEST(Widen, IntegerModesKeepEveryValueAtEveryLength)
{
    std::vector<std::size_t> lengths = kLengths;
    lengths.push_back(65536 * 2 + 3);
    for (std::size_t n : lengths) {
        expect_widened<std::uint8_t>(px::kModeByte, n);
        expect_widened<std::int16_t>(px::kModeInt16, n);
        expect_widened<std::uint16_t>(px::kModeUInt16, n);
        expect_widened<std::int32_t>(px::kModeInt32, n);
    }
}

TEST(Widen, ComplexGivesTheMagnitudeOfEachPair)
{
    const float inf = std::numeric_limits<float>::infinity(), big = std::numeric_limits<float>::max();
    std::vector<float> pairs = {3,   4,    -3, -4, 0,   0, -0.0f, 0,     1e-30f, 1e-30f, big,
                                big, -inf, 1,  1,  NAN, 5, 12,    1e20f, 1e20f,  1.5f,   -2.5f};
    for (int i = 0; pairs.size() < 2 * 1001; ++i)
        pairs.push_back(static_cast<float>(i % 2 ? -i * 977 : i * 313) * 0.37f);
    const std::size_t n = pairs.size() / 2;
    Guarded section(n * 4);
    ASSERT_EQ(px::widen_to_float(px::kModeComplexFloat, section.data(), n, pairs.data()), px::kStatusOk);
    const auto *out = reinterpret_cast<const float *>(section.data());
    EXPECT_EQ(std::vector<float>(out, out + 2), std::vector<float>({5, 5}));
    EXPECT_EQ(out[5], inf) << "a magnitude past the float range is infinite, not a wrapped value";
    EXPECT_EQ(out[6], inf);
    EXPECT_TRUE(std::isnan(out[7]));
    EXPECT_GT(out[4], 1.4e-30f) << "squares are taken in double precision, without underflow";
    EXPECT_NEAR(out[9] / 1e20f, 1.41421356f, 1e-6f) << "squares are taken in double precision";
    for (std::size_t i = 8; i < n; ++i)
        ASSERT_EQ(out[i], static_cast<float>(std::sqrt(double{pairs[2 * i]} * pairs[2 * i] +
                                                       double{pairs[2 * i + 1]} * pairs[2 * i + 1])))
            << i;
    EXPECT_TRUE(section.guard_intact());
    float two[2];
    ASSERT_EQ(px::widen_copy(px::kModeComplexFloat, pairs.data() + 34, two, 2), px::kStatusOk);
    EXPECT_EQ(std::vector<float>(two, two + 2), std::vector<float>(out + 17, out + 19));
}

} // namespace
