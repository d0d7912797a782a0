// Widening a section in place to floats, as a section read with conversion does.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "pixel_convert.h"
#include "pixel_test_support.h"

namespace px = lx::im::pixel;
using pixel_test::Guarded;
using pixel_test::kLengths;

namespace {

// Distinct neighbouring values in a shuffled order, so that a pixel overwritten before it was
// read shows up as a wrong value rather than an equal one.
template <class T>
std::vector<T> shuffled_values(std::size_t n, std::uint32_t seed)
{
    std::vector<T> v(n);
    std::mt19937 rng(seed);
    if constexpr (sizeof(T) <= 2) {
        std::vector<T> all;
        for (std::int64_t x = std::numeric_limits<T>::min(); x <= std::numeric_limits<T>::max(); ++x)
            all.push_back(static_cast<T>(x));
        std::shuffle(all.begin(), all.end(), rng);
        for (std::size_t i = 0; i < n; ++i)
            v[i] = all[i % all.size()];
    } else {
        const std::vector<T> edges = {std::numeric_limits<T>::min(),
                                      std::numeric_limits<T>::max(),
                                      0,
                                      -1,
                                      1,
                                      16777216,
                                      16777217,
                                      -16777217,
                                      2147483583,
                                      2147483584,
                                      -2147483583};
        std::uniform_int_distribution<T> any;
        for (std::size_t i = 0; i < n; ++i)
            v[i] = i < edges.size() ? edges[i] : any(rng);
        std::shuffle(v.begin(), v.end(), rng);
    }
    return v;
}

template <class T>
void expect_widened(int mode, std::size_t n)
{
    SCOPED_TRACE(::testing::Message() << "mode " << mode << ", " << n << " pixels");
    const std::vector<T> values = shuffled_values<T>(n, static_cast<std::uint32_t>(n * 31 + mode));
    Guarded buf(n * sizeof(float));
    if (n > 0)
        std::memcpy(buf.data(), values.data(), n * sizeof(T)); // data() of an empty vector is null
    ASSERT_EQ(px::widen_to_float(mode, buf.data(), n), px::kStatusOk);
    const auto *out = reinterpret_cast<const float *>(buf.data());
    for (std::size_t i = 0; i < n; ++i) {
        // Through double: exact for every integer here, then one rounding to the nearest float.
        const float want = static_cast<float>(static_cast<double>(values[i]));
        ASSERT_EQ(pixel_test::float_bits(out[i]), pixel_test::float_bits(want))
            << "pixel " << i << " was " << +values[i];
    }
    EXPECT_TRUE(buf.guard_intact()) << "wrote past the section";
}

TEST(WidenIntegerModes, EveryPixelKeepsItsValueAtEveryLength)
{
    for (std::size_t n : kLengths) {
        expect_widened<std::uint8_t>(px::kModeByte, n);
        expect_widened<std::int16_t>(px::kModeInt16, n);
        expect_widened<std::uint16_t>(px::kModeUInt16, n);
        expect_widened<std::int32_t>(px::kModeInt32, n);
    }
}

TEST(WidenIntegerModes, WholeRangeOfSixteenBitValues)
{
    expect_widened<std::int16_t>(px::kModeInt16, 65536 * 2 + 3);
    expect_widened<std::uint16_t>(px::kModeUInt16, 65536 * 2 + 3);
    expect_widened<std::uint8_t>(px::kModeByte, 256 * 70 + 1);
    expect_widened<std::int32_t>(px::kModeInt32, 200001);
}

TEST(WidenUnconverted, FloatAndDoubleSectionsStayBitForBit)
{
    for (int mode : {px::kModeFloat, px::kModeDouble}) {
        Guarded buf(8 * 37);
        for (std::size_t i = 0; i < 8 * 37; ++i)
            buf.data()[i] = static_cast<unsigned char>(i * 13);
        reinterpret_cast<std::uint32_t *>(buf.data())[3] = 0x7fc00001u; // a NaN with a payload
        std::vector<unsigned char> before(buf.data(), buf.data() + 8 * 37);
        ASSERT_EQ(px::widen_to_float(mode, buf.data(), 37), px::kStatusOk);
        EXPECT_TRUE(std::equal(before.begin(), before.end(), buf.data())) << "mode " << mode;
    }
}

TEST(WidenRefused, ComplexInt16AndNonModesLeaveTheBuffer)
{
    const std::vector<std::pair<int, int>> cases = {{px::kModeComplexInt16, px::kStatusComplex16},
                                                    {5, px::kStatusInvalidMode},
                                                    {9, px::kStatusInvalidMode},
                                                    {-2, px::kStatusInvalidMode}};
    for (auto [mode, status] : cases) {
        Guarded buf(4 * 19);
        for (std::size_t i = 0; i < 4 * 19; ++i)
            buf.data()[i] = static_cast<unsigned char>(i + 1);
        std::vector<unsigned char> before(buf.data(), buf.data() + 4 * 19);
        EXPECT_EQ(px::widen_to_float(mode, buf.data(), 19), status) << "mode " << mode;
        EXPECT_TRUE(std::equal(before.begin(), before.end(), buf.data())) << "mode " << mode;
    }
}

class WidenComplex : public ::testing::Test {
protected:
    static float magnitude(float re, float im)
    {
        return static_cast<float>(std::sqrt(static_cast<double>(re) * re + static_cast<double>(im) * im));
    }
};

TEST_F(WidenComplex, MagnitudeOfEachPairFromTheSeparateSource)
{
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float big = std::numeric_limits<float>::max();
    std::vector<float> pairs = {3,   4,    -3, -4, 0,   0, -0.0f, 0,     1e-30f, 1e-30f, big,
                                big, -inf, 1,  1,  nan, 5, 12,    1e20f, 1e20f,  1.5f,   -2.5f};
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> any(-1e6f, 1e6f);
    while (pairs.size() < 2 * 1001)
        pairs.push_back(any(rng));
    const std::size_t n = pairs.size() / 2;
    Guarded section(n * sizeof(float));
    std::memset(section.data(), 0x11, n * sizeof(float));
    ASSERT_EQ(px::widen_to_float(px::kModeComplexFloat, section.data(), n, pairs.data()), px::kStatusOk);
    const auto *out = reinterpret_cast<const float *>(section.data());
    EXPECT_EQ(out[0], 5.0f);
    EXPECT_EQ(out[1], 5.0f);
    EXPECT_EQ(out[5], inf) << "a magnitude past the float range is infinite, not a wrapped value";
    EXPECT_EQ(out[6], inf);
    EXPECT_TRUE(std::isnan(out[7]));
    EXPECT_GT(out[4], 1.4e-30f) << "squares are taken in double precision, without underflow";
    EXPECT_NEAR(out[9] / 1e20f, 1.41421356f, 1e-6f) << "squares are taken in double precision";
    for (std::size_t i = 0; i < n; ++i) {
        const float want = magnitude(pairs[2 * i], pairs[2 * i + 1]);
        if (std::isnan(want))
            continue;
        ASSERT_EQ(out[i], want) << "pixel " << i;
    }
    EXPECT_TRUE(section.guard_intact());
}

TEST_F(WidenComplex, WithoutASourceNothingIsWritten)
{
    Guarded section(4 * 8);
    EXPECT_EQ(px::widen_to_float(px::kModeComplexFloat, section.data(), 8), px::kStatusInvalidMode);
    EXPECT_TRUE(
        std::all_of(section.data(), section.data() + 32, [](unsigned char b) { return b == pixel_test::kGuard; }));
}

// Widening from a separate buffer gives the in-place values, also into an output that does not
// start on a vector boundary.
template <class T>
void expect_copy_matches_in_place(int mode, std::size_t n, std::size_t out_offset)
{
    SCOPED_TRACE(::testing::Message() << "mode " << mode << ", " << n << " pixels, offset " << out_offset);
    const std::vector<T> values = shuffled_values<T>(n, static_cast<std::uint32_t>(n + mode));
    Guarded in_place(n * sizeof(float));
    if (n > 0)
        std::memcpy(in_place.data(), values.data(), n * sizeof(T));
    ASSERT_EQ(px::widen_to_float(mode, in_place.data(), n), px::kStatusOk);

    Guarded out((n + out_offset) * sizeof(float));
    ASSERT_EQ(px::widen_copy(mode, values.data(), out.data() + out_offset * sizeof(float), n), px::kStatusOk);
    ASSERT_EQ(std::memcmp(out.data() + out_offset * sizeof(float), in_place.data(), n * 4), 0);
    EXPECT_TRUE(std::all_of(out.data(), out.data() + out_offset * sizeof(float),
                            [](unsigned char b) { return b == pixel_test::kGuard; }));
    EXPECT_TRUE(out.guard_intact());
}

TEST(WidenCopy, SameValuesAsInPlace)
{
    for (std::size_t offset : {0, 1, 2, 3})
        for (std::size_t n : kLengths) {
            expect_copy_matches_in_place<std::uint8_t>(px::kModeByte, n, offset);
            expect_copy_matches_in_place<std::int16_t>(px::kModeInt16, n, offset);
            expect_copy_matches_in_place<std::uint16_t>(px::kModeUInt16, n, offset);
            expect_copy_matches_in_place<std::int32_t>(px::kModeInt32, n, offset);
        }
}

TEST(WidenCopy, OtherModesCopyOrRefuse)
{
    std::vector<unsigned char> in(8 * 21);
    for (std::size_t i = 0; i < in.size(); ++i)
        in[i] = static_cast<unsigned char>(i * 5 + 3);
    for (int mode : {int{px::kModeFloat}, int{px::kModeDouble}}) {
        Guarded out(px::file_bytes_per_pixel(mode) * 21);
        ASSERT_EQ(px::widen_copy(mode, in.data(), out.data(), 21), px::kStatusOk);
        EXPECT_EQ(std::memcmp(out.data(), in.data(), px::file_bytes_per_pixel(mode) * 21), 0);
        EXPECT_TRUE(out.guard_intact()) << "mode " << mode;
    }
    const std::vector<float> pairs = {3, 4, 6, 8};
    Guarded out(8);
    ASSERT_EQ(px::widen_copy(px::kModeComplexFloat, pairs.data(), out.data(), 2), px::kStatusOk);
    EXPECT_EQ(reinterpret_cast<const float *>(out.data())[1], 10.0f);
    EXPECT_EQ(px::widen_copy(px::kModeComplexInt16, in.data(), out.data(), 2), px::kStatusComplex16);
    EXPECT_EQ(px::widen_copy(5, in.data(), out.data(), 2), px::kStatusInvalidMode);
    EXPECT_TRUE(out.guard_intact());
}

// What a section read from a foreign-order file does: swap, then widen in place.
// The one-pass form gives what the two calls give, byte for byte, for every mode and length.
TEST(WidenForeignOrder, OnePassEqualsSwapThenWiden)
{
    for (int mode : {0, 1, 2, 4, 6, 7, 8}) {
        const std::size_t bpp = px::file_bytes_per_pixel(mode);
        for (std::size_t n : kLengths) {
            SCOPED_TRACE(::testing::Message() << "mode " << mode << ", " << n << " pixels");
            const std::size_t room = n * std::max<std::size_t>(bpp, 4);
            std::vector<unsigned char> file(room);
            std::mt19937 rng(static_cast<std::uint32_t>(n * 7 + mode));
            for (auto &b : file)
                b = static_cast<unsigned char>(rng());
            Guarded two_calls(room), one_pass(room);
            if (n > 0)
                std::memcpy(two_calls.data(), file.data(), room);
            if (n > 0)
                std::memcpy(one_pass.data(), file.data(), room);
            std::vector<float> complex_two(2 * n + 2), complex_one(2 * n + 2);
            if (n > 0)
                std::memcpy(complex_two.data(), file.data(), std::min(room, 8 * n));
            complex_one = complex_two;
            const bool complex = mode == px::kModeComplexFloat;

            ASSERT_EQ(px::swap_pixels(mode, complex ? static_cast<void *>(complex_two.data()) : two_calls.data(), n),
                      px::kStatusOk);
            ASSERT_EQ(px::widen_to_float(mode, two_calls.data(), n, complex_two.data()), px::kStatusOk);
            ASSERT_EQ(px::swap_and_widen_to_float(mode, one_pass.data(), n, complex_one.data()), px::kStatusOk);
            ASSERT_EQ(std::memcmp(one_pass.data(), two_calls.data(), room), 0);
            EXPECT_TRUE(one_pass.guard_intact());
        }
    }
}

TEST(WidenForeignOrder, OnePassRefusesWhatTheSwapRefuses)
{
    Guarded buf(4 * 9);
    EXPECT_EQ(px::swap_and_widen_to_float(px::kModeComplexInt16, buf.data(), 9), px::kStatusSwapFailed);
    EXPECT_EQ(px::swap_and_widen_to_float(5, buf.data(), 9), px::kStatusSwapFailed);
    EXPECT_EQ(px::swap_and_widen_to_float(px::kModeComplexFloat, buf.data(), 9), px::kStatusInvalidMode);
    EXPECT_TRUE(std::all_of(buf.data(), buf.data() + 36, [](unsigned char b) { return b == pixel_test::kGuard; }));
}

} // namespace
