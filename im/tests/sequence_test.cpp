// Section numbers of the fifteen image sequences, their inverse, and positioning by Z, W, T, P.
#include <array>
#include <map>

#include "im_test_support.h"

using namespace imtest;

namespace {

constexpr int kNz = 3, kNw = 2, kNt = 4, kNp = 5;

class Sequences : public ImTest, public ::testing::WithParamInterface<int> {};

// Walks the positions as an odometer whose fastest wheel is the first letter of the sequence's
// name: the n-th position reached is section n. Coordinates outside the stack are refused.
TEST_P(Sequences, SectionsCountUpInTheOrderOfTheName)
{
    ASSERT_EQ(IMOpen(1, (dir / "seq.img").c_str(), "new"), 0);
    ASSERT_EQ(IMCrHdr3(1, 2, 2, kNz, kNw, kNt, kNp, GetParam(), 0), 0);
    const char *order = IMRtSequenceName(GetParam());
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
    for (int i = 0; i < 8; ++i) {
        std::array<int, 4> c = {0, 0, 0, 0};
        c[i / 2] = i % 2 ? std::array{kNz, kNw, kNt, kNp}[i / 2] : -1;
        int section = 77;
        const std::string err = stderr_of([&] { EXPECT_EQ(IMRtSecNum2(1, c[0], c[1], c[2], c[3], &section), 604); });
        EXPECT_EQ(section, 0);
        EXPECT_EQ(err, "[" + std::to_string(getpid()) + "] IMRtSecNum2 1: invalid Z,W,T,P coordinate.\nRequested " +
                           std::to_string(c[0]) + " " + std::to_string(c[1]) + " " + std::to_string(c[2]) + " " +
                           std::to_string(c[3]) + ", Stream has 3 2 4 5.\n");
    }
    int z, w, t, p;
    stderr_of([&] { EXPECT_EQ(IMRtZWTPNum(1, kNz * kNw * kNt * kNp, &z, &w, &t, &p), 601); });
}

INSTANTIATE_TEST_SUITE_P(AllFifteen, Sequences, ::testing::Range(0, 15),
                         [](const auto &p) { return std::string(IMRtSequenceName(p.param)); });

using Positioning = ImTest;

// The form without P, a sequence changed, and a header that names sequence 15.
TEST_F(Positioning, OtherFormsAndAnUnknownSequence)
{
    ASSERT_EQ(IMOpen(1, (dir / "a.img").c_str(), "new"), 0);
    ASSERT_EQ(IMCrHdr3(1, 1, 1, 4, 3, 2, 1, 1, 0), 0); // WZTP
    int section = -1;
    ASSERT_EQ(IMAlSequence(1, 2), 0); // ZWTP
    ASSERT_EQ(IMRtSecNum(1, 1, 2, 0, &section), 0);
    EXPECT_EQ(section, 9);
    writeFile(dir / "seq15.img", minimal_header(false, 1, 1, 2, 0, 1, 1, 15) + std::string(2, '\0'));
    ASSERT_EQ(IMOpen(1, (dir / "seq15.img").c_str(), "ro"), 0);
    const std::string err = stderr_of([&] {
        EXPECT_EQ(IMRtSecNum2(1, 1, 0, 0, 0, &section), 505);
        EXPECT_EQ(IMPosnZWTP(1, 1, 0, 0, 0), 301);
    });
    EXPECT_NE(err.find("IMRtSecNum2 1: invalid image sequence 15\n"), std::string::npos) << err;
    EXPECT_NE(err.find("IMPosnZWTP 1 - invalid section number 1: error positioning stream.\n"), std::string::npos)
        << err;
}

} // namespace
