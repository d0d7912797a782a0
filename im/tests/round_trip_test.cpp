// Headers made with IMCrHdr3 and the accessors, written, closed and read back.
#include <lumarix/im.h>

#include "im_test_support.h"

using namespace imtest;

namespace {

class RoundTrip : public ::testing::Test {
protected:
    void SetUp() override
    {
        path = dir.file("round.img");
        ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0);
    }
    void TearDown() override
    {
        IMClose(1);
        IMClose(2);
    }
    // Writes the header, closes and reopens read-only as stream 2.
    void write_and_reopen(const char *title = "round trip")
    {
        ASSERT_EQ(IMWrHdr(1, title, 1, 0.5f, 99.5f, 42.0f), 0);
        ASSERT_EQ(IMClose(1), 0);
        ASSERT_EQ(IMOpen(2, path.c_str(), "ro"), 0);
    }
    ScratchDir dir;
    std::string path;
};

TEST_F(RoundTrip, ExtendedLayoutKeepsEveryValue)
{
    ASSERT_EQ(IMCrHdr3(1, 64, 32, 4, 12, 3, 2, 2, 1), 0);
    const int start[3] = {-4, 5, 6}, sampling[3] = {2, 4, 1}, map[3] = {2, 3, 1};
    const float cell[6] = {128, 64, 8, 89, 90, 91}, rot[3] = {1.25f, 2.5f, -3.75f};
    IMAlMst(1, start);
    IMAlSam(1, sampling);
    IMAlMap(1, map);
    IMALCel(1, cell);
    IMAlRot(1, rot);
    IMAlOrig(1, 10, 20, 30);
    IMAlDat(1, 101, 10612, 7, -8, 1.5f, -2.25f);
    IMAlSym(1, 9, 0);
    IMAlHdrValues(1, 5, 6.0f);
    ASSERT_EQ(IMAlDataBitsPerPixel(1, 12), 0);
    ASSERT_EQ(IMAlTimeStamp(1, 1.7e9), 0);
    for (int w = 0; w < 12; ++w) {
        const int values[3] = {w, -w, 100 * w};
        ASSERT_EQ(IMAlWav2(1, w, 400.0f + 25 * w), 0);
        ASSERT_EQ(IMAlWavMMM(1, w, -w * 1.0f, 10.0f * w, 5.0f * w), 0);
        ASSERT_EQ(IMAlWavValues(1, w, values), 0);
    }
    write_and_reopen();
    int nx, ny, nsec, nz, nw, nt, np, mode, sequence, bits;
    IMRtSiz(2, &nx, &ny, &nsec);
    IMRtZWTP(2, &nz, &nw, &nt, &np);
    IMRtMode(2, &mode);
    IMRtSequence(2, &sequence);
    IMRtDataBitsPerPixel(2, &bits);
    EXPECT_EQ(std::vector<int>({nx, ny, nsec, nz, nw, nt, np, mode, sequence, bits}),
              std::vector<int>({64, 32, 288, 4, 12, 3, 2, 1, 2, 12}));
    int got_start[3], got_sampling[3], got_map[3];
    float got_cell[6], got_rot[3], delta[3];
    IMRtMst(2, got_start);
    IMRtSam(2, got_sampling);
    IMRtMap(2, got_map);
    IMRtCel(2, got_cell);
    IMRtRot(2, got_rot);
    IMRtDel(2, delta);
    EXPECT_EQ(std::vector<int>(got_start, got_start + 3), std::vector<int>(start, start + 3));
    EXPECT_EQ(std::vector<int>(got_sampling, got_sampling + 3), std::vector<int>(sampling, sampling + 3));
    EXPECT_EQ(std::vector<int>(got_map, got_map + 3), std::vector<int>(map, map + 3));
    EXPECT_EQ(std::vector<float>(got_cell, got_cell + 6), std::vector<float>(cell, cell + 6));
    EXPECT_EQ(std::vector<float>(got_rot, got_rot + 3), std::vector<float>(rot, rot + 3));
    EXPECT_EQ(std::vector<float>(delta, delta + 3), std::vector<float>({64, 16, 8}));
    int type, lens, n1, n2, group, symbytes, v132;
    float v1, v2, v134, x, y, z;
    IMRtDat(2, &type, &lens, &n1, &n2, &v1, &v2);
    IMRtSym(2, &group, &symbytes);
    IMRtHdrValues(2, &v132, &v134);
    IMRtOrig(2, &x, &y, &z);
    EXPECT_EQ(std::vector<int>({type, lens, n1, n2, group, v132}), std::vector<int>({101, 10612, 7, -8, 9, 5}));
    EXPECT_EQ(std::vector<float>({v1, v2, v134, x, y, z}), std::vector<float>({1.5f, -2.25f, 6, 10, 20, 30}));
    double stamp = 0;
    EXPECT_EQ(IMRtTimeStamp(2, &stamp), 0);
    EXPECT_EQ(stamp, 1.7e9);
    float waves[12];
    IMRtWav(2, &nw, waves);
    for (int w = 0; w < 12; ++w) {
        float mmm[3];
        int values[3];
        IMRtScl(2, w, mmm);
        IMRtWavValues(2, w, values);
        EXPECT_EQ(waves[w], 400.0f + 25 * w);
        // IMWrHdr records the statistics of the first wavelength.
        const std::vector<float> expect =
            w == 0 ? std::vector<float>{0.5f, 99.5f, 42} : std::vector<float>{-w * 1.0f, 10.0f * w, 5.0f * w};
        EXPECT_EQ(std::vector<float>(mmm, mmm + 3), expect) << w;
        EXPECT_EQ(std::vector<int>(values, values + 3), std::vector<int>({w, -w, 100 * w}));
    }
    // Where each value lies on disk: the byte order tests, whose files are written byte by byte.
    int ext_size = 0;
    IMRtExHdrSize(2, &ext_size);
    EXPECT_EQ(ext_size, (45 + 3) * 1024); // 288 sections x 40 words: 45 blocks, + 3
}

TEST_F(RoundTrip, OrdinaryLayoutKeepsTenTitlesAndFiveWavelengths)
{
    ASSERT_EQ(IMCrHdr3(1, 8, 8, 1, 5, 1, 1, 0, 0), 0);
    ASSERT_EQ(IMAlFileType(1, 7), 0);
    int max_titles = 0;
    IMRtMaxNumLab(1, &max_titles);
    EXPECT_EQ(max_titles, 10);
    EXPECT_EQ(IMAlWav2(1, 5, 600), 603);
    for (int w = 1; w < 5; ++w)
        IMAlWavMMM(1, w, 1.0f * w, 2.0f * w, 3.0f * w);
    ASSERT_EQ(IMWrHdr(1, "title 1", 0, 0, 1, 0.5f), 0);
    for (int i = 2; i <= 8; ++i)
        ASSERT_EQ(IMWrHdr(1, ("title " + std::to_string(i)).c_str(), 1, 0, 1, 0.5f), 0);
    write_and_reopen(std::string(100, 'x').c_str()); // ninth title, cut at 79 characters
    int count = 0;
    IMRtNumLab(2, &count);
    ASSERT_EQ(count, 9);
    char titles[9 * 80];
    ASSERT_EQ(IMRtLab2(2, 9, titles), 0);
    EXPECT_STREQ(titles, "title 1");
    EXPECT_STREQ(titles + 7 * 80, "title 8");
    // The means of wavelengths 2-5 share bytes 864-879 with the ninth title: the means win.
    float mmm[3];
    IMRtScl(2, 4, mmm);
    EXPECT_EQ(std::vector<float>(mmm, mmm + 3), std::vector<float>({4, 8, 12}));
    EXPECT_EQ(std::string(titles + 8 * 80 + 56, 23), std::string(23, 'x'));
    double stamp = 1;
    EXPECT_EQ(IMRtTimeStamp(2, &stamp), 507);
    EXPECT_EQ(IMAlTimeStamp(2, 1e9), 507);
    EXPECT_EQ(IMAlDataBitsPerPixel(2, 8), 511);
    // Lowering NW through the image type keeps the section count NZ x NW x NT x NP.
    ASSERT_EQ(IMAlFileType(2, 100), 0);
    ASSERT_EQ(IMAlWav(2, 12, std::vector<float>(12, 500.0f).data()), 0);
    ASSERT_EQ(IMAlFileType(2, 1), 0);
    int nx, ny, nsec, nz, nw, nt, np;
    IMRtSiz(2, &nx, &ny, &nsec);
    IMRtZWTP(2, &nz, &nw, &nt, &np);
    EXPECT_EQ(std::vector<int>({nsec, nz, nw}), std::vector<int>({5, 1, 5}));
    const int huge[3] = {2147483647, 2147483600, 1}; // kept as floats: returned clamped, not wrapped
    IMAlSam(2, huge);
    int sampling[3];
    IMRtSam(2, sampling);
    EXPECT_EQ(std::vector<int>(sampling, sampling + 3), std::vector<int>({2147483647, 2147483647, 1}));
}

TEST_F(RoundTrip, TitleRulesOfIMWrHdr)
{
    for (int i = 0; i < 6; ++i)
        ASSERT_EQ(IMWrHdr(1, ("t" + std::to_string(i)).c_str(), 1, 0, 1, 0), 0);
    testing::internal::CaptureStderr();
    ASSERT_EQ(IMWrHdr(1, "top", 2, 0, 1, 0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMWrHdr: add title to top of list not yet supported. Adding to bottom.\n");
    char titles[4 * 80];
    int count = 0;
    IMRtNumLab(1, &count);
    ASSERT_EQ(count, 4);
    IMRtLab2(1, 4, titles);
    EXPECT_STREQ(titles + 2 * 80, "t2");
    EXPECT_STREQ(titles + 3 * 80, "top"); // a full list overwrites its last title
    ASSERT_EQ(IMWrHdr(1, "only", 0, 0, 1, 0), 0);
    IMRtNumLab(1, &count);
    EXPECT_EQ(count, 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRtLab2(1, 5, titles), 401);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMRtLab2 1: 5 is too many titles. Max is 4. No titles returned.\n");
    // Lowering the limit through the image type cuts the list with two lines.
    char many[10 * 80] = {};
    IMAlFileType(1, 1);
    IMAlLab(1, 10, many);
    testing::internal::CaptureStderr();
    IMAlFileType(1, 100);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMAlFileType 1: the current number of titles (10) is too large for file type 100.\n"
              "IMAlFileType 1: setting the number of titles to 4.\n");
}

TEST_F(RoundTrip, TimeStampRules)
{
    double stamp = 1;
    EXPECT_EQ(IMRtTimeStamp(1, &stamp), 507); // a fresh header has none
    EXPECT_EQ(stamp, 0.0);
    ASSERT_EQ(IMAlTimeStamp(1, 315561599.0), 0);
    EXPECT_EQ(IMRtTimeStamp(1, &stamp), 507);
    ASSERT_EQ(IMAlTimeStamp(1, 315561600.0), 0);
    EXPECT_EQ(IMRtTimeStamp(1, &stamp), 0);
    EXPECT_EQ(stamp, 315561600.0);
    IMAlVerbose(1);
    testing::internal::CaptureStderr();
    IMAlTimeStamp(1, -5);
    EXPECT_EQ(IMRtTimeStamp(1, &stamp), 507);
    IMAlVerbose(0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMRtTimeStamp 1: invalid time stamp (0.000).\n");
}

TEST_F(RoundTrip, FreshStreamReportsOnePixelSection)
{
    testing::internal::CaptureStdout();
    ASSERT_EQ(IMReportInfo(1), 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Data Type.............................\t2 byte unsigned integer\n"), std::string::npos);
    EXPECT_NE(out.find("Size (X, Y, Z)........................\t1 1 1\n"), std::string::npos);
    EXPECT_NE(out.find("Sequence..............................\tZ -> W -> T\n"), std::string::npos);
    EXPECT_NE(out.find("Min, Max, Mean (w=500.0 nm)...........\t0.00 1000.00 500.00\n"), std::string::npos);
    int size = 0;
    IMRtExHdrSize(1, &size);
    EXPECT_EQ(size, 4096);
}

// A header with NW or NT of 0 is read with 1 and the section count divided by the corrected product.
class ZeroCounts : public ::testing::TestWithParam<int> {};

TEST_P(ZeroCounts, AreReadAsOne)
{
    ScratchDir dir;
    const std::string path = dir.file("zero.img");
    std::vector<uint8_t> bytes(1024, 0);
    ByteWriter w(bytes, false);
    w.i32(0, 2);
    w.i32(4, 2);
    w.i32(8, 6);
    w.i16(96, -16224);
    w.u16(196, GetParam() == 0 ? 0 : 2);
    w.u16(180, GetParam() == 1 ? 0 : 3);
    write_bytes(path, bytes);
    testing::internal::CaptureStderr();
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, GetParam() == 0 ? "IMSubs: number of wavelengths must be > 0.\n"
                                   : "IMSubs: number of time-points must be > 0.\n");
    int nz, nw, nt, np;
    IMRtZWTP(1, &nz, &nw, &nt, &np);
    EXPECT_EQ(std::vector<int>({nz, nw, nt, np}),
              GetParam() == 0 ? std::vector<int>({2, 1, 3, 1}) : std::vector<int>({3, 2, 1, 1}));
    IMClose(1);
}

INSTANTIATE_TEST_SUITE_P(NwOrNt, ZeroCounts, ::testing::Values(0, 1));

} // namespace
