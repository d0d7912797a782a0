// Byte swapping of pixels read from a file of the other byte order.
#include <gtest/gtest.h>

#include "pixel_convert.h"
#include "pixel_test_support.h"

namespace px = lx::im::pixel;
using pixel_test::Guarded;
using pixel_test::kLengths;

namespace {

// Fills `n` bytes with a pattern in which no two neighbouring bytes are equal.
void fill_pattern(unsigned char *p, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        p[i] = static_cast<unsigned char>(i * 7 + i / 256 + 1);
}

struct UnitCase {
    int mode;
    std::size_t unit;      // bytes reversed together; 1 means untouched
    std::size_t per_pixel; // bytes of one pixel
};

void PrintTo(const UnitCase &c, std::ostream *os) { *os << "mode " << c.mode; }

class SwapByMode : public ::testing::TestWithParam<UnitCase> {};

TEST_P(SwapByMode, ReversesEachUnitAndNothingElse)
{
    const UnitCase c = GetParam();
    for (std::size_t n : kLengths) {
        SCOPED_TRACE(n);
        const std::size_t bytes = n * c.per_pixel;
        Guarded buf(bytes);
        fill_pattern(buf.data(), bytes);
        std::vector<unsigned char> before(buf.data(), buf.data() + bytes);
        ASSERT_EQ(px::swap_pixels(c.mode, buf.data(), n), px::kStatusOk);
        for (std::size_t i = 0; i < bytes; ++i) {
            const std::size_t unit_start = i / c.unit * c.unit;
            const std::size_t mirrored = unit_start + (c.unit - 1 - (i - unit_start));
            ASSERT_EQ(buf.data()[i], before[mirrored]) << "byte " << i;
        }
        EXPECT_TRUE(buf.guard_intact());
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, SwapByMode,
                         ::testing::Values(UnitCase{px::kModeByte, 1, 1}, UnitCase{px::kModeInt16, 2, 2},
                                           UnitCase{px::kModeUInt16, 2, 2}, UnitCase{px::kModeFloat, 4, 4},
                                           UnitCase{px::kModeInt32, 4, 4}, UnitCase{px::kModeComplexFloat, 4, 8},
                                           UnitCase{px::kModeDouble, 1, 8}),
                         [](const auto &param_info) { return "Mode" + std::to_string(param_info.param.mode); });

TEST(SwapRefused, ComplexInt16AndNonModesFailAndLeaveTheBuffer)
{
    for (int mode : {int{px::kModeComplexInt16}, 5, 9, -1}) {
        SCOPED_TRACE(mode);
        Guarded buf(4 * 33);
        fill_pattern(buf.data(), 4 * 33);
        std::vector<unsigned char> before(buf.data(), buf.data() + 4 * 33);
        EXPECT_EQ(px::swap_pixels(mode, buf.data(), 33), px::kStatusSwapFailed);
        EXPECT_TRUE(std::equal(before.begin(), before.end(), buf.data()));
    }
}

// A buffer that starts one element past a vector boundary still swaps every pixel.
TEST(SwapAlignment, UnalignedStartSwapsEveryPixel)
{
    Guarded buf(2 * 101 + 2);
    auto *v = reinterpret_cast<std::uint16_t *>(buf.data()) + 1;
    for (std::uint16_t i = 0; i < 101; ++i)
        v[i] = static_cast<std::uint16_t>(0x0102 + i * 0x0101);
    ASSERT_EQ(px::swap_pixels(px::kModeInt16, v, 101), px::kStatusOk);
    for (std::uint16_t i = 0; i < 101; ++i) {
        const std::uint16_t was = static_cast<std::uint16_t>(0x0102 + i * 0x0101);
        ASSERT_EQ(v[i], static_cast<std::uint16_t>((was & 0xff) << 8 | was >> 8)) << i;
    }
    EXPECT_EQ(reinterpret_cast<std::uint16_t *>(buf.data())[0], 0xA5A5);
}

} // namespace
