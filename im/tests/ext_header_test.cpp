// Extended header sizing, per-section values, the value table and transfers between streams.
#include <lumarix/im.h>

#include "im_test_support.h"

using namespace imtest;

namespace {

class ExtHeader : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(IMOpen(1, dir.file("a.img").c_str(), "new"), 0);
        ASSERT_EQ(IMOpen(2, dir.file("b.img").c_str(), "new"), 0);
    }
    void TearDown() override
    {
        IMClose(1);
        IMClose(2);
    }
    ScratchDir dir;
};

TEST_F(ExtHeader, SizingInWholeBlocks)
{
    ASSERT_EQ(IMCrHdr3(1, 4, 4, 100, 1, 1, 1, 2, 2), 0);
    ASSERT_EQ(IMAlExHdrSize2(1, 8, 32, 100, 2), 0);
    int size = 0, space = 0;
    IMRtExHdrSize(1, &size);
    IMRtFieldHdrSpace(1, &space);
    EXPECT_EQ(size, 18432);
    EXPECT_EQ(space, 2431);
    // Fewer sections than the image has: the image's count is used, with a message.
    testing::internal::CaptureStderr();
    ASSERT_EQ(IMAlExHdrSize2(1, 1, 1, 10, 0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMAlExHdrSize2 1: requested number of sections is less than current image size (10 < 100).\n");
    IMRtExHdrSize(1, &size);
    EXPECT_EQ(size, 1024);
    IMRtFieldHdrSpace(1, &space);
    EXPECT_EQ(space, 1024 - 800 - 1);
    // A per-section area that fills its blocks exactly leaves no field area.
    ASSERT_EQ(IMAlExHdrSize2(1, 0, 256, 100, 0), 0);
    IMRtFieldHdrSpace(1, &space);
    EXPECT_EQ(space, 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMAlExHdrSize2(1, 30000, 30000, 100000, 0), 902);
    EXPECT_EQ(IMAlExHdrSize2(1, -1, 4, 1, 0), 702);
    testing::internal::GetCapturedStderr();
}

TEST_F(ExtHeader, TypesAndFieldBlocks)
{
    int type, ni, nr, size;
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMCrExHdr(1, 5, 1), 702);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMCrExHdr 1: invalid ext header type (5).\n");
    ASSERT_EQ(IMCrExHdr(1, 0, 0), 0);
    IMRtExHdrInfo(1, &type, &ni, &nr);
    EXPECT_EQ(std::vector<int>({type, ni, nr}), std::vector<int>({4, 8, 32}));
    ASSERT_EQ(IMCrExHdr(1, 1, 1), 0);
    IMRtExHdrInfo(1, &type, &ni, &nr);
    EXPECT_EQ(std::vector<int>({type, ni, nr}), std::vector<int>({1, 1, 1}));
    ASSERT_EQ(IMCrExHdr(1, 2, 0), 0);
    IMRtExHdrInfo(1, &type, &ni, &nr);
    EXPECT_EQ(std::vector<int>({type, ni, nr}), std::vector<int>({2, 0, 2}));
    testing::internal::CaptureStderr();
    ASSERT_EQ(IMCrExHdr(1, 3, -1), 0);
    ASSERT_EQ(IMCrExHdr(1, 3, -2), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMCrExHdr 1: invalid number of field blocks (-2). Setting to 4...\n");
    IMRtExHdrSize(1, &size);
    EXPECT_EQ(size, 5 * 1024);
    testing::internal::CaptureStderr();
    ASSERT_EQ(IMAlExHdrInfo(1, 9, 2, 3), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMAlExHdrInfo 1: 9 is an invalid ext header type. Switching to 4.\n");
    IMRtExHdrInfo(1, &type, &ni, &nr);
    IMRtExHdrSize(1, &size);
    EXPECT_EQ(std::vector<int>({type, ni, nr, size}), std::vector<int>({4, 2, 3, 5 * 1024}));
}

TEST_F(ExtHeader, PerSectionValuesByPositionAndSection)
{
    ASSERT_EQ(IMCrHdr3(1, 2, 2, 4, 3, 2, 1, 1, 2), 0); // WZTP: section = w + z*3 + t*12
    int ints[8] = {1, 2, 3, 4, 5, 6, 7, 8}, got[8] = {};
    float floats[32], got_f[32] = {};
    for (int i = 0; i < 32; ++i)
        floats[i] = 0.5f * i;
    ASSERT_EQ(IMAlExHdrZWTP(1, 1, 2, 1, 0, ints, floats), 0);
    ASSERT_EQ(IMRtExHdr(1, 2 + 3 + 12, got, got_f), 0);
    EXPECT_EQ(std::vector<int>(got, got + 8), std::vector<int>(ints, ints + 8));
    EXPECT_EQ(got_f[31], 15.5f);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMAlExHdrZWTP(1, 0, 0, 2, 0, ints, floats), 604);
    EXPECT_EQ(IMRtExHdr(1, -1, got, got_f), 601);
    testing::internal::GetCapturedStderr();
    // Sections beyond the buffer: 704, and nothing is stored.
    ASSERT_EQ(IMAlExHdrSize2(1, 8, 32, 24, 0), 0); // 24 * 160 = 3840 bytes: 4 blocks
    ASSERT_EQ(IMAlSiz(1, 2, 2, 30 * 3 * 2), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMAlExHdr(1, 26, ints, floats), 704);
    EXPECT_EQ(IMAlExHdr(1, 25, ints, floats), 707);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMAlExHdr iStream 1: invalid section number (26). Extended header is too small (4096 bytes).\n"
              "IMAlExHdr 1: extended header overrun.\n");
    ASSERT_EQ(IMWrHdr2(1, 1), 0);
    const auto bytes = read_bytes(dir.file("a.img"));
    ASSERT_EQ(bytes.size(), 1024u + 4096u);
    EXPECT_EQ(std::count(bytes.begin() + 1024 + 4000, bytes.end(), 0), 96); // section 25 untouched
}

TEST_F(ExtHeader, ValuesByIndexFollowTheTypeTable)
{
    ASSERT_EQ(IMCrHdr3(1, 2, 2, 2, 1, 1, 1, 2, 2), 0);
    int ints[8] = {11, 12, 13, 14, 15, 16, 17, 18};
    float floats[32];
    for (int i = 0; i < 32; ++i)
        floats[i] = 100.0f + i;
    ASSERT_EQ(IMAlExHdrZWTP(1, 1, 0, 0, 0, ints, floats), 0);
    double value = -1;
    EXPECT_EQ(IMRtExHdrValueZWTP(1, 1, 0, 0, 0, 1004, &value), 0);
    EXPECT_EQ(value, 15 + 1e-10);
    EXPECT_NE(value, 15.0);
    EXPECT_EQ(IMRtExHdrValueZWTP(1, 1, 0, 0, 0, 20, &value), 0);
    EXPECT_EQ(value, 120.0);
    EXPECT_EQ(IMRtExHdrValueZWTP(1, 1, 0, 0, 0, 21, &value), 701);
    EXPECT_EQ(value, 0.0);
    EXPECT_EQ(IMRtExHdrValueZWTP(1, 1, 0, 0, 0, 1005, &value), 701);
    ASSERT_EQ(IMAlExHdrValueZWTP(1, 1, 0, 0, 0, 1002, 77), 0);
    ASSERT_EQ(IMAlExHdrValueZWTP(1, 1, 0, 0, 0, 3, 2.5), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMAlExHdrValueZWTP(1, 1, 0, 0, 0, 1002, 3e9), 701); // no int holds it
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMAlExHdrValueZWTP 1: 3e+09 does not fit an integer value.\n");
    int got[8];
    float got_f[32];
    IMRtExHdrZWTP(1, 1, 0, 0, 0, got, got_f);
    EXPECT_EQ(got[2], 77);
    EXPECT_EQ(got_f[3], 2.5f);
    // Type 1: integer then float, no offset added to the integer.
    ASSERT_EQ(IMCrExHdr(1, 1, 0), 0);
    const int one_int = 42;
    const float one_float = 0.75f;
    ASSERT_EQ(IMAlExHdrZWTP(1, 1, 0, 0, 0, &one_int, &one_float), 0);
    EXPECT_EQ(IMRtExHdrValueZWTP(1, 1, 0, 0, 0, 0, &value), 0);
    EXPECT_EQ(value, 42.0);
    EXPECT_EQ(IMRtExHdrValueZWTP(1, 1, 0, 0, 0, 1, &value), 0);
    EXPECT_EQ(value, 0.75);
    EXPECT_EQ(IMRtExHdrValueZWTP(1, 1, 0, 0, 0, 2, &value), 701);
    // Type 3 answers indices 0-15 only.
    ASSERT_EQ(IMCrExHdr(1, 3, 0), 0);
    EXPECT_EQ(IMRtExHdrValueZWTP(1, 0, 0, 0, 0, 15, &value), 0);
    EXPECT_EQ(IMRtExHdrValueZWTP(1, 0, 0, 0, 0, 16, &value), 701);
}

TEST_F(ExtHeader, ValuesSurviveWriteAndReopen)
{
    ASSERT_EQ(IMCrHdr3(1, 2, 2, 3, 1, 1, 1, 2, 2), 0);
    const int ints[8] = {-1, -2, -3, -4, -5, -6, -7, -8};
    float floats[32] = {};
    floats[0] = 3.25f;
    ASSERT_EQ(IMAlExHdr(1, 2, ints, floats), 0);
    ASSERT_EQ(IMAlFieldChar(1, "Objective", "60x oil"), 0);
    ASSERT_EQ(IMWrHdr(1, "ext", 0, 0, 1, 0), 0);
    ASSERT_EQ(IMClose(1), 0);
    ASSERT_EQ(IMOpen(1, dir.file("a.img").c_str(), "ro"), 0);
    int got[8];
    float got_f[32];
    ASSERT_EQ(IMRtExHdr(1, 2, got, got_f), 0);
    EXPECT_EQ(got[7], -8);
    EXPECT_EQ(got_f[0], 3.25f);
    char text[32];
    EXPECT_EQ(IMRtFieldChar(1, "OBJECTIVE", text, sizeof text), 0);
    EXPECT_STREQ(text, "60x oil");
}

TEST_F(ExtHeader, TransfersBetweenStreams)
{
    ASSERT_EQ(IMCrHdr3(1, 2, 2, 4, 1, 2, 1, 2, 2), 0);
    ASSERT_EQ(IMCrHdr3(2, 2, 2, 2, 1, 2, 1, 2, 2), 0);
    for (int t = 0; t < 2; ++t)
        for (int z = 0; z < 4; ++z) {
            const int ints[8] = {z, t};
            const float floats[32] = {10.0f * z + t};
            ASSERT_EQ(IMAlExHdrZWTP(1, z, 0, t, 0, ints, floats), 0);
        }
    IMAlFieldInt(1, "Binning", 2);
    // Every second Z of the source into the two Z of the target.
    ASSERT_EQ(IMTrExHdr4(1, 2, 0, 2, 0, 1), 0);
    int got[8];
    float got_f[32];
    IMRtExHdrZWTP(2, 1, 0, 1, 0, got, got_f);
    EXPECT_EQ(got[0], 2);
    EXPECT_EQ(got[1], 1);
    EXPECT_EQ(got_f[0], 21.0f);
    int binning = 0;
    EXPECT_EQ(IMRtFieldInt(2, "binning", &binning), 0);
    EXPECT_EQ(binning, 2);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMTrExHdr4(1, 2, 1, 0, 0, -1), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMTrExHdr4: time increment must be greater than 0. Fixed.\n"
              "IMTrExHdr4: Z section increment must be greater than 0. Fixed.\n");
    IMRtExHdrZWTP(2, 1, 0, 1, 0, got, got_f);
    EXPECT_EQ(got_f[0], 21.0f); // source z = 1 + 1*1 = 2
    // The whole per-section area, then the mismatch and size refusals.
    ASSERT_EQ(IMCrHdr3(2, 2, 2, 8, 1, 1, 1, 2, 2), 0);
    ASSERT_EQ(IMTrExHdr(1, 2), 0);
    IMRtExHdr(2, 7, got, got_f);
    EXPECT_EQ(got_f[0], 31.0f);
    ASSERT_EQ(IMCrExHdr(2, 2, 0), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMTrExHdr(1, 2), 708);
    EXPECT_EQ(IMTrExHdr4(1, 2, 0, 1, 0, 1), 708);
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "IMTrExHdr 1->2: extended header type mismatch (4/2)\nIMTrExHdr4 1->2: extended header type mismatch (4/2)\n");
    ASSERT_EQ(IMCrHdr3(2, 2, 2, 1, 1, 1, 1, 2, 2), 0);
    ASSERT_EQ(IMAlExHdrSize2(2, 8, 32, 1, 0), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMTrExHdr(1, 2), 704);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMTrExHdr 1->2: extended header size (5120, 1024) is too small.\n");
}

TEST_F(ExtHeader, HeaderTransferCopiesValuesAndDescription)
{
    ASSERT_EQ(IMCrHdr3(1, 16, 8, 5, 2, 1, 1, 0, 1), 0);
    IMAlOrig(1, 1, 2, 3);
    IMCrExHdr(1, 2, 1);
    ASSERT_EQ(IMTrHdr(1, 2), 0);
    int nx, ny, nsec, mode, type, ni, nr, size;
    float x, y, z;
    IMRtSiz(2, &nx, &ny, &nsec);
    IMRtMode(2, &mode);
    IMRtOrig(2, &x, &y, &z);
    IMRtExHdrInfo(2, &type, &ni, &nr);
    IMRtExHdrSize(2, &size);
    EXPECT_EQ(std::vector<int>({nx, ny, nsec, mode, type, ni, nr}), std::vector<int>({16, 8, 10, 1, 2, 0, 2}));
    EXPECT_EQ(z, 3.0f);
    EXPECT_EQ(size, 4 * 1024); // one block of values, the target's three field blocks kept
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMTrExHdr2(1, 2, 0, 1), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMTrExHdr2: switch to IMTrExHdr3. Backwards compatibility enabled...\n");
}

TEST(HostileExtHeader, NegativeValueCountsReachNoMemory)
{
    ScratchDir dir;
    const std::string path = dir.file("hostile.img");
    std::vector<uint8_t> bytes(1024 + 16, 0);
    ByteWriter w(bytes, false);
    w.i32(0, 1);
    w.i32(4, 1);
    w.i32(8, 1);
    w.i32(92, 16);
    w.i16(96, -16224);
    w.i16(128, 8);
    w.i16(130, -8);
    write_bytes(path, bytes);
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    int ints[8];
    float floats[8];
    double value;
    EXPECT_EQ(IMRtExHdrZWTP(1, 0, 0, 0, 0, ints, floats), 704);
    EXPECT_EQ(IMRtExHdr(1, 0, ints, floats), 704);
    EXPECT_EQ(IMRtExHdrValueZWTP(1, 0, 0, 0, 0, 1000, &value), 704);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMAlExHdr(1, 0, ints, floats), 704);
    testing::internal::GetCapturedStderr();
    IMClose(1);
}

} // namespace
