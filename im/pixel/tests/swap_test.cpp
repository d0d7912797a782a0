// Byte swapping of pixels read from a file of the other byte order.
#include "pixel_test_support.h"

using namespace pixel_test;

namespace {

struct UnitCase {
    int mode;
    std::size_t unit;      // bytes reversed together; 1 means untouched
    std::size_t per_pixel; // bytes of one pixel
};

void PrintTo(const UnitCase &c, std::ostream *os) { *os << "mode " << c.mode; }

class SwapByMode : public ::testing::TestWithParam<UnitCase> {};

// Every unit reversed, nothing else touched, also from a start one element past a vector boundary.
TEST_P(SwapByMode, ReversesEachUnitAndNothingElse)
{
    const UnitCase c = GetParam();
    for (std::size_t offset : {0, 1})
        for (std::size_t n : kLengths) {
            const std::size_t bytes = n * c.per_pixel, skip = offset * c.per_pixel;
            Guarded buf(skip + bytes);
            for (std::size_t i = 0; i < skip + bytes; ++i)
                buf.data()[i] = static_cast<unsigned char>(i * 7 + i / 256 + 1);
            const std::vector<unsigned char> before(buf.data() + skip, buf.data() + skip + bytes);
            ASSERT_EQ(px::swap_pixels(c.mode, buf.data() + skip, n), px::kStatusOk);
            for (std::size_t i = 0; i < bytes; ++i)
                ASSERT_EQ(buf.data()[skip + i], before[i / c.unit * c.unit + c.unit - 1 - i % c.unit])
                    << n << " pixels, byte " << i;
            EXPECT_TRUE(buf.guard_intact());
            EXPECT_TRUE(skip == 0 || buf.data()[0] == 1);
        }
}

INSTANTIATE_TEST_SUITE_P(Modes, SwapByMode,
                         ::testing::Values(UnitCase{px::kModeByte, 1, 1}, UnitCase{px::kModeInt16, 2, 2},
                                           UnitCase{px::kModeUInt16, 2, 2}, UnitCase{px::kModeFloat, 4, 4},
                                           UnitCase{px::kModeInt32, 4, 4}, UnitCase{px::kModeComplexFloat, 4, 8},
                                           UnitCase{px::kModeDouble, 1, 8}),
                         [](const auto &p) { return "Mode" + std::to_string(p.param.mode); });

TEST(SwapRefused, ComplexInt16AndNonModesFailAndLeaveTheBuffer)
{
    for (int mode : {int{px::kModeComplexInt16}, 5, 9, -1}) {
        Guarded buf(0);
        EXPECT_EQ(px::swap_pixels(mode, buf.data(), 33), px::kStatusSwapFailed) << mode;
        EXPECT_TRUE(buf.guard_intact()) << mode;
    }
}

} // namespace
