// Files written on a machine of the other byte order, and files with an unknown ID.
#include <lumarix/im.h>

#include "im_test_support.h"

using namespace imtest;

namespace {

constexpr int kNx = 7, kNy = 5, kNz = 2, kNw = 3, kNt = 2, kSections = kNz * kNw * kNt;
constexpr int kExtBytes = 2048;
constexpr int kWords = 40; // type 4: 8 integers and 32 floats per section
constexpr int kPixelBytes = kSections * kNx * kNy * 2;

std::string title_text(int i) { return i == 8 ? "NINTH title text" : "title " + std::to_string(i + 1); }

// Every header field with a distinct value, for the extended (image type 100) or ordinary (1)
// layout, with the given number of titles, then mode-6 pixels numbered from 1.
std::vector<uint8_t> make_file(bool foreign, int image_type, int file_id = -16224, int titles = 2)
{
    std::vector<uint8_t> bytes(1024 + kExtBytes + kPixelBytes, 0);
    ByteWriter w(bytes, foreign);
    const bool ext = image_type > 99;
    w.i32(0, kNx);
    w.i32(4, kNy);
    w.i32(8, kSections);
    w.i32(12, 6);
    for (int i = 0; i < 3; ++i) {
        w.i32(16 + 4 * i, i + 1);
        w.i32(28 + 4 * i, i == 0 ? 2 : 1);
        w.f32(40 + 4 * i, 14.0f - i);
        w.f32(52 + 4 * i, 90.0f + i);
        w.i32(64 + 4 * i, 3 - i);
        w.f32(184 + 4 * i, 10.0f * (i + 1));
    }
    w.f32(76, 1.0f);
    w.f32(80, 2.0f);
    w.f32(84, 1.5f);
    w.i32(88, 5);
    w.i32(92, kExtBytes);
    w.i16(96, file_id);
    w.i16(98, 77);
    ByteWriter(bytes, false).u16(100, 4); // the extended header type is never swapped
    w.i16(128, 8);
    w.i16(130, 32);
    w.i16(132, 3);
    w.i16(134, 2);
    const int min_at[] = {76, 136, 144, 152, 172}, max_at[] = {80, 140, 148, 156, 176};
    for (int v = 1; v < 5; ++v) {
        w.f32(min_at[v], -10.0f * v);
        w.f32(max_at[v], 100.0f * v);
        if (ext || titles < 9) // else the ninth title holds these bytes
            w.f32(864 + 4 * (v - 1), 50.0f * v);
        w.u16(198 + 2 * v, 500 + 100 * v);
    }
    w.u16(198, 500);
    w.i16(160, image_type);
    w.u16(162, 40001);
    w.i16(164, -3);
    w.i16(166, 4);
    w.i16(168, 150);
    w.i16(170, -25);
    w.u16(180, kNt);
    w.i16(182, 1);
    w.u16(196, kNw);
    w.f32(208, 1.5f);
    w.f32(212, 2.5f);
    w.f32(216, 3.5f);
    w.i16(220, 77);
    w.i16(222, titles);
    for (int i = 0; i < titles; ++i)
        w.text(224 + 80 * i, title_text(i));
    if (ext) {
        for (int v = 5; v < 12; ++v) {
            w.f32(544 + 4 * (v - 5), -1.0f * v);
            w.f32(588 + 4 * (v - 5), 1000.0f + v);
            w.f32(632 + 4 * (v - 5), 500.0f + v);
            w.u16(676 + 2 * (v - 5), 400 + 10 * v);
        }
        for (int v = 0; v < 12; ++v)
            for (int k = 0; k < 3; ++k)
                w.i32(700 + 12 * v + 4 * k, 1000 * v + k);
        w.f64(844, 1.6e9);
        w.i32(852, kNt);
        bytes[856] = 12;
        w.i32(880, 1);
    }
    // Extended header: section s holds integers s*100+i and floats s+i/10; then one field.
    for (int s = 0; s < kSections; ++s) {
        for (int i = 0; i < 8; ++i)
            w.i32(1024 + 4 * (s * kWords + i), s * 100 + i);
        for (int f = 0; f < 32; ++f)
            w.f32(1024 + 4 * (s * kWords + 8 + f), static_cast<float>(s) + f / 10.0f);
    }
    w.text(1024 + 4 * kSections * kWords, "Exposure,f,8=0.250000\n\r");
    for (int i = 0; i < kPixelBytes / 2; ++i)
        w.u16(1024 + kExtBytes + 2 * i, i + 1);
    return bytes;
}

class ByteOrderTest : public ::testing::TestWithParam<int> {
protected:
    void open_written(bool foreign, int image_type = 100)
    {
        path = dir.file("image.dat");
        write_bytes(path, make_file(foreign, image_type));
        ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    }
    void TearDown() override { IMClose(1); }
    ScratchDir dir;
    std::string path;
};

TEST_P(ByteOrderTest, EveryHeaderFieldDecodes)
{
    const bool foreign = GetParam();
    open_written(foreign);
    int swapped = -1;
    IMRtSwap(1, &swapped);
    EXPECT_EQ(swapped, foreign);
    int nx, ny, nsec, nz, nw, nt, np, mode, file_id;
    IMRtSiz(1, &nx, &ny, &nsec);
    IMRtZWTP(1, &nz, &nw, &nt, &np);
    IMRtMode(1, &mode);
    IMRtFileID(1, &file_id);
    EXPECT_EQ(std::vector<int>({nx, ny, nsec, nz, nw, nt, np, mode, file_id}),
              std::vector<int>({kNx, kNy, kSections, kNz, kNw, kNt, 1, 6, -16224}));
    int start[3], sampling[3], map[3];
    float cell[6], delta[3], rot[3];
    IMRtMst(1, start);
    IMRtSam(1, sampling);
    IMRtMap(1, map);
    IMRtCel(1, cell);
    IMRtDel(1, delta);
    IMRtRot(1, rot);
    EXPECT_EQ(std::vector<int>(start, start + 3), std::vector<int>({1, 2, 3}));
    EXPECT_EQ(std::vector<int>(sampling, sampling + 3), std::vector<int>({2, 1, 1}));
    EXPECT_EQ(std::vector<int>(map, map + 3), std::vector<int>({3, 2, 1}));
    EXPECT_EQ(std::vector<float>(cell, cell + 6), std::vector<float>({14, 13, 12, 90, 91, 92}));
    EXPECT_EQ(std::vector<float>(delta, delta + 3), std::vector<float>({7, 13, 12}));
    EXPECT_EQ(std::vector<float>(rot, rot + 3), std::vector<float>({10, 20, 30}));
    float x, y, z;
    IMRtOrig(1, &x, &y, &z);
    EXPECT_EQ(std::vector<float>({x, y, z}), std::vector<float>({2.5f, 3.5f, 1.5f}));
    int type, lens, n1, n2, group, symbytes, sequence;
    float v1, v2;
    IMRtDat(1, &type, &lens, &n1, &n2, &v1, &v2);
    EXPECT_EQ(std::vector<int>({type, lens, n1, n2}), std::vector<int>({100, 40001, -3, 4}));
    EXPECT_FLOAT_EQ(v1, 1.5f);
    EXPECT_FLOAT_EQ(v2, -0.25f);
    IMRtSym(1, &group, &symbytes);
    IMRtSequence(1, &sequence);
    EXPECT_EQ(group, 5);
    EXPECT_EQ(sequence, 1);
    int v132;
    float v134;
    IMRtHdrValues(1, &v132, &v134);
    EXPECT_EQ(v132, 3);
    EXPECT_EQ(v134, 2.0f);
    int ext_type, ni, nr, ext_size;
    IMRtExHdrInfo(1, &ext_type, &ni, &nr);
    IMRtExHdrSize(1, &ext_size);
    EXPECT_EQ(std::vector<int>({ext_type, ni, nr, ext_size}), std::vector<int>({4, 8, 32, kExtBytes}));
}

TEST_P(ByteOrderTest, TwelveWavelengthsAndTheExtendedTail)
{
    open_written(GetParam());
    float waves[12];
    int nw = 0;
    IMRtWav(1, &nw, waves);
    for (int v = 0; v < 12; ++v) {
        float mmm[3];
        int values[3];
        ASSERT_EQ(IMRtScl(1, v, mmm), 0);
        IMRtWavValues(1, v, values);
        if (v == 0)
            EXPECT_EQ(std::vector<float>(mmm, mmm + 3), std::vector<float>({1, 2, 1.5f}));
        else if (v < 5)
            EXPECT_EQ(std::vector<float>(mmm, mmm + 3), std::vector<float>({-10.0f * v, 100.0f * v, 50.0f * v}));
        else
            EXPECT_EQ(std::vector<float>(mmm, mmm + 3), std::vector<float>({-1.0f * v, 1000.0f + v, 500.0f + v}));
        EXPECT_EQ(waves[v], v < 5 ? 500.0f + 100 * v : 400.0f + 10 * v) << v;
        EXPECT_EQ(std::vector<int>(values, values + 3), std::vector<int>({1000 * v, 1000 * v + 1, 1000 * v + 2}));
    }
    double stamp = 0;
    int bits = 0;
    EXPECT_EQ(IMRtTimeStamp(1, &stamp), 0);
    EXPECT_EQ(stamp, 1.6e9);
    EXPECT_EQ(IMRtDataBitsPerPixel(1, &bits), 0);
    EXPECT_EQ(bits, 12);
}

TEST_P(ByteOrderTest, PerSectionValuesAndFieldsRead)
{
    open_written(GetParam());
    for (int s = 0; s < kSections; ++s) {
        int ints[8];
        float floats[32];
        ASSERT_EQ(IMRtExHdr(1, s, ints, floats), 0);
        EXPECT_EQ(ints[7], s * 100 + 7);
        EXPECT_FLOAT_EQ(floats[31], static_cast<float>(s) + 3.1f);
    }
    float exposure = 0;
    EXPECT_EQ(IMRtFieldFloat(1, "exposure", &exposure), 0);
    EXPECT_EQ(exposure, 0.25f);
}

INSTANTIATE_TEST_SUITE_P(NativeAndForeign, ByteOrderTest, ::testing::Values(0, 1));

// Byte order, image type and title count: titles read as written, never swapped, and a header
// written back leaves the file as it was, byte for byte, pixels and all.
class TitlesTest : public ::testing::TestWithParam<std::tuple<bool, int, int>> {
protected:
    ScratchDir dir;
};

TEST_P(TitlesTest, ReadAsWrittenAndRewrittenUnchanged)
{
    const auto [foreign, image_type, count] = GetParam();
    const std::string path = dir.file("titles.dat");
    const std::vector<uint8_t> original = make_file(foreign, image_type, -16224, count);
    write_bytes(path, original);
    ASSERT_EQ(IMOpen(1, path.c_str(), "old"), 0);
    int read_count = -1;
    IMRtNumLab(1, &read_count);
    ASSERT_EQ(read_count, count);
    std::vector<char> titles(80 * count);
    IMRtLab2(1, count, titles.data());
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(std::string(titles.data() + 80 * i), title_text(i));
    float mmm[3];
    ASSERT_EQ(IMRtScl(1, 3, mmm), 0);
    EXPECT_TRUE(count >= 9 || mmm[2] == 150.0f); // mean of wavelength 4 at 872 in both layouts
    ASSERT_EQ(IMWrHdr2(1, 1), 0);
    IMClose(1);
    EXPECT_TRUE(read_bytes(path) == original) << "the header was not written back in the file's order";
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    std::vector<float> pixels(kNx * kNy);
    ASSERT_EQ(IMRdSec(1, pixels.data()), 0);
    EXPECT_EQ(pixels[0], 1.0f);
    IMClose(1);
}

INSTANTIATE_TEST_SUITE_P(OrderTypeCount, TitlesTest,
                         ::testing::Values(std::tuple(false, 1, 10), std::tuple(true, 1, 1), std::tuple(true, 1, 4),
                                           std::tuple(true, 1, 10), std::tuple(true, 100, 1),
                                           std::tuple(true, 100, 4)));

TEST(UnknownFileId, WarnsAndDecodesAsStored)
{
    ScratchDir dir;
    const std::string path = dir.file("odd.dat");
    write_bytes(path, make_file(false, 100, 0x1234));
    testing::internal::CaptureStderr();
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("] IMSubs 1: warning, unrecognized file ID (4660).\n"), std::string::npos) << err;
    EXPECT_EQ(err.front(), '[');
    int nx, ny, nsec, swapped = 1, file_id = 0;
    IMRtSiz(1, &nx, &ny, &nsec);
    IMRtSwap(1, &swapped);
    IMRtFileID(1, &file_id);
    EXPECT_EQ(nx, kNx);
    EXPECT_EQ(swapped, 0);
    EXPECT_EQ(file_id, 0x1234);
    IMClose(1);
}

} // namespace
