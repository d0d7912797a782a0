// Sections and lines written and read back in every pixel mode, with and without conversion,
// through both I/O kinds; files in the other byte order from the tests' own writer.
#include <lumarix/im.h>

#include <cmath>
#include <fstream>
#include <tuple>

#include "im_test_support.h"

using namespace imtest;

namespace {

constexpr int kNx = 7, kNy = 5, kSections = 3, kPixels = kNx * kNy;
constexpr size_t kDataOffset = 1024 + 4096; // a fresh header's extended header is 4096 bytes

size_t bytes_of(int mode) { return mode == 0 ? 1 : mode == 1 || mode == 6 ? 2 : mode == 4 || mode == 8 ? 8 : 4; }

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

// The native bytes of a section of values, as the file holds them.
std::vector<uint8_t> native_bytes(int mode, int s)
{
    std::vector<uint8_t> out(kPixels * bytes_of(mode));
    for (int i = 0; i < kPixels; ++i) {
        const float v = value(mode, s, i);
        uint8_t *at = out.data() + i * bytes_of(mode);
        switch (mode) {
        case 0: *at = static_cast<uint8_t>(v); break;
        case 1: {
            const auto x = static_cast<int16_t>(v);
            std::memcpy(at, &x, 2);
            break;
        }
        case 6: {
            const auto x = static_cast<uint16_t>(v);
            std::memcpy(at, &x, 2);
            break;
        }
        case 7: {
            const auto x = static_cast<int32_t>(v);
            std::memcpy(at, &x, 4);
            break;
        }
        case 2: std::memcpy(at, &v, 4); break;
        case 4: {
            const float pair[2] = {v, -2 * v};
            std::memcpy(at, pair, 8);
            break;
        }
        case 8: {
            const double d = v;
            std::memcpy(at, &d, 8);
            break;
        }
        }
    }
    return out;
}

// What a read with conversion gives: the values, the magnitudes of mode 4 pairs, the doubles of mode 8.
std::vector<uint8_t> converted_bytes(int mode, int s)
{
    if (mode == 8)
        return native_bytes(mode, s);
    std::vector<float> f(kPixels);
    for (int i = 0; i < kPixels; ++i)
        f[i] =
            mode == 4 ? static_cast<float>(std::sqrt(5.0 * value(mode, s, i) * value(mode, s, i))) : value(mode, s, i);
    std::vector<uint8_t> out(kPixels * 4);
    std::memcpy(out.data(), f.data(), out.size());
    return out;
}

// What the caller hands to a write: floats narrowed by the library for modes 0, 1, 6 and 7 with
// conversion, the file's own pixels otherwise.
std::vector<uint8_t> written_bytes(int mode, int s, bool convert)
{
    if (!convert || mode == 2 || mode == 4 || mode == 8)
        return native_bytes(mode, s);
    std::vector<float> f(kPixels);
    for (int i = 0; i < kPixels; ++i)
        f[i] = value(mode, s, i);
    std::vector<uint8_t> out(kPixels * 4);
    std::memcpy(out.data(), f.data(), out.size());
    return out;
}

// mode, conversion, I/O kind suffix.
using Case = std::tuple<int, bool, std::string>;

class EveryMode : public ::testing::TestWithParam<Case> {
protected:
    int mode() const { return std::get<0>(GetParam()); }
    bool convert() const { return std::get<1>(GetParam()); }
    std::string attribute(const char *word) const { return word + std::get<2>(GetParam()); }
    void TearDown() override
    {
        IMClose(1);
        IMClose(2);
    }
    ScratchDir dir;
};

TEST_P(EveryMode, SectionsRoundTripAtTheirOffsets)
{
    const std::string path = dir.file("modes.img");
    ASSERT_EQ(IMOpen(1, path.c_str(), attribute("new").c_str()), 0);
    ASSERT_EQ(IMCrHdr3(1, kNx, kNy, kSections, 1, 1, 1, 2, mode()), 0);
    ASSERT_EQ(IMALCon(1, convert()), 0);
    ASSERT_EQ(IMWrHdr(1, "every mode", 0, 0, 1, 0), 0);
    for (int s = 0; s < kSections; ++s)
        ASSERT_EQ(IMWrSec(1, written_bytes(mode(), s, convert()).data()), 0) << "section " << s;
    ASSERT_EQ(IMClose(1), 0);

    const std::vector<uint8_t> file = read_bytes(path);
    const size_t section_bytes = kPixels * bytes_of(mode());
    ASSERT_EQ(file.size(), kDataOffset + kSections * section_bytes);
    for (int s = 0; s < kSections; ++s)
        EXPECT_EQ(std::vector<uint8_t>(file.begin() + kDataOffset + s * section_bytes,
                                       file.begin() + kDataOffset + (s + 1) * section_bytes),
                  native_bytes(mode(), s))
            << "section " << s;

    // Positioned on section 1, then on to section 2 in file order.
    ASSERT_EQ(IMOpen(2, path.c_str(), attribute("ro").c_str()), 0);
    ASSERT_EQ(IMALCon(2, convert()), 0);
    ASSERT_EQ(IMPosnZWTP(2, 1, 0, 0, 0), 0);
    for (int s = 1; s < kSections; ++s) {
        std::vector<uint8_t> buffer(kPixels * 8, 0xEE);
        ASSERT_EQ(IMRdSec(2, buffer.data()), 0);
        const std::vector<uint8_t> expected = convert() ? converted_bytes(mode(), s) : native_bytes(mode(), s);
        EXPECT_EQ(std::vector<uint8_t>(buffer.begin(), buffer.begin() + expected.size()), expected) << "section " << s;
    }
    int z, w, t, p, section;
    IMRtPosn(2, &z, &w, &t, &p, &section);
    EXPECT_EQ(section, 3);
}

// Each line in turn, and the section as separate lines, give the section's pixels.
TEST_P(EveryMode, LinesAndSeparateLinesGiveTheSection)
{
    const std::string path = dir.file("lines.img");
    ASSERT_EQ(IMOpen(1, path.c_str(), attribute("new").c_str()), 0);
    ASSERT_EQ(IMCrHdr3(1, kNx, kNy, 2, 1, 1, 1, 2, mode()), 0);
    ASSERT_EQ(IMWrHdr(1, "lines", 0, 0, 1, 0), 0);
    ASSERT_EQ(IMALCon(1, 0), 0);
    ASSERT_EQ(IMWrSec(1, native_bytes(mode(), 0).data()), 0);
    ASSERT_EQ(IMWrSec(1, native_bytes(mode(), 1).data()), 0);
    ASSERT_EQ(IMALCon(1, convert()), 0);
    ASSERT_EQ(IMPosn(1, 0, 0), 0);

    const std::vector<uint8_t> expected = convert() ? converted_bytes(mode(), 0) : native_bytes(mode(), 0);
    const size_t line_bytes = expected.size() / kNy;
    std::vector<uint8_t> lines(expected.size());
    for (int row = 0; row < kNy; ++row)
        ASSERT_EQ(IMRdLin(1, lines.data() + row * line_bytes), 0);
    EXPECT_EQ(lines, expected);

    std::vector<std::vector<uint8_t>> rows(kNy, std::vector<uint8_t>(line_bytes));
    std::vector<void *> pointers;
    for (auto &row : rows)
        pointers.push_back(row.data());
    ASSERT_EQ(IMRdSecl(1, pointers.data()), 0); // on from the lines: section 1
    const std::vector<uint8_t> second = convert() ? converted_bytes(mode(), 1) : native_bytes(mode(), 1);
    for (int row = 0; row < kNy; ++row)
        EXPECT_EQ(rows[row],
                  std::vector<uint8_t>(second.begin() + row * line_bytes, second.begin() + (row + 1) * line_bytes));
}

INSTANTIATE_TEST_SUITE_P(ModesConversionsAndIoKinds, EveryMode,
                         ::testing::Combine(::testing::Values(0, 1, 2, 4, 6, 7, 8), ::testing::Bool(),
                                            ::testing::Values(std::string(), std::string("_unbuffered"))),
                         [](const auto &param_info) {
                             return "mode" + std::to_string(std::get<0>(param_info.param)) +
                                    (std::get<1>(param_info.param) ? "_converted" : "_raw") +
                                    (std::get<2>(param_info.param).empty() ? "_buffered"
                                                                           : std::get<2>(param_info.param));
                         });

// A file from a machine of the other byte order: header and pixels reversed unit by unit.
class ForeignOrder : public ::testing::TestWithParam<int> {
protected:
    std::string write_foreign(int mode)
    {
        std::vector<uint8_t> bytes = minimal_header(true, kNx, kNy, 1, mode);
        std::vector<uint8_t> pixels = native_bytes(mode, 0);
        const size_t unit = mode == 4 ? 4 : bytes_of(mode);
        for (size_t at = 0; at < pixels.size(); at += unit)
            std::reverse(pixels.begin() + at, pixels.begin() + at + unit);
        bytes.insert(bytes.end(), pixels.begin(), pixels.end());
        const std::string path = dir.file("foreign.img");
        write_bytes(path, bytes);
        return path;
    }
    void TearDown() override { IMClose(1); }
    ScratchDir dir;
};

TEST_P(ForeignOrder, PixelsAreSwappedOnReadingExceptEightByteFloats)
{
    const int mode = GetParam();
    const std::string path = write_foreign(mode);
    for (bool convert : {true, false}) {
        ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
        int swapped = 0;
        IMRtSwap(1, &swapped);
        ASSERT_EQ(swapped, 1);
        IMALCon(1, convert);
        std::vector<uint8_t> buffer(kPixels * 8);
        ASSERT_EQ(IMRdSec(1, buffer.data()), 0);
        std::vector<uint8_t> expected = convert ? converted_bytes(mode, 0) : native_bytes(mode, 0);
        if (mode == 8) { // as stored: whole 8-byte values reversed
            const std::vector<uint8_t> file = read_bytes(path);
            expected.assign(file.begin() + 1024, file.end());
        }
        EXPECT_EQ(std::vector<uint8_t>(buffer.begin(), buffer.begin() + expected.size()), expected)
            << (convert ? "converted" : "raw");
        IMClose(1);
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, ForeignOrder, ::testing::Values(0, 1, 2, 4, 6, 7, 8));

class SectionRules : public ::testing::Test {
protected:
    void TearDown() override { IMClose(1); }
    void create(int mode, const char *attribute = "new")
    {
        path = dir.file("rules.img");
        ASSERT_EQ(IMOpen(1, path.c_str(), attribute), 0);
        ASSERT_EQ(IMCrHdr3(1, kNx, kNy, 2, 1, 1, 1, 2, mode), 0);
        ASSERT_EQ(IMWrHdr(1, "rules", 0, 0, 1, 0), 0);
    }
    ScratchDir dir;
    std::string path;
};

TEST_F(SectionRules, SixteenBitComplexIsRefused)
{
    create(3);
    std::vector<uint8_t> raw(kPixels * 4, 7);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMWrSec(1, raw.data()), 905);
    IMALCon(1, 0);
    EXPECT_EQ(IMWrSec(1, raw.data()), 905);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMWrSec 1: 16 bit complex data not supported.\n"
                                                      "IMWrSec 1: 16 bit complex data not supported.\n");
    // Written by hand: read as it is, refused with conversion.
    std::vector<uint8_t> file = read_bytes(path);
    file.resize(kDataOffset + 2 * raw.size(), 9);
    write_bytes(path, file);
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    IMALCon(1, 0);
    ASSERT_EQ(IMRdSec(1, raw.data()), 0);
    EXPECT_EQ(raw, std::vector<uint8_t>(kPixels * 4, 9));
    IMALCon(1, 1);
    std::vector<float> floats(kPixels);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRdSec(1, floats.data()), 905);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMRdSec 1: 16 bit complex data not supported.\n");
}

TEST_F(SectionRules, ShortFileReportsThePixelsReadAndTheEndOfFile)
{
    create(6);
    std::vector<float> section(kPixels, 3.0f);
    ASSERT_EQ(IMWrSec(1, section.data()), 0);
    IMClose(1);
    std::vector<uint8_t> file = read_bytes(path);
    file.resize(file.size() - 10); // 30 of 35 pixels left
    write_bytes(path, file);
    for (const char *attribute : {"ro", "ro_unbuffered"}) {
        ASSERT_EQ(IMOpen(1, path.c_str(), attribute), 0);
        testing::internal::CaptureStderr();
        EXPECT_EQ(IMRdSec(1, section.data()), 212);
        const std::string err = testing::internal::GetCapturedStderr();
        if (std::string(attribute) == "ro")
            EXPECT_EQ(err, "IMRdSec 1: only 30 pixels read (EOF=1).\n        Success\n");
        else
            EXPECT_EQ(err, "iStreamFileRead: too many retries (11), only 30 elements read...\n"
                           "iStreamFileEOF() is unavailable with unbuffered file IO.\n"
                           "IMRdSec 1: only 30 pixels read (EOF=0).\n        Success\n");
        IMClose(1);
    }
}

// A buffered stream that reads, then writes, then reads again sees what it wrote.
TEST_F(SectionRules, ReadingAndWritingAlternateOnOneStream)
{
    create(1);
    std::vector<float> a(kPixels, -7.0f), b(kPixels, 1234.0f), back(kPixels);
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
    std::vector<float> line(kNx);
    for (int row = 2; row < kNy + 1; ++row)
        ASSERT_EQ(IMRdLin(1, line.data()), 0);
    EXPECT_EQ(line, std::vector<float>(kNx, 1234.0f));
}

// Bytes this process has read through system calls so far.
long long bytes_read_so_far()
{
    std::ifstream io("/proc/self/io");
    std::string key;
    long long value = 0;
    while (io >> key >> value)
        if (key == "rchar:")
            return value;
    return -1;
}

// stdio's own absolute seek reads ahead from a "block boundary" that its 2,097,160-byte buffer
// puts up to 2 MiB below the target; positioning must not read anything.
TEST_F(SectionRules, PositioningABufferedStreamReadsNothing)
{
    path = dir.file("ahead.img");
    ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0);
    ASSERT_EQ(IMCrHdr3(1, 512, 512, 9, 1, 1, 1, 2, 0), 0);
    ASSERT_EQ(IMWrHdr(1, "ahead", 0, 0, 1, 0), 0);
    const std::vector<float> section(512 * 512, 9.0f);
    for (int s = 0; s < 9; ++s)
        ASSERT_EQ(IMWrSec(1, section.data()), 0);
    IMClose(1);
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    const long long before = bytes_read_so_far();
    ASSERT_GE(before, 0);
    ASSERT_EQ(IMPosn(1, 8, 0), 0); // byte 5120 + 8 x 262144: past the 2 MiB bit
    ASSERT_EQ(IMPosnZWTP(1, 4, 0, 0, 0), 0);
    EXPECT_LT(bytes_read_so_far() - before, 1024); // reading /proc/self/io itself counts
    std::vector<float> back(512 * 512);
    ASSERT_EQ(IMRdSec(1, back.data()), 0);
    EXPECT_LT(bytes_read_so_far() - before, 512 * 512 + 2048);
    EXPECT_EQ(back, section);
}

// Sections of 256 KiB and more go through the descriptor of a buffered stream, lines through its
// buffer: whatever the buffer holds reaches the file first, both see one position, and a short
// section still reports the end of the file.
TEST_F(SectionRules, LargeSectionsAndLinesShareThePositionOfABufferedStream)
{
    constexpr int kSide = 256, kLarge = kSide * kSide;
    path = dir.file("large.img");
    ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0);
    ASSERT_EQ(IMCrHdr3(1, kSide, kSide, 3, 1, 1, 1, 2, 2), 0);
    ASSERT_EQ(IMWrHdr(1, "large", 0, 0, 1, 0), 0);
    std::vector<float> all(3 * kLarge);
    for (int i = 0; i < 3 * kLarge; ++i)
        all[i] = static_cast<float>(i);
    ASSERT_EQ(IMWrLin(1, all.data()), 0);         // held in the buffer
    ASSERT_EQ(IMWrSec(1, all.data() + kSide), 0); // straight to the descriptor, from line 1
    for (int at = kSide + kLarge; at < 3 * kLarge; at += kSide)
        ASSERT_EQ(IMWrLin(1, all.data() + at), 0); // through the buffer again
    IMClose(1);
    const std::vector<uint8_t> file = read_bytes(path);
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

    std::vector<uint8_t> shorter(file.begin(), file.end() - 100); // 25 pixels short
    write_bytes(path, shorter);
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    ASSERT_EQ(IMPosn(1, 2, 0), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRdSec(1, back.data()), 212);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMRdSec 1: only 65511 pixels read (EOF=1).\n        Success\n");
    EXPECT_EQ(back[65510], static_cast<float>(2 * kLarge + 65510));
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
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMWrLin(1, line.data()), 903);
    EXPECT_EQ(IMWrPal(1), 904);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMWrLin: write without conversion not implemented yet.\nIMWrPal 1: unsupported function.\n");
    IMALCon(1, 1);
    ASSERT_EQ(IMPosn(1, 0, 0), 0);
    constexpr int kLineLength = 10;
    std::vector<float> padded(kNy * kLineLength, -1.0f);
    ASSERT_EQ(IMRdPal(1, padded.data(), kLineLength), 0);
    for (int row = 0; row < kNy; ++row)
        for (int x = 0; x < kLineLength; ++x)
            EXPECT_EQ(padded[row * kLineLength + x], x < kNx ? 10.0f * row + x : 0.0f) << row << "," << x;
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRdPal(1, padded.data(), kNx - 1), 402);
    EXPECT_EQ(IMRdSec(1, nullptr), 901);
    testing::internal::GetCapturedStderr();
}

} // namespace
