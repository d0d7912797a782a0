// Sections and lines written and read back in every pixel mode, with and without conversion,
// through both I/O kinds; files in the other byte order from the tests' own writer.
#include <cmath>
#include <fstream>
#include <tuple>

#include "im_test_support.h"

using namespace imtest;

namespace {

constexpr int kNx = 7, kNy = 5, kSections = 3, kPixels = kNx * kNy;
constexpr size_t kDataOffset = 1024 + 4096; // a fresh header's extended header is 4096 bytes

// Pixel i of section s as the caller's float: whole values inside each mode's range.
float value(int mode, int s, int i)
{
    switch (mode) {
    case 0: return static_cast<float>((i * 7 + s * 3) % 256);
    case 1: return static_cast<float>(-30000 + i * 1700 + s);
    case 6: return static_cast<float>(i * 1800 + s);
    case 7: return static_cast<float>((i - 17) * 65536 * 301 + s * 65536);
    default: return static_cast<float>(i) * 0.37f - 5.0f + static_cast<float>(s);
    }
}

template <typename T>
void put(std::string &out, T v)
{
    out.append(reinterpret_cast<const char *>(&v), sizeof v);
}

// The native bytes of section s, as the file holds them; `unit` > 0 reverses each unit of that size.
std::string native_bytes(int mode, int s, size_t unit = 0)
{
    std::string out;
    for (int i = 0; i < kPixels; ++i) {
        const float v = value(mode, s, i);
        switch (mode) {
        case 0: put<uint8_t>(out, static_cast<uint8_t>(v)); break;
        case 1: put<int16_t>(out, static_cast<int16_t>(v)); break;
        case 6: put<uint16_t>(out, static_cast<uint16_t>(v)); break;
        case 7: put<int32_t>(out, static_cast<int32_t>(v)); break;
        case 4: put(out, v), put(out, -2 * v); break;
        case 8: put<double>(out, v); break;
        default: put(out, v);
        }
    }
    for (size_t at = 0; unit > 0 && at < out.size(); at += unit)
        std::reverse(out.begin() + at, out.begin() + at + unit);
    return out;
}

// Floats as a caller's buffer: the values (`converted`: the magnitudes of mode 4 pairs, and mode 8
// left as doubles, as a read with conversion gives them).
std::string float_bytes(int mode, int s, bool converted)
{
    if (converted && mode == 8)
        return native_bytes(mode, s);
    std::string out;
    for (int i = 0; i < kPixels; ++i)
        put(out, converted && mode == 4 ? static_cast<float>(std::sqrt(5.0 * value(mode, s, i) * value(mode, s, i)))
                                        : value(mode, s, i));
    return out;
}

// mode, conversion, I/O kind suffix.
class EveryMode : public ImTest, public ::testing::WithParamInterface<std::tuple<int, bool, std::string>> {};

TEST_P(EveryMode, SectionsAndLinesRoundTripAtTheirOffsets)
{
    const auto [mode, convert, io] = GetParam();
    const bool narrowed = convert && mode != 2 && mode != 4 && mode != 8;
    const std::string path = dir / "modes.img";
    ASSERT_EQ(IMOpen(1, path.c_str(), ("new" + io).c_str()), 0);
    ASSERT_EQ(IMCrHdr3(1, kNx, kNy, kSections, 1, 1, 1, 2, mode), 0);
    ASSERT_EQ(IMALCon(1, convert), 0);
    ASSERT_EQ(IMWrHdr(1, "every mode", 0, 0, 1, 0), 0);
    for (int s = 0; s < kSections; ++s)
        ASSERT_EQ(IMWrSec(1, (narrowed ? float_bytes(mode, s, false) : native_bytes(mode, s)).data()), 0) << s;
    ASSERT_EQ(IMClose(1), 0);
    std::string file;
    for (int s = 0; s < kSections; ++s)
        file += native_bytes(mode, s);
    EXPECT_TRUE(readFile(path).substr(kDataOffset) == file);

    const auto expected = [&](int s) { return convert ? float_bytes(mode, s, true) : native_bytes(mode, s); };
    ASSERT_EQ(IMOpen(1, path.c_str(), ("ro" + io).c_str()), 0);
    ASSERT_EQ(IMALCon(1, convert), 0);
    ASSERT_EQ(IMPosnZWTP(1, 1, 0, 0, 0), 0);
    for (int s = 1; s < kSections; ++s) { // positioned on section 1, then on to section 2 in file order
        std::string buffer(kPixels * 8, '\xEE');
        ASSERT_EQ(IMRdSec(1, buffer.data()), 0);
        EXPECT_TRUE(buffer.substr(0, expected(s).size()) == expected(s)) << "section " << s;
    }
    int z, w, t, p, section;
    IMRtPosn(1, &z, &w, &t, &p, &section);
    EXPECT_EQ(section, 3);
    // Section 1 as separate lines, read into the rows of a buffer upside down.
    ASSERT_EQ(IMPosn(1, 1, 0), 0);
    const size_t line_bytes = expected(1).size() / kNy;
    std::string rows(expected(1).size(), '\0');
    std::vector<void *> pointers;
    for (int row = kNy - 1; row >= 0; --row)
        pointers.push_back(rows.data() + row * line_bytes);
    ASSERT_EQ(IMRdSecl(1, pointers.data()), 0);
    std::string upside_down;
    for (int row = kNy - 1; row >= 0; --row)
        upside_down += expected(1).substr(row * line_bytes, line_bytes);
    EXPECT_TRUE(rows == upside_down);
}

INSTANTIATE_TEST_SUITE_P(ModesConversionsAndIoKinds, EveryMode,
                         ::testing::Combine(::testing::Values(0, 1, 2, 4, 6, 7, 8), ::testing::Bool(),
                                            ::testing::Values(std::string(), std::string("_unbuffered"))));

// A file from a machine of the other byte order: header and pixels reversed unit by unit; pixels
// are swapped on reading, except 8-byte floats.
class ForeignOrder : public ::testing::TestWithParam<int> {};

TEST_P(ForeignOrder, PixelsAreSwappedOnReadingExceptEightByteFloats)
{
    const int mode = GetParam();
    TempDir dir;
    const std::string stored = native_bytes(mode, 0, mode == 0 ? 1 : mode == 1 || mode == 6 ? 2 : mode == 8 ? 8 : 4);
    writeFile(dir / "foreign.img", minimal_header(true, kNx, kNy, 1, mode) + stored);
    for (bool convert : {true, false}) {
        ASSERT_EQ(IMOpen(1, (dir / "foreign.img").c_str(), "ro"), 0);
        int swapped = 0;
        IMRtSwap(1, &swapped);
        ASSERT_EQ(swapped, 1);
        IMALCon(1, convert);
        std::string buffer(kPixels * 8, '\0');
        ASSERT_EQ(IMRdSec(1, buffer.data()), 0);
        const std::string expected = mode == 8 ? stored : convert ? float_bytes(mode, 0, true) : native_bytes(mode, 0);
        EXPECT_TRUE(buffer.substr(0, expected.size()) == expected) << (convert ? "converted" : "raw");
        IMClose(1);
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, ForeignOrder, ::testing::Values(0, 1, 2, 4, 6, 7, 8));

TEST(ForeignOrder, SixteenBitComplexCannotBeSwapped)
{
    TempDir dir;
    writeFile(dir / "foreign.img", minimal_header(true, 2, 1, 1, 3) + std::string(8, '\1'));
    ASSERT_EQ(IMOpen(1, (dir / "foreign.img").c_str(), "ro"), 0);
    IMALCon(1, 0);
    std::string raw(8, '\0');
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMRdSec(1, raw.data()), 214); }), "IMRdSec 1: byte swap failed\n");
    IMClose(1);
}

class SectionRules : public ImTest {
protected:
    void create(int mode, int nx = kNx, int ny = kNy, int sections = 2)
    {
        ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0);
        ASSERT_EQ(IMCrHdr3(1, nx, ny, sections, 1, 1, 1, 2, mode), 0);
        ASSERT_EQ(IMWrHdr(1, "rules", 0, 0, 1, 0), 0);
    }
    std::string path = dir / "rules.img";
};

TEST_F(SectionRules, SixteenBitComplexIsRefused)
{
    create(3);
    std::string raw(kPixels * 4, '\7');
    IMALCon(1, 0);
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMWrSec(1, raw.data()), 905); }),
              "IMWrSec 1: 16 bit complex data not supported.\n");
    // Written by hand: read as it is, refused with conversion.
    writeFile(path, readFile(path) + std::string(2 * raw.size(), '\x09'));
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    IMALCon(1, 0);
    ASSERT_EQ(IMRdSec(1, raw.data()), 0);
    EXPECT_EQ(raw, std::string(kPixels * 4, '\x09'));
    IMALCon(1, 1);
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMRdSec(1, raw.data()), 905); }),
              "IMRdSec 1: 16 bit complex data not supported.\n");
}

// A buffered stream that reads, then writes, then reads again sees what it wrote.
TEST_F(SectionRules, ReadingAndWritingAlternateOnOneStream)
{
    create(1);
    std::vector<float> a(kPixels, -7.0f), b(kPixels, 1234.0f), back(kPixels), line(kNx);
    ASSERT_EQ(IMWrSec(1, a.data()), 0);
    ASSERT_EQ(IMWrSec(1, a.data()), 0);
    IMClose(1);
    ASSERT_EQ(IMOpen(1, path.c_str(), "old"), 0);
    ASSERT_EQ(IMRdSec(1, back.data()), 0);
    ASSERT_EQ(IMWrSec(1, b.data()), 0); // section 1
    ASSERT_EQ(IMPosn(1, 1, 0), 0);
    ASSERT_EQ(IMRdSec(1, back.data()), 0);
    EXPECT_EQ(back, b);
    ASSERT_EQ(IMPosn(1, 0, 2), 0); // line 2 of section 0, then read across into section 1
    for (int row = 2; row < kNy + 1; ++row)
        ASSERT_EQ(IMRdLin(1, line.data()), 0);
    EXPECT_EQ(line, std::vector<float>(kNx, 1234.0f));
}

// Bytes this process has read through system calls so far.
long long bytes_read_so_far()
{
    std::ifstream io("/proc/self/io");
    std::string key;
    long long count = 0;
    while (io >> key >> count)
        if (key == "rchar:")
            return count;
    return -1;
}

// Sections of 256 KiB and more go through the descriptor of a buffered stream, lines through its
// buffer: whatever the buffer holds reaches the file first, both see one position, and a short
// section still reports the end of the file. stdio's own absolute seek reads ahead from a "block
// boundary" that its 2,097,160-byte buffer puts up to 2 MiB below the target: positioning reads
// nothing.
TEST_F(SectionRules, LargeSectionsAndLinesShareThePositionOfABufferedStream)
{
    constexpr int kSide = 512, kLarge = kSide * kSide;
    create(2, kSide, kSide, 3);
    std::vector<float> all(3 * kLarge);
    for (int i = 0; i < 3 * kLarge; ++i)
        all[i] = static_cast<float>(i);
    ASSERT_EQ(IMWrLin(1, all.data()), 0);         // held in the buffer
    ASSERT_EQ(IMWrSec(1, all.data() + kSide), 0); // straight to the descriptor, from line 1
    for (int at = kSide + kLarge; at < 3 * kLarge; at += kSide)
        ASSERT_EQ(IMWrLin(1, all.data() + at), 0); // through the buffer again
    IMClose(1);
    const std::string file = readFile(path);
    ASSERT_EQ(file.size(), kDataOffset + all.size() * 4);
    EXPECT_EQ(std::memcmp(file.data() + kDataOffset, all.data(), all.size() * 4), 0);

    std::vector<float> back(kLarge), line(kSide);
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    ASSERT_EQ(IMRdLin(1, line.data()), 0); // the buffer reads ahead
    ASSERT_EQ(IMRdSec(1, back.data()), 0); // from line 1 of section 0 into section 1
    EXPECT_EQ(std::memcmp(back.data(), all.data() + kSide, back.size() * 4), 0);
    ASSERT_EQ(IMRdLin(1, line.data()), 0);
    EXPECT_EQ(line.front(), static_cast<float>(kLarge + kSide));
    IMClose(1);

    writeFile(path, file.substr(0, file.size() - 100)); // 25 pixels short
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    const long long before = bytes_read_so_far();
    ASSERT_EQ(IMPosn(1, 2, 0), 0);                 // byte 5120 + 2 x 1 MiB: past the 2 MiB bit
    EXPECT_LT(bytes_read_so_far() - before, 1024); // reading /proc/self/io itself counts
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMRdSec(1, back.data()), 212); }),
              "IMRdSec 1: only 262119 pixels read (EOF=1).\n        Success\n");
    EXPECT_EQ(
        stderr_of([&] { EXPECT_EQ(IMRdPas(1, back.data(), 62, 2, 450, 511, 510, 511), 212); }),
        "IMRdPas 1: only 99 pixels read (EOF=1).\n           cols 450 -> 511, rows 510 -> 511\n        Success\n");
    EXPECT_EQ(back[262118], static_cast<float>(2 * kLarge + 262118));
}

TEST_F(SectionRules, LineWritesNeedConversionAndPaddedReadsZeroThePads)
{
    create(6);
    std::vector<float> line(kNx);
    for (int row = 0; row < kNy; ++row) {
        for (int x = 0; x < kNx; ++x)
            line[x] = static_cast<float>(10 * row + x);
        ASSERT_EQ(IMWrLin(1, line.data()), 0);
    }
    IMALCon(1, 0);
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMWrLin(1, line.data()), 903); }),
              "IMWrLin: write without conversion not implemented yet.\n");
    IMALCon(1, 1);
    for (int line_length : {10, kNx}) {
        ASSERT_EQ(IMPosn(1, 0, 0), 0);
        std::vector<float> padded(kNy * line_length, -1.0f);
        ASSERT_EQ(IMRdPal(1, padded.data(), line_length), 0);
        for (int row = 0; row < kNy; ++row)
            for (int x = 0; x < line_length; ++x)
                ASSERT_EQ(padded[row * line_length + x], x < kNx ? 10.0f * row + x : 0.0f) << row << "," << x;
    }
    stderr_of([&] {
        EXPECT_EQ(IMRdPal(1, line.data(), kNx - 1), 402);
        EXPECT_EQ(IMRdSec(1, nullptr), 901);
    });
}

// Each integer mode's limits (mode 1's lower limit is -32767 on purpose): values beyond them are
// clamped and counted, the others truncated toward zero; NaN is stored as 0, uncounted.
TEST_F(SectionRules, IntegerModesClampAtTheirLimits)
{
    const float inf = INFINITY;
    const std::vector<float> in = {-inf,
                                   -2147483904.0f,
                                   -2147483648.0f,
                                   -65536.5f,
                                   -32768,
                                   -32767,
                                   -32766.9f,
                                   -5,
                                   -0.99f,
                                   NAN,
                                   0.99f,
                                   254.9f,
                                   255.9f,
                                   300,
                                   32767,
                                   32767.5f,
                                   65534.99f,
                                   65535.5f,
                                   2147483648.0f,
                                   2147483904.0f,
                                   inf};
    const int64_t lo32 = -2147483648LL, hi32 = 2147483647;
    const struct {
        int mode, high, low;
        std::vector<int64_t> stored;
    } rows[] = {
        {0, 9, 9, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 254, 255, 255, 255, 255, 255, 255, 255, 255, 255}},
        {1, 6, 5, {-32767, -32767, -32767, -32767, -32767, -32767, -32766, -5,    0,     0,    0,
                   254,    255,    300,    32767,  32767,  32767,  32767,  32767, 32767, 32767}},
        {6, 4, 9, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 254, 255, 300, 32767, 32767, 65534, 65535, 65535, 65535, 65535}},
        {7, 2, 2, {lo32, lo32, lo32, -65536, -32768, -32767, -32766, -5,   0,    0,   0,
                   254,  255,  300,  32767,  32767,  65534,  65535,  hi32, hi32, hi32}}};
    IMAlVerbose(1);
    for (const auto &r : rows) {
        create(r.mode, static_cast<int>(in.size()), 1, 1);
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMWrSec(1, in.data()), 0); }),
                  "IMWrSec 1: intensity truncation (hi=" + std::to_string(r.high) + ", lo=" + std::to_string(r.low) +
                      ").\n");
        IMClose(1);
        const std::string file = readFile(path);
        std::vector<int64_t> stored;
        for (size_t i = 0; i < in.size(); ++i)
            stored.push_back(r.mode == 0   ? native_at<uint8_t>(file, kDataOffset + i)
                             : r.mode == 1 ? native_at<int16_t>(file, kDataOffset + 2 * i)
                             : r.mode == 6 ? native_at<uint16_t>(file, kDataOffset + 2 * i)
                                           : native_at<int32_t>(file, kDataOffset + 4 * i));
        EXPECT_EQ(stored, r.stored) << "mode " << r.mode;
    }
}

// Floats written to integer modes are clamped; a section
// longer than one conversion chunk has every chunk written and counted, said in verbose mode only.
TEST_F(SectionRules, ClampCountsAddUpOverChunks)
{
    std::vector<float> in(400 * 400);
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = i % 3 == 0 ? 300.0f : i % 3 == 1 ? -5.0f : static_cast<float>(i % 256);
    for (bool verbose : {true, false}) {
        create(0, 400, 400, 1);
        IMAlVerbose(verbose);
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMWrSec(1, in.data()), 0); }),
                  verbose ? "IMWrSec 1: intensity truncation (hi=53334, lo=53333).\n" : "");
        IMClose(1);
    }
    const std::string bytes = readFile(path).substr(kDataOffset);
    ASSERT_EQ(bytes.size(), in.size());
    for (size_t i = 0; i < in.size(); ++i)
        ASSERT_EQ(static_cast<uint8_t>(bytes[i]), i % 3 == 0 ? 255 : i % 3 == 1 ? 0 : i % 256) << i;
}

} // namespace
