// Section numbers of the fifteen image sequences, their inverse, and positioning by Z, W, T, P.
#include <lumarix/im.h>

#include <array>
#include <map>

#include "im_test_support.h"

using namespace imtest;

namespace {

constexpr int kNz = 3, kNw = 2, kNt = 4, kNp = 5;

// The order in which sections follow one another, fastest dimension first, for each code.
const std::array<const char *, 15> kOrders = {"ZTWP", "WZTP", "ZWTP", "ZPWT", "ZWPT", "WZPT", "WPTZ", "PWTZ",
                                              "PTWZ", "PZWT", "PWZT", "WPZT", "WTPZ", "TWPZ", "TPWZ"};

class Sequences : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override
    {
        ASSERT_EQ(IMOpen(1, dir.file("seq.img").c_str(), "new"), 0);
        ASSERT_EQ(IMCrHdr3(1, 2, 2, kNz, kNw, kNt, kNp, GetParam(), 0), 0);
    }
    void TearDown() override { IMClose(1); }
    ScratchDir dir;
};

// Walks the positions as an odometer whose fastest wheel is the first letter of the order: the
// n-th position reached is section n.
TEST_P(Sequences, SectionsCountUpInTheOrderOfTheName)
{
    const char *order = kOrders[GetParam()];
    const std::map<char, int> size = {{'Z', kNz}, {'W', kNw}, {'T', kNt}, {'P', kNp}};
    std::map<char, int> at = {{'Z', 0}, {'W', 0}, {'T', 0}, {'P', 0}};
    for (int expected = 0; expected < kNz * kNw * kNt * kNp; ++expected) {
        int section = -1, z, w, t, p;
        ASSERT_EQ(IMRtSecNum2(1, at['Z'], at['W'], at['T'], at['P'], &section), 0);
        ASSERT_EQ(section, expected) << order << " at " << at['Z'] << at['W'] << at['T'] << at['P'];
        ASSERT_EQ(IMRtZWTPNum(1, section, &z, &w, &t, &p), 0);
        ASSERT_EQ((std::array{z, w, t, p}), (std::array{at['Z'], at['W'], at['T'], at['P']}));
        for (int wheel = 0; wheel < 4 && ++at[order[wheel]] == size.at(order[wheel]); ++wheel)
            at[order[wheel]] = 0;
    }
}

TEST_P(Sequences, CoordinatesOutsideTheStackAreRefusedWithSectionZero)
{
    const std::array<std::array<int, 4>, 8> refused = {{{-1, 0, 0, 0},
                                                        {kNz, 0, 0, 0},
                                                        {0, -1, 0, 0},
                                                        {0, kNw, 0, 0},
                                                        {0, 0, -1, 0},
                                                        {0, 0, kNt, 0},
                                                        {0, 0, 0, -1},
                                                        {0, 0, 0, kNp}}};
    for (const auto &c : refused) {
        int section = 77;
        testing::internal::CaptureStderr();
        EXPECT_EQ(IMRtSecNum2(1, c[0], c[1], c[2], c[3], &section), 604);
        const std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(section, 0);
        const std::string tail = "] IMRtSecNum2 1: invalid Z,W,T,P coordinate.\nRequested " + std::to_string(c[0]) +
                                 " " + std::to_string(c[1]) + " " + std::to_string(c[2]) + " " + std::to_string(c[3]) +
                                 ", Stream has 3 2 4 5.\n";
        EXPECT_NE(err.find(tail), std::string::npos) << err;
    }
}

INSTANTIATE_TEST_SUITE_P(AllFifteen, Sequences, ::testing::Range(0, 15),
                         [](const auto &param_info) { return std::string(kOrders[param_info.param]); });

class Positioning : public ::testing::Test {
protected:
    void TearDown() override { IMClose(1); }
    ScratchDir dir;
};

TEST_F(Positioning, WorkedExamplesAndTheFormWithoutP)
{
    ASSERT_EQ(IMOpen(1, dir.file("a.img").c_str(), "new"), 0);
    ASSERT_EQ(IMCrHdr3(1, 1, 1, 4, 3, 2, 1, 1, 0), 0); // WZTP
    int section = -1;
    ASSERT_EQ(IMRtSecNum(1, 1, 2, 0, &section), 0);
    EXPECT_EQ(section, 5);
    ASSERT_EQ(IMAlSequence(1, 2), 0); // ZWTP
    ASSERT_EQ(IMRtSecNum2(1, 1, 2, 0, 0, &section), 0);
    EXPECT_EQ(section, 9);
    int z, w, t, p;
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRtZWTPNum(1, 24, &z, &w, &t, &p), 601);
    testing::internal::GetCapturedStderr();
}

// A header that names sequence 15, written by the tests' own writer.
TEST_F(Positioning, UnknownSequenceCodeIsRefused)
{
    std::vector<uint8_t> bytes = minimal_header(false, 1, 1, 2, 0, 1, 1, 15);
    bytes.resize(1024 + 2, 0);
    const std::string path = dir.file("seq15.img");
    write_bytes(path, bytes);
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    int section = -1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRtSecNum2(1, 1, 0, 0, 0, &section), 505);
    EXPECT_EQ(IMPosnZWTP(1, 1, 0, 0, 0), 301);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("IMRtSecNum2 1: invalid image sequence 15\n"), std::string::npos) << err;
    EXPECT_NE(err.find("IMPosnZWTP 1 - invalid section number 1: error positioning stream.\n"), std::string::npos)
        << err;
}

} // namespace
