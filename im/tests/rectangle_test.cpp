// Rectangles of a section read and written at the edges and past them, and the statistics of a
// region of a section.
#include "im_test_support.h"

using namespace imtest;

namespace {

constexpr int kNx = 6, kNy = 5;

// Pixel (x, y) of section s.
float at(int s, int x, int y) { return static_cast<float>(100 * s + 10 * y + x); }

class Rectangles : public ImTest, public ::testing::WithParamInterface<std::string> {
protected:
    void SetUp() override
    {
        ASSERT_EQ(IMOpen(1, path.c_str(), ("new" + GetParam()).c_str()), 0);
        ASSERT_EQ(IMCrHdr3(1, kNx, kNy, 2, 1, 1, 1, 2, 1), 0);
        ASSERT_EQ(IMWrHdr(1, "rectangles", 0, 0, 1, 0), 0);
        for (int s = 0; s < 2; ++s)
            ASSERT_EQ(IMWrSec(1, section(s).data()), 0);
        ASSERT_EQ(IMPosn(1, 0, 0), 0);
    }
    static std::vector<float> section(int s)
    {
        std::vector<float> out;
        for (int y = 0; y < kNy; ++y)
            for (int x = 0; x < kNx; ++x)
                out.push_back(at(s, x, y));
        return out;
    }
    std::vector<float> section_in_file(int s)
    {
        const std::string file = readFile(path);
        std::vector<float> out;
        for (int i = 0; i < kNx * kNy; ++i)
            out.push_back(native_at<int16_t>(file, 1024 + 4096 + 2 * (s * kNx * kNy + i)));
        return out;
    }
    std::string path = dir / "rect.img";
};

TEST_P(Rectangles, ReadsPlaceTheRectangleTopLeftAndMoveToTheNextSection)
{
    std::vector<float> buffer(4 * 3, -1.0f), whole(kNx * kNy);
    ASSERT_EQ(IMRdPas(1, buffer.data(), 4, 3, 3, 5, 3, 4), 0); // bottom right corner, 3 x 2
    EXPECT_EQ(buffer, std::vector<float>({33, 34, 35, -1, 43, 44, 45, -1, -1, -1, -1, -1}));
    ASSERT_EQ(IMRdPas(1, whole.data(), kNx, kNy, 0, kNx - 1, 0, kNy - 1), 0); // section 1 now
    EXPECT_EQ(whole, section(1));
    int z, w, t, p, number;
    IMRtPosn(1, &z, &w, &t, &p, &number);
    EXPECT_EQ(number, 2);
    ASSERT_EQ(IMPosn(1, 0, 0), 0);
    EXPECT_EQ(stderr_of([&] {
                  EXPECT_EQ(IMRdPas(1, whole.data(), kNx, kNy, 1, kNx, 0, 0), 402);
                  EXPECT_EQ(IMRdPas(1, whole.data(), kNx, kNy, -1, 2, 0, 0), 402);
                  EXPECT_EQ(IMRdPas(1, whole.data(), 2, kNy, 0, 2, 0, 0), 402);
                  EXPECT_EQ(IMRdPas(1, whole.data(), kNx, kNy, 3, 2, 0, 0), 402);
                  EXPECT_EQ(IMRdPas(1, whole.data(), kNx, kNy, 0, 0, 2, kNy), 403);
                  EXPECT_EQ(IMRdPas(1, whole.data(), kNx, 1, 0, 0, 0, 1), 403);
              }),
              "IMRdPas 1: too many columns (6/6/6).\nIMRdPas 1: too many columns (4/6/6).\n"
              "IMRdPas 1: too many columns (3/2/6).\nIMRdPas 1: too many columns (0/6/6).\n"
              "IMRdPas 1: too many rows (4/5/5).\nIMRdPas 1: too many rows (2/1/5).\n");
    IMRtPosn(1, &z, &w, &t, &p, &number);
    EXPECT_EQ(number, 0);
}

TEST_P(Rectangles, WritesChangeOnlyTheRectangle)
{
    const std::vector<float> patch = {-1, -2, 999, -3, -4, 999}; // 2 x 2 from a buffer 3 wide
    ASSERT_EQ(IMWrPas(1, patch.data(), 3, 2, 4, 5, 0, 1), 0);    // top right corner of section 0
    ASSERT_EQ(IMWrPas(1, patch.data(), 3, 2, 0, 1, 4, 4), 0);    // bottom left of section 1, one row
    std::vector<float> want0 = section(0), want1 = section(1);
    for (int i : {4, 5, 10, 11})
        want0[i] = patch[i / 6 * 3 + i % 6 - 4];
    want1[24] = -1;
    want1[25] = -2;
    EXPECT_EQ(section_in_file(0), want0);
    EXPECT_EQ(section_in_file(1), want1);
    EXPECT_EQ(stderr_of([&] {
                  EXPECT_EQ(IMWrPas(1, patch.data(), 3, 2, 5, 6, 0, 1), 402);
                  EXPECT_EQ(IMWrPas(1, patch.data(), 1, 2, 0, 1, 0, 1), 402);
                  EXPECT_EQ(IMWrPas(1, patch.data(), 3, 2, 0, 1, 4, 5), 403);
              }),
              "IMWrPas 1: too many columns (2/3/6).\nIMWrPas 1: too many columns (2/1/6).\n"
              "IMWrPas 1: too many rows (2/2/5).\n");
    EXPECT_EQ(section_in_file(1), want1);
    // The whole section from a buffer of its size is a section write, with its clamping.
    std::vector<float> big(kNx * kNy, 70000.0f);
    ASSERT_EQ(IMPosn(1, 0, 0), 0);
    IMAlVerbose(1);
    EXPECT_EQ(stderr_of([&] { ASSERT_EQ(IMWrPas(1, big.data(), kNx, kNy, 0, kNx - 1, 0, kNy - 1), 0); }),
              "IMWrSec 1: intensity truncation (hi=30, lo=0).\n");
    IMAlVerbose(0);
    EXPECT_EQ(section_in_file(0), std::vector<float>(kNx * kNy, 32767.0f));
}

INSTANTIATE_TEST_SUITE_P(IoKinds, Rectangles, ::testing::Values("", "_unbuffered"));

TEST(RegionStatistics, MinimumMaximumAndMeanOfARegion)
{
    TempDir dir;
    ASSERT_EQ(IMOpen(1, (dir / "den.img").c_str(), "new"), 0);
    ASSERT_EQ(IMCrHdr3(1, 4, 3, 1, 1, 1, 1, 2, 2), 0);
    const std::vector<float> section = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    float min = 0, max = 0, mean = 0;
    ASSERT_EQ(IMCalcDen(1, section.data(), 1, 2, 1, 2, &min, &max, &mean), 0);
    EXPECT_EQ(std::vector<float>({min, max, mean}), std::vector<float>({6, 11, 8.5f}));
    EXPECT_EQ(stderr_of([&] {
                  EXPECT_EQ(IMCalcDen(1, section.data(), 0, 4, 0, 0, &min, &max, &mean), 402);
                  EXPECT_EQ(IMCalcDen(1, section.data(), 0, 0, 2, 1, &min, &max, &mean), 403);
              }),
              "IMCalcDen: invalid ROI.\nIMCalcDen: invalid ROI.\n");
    IMClose(1);
}

} // namespace
