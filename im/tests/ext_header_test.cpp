// Extended header sizing, per-section values, the value table and transfers between streams.
#include "im_test_support.h"

using namespace imtest;

namespace {

class ExtHeader : public ImTest {
protected:
    void SetUp() override
    {
        ASSERT_EQ(IMOpen(1, (dir / "a.img").c_str(), "new"), 0);
        ASSERT_EQ(IMOpen(2, (dir / "b.img").c_str(), "new"), 0);
    }
    // Size, field area space, type, integers and floats per section of stream s.
    static std::vector<int> layout(int s)
    {
        int n[5];
        IMRtExHdrSize(s, &n[0]);
        EXPECT_EQ(IMRtFieldHdrSpace(s, &n[1]), 0);
        IMRtExHdrInfo(s, &n[2], &n[3], &n[4]);
        return vec(n, 5);
    }
};

TEST_F(ExtHeader, SizingInWholeBlocks)
{
    ASSERT_EQ(IMCrHdr3(1, 4, 4, 100, 1, 1, 1, 2, 2), 0);
    ASSERT_EQ(IMAlExHdrSize2(1, 8, 32, 100, 2), 0);
    EXPECT_EQ(layout(1), (std::vector<int>{18432, 2431, 4, 8, 32}));
    // Fewer sections than the image has: the image's count is used, with a message.
    EXPECT_EQ(stderr_of([] { ASSERT_EQ(IMAlExHdrSize2(1, 1, 1, 10, 0), 0); }),
              "IMAlExHdrSize2 1: requested number of sections is less than current image size (10 < 100).\n");
    EXPECT_EQ(layout(1), (std::vector<int>{1024, 1024 - 800 - 1, 4, 1, 1}));
    // A per-section area that fills its blocks exactly leaves no field area.
    ASSERT_EQ(IMAlExHdrSize2(1, 0, 256, 100, 0), 0);
    EXPECT_EQ(layout(1)[1], 0);
    stderr_of([] { EXPECT_EQ(IMAlExHdrSize2(1, 30000, 30000, 100000, 0), 902); });
}

TEST_F(ExtHeader, TypesAndFieldBlocks)
{
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(IMCrExHdr(1, 5, 1), 702); }), "IMCrExHdr 1: invalid ext header type (5).\n");
    const std::vector<std::pair<int, std::vector<int>>> types = {
        {0, {1024, 1024 - 160 - 1, 4, 8, 32}}, {1, {2048, 2048 - 8 - 1, 1, 1, 1}}, {2, {3072, 3072 - 8 - 1, 2, 0, 2}}};
    for (const auto &[type, want] : types) {
        ASSERT_EQ(IMCrExHdr(1, type, type), 0);
        EXPECT_EQ(layout(1), want) << type;
    }
    EXPECT_EQ(stderr_of([] {
                  ASSERT_EQ(IMCrExHdr(1, 3, -1), 0);
                  ASSERT_EQ(IMCrExHdr(1, 3, -2), 0);
              }),
              "IMCrExHdr 1: invalid number of field blocks (-2). Setting to 4...\n");
    EXPECT_EQ(layout(1)[0], 5 * 1024);
    EXPECT_EQ(stderr_of([] { ASSERT_EQ(IMAlExHdrInfo(1, 9, 2, 3), 0); }),
              "IMAlExHdrInfo 1: 9 is an invalid ext header type. Switching to 4.\n");
    EXPECT_EQ(layout(1), (std::vector<int>{5 * 1024, 5 * 1024 - 20 - 1, 4, 2, 3}));
}

TEST_F(ExtHeader, PerSectionValuesByPositionAndSection)
{
    ASSERT_EQ(IMCrHdr3(1, 2, 2, 4, 3, 2, 1, 1, 2), 0); // WZTP: section = w + z*3 + t*12
    int ints[8] = {1, 2, 3, 4, 5, 6, 7, 8}, next[8] = {-1, -2}, got[8] = {};
    float floats[32], got_f[32] = {};
    for (int i = 0; i < 32; ++i)
        floats[i] = 0.5f * i;
    ASSERT_EQ(IMAlExHdr(1, 18, next, floats), 0);
    ASSERT_EQ(IMAlExHdrZWTP(1, 1, 2, 1, 0, ints, floats), 0);
    ASSERT_EQ(IMRtExHdr(1, 2 + 3 + 12, got, got_f), 0);
    EXPECT_EQ(vec(got, 8), vec(ints, 8));
    EXPECT_EQ(got_f[31], 15.5f);
    ASSERT_EQ(IMRtExHdr(1, 18, got, got_f), 0);
    EXPECT_EQ(vec(got, 8), vec(next, 8)) << "a record was stored past its end";
    ASSERT_EQ(IMAlExHdrSize2(2, 0, 0, 0, 0), 0); // no room for any record
    stderr_of([&] {
        EXPECT_EQ(IMAlExHdrZWTP(1, 0, 0, 2, 0, ints, floats), 604);
        EXPECT_EQ(IMRtExHdr(1, -1, got, got_f), 601);
        EXPECT_EQ(IMRtExHdr(2, 0, got, got_f), 704);
    });
    // Sections beyond the buffer: 704, and nothing is stored.
    ASSERT_EQ(IMAlExHdrSize2(1, 8, 32, 24, 0), 0); // 24 * 160 = 3840 bytes: 4 blocks
    ASSERT_EQ(IMAlSiz(1, 2, 2, 30 * 3 * 2), 0);
    EXPECT_EQ(stderr_of([&] {
                  EXPECT_EQ(IMAlExHdr(1, 26, ints, floats), 704);
                  EXPECT_EQ(IMAlExHdr(1, 25, ints, floats), 707);
              }),
              "IMAlExHdr iStream 1: invalid section number (26). Extended header is too small (4096 bytes).\n"
              "IMAlExHdr 1: extended header overrun.\n");
    ASSERT_EQ(IMWrHdr2(1, 1), 0);
    EXPECT_EQ(readFile(dir / "a.img").substr(1024 + 4000), std::string(96, '\0')); // section 25 untouched
}

TEST_F(ExtHeader, ValuesByIndexFollowTheTypeTable)
{
    ASSERT_EQ(IMCrHdr3(1, 2, 2, 2, 1, 1, 1, 2, 2), 0);
    int ints[8] = {11, 12, 13, 14, 15, 16, 17, 18};
    float floats[32];
    for (int i = 0; i < 32; ++i)
        floats[i] = 100.0f + i;
    ASSERT_EQ(IMAlExHdrZWTP(1, 1, 0, 0, 0, ints, floats), 0);
    const auto value = [](int z, int index) {
        double v = -1;
        const int status = IMRtExHdrValueZWTP(1, z, 0, 0, 0, index, &v);
        return std::pair(status, v);
    };
    EXPECT_EQ(value(1, 1004), std::pair(0, 15 + 1e-10));
    EXPECT_EQ(value(1, 20), std::pair(0, 120.0));
    EXPECT_EQ(value(1, 21), std::pair(701, 0.0));
    ASSERT_EQ(IMAlExHdrValueZWTP(1, 1, 0, 0, 0, 1002, 77), 0);
    ASSERT_EQ(IMAlExHdrValueZWTP(1, 1, 0, 0, 0, 3, 2.5), 0);
    EXPECT_EQ(value(1, 1002).second, 77 + 1e-10);
    EXPECT_EQ(value(1, 3).second, 2.5);
    // Type 1: integer then float, no offset added to the integer; an integer must fit.
    ASSERT_EQ(IMCrExHdr(1, 1, 0), 0);
    const int one_int = 42;
    const float one_float = 0.75f;
    ASSERT_EQ(IMAlExHdrZWTP(1, 1, 0, 0, 0, &one_int, &one_float), 0);
    EXPECT_EQ(value(1, 0), std::pair(0, 42.0));
    EXPECT_EQ(value(1, 1), std::pair(0, 0.75));
    EXPECT_EQ(value(1, 2).first, 701);
    EXPECT_EQ(IMAlExHdrValueZWTP(1, 1, 0, 0, 0, 0, -2147483648.9), 0);
    EXPECT_EQ(value(1, 0), std::pair(0, -2147483648.0));
    stderr_of([] {
        EXPECT_EQ(IMAlExHdrValueZWTP(1, 1, 0, 0, 0, 0, 3e9), 701);
        EXPECT_EQ(IMAlExHdrValueZWTP(1, 1, 0, 0, 0, 0, -2147483649.0), 701);
    });
}

TEST_F(ExtHeader, TransfersBetweenStreams)
{
    ASSERT_EQ(IMCrHdr3(1, 2, 2, 4, 1, 2, 1, 2, 2), 0);
    ASSERT_EQ(IMCrHdr3(2, 2, 2, 2, 1, 2, 2, 2, 2), 0); // a P the source does not have
    for (int t = 0; t < 2; ++t)
        for (int z = 0; z < 4; ++z) {
            const int ints[8] = {z, t};
            const float floats[32] = {10.0f * z + t};
            ASSERT_EQ(IMAlExHdrZWTP(1, z, 0, t, 0, ints, floats), 0);
        }
    IMAlFieldInt(1, "Binning", 2);
    int got[8], binning = 0;
    float got_f[32];
    const int kept[8] = {0, 0, 9};
    ASSERT_EQ(IMAlExHdrZWTP(2, 1, 0, 1, 1, kept, nullptr), 0);
    // Every second Z of the source into the two Z of the target.
    ASSERT_EQ(IMTrExHdr4(1, 2, 0, 2, 0, 1), 0);
    IMRtExHdrZWTP(2, 1, 0, 1, 0, got, got_f);
    EXPECT_EQ(std::tuple(got[0], got[1], got_f[0]), std::tuple(2, 1, 21.0f));
    IMRtExHdrZWTP(2, 1, 0, 1, 1, got, got_f);
    EXPECT_EQ(got[2], 9) << "a section of a P the source does not have was written";
    EXPECT_EQ(IMRtFieldInt(2, "binning", &binning), 0);
    EXPECT_EQ(binning, 2);
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(IMTrExHdr4(1, 2, 1, 0, 0, -1), 0); }),
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
    EXPECT_EQ(
        stderr_of([] {
            EXPECT_EQ(IMTrExHdr(1, 2), 708);
            EXPECT_EQ(IMTrExHdr4(1, 2, 0, 1, 0, 1), 708);
        }),
        "IMTrExHdr 1->2: extended header type mismatch (4/2)\nIMTrExHdr4 1->2: extended header type mismatch (4/2)\n");
    ASSERT_EQ(IMCrHdr3(2, 2, 2, 1, 1, 1, 1, 2, 2), 0);
    ASSERT_EQ(IMAlExHdrSize2(2, 8, 32, 1, 0), 0);
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(IMTrExHdr(1, 2), 704); }),
              "IMTrExHdr 1->2: extended header size (5120, 1024) is too small.\n");
}

TEST_F(ExtHeader, HeaderTransferCopiesValuesAndDescription)
{
    ASSERT_EQ(IMCrHdr3(1, 16, 8, 5, 2, 1, 1, 0, 1), 0);
    IMAlOrig(1, 1, 2, 3);
    IMCrExHdr(1, 2, 1);
    ASSERT_EQ(IMTrHdr(1, 2), 0);
    int n[4];
    float x, y, z;
    IMRtSiz(2, &n[0], &n[1], &n[2]);
    IMRtMode(2, &n[3]);
    IMRtOrig(2, &x, &y, &z);
    EXPECT_EQ(vec(n, 4), (std::vector<int>{16, 8, 10, 1}));
    EXPECT_EQ(z, 3.0f);
    // One block of values, the target's three field blocks kept.
    EXPECT_EQ(layout(2), (std::vector<int>{4096, 4096 - 80 - 1, 2, 0, 2}));
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(IMTrExHdr2(1, 2, 0, 1), 0); }),
              "IMTrExHdr2: switch to IMTrExHdr3. Backwards compatibility enabled...\n");
}

} // namespace
