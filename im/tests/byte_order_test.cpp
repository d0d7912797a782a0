// Files written on a machine of the other byte order, and files with an unknown ID.
#include "im_test_support.h"

using namespace imtest;

namespace {

constexpr int kNx = 7, kNy = 5, kNz = 2, kNw = 3, kNt = 2, kSections = kNz * kNw * kNt;
constexpr int kExtBytes = 2048, kWords = 40; // type 4: 8 integers and 32 floats per section
constexpr int kPixelBytes = kSections * kNx * kNy * 2;

std::string title_text(int i) { return i == 8 ? "NINTH title text" : "title " + std::to_string(i + 1); }

// Every header field with a distinct value, for the extended (image type 100) or ordinary (1)
// layout, with the given number of titles, then mode-6 pixels numbered from 1.
std::string make_file(bool foreign, int image_type, int file_id = -16224, int titles = 2)
{
    std::string bytes(1024 + kExtBytes + kPixelBytes, '\0');
    ByteWriter w{bytes, foreign};
    const bool ext = image_type > 99;
    for (int i = 0; i < 3; ++i) {
        w.i32(16 + 4 * i, i + 1);
        w.i32(28 + 4 * i, i == 0 ? 2 : 1);
        w.f32(40 + 4 * i, 14.0f - i);
        w.f32(52 + 4 * i, 90.0f + i);
        w.i32(64 + 4 * i, 3 - i);
        w.f32(184 + 4 * i, 10.0f * (i + 1));
        w.f32(76 + 4 * i, i == 2 ? 1.5f : i + 1.0f);
        w.f32(208 + 4 * i, 1.5f + i);
    }
    const int ints[] = {0, kNx, 4, kNy, 8, kSections, 12, 6, 88, 5, 92, kExtBytes};
    for (int i = 0; i < 12; i += 2)
        w.i32(ints[i], ints[i + 1]);
    const int shorts[] = {96,  file_id,    98,  77,    128, 8,   130, 32, 132, 3,     134, 2,
                          160, image_type, 162, 40001, 164, -3,  166, 4,  168, 150,   170, -25,
                          180, kNt,        182, 1,     196, kNw, 220, 77, 222, titles};
    for (int i = 0; i < 34; i += 2)
        w.i16(shorts[i], shorts[i + 1]);
    ByteWriter{bytes}.u16(100, 4); // the extended header type is never swapped
    const int min_at[] = {76, 136, 144, 152, 172}, max_at[] = {80, 140, 148, 156, 176};
    for (int v = 0; v < 5; ++v) {
        w.u16(198 + 2 * v, 500 + 100 * v);
        if (v > 0) {
            w.f32(min_at[v], -10.0f * v);
            w.f32(max_at[v], 100.0f * v);
            if (ext || titles < 9) // else the ninth title holds these bytes
                w.f32(864 + 4 * (v - 1), 50.0f * v);
        }
    }
    for (int i = 0; i < titles; ++i)
        w.text(224 + 80 * i, title_text(i));
    if (ext) {
        for (int v = 5; v < 12; ++v) {
            w.f32(544 + 4 * (v - 5), -1.0f * v);
            w.f32(588 + 4 * (v - 5), 1000.0f + v);
            w.f32(632 + 4 * (v - 5), 500.0f + v);
            w.u16(676 + 2 * (v - 5), 400 + 10 * v);
        }
        for (int v = 0; v < 36; ++v)
            w.i32(700 + 4 * v, 1000 * (v / 3) + v % 3);
        w.put<double>(844, 1.6e9);
        w.i32(852, kNt);
        bytes[856] = 12;
        w.i32(880, 1);
    }
    // Extended header: section s holds integers s*100+i and floats s+i/10; then one field.
    for (int s = 0; s < kSections; ++s)
        for (int i = 0; i < kWords; ++i) {
            if (i < 8)
                w.i32(1024 + 4 * (s * kWords + i), s * 100 + i);
            else
                w.f32(1024 + 4 * (s * kWords + i), static_cast<float>(s) + (i - 8) / 10.0f);
        }
    w.text(1024 + 4 * kSections * kWords, "Exposure,f,8=0.250000\n\r");
    for (int i = 0; i < kPixelBytes / 2; ++i)
        w.u16(1024 + kExtBytes + 2 * i, i + 1);
    return bytes;
}

class ByteOrder : public ::testing::TestWithParam<bool> {
protected:
    void TearDown() override { IMClose(1); }
    TempDir dir;
};

TEST_P(ByteOrder, EveryHeaderFieldAndTheExtendedHeaderDecode)
{
    writeFile(dir / "image.dat", make_file(GetParam(), 100));
    ASSERT_EQ(IMOpen(1, (dir / "image.dat").c_str(), "ro"), 0);
    int n[20];
    IMRtSwap(1, &n[0]);
    IMRtSiz(1, &n[1], &n[2], &n[3]);
    IMRtZWTP(1, &n[4], &n[5], &n[6], &n[7]);
    IMRtMode(1, &n[8]);
    IMRtFileID(1, &n[9]);
    IMRtSym(1, &n[10], &n[11]);
    IMRtSequence(1, &n[11]);
    IMRtExHdrInfo(1, &n[12], &n[13], &n[14]);
    IMRtExHdrSize(1, &n[15]);
    float v134;
    EXPECT_EQ(IMRtHdrValues(1, &n[16], &v134), 0);
    EXPECT_EQ(vec(n, 17), (std::vector<int>{GetParam(), kNx, kNy, kSections, kNz, kNw, kNt, 1, 6, -16224, 5, 1, 4, 8,
                                            32, kExtBytes, 3}));
    EXPECT_EQ(v134, 2.0f);
    IMRtMst(1, n);
    IMRtSam(1, n + 3);
    IMRtMap(1, n + 6);
    EXPECT_EQ(vec(n, 9), (std::vector<int>{1, 2, 3, 2, 1, 1, 3, 2, 1}));
    float f[32];
    IMRtCel(1, f);
    IMRtDel(1, f + 6);
    IMRtRot(1, f + 9);
    IMRtOrig(1, f + 12, f + 13, f + 14);
    EXPECT_EQ(vec(f, 15), (std::vector<float>{14, 13, 12, 90, 91, 92, 7, 13, 12, 10, 20, 30, 2.5f, 3.5f, 1.5f}));
    IMRtDat(1, &n[0], &n[1], &n[2], &n[3], &f[0], &f[1]);
    EXPECT_EQ(vec(n, 4), (std::vector<int>{100, 40001, -3, 4}));
    EXPECT_EQ(vec(f, 2), (std::vector<float>{1.5f, -0.25f}));

    float waves[12], mmm[3];
    IMRtWav(1, &n[0], waves);
    for (int v = 0; v < 12; ++v) {
        ASSERT_EQ(IMRtScl(1, v, mmm), 0);
        IMRtWavValues(1, v, n);
        const std::vector<float> want = v == 0  ? std::vector<float>{1, 2, 1.5f}
                                        : v < 5 ? std::vector<float>{-10.0f * v, 100.0f * v, 50.0f * v}
                                                : std::vector<float>{-1.0f * v, 1000.0f + v, 500.0f + v};
        EXPECT_EQ(vec(mmm, 3), want) << v;
        EXPECT_EQ(waves[v], v < 5 ? 500.0f + 100 * v : 400.0f + 10 * v) << v;
        EXPECT_EQ(vec(n, 3), (std::vector<int>{1000 * v, 1000 * v + 1, 1000 * v + 2}));
    }
    double stamp = 0;
    EXPECT_EQ(IMRtTimeStamp(1, &stamp), 0);
    EXPECT_EQ(stamp, 1.6e9);
    EXPECT_EQ(IMRtDataBitsPerPixel(1, &n[0]), 0);
    EXPECT_EQ(n[0], 12);

    for (int s = 0; s < kSections; ++s) {
        ASSERT_EQ(IMRtExHdr(1, s, n, f), 0);
        EXPECT_EQ(n[7], s * 100 + 7);
        EXPECT_FLOAT_EQ(f[31], static_cast<float>(s) + 3.1f);
    }
    EXPECT_EQ(IMRtFieldFloat(1, "exposure", &f[0]), 0);
    EXPECT_EQ(f[0], 0.25f);
}

INSTANTIATE_TEST_SUITE_P(NativeAndForeign, ByteOrder, ::testing::Bool());

// Byte order, image type and title count: titles read as written, never swapped, and a header
// written back leaves the file as it was, byte for byte, pixels and all.
class Titles : public ::testing::TestWithParam<std::tuple<bool, int, int>> {};

TEST_P(Titles, ReadAsWrittenAndRewrittenUnchanged)
{
    const auto [foreign, image_type, count] = GetParam();
    TempDir dir;
    const std::string path = dir / "titles.dat", original = make_file(foreign, image_type, -16224, count);
    writeFile(path, original);
    ASSERT_EQ(IMOpen(1, path.c_str(), "old"), 0);
    int read_count = -1;
    IMRtNumLab(1, &read_count);
    ASSERT_EQ(read_count, count);
    std::vector<char> titles(80 * count);
    IMRtLab2(1, count, titles.data());
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(std::string(titles.data() + 80 * i), title_text(i));
    ASSERT_EQ(IMWrHdr2(1, 1), 0);
    IMClose(1);
    EXPECT_TRUE(readFile(path) == original) << "the header was not written back in the file's order";
}

INSTANTIATE_TEST_SUITE_P(OrderTypeCount, Titles,
                         ::testing::Values(std::tuple(false, 1, 10), std::tuple(true, 1, 1), std::tuple(true, 1, 10),
                                           std::tuple(true, 100, 4)));

// The setters, then IMWrHdr, write the header that the file above holds.
TEST(Setters, WriteWhatTheDecoderReads)
{
    TempDir dir;
    ASSERT_EQ(IMOpen(1, (dir / "set.img").c_str(), "new"), 0);
    ASSERT_EQ(IMCrHdr3(1, kNx, kNy, kNz, kNw, kNt, 1, 1, 6), 0);
    ASSERT_EQ(IMAlExHdrSize2(1, 8, 32, kSections, 0), 0);
    const int ints[9] = {1, 2, 3, 2, 1, 1, 3, 2, 1}; // start, sampling, axis map
    const float cell[6] = {14, 13, 12, 90, 91, 92}, rot[3] = {10, 20, 30};
    IMAlMst(1, ints);
    IMAlSam(1, ints + 3);
    IMAlMap(1, ints + 6);
    IMALCel(1, cell);
    IMAlRot(1, rot);
    IMAlOrig(1, 2.5f, 3.5f, 1.5f);
    IMAlSym(1, 5, 0);
    IMAlHdrValues(1, 3, 2.0f);
    ASSERT_EQ(IMAlDataBitsPerPixel(1, 12), 0);
    ASSERT_EQ(IMAlTimeStamp(1, 1.6e9), 0);
    ASSERT_EQ(IMAlDat(1, 100, 40001, -3, 4, 1.5f, -0.25f), 0);
    for (int v = 11; v >= 0; --v) { // each one after its successor, which it must not reach
        const int values[3] = {1000 * v, 1000 * v + 1, 1000 * v + 2};
        ASSERT_EQ(IMAlWav2(1, v, v < 5 ? 500.0f + 100 * v : 400.0f + 10 * v), 0);
        ASSERT_EQ(IMAlWavMMM(1, v, v < 5 ? -10.0f * v : -1.0f * v, v < 5 ? 100.0f * v : 1000.0f + v,
                             v < 5 ? 50.0f * v : 500.0f + v),
                  0);
        ASSERT_EQ(IMAlWavValues(1, v, values), 0);
    }
    ASSERT_EQ(IMWrHdr(1, "title 1", 0, 0, 0, 0), 0);
    ASSERT_EQ(IMWrHdr(1, "title 2", 1, 1, 2, 1.5f), 0);
    std::string expected = make_file(false, 100).substr(0, 1024);
    ByteWriter{expected}.i16(98, 0); // not used by the library: left as they were
    ByteWriter{expected}.i16(220, 0);
    const std::string written = readFile(dir / "set.img").substr(0, 1024);
    for (size_t at = 0; at < 1024; ++at)
        EXPECT_EQ(int{static_cast<uint8_t>(written[at])}, int{static_cast<uint8_t>(expected[at])}) << "byte " << at;
    IMClose(1);
}

// An unknown file ID is kept; no wavelengths or time points count as one of each.
TEST(OddHeaderValues, WarnAndDecode)
{
    TempDir dir;
    std::string bytes = make_file(false, 0, 0x1234);
    ByteWriter{bytes}.u16(180, 0);
    ByteWriter{bytes}.u16(196, 0);
    writeFile(dir / "odd.dat", bytes);
    const std::string err = stderr_of([&] { ASSERT_EQ(IMOpen(1, (dir / "odd.dat").c_str(), "ro"), 0); });
    EXPECT_EQ(err, "[" + std::to_string(getpid()) +
                       "] IMSubs 1: warning, unrecognized file ID (4660).\nIMSubs: number of wavelengths must be > "
                       "0.\nIMSubs: number of time-points must be > 0.\n");
    int n[9] = {};
    IMRtSiz(1, &n[0], &n[1], &n[2]);
    IMRtSwap(1, &n[3]);
    IMRtFileID(1, &n[4]);
    IMRtZWTP(1, &n[5], &n[6], &n[7], &n[8]);
    EXPECT_EQ(vec(n, 9), (std::vector<int>{kNx, kNy, kSections, 0, 0x1234, kSections, 1, 1, 1}));
    IMClose(1);
}

} // namespace
