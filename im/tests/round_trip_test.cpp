// Headers made with IMCrHdr3 and the accessors, written, closed and read back.
#include "im_test_support.h"

using namespace imtest;

namespace {

class RoundTrip : public ImTest {
protected:
    void SetUp() override { ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0); }
    // Writes the header, closes and reopens read-only as stream 2.
    void write_and_reopen(const char *title = "round trip")
    {
        ASSERT_EQ(IMWrHdr(1, title, 1, 0.5f, 99.5f, 42.0f), 0);
        ASSERT_EQ(IMClose(1), 0);
        ASSERT_EQ(IMOpen(2, path.c_str(), "ro"), 0);
    }
    std::string path = dir / "round.img";
};

TEST_F(RoundTrip, OrdinaryLayoutKeepsTenTitlesAndFiveWavelengths)
{
    ASSERT_EQ(IMCrHdr3(1, 8, 8, 1, 5, 1, 1, 0, 0), 0);
    ASSERT_EQ(IMAlFileType(1, 7), 0);
    int n[4] = {};
    IMRtMaxNumLab(1, &n[0]);
    EXPECT_EQ(n[0], 10);
    EXPECT_EQ(IMAlWav2(1, 5, 600), 603);
    for (int w = 1; w < 5; ++w)
        IMAlWavMMM(1, w, 1.0f * w, 2.0f * w, 3.0f * w);
    for (int i = 1; i <= 8; ++i)
        ASSERT_EQ(IMWrHdr(1, ("title " + std::to_string(i)).c_str(), i > 1, 0, 1, 0.5f), 0);
    write_and_reopen(std::string(100, 'x').c_str()); // ninth title, cut at 79 characters
    IMRtNumLab(2, &n[0]);
    ASSERT_EQ(n[0], 9);
    char titles[9 * 80];
    ASSERT_EQ(IMRtLab2(2, 9, titles), 0);
    EXPECT_STREQ(titles, "title 1");
    EXPECT_STREQ(titles + 7 * 80, "title 8");
    // The means of wavelengths 2-5 share bytes 864-879 with the ninth title: the means win.
    float mmm[3];
    IMRtScl(2, 4, mmm);
    EXPECT_EQ(vec(mmm, 3), (std::vector<float>{4, 8, 12}));
    EXPECT_EQ(std::string(titles + 8 * 80 + 56, 23), std::string(23, 'x'));
    double stamp = 1;
    EXPECT_EQ(IMRtTimeStamp(2, &stamp), 507);
    EXPECT_EQ(IMAlTimeStamp(2, 1e9), 507);
    EXPECT_EQ(IMAlDataBitsPerPixel(2, 8), 511);
}

TEST_F(RoundTrip, TitleAndTimeStampRules)
{
    for (int i = 0; i < 6; ++i)
        ASSERT_EQ(IMWrHdr(1, ("t" + std::to_string(i)).c_str(), 1, 0, 1, 0), 0);
    EXPECT_EQ(stderr_of([] { ASSERT_EQ(IMWrHdr(1, "top", 2, 0, 1, 0), 0); }),
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
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMRtLab2(1, 5, titles), 401); }),
              "IMRtLab2 1: 5 is too many titles. Max is 4. No titles returned.\n");
    char many[10 * 80] = {};
    IMAlFileType(1, 1);
    IMAlLab(1, 10, many);
    EXPECT_EQ(stderr_of([] { IMAlFileType(1, 100); }),
              "IMAlFileType 1: the current number of titles (10) is too large for file type 100.\n"
              "IMAlFileType 1: setting the number of titles to 4.\n");

    double stamp = 1;
    EXPECT_EQ(IMRtTimeStamp(1, &stamp), 507); // a fresh header has none
    EXPECT_EQ(stamp, 0.0);
    ASSERT_EQ(IMAlTimeStamp(1, 315561599.0), 0);
    EXPECT_EQ(IMRtTimeStamp(1, &stamp), 507);
    ASSERT_EQ(IMAlTimeStamp(1, 315561600.0), 0);
    EXPECT_EQ(IMRtTimeStamp(1, &stamp), 0);
    EXPECT_EQ(stamp, 315561600.0);
    IMAlVerbose(1);
    EXPECT_EQ(stderr_of([&] {
                  IMAlTimeStamp(1, -5);
                  EXPECT_EQ(IMRtTimeStamp(1, &stamp), 507);
              }),
              "IMRtTimeStamp 1: invalid time stamp (0.000).\n");
    IMAlVerbose(0);
}

TEST_F(RoundTrip, FreshStreamReportsOnePixelSection)
{
    testing::internal::CaptureStdout();
    ASSERT_EQ(IMReportInfo(1), 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.rfind("\nImage Name............................\t" + path + "\nSize", 0), 0u) << out;
    for (const char *line :
         {"Data Type.............................\t2 byte unsigned integer\n",
          "Size (X, Y, Z)........................\t1 1 1\n", "Sequence..............................\tZ -> W -> T\n",
          "Min, Max, Mean (w=500.0 nm)...........\t0.00 1000.00 500.00\n"})
        EXPECT_NE(out.find(line), std::string::npos) << line << out;
}

} // namespace
