// The field area: the parser's statuses on planted text, and the field calls.
#include <lumarix/im.h>

#include "im_test_support.h"

using namespace imtest;

namespace {

// A fresh file has 4096 extended header bytes: 160 of per-section values, then the field area.
constexpr size_t kFieldArea = 1024 + 160;

class FieldParser : public ::testing::Test {
protected:
    void SetUp() override
    {
        path = dir.file("fields.img");
        ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0);
        ASSERT_EQ(IMWrHdr(1, "fields", 0, 0, 1, 0), 0);
        ASSERT_EQ(IMClose(1), 0);
    }
    void TearDown() override { IMClose(1); }
    // Plants text in the field area, reopens and parses it again; returns the status.
    int parse(const std::string &text)
    {
        auto bytes = read_bytes(path);
        std::fill(bytes.begin() + kFieldArea, bytes.end(), 0);
        std::copy(text.begin(), text.end(), bytes.begin() + kFieldArea);
        write_bytes(path, bytes);
        IMClose(1);
        EXPECT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
        return IMRdFieldHdr(1);
    }
    ScratchDir dir;
    std::string path;
};

TEST_F(FieldParser, WellFormedFields)
{
    EXPECT_EQ(parse("Exposure,f,8=0.250000\n\r"), 0);
    int count = 0, size = 0;
    char type = 0, name[64];
    IMRtNumFields(1, &count);
    ASSERT_EQ(count, 1);
    IMRtFieldNum(1, 0, name, &type, &size);
    EXPECT_STREQ(name, "Exposure");
    EXPECT_EQ(type, 'f');
    EXPECT_EQ(size, 8);
    float value = 0;
    EXPECT_EQ(IMRtFieldFloat(1, "EXPOSURE", &value), 0);
    EXPECT_EQ(value, 0.25f);
    // Binary values may hold line feeds and carriage returns; text after the last CR is ignored.
    static const char planted[] = "Raw,b,3=\n\r\0\nLens,c,3=60x\n\rjunk";
    EXPECT_EQ(parse(std::string(planted, sizeof planted - 1)), 0);
    IMRtNumFields(1, &count);
    EXPECT_EQ(count, 2);
    unsigned char raw[8];
    EXPECT_EQ(IMRtFieldBinary(1, "raw", raw, sizeof raw, &size), 0);
    EXPECT_EQ(size, 3);
    EXPECT_EQ(raw[1], 13);
    int used = 0;
    IMRtFieldHdrSize(1, &used);
    EXPECT_EQ(used, 26);
    char text[64];
    int length = 0;
    ASSERT_EQ(IMRtFieldHdr(1, text, sizeof text, &length), 0);
    EXPECT_EQ(length, 26);
    EXPECT_EQ(text[25], '\r');
    EXPECT_EQ(text[26], 0);
}

TEST_F(FieldParser, StatusOfEachFault)
{
    EXPECT_EQ(parse("Exposure,f,8=0.250000\n"), 730); // no carriage return
    EXPECT_EQ(parse("A,i,1\r"), 730);                 // carriage return before position 6
    EXPECT_EQ(parse(std::string(64, 'n') + ",i,1=5\n\r"), 736);
    EXPECT_EQ(parse(std::string(63, 'n') + ",i,1=5\n\r"), 0);
    EXPECT_EQ(parse("NoCommaAtAll\r"), 721);
    EXPECT_EQ(parse("Name,f8=1.0\n\r"), 722);
    EXPECT_EQ(parse("Name,q,1=1\n\r"), 722);
    EXPECT_EQ(parse("Name,f,8x0.25\n\r"), 723);
    testing::internal::CaptureStderr(); // the fault is told on open, and again on request
    EXPECT_EQ(parse("Good,i,1=5\nName,f,x=1\n\r"), 724);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error parsing field size from x\nIMOpen 1: fields after field 1 not read: Invalid field size "
              "parameter.\nError parsing field size from x\n");
    EXPECT_EQ(parse("Name,f,8=0.25\n\r"), 725);
    testing::internal::CaptureStderr();
    EXPECT_EQ(parse("Name,f,2=0.25\n\r"), 723);
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind(
                  "iReadAllFields: field size mismatch or delimiter problem:\nfield 0\n"
                  "field=\"Name\"\nfield size=2\n",
                  0),
              0u);
    EXPECT_EQ(parse("Big,b,99999=ab\n\r"), 725);
    // A text value with a line feed (written before such values were refused) is read whole.
    testing::internal::CaptureStderr();
    EXPECT_EQ(parse("Note,c,3=a\nb\nNext,i,1=5\n\r"), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("field 0 (Note) holds a line feed"), std::string::npos);
    char note[8];
    int next = 0;
    EXPECT_EQ(IMRtFieldChar(1, "Note", note, sizeof note), 0);
    EXPECT_EQ(IMRtFieldInt(1, "Next", &next), 0);
    EXPECT_STREQ(note, "a\nb");
    EXPECT_EQ(next, 5);
}

class FieldCalls : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(IMOpen(1, dir.file("calls.img").c_str(), "new"), 0); }
    void TearDown() override { IMClose(1); }
    ScratchDir dir;
};

TEST_F(FieldCalls, TypedValuesRoundTrip)
{
    ASSERT_EQ(IMAlFieldInt(1, "Count", -17), 0);
    ASSERT_EQ(IMAlFieldFloat(1, "Gain", 1.5f), 0);
    ASSERT_EQ(IMAlFieldDouble(1, "Stage", 12.125), 0);
    ASSERT_EQ(IMAlFieldChar(1, "Lens", "100x"), 0);
    const unsigned char blob[4] = {0, 10, 13, 255};
    ASSERT_EQ(IMAlFieldBinary(1, "Blob", blob, 4), 0);
    ASSERT_EQ(IMAlFieldDouble(1, "Huge", -1e300), 0); // wider than 64 characters as %lf
    int i = 0, size = 0;
    float f = 0;
    double d = 0;
    char c[16];
    unsigned char b[4];
    EXPECT_EQ(IMRtFieldInt(1, "count", &i), 0);
    EXPECT_EQ(IMRtFieldFloat(1, "gain", &f), 0);
    EXPECT_EQ(IMRtFieldDouble(1, "stage", &d), 0);
    EXPECT_EQ(IMRtFieldChar(1, "lens", c, sizeof c), 0);
    EXPECT_EQ(IMRtFieldBinary(1, "blob", b, sizeof b, &size), 0);
    EXPECT_EQ(i, -17);
    EXPECT_EQ(f, 1.5f);
    EXPECT_EQ(d, 12.125);
    EXPECT_EQ(IMRtFieldDouble(1, "huge", &d), 0);
    EXPECT_EQ(d, -1e300);
    EXPECT_STREQ(c, "100x");
    EXPECT_EQ(std::vector<unsigned char>(b, b + 4), std::vector<unsigned char>(blob, blob + 4));
    char text[256];
    int length = 0;
    ASSERT_EQ(IMRtFieldHdr(1, text, sizeof text, &length), 0);
    EXPECT_EQ(std::string(text, 32), "Count,i,3=-17\nGain,f,8=1.500000\n");
    int number = -1;
    EXPECT_EQ(IMFindFieldNum(1, "LENS", &number), 0);
    EXPECT_EQ(number, 3);
}

TEST_F(FieldCalls, ReplacingComparesNamesExactly)
{
    ASSERT_EQ(IMAlFieldInt(1, "Count", 1), 0);
    ASSERT_EQ(IMAlFieldInt(1, "Count", 2), 0);
    int count = 0, value = 0;
    IMRtNumFields(1, &count);
    EXPECT_EQ(count, 1);
    ASSERT_EQ(IMAlFieldInt(1, "COUNT", 3), 0); // another name for writing, the same for reading
    IMRtNumFields(1, &count);
    EXPECT_EQ(count, 2);
    IMRtFieldInt(1, "count", &value);
    EXPECT_EQ(value, 2);
    char text[8];
    int size = 0;
    ASSERT_EQ(IMRtFieldValueNum(1, 1, text, sizeof text, &size), 0); // each one's own value by index
    EXPECT_STREQ(text, "3");
    EXPECT_EQ(IMRtFieldValueNum(1, 2, text, sizeof text, &size), 729);
}

TEST_F(FieldCalls, Refusals)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMAlField(1, "Name", "x", 'x', 1), 722);
    EXPECT_EQ(IMAlFieldInt(1, nullptr, 1), 721);
    EXPECT_EQ(IMAlFieldInt(1, std::string(64, 'a').c_str(), 1), 736);
    EXPECT_EQ(IMAlFieldInt(1, std::string(63, 'a').c_str(), 1), 0);
    EXPECT_EQ(IMAlFieldChar(1, "Note", "two\nlines"), 726); // would end the field early on reading
    EXPECT_EQ(IMRtField(1, nullptr, nullptr, 0, nullptr, nullptr), 734);
    EXPECT_EQ(IMFindFieldNum(1, nullptr, nullptr), 734);
    EXPECT_EQ(IMFindFieldNum(1, "missing", nullptr), 731);
    float f;
    EXPECT_EQ(IMRtFieldFloat(1, std::string(63, 'a').c_str(), &f), 733);
    EXPECT_EQ(IMRtFieldFloat(1, std::string(63, 'a').c_str(), nullptr), 734);
    EXPECT_EQ(IMRtFieldNum(1, 1, nullptr, nullptr, nullptr), 729);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("IMAlField: unrecognized field type (x).\n"), std::string::npos);
    EXPECT_NE(err.find("IMRtField: NULL field name requested.\n"), std::string::npos);
    EXPECT_NE(err.find("IMFindFieldNum: NULL field name requested.\n"), std::string::npos);
    // A character field holding text that is no number.
    IMAlFieldChar(1, "Text", "abc");
    int i;
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRtFieldInt(1, "Text", &i), 733);
    testing::internal::GetCapturedStderr();
}

TEST_F(FieldCalls, AreaFullLeavesFieldsUnchanged)
{
    int space = 0;
    IMRtFieldHdrSpace(1, &space);
    ASSERT_EQ(space, 4096 - 160 - 1);
    const std::string big(60, 'v');
    int stored = 0;
    testing::internal::CaptureStderr();
    for (int i = 0; i < 100; ++i)
        if (IMAlFieldChar(1, ("F" + std::to_string(i)).c_str(), big.c_str()) == 0)
            ++stored;
    const std::string err = testing::internal::GetCapturedStderr();
    // Each field takes 2 or 3 name bytes + 2 size digits + 5 + 60 bytes.
    EXPECT_EQ(stored, 56);
    EXPECT_NE(err.find("Stream 1 out of field header space. (Field 56,size="), std::string::npos) << err;
    int count = 0;
    IMRtNumFields(1, &count);
    EXPECT_EQ(count, 56);
}

} // namespace

namespace {

TEST_F(FieldCalls, HeaderWriteReportsFieldsThatNoLongerFit)
{
    const std::string big(60, 'v');
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(IMAlFieldChar(1, ("F" + std::to_string(i)).c_str(), big.c_str()), 0);
    ASSERT_EQ(IMAlExHdrSize2(1, 8, 32, 1, 0), 0); // the field area shrinks to 863 bytes
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMWrHdr2(1, 1), 707);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMWrHdr2 1: field header overrun\n  num fields=12 out of 20 expected\n"
              "  num bytes stored=831 out of 1391 expected (max allowed=863\n");
    const auto bytes = read_bytes(dir.file("calls.img"));
    ASSERT_EQ(bytes.size(), 2048u);
    EXPECT_EQ(bytes[1024 + 160 + 830], '\r');
    EXPECT_EQ(std::count(bytes.begin() + 1024 + 160 + 831, bytes.end(), 0), 1024 - 160 - 831);
}

} // namespace
