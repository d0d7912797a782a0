// The field area: the parser's statuses on planted text, and the field calls.
#include "im_test_support.h"

using namespace imtest;

namespace {

// A fresh file has 4096 extended header bytes: 160 of per-section values, then the field area.
constexpr size_t kFieldArea = 1024 + 160;

class Fields : public ImTest {
protected:
    void SetUp() override { ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0); }
    // Plants text in the field area of a fresh file, reopens it and parses it again; returns the status.
    int parse(const std::string &text)
    {
        IMClose(1);
        EXPECT_EQ(IMOpen(1, path.c_str(), "new"), 0);
        EXPECT_EQ(IMWrHdr(1, "fields", 0, 0, 1, 0), 0);
        IMClose(1);
        writeFile(path, readFile(path).replace(kFieldArea, text.size(), text));
        EXPECT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
        return IMRdFieldHdr(1);
    }
    std::string path = dir / "fields.img";
};

TEST_F(Fields, WellFormedFieldsParse)
{
    EXPECT_EQ(parse("Exposure,f,8=0.250000\n\r"), 0);
    int count = 0, size = 0;
    char type = 0, name[64];
    IMRtNumFields(1, &count);
    IMRtFieldNum(1, 0, name, &type, &size);
    EXPECT_EQ(std::tuple(count, std::string(name), type, size), std::tuple(1, "Exposure", 'f', 8));
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
    EXPECT_EQ(std::pair(size, int{raw[1]}), std::pair(3, 13));
    int used = 0, length = 0;
    EXPECT_EQ(std::pair(IMRtFieldHdrSize(1, &used), used), std::pair(0, 26));
    char text[64];
    ASSERT_EQ(IMRtFieldHdr(1, text, 27, &length), 0); // the text and its terminator
    EXPECT_EQ(std::string(text, length + 1), std::string(planted, 26) + '\0');
    stderr_of([&] { EXPECT_EQ(IMRtFieldHdr(1, text, 26, &length), 720); });
}

TEST_F(Fields, ParserStatusOfEachFault)
{
    const std::vector<std::pair<std::string, int>> rows = {{"Exposure,f,8=0.250000\n", 730}, // no carriage return
                                                           {"A,i,1\r", 730}, // carriage return before position 6
                                                           {std::string(64, 'n') + ",i,1=5\n\r", 736},
                                                           {std::string(63, 'n') + ",i,1=5\n\r", 0},
                                                           {"NoCommaAtAll\r", 721},
                                                           {"Name,f8=1.0\n\r", 722},
                                                           {"Name,q,1=1\n\r", 722},
                                                           {"Name,f,8x0.25\n\r", 723},
                                                           {"Name,f,8=0.25\n\r", 725},
                                                           {"Big,b,99999=ab\n\r", 725}};
    for (const auto &[text, status] : rows)
        EXPECT_EQ(parse(text), status) << text;
    // The fault is told on open, and again on request.
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(parse("Good,i,1=5\nName,f,x=1\n\r"), 724); }),
              "Error parsing field size from x\nIMOpen 1: fields after field 1 not read: Invalid field size "
              "parameter.\nError parsing field size from x\n");
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(parse("Name,f,2=0.25\n\r"), 723); })
                  .rfind("iReadAllFields: field size mismatch or delimiter problem:\nfield 0\n"
                         "field=\"Name\"\nfield size=2\n",
                         0),
              0u);
}

TEST_F(Fields, TypedValuesRoundTripAndNamesCompare)
{
    const unsigned char blob[4] = {0, 10, 13, 255};
    ASSERT_EQ(IMAlFieldInt(1, "Count", -17), 0);
    ASSERT_EQ(IMAlFieldFloat(1, "Gain", 1.5f), 0);
    ASSERT_EQ(IMAlFieldDouble(1, "Stage", 12.125), 0);
    ASSERT_EQ(IMAlFieldChar(1, "Lens", "100x"), 0);
    ASSERT_EQ(IMAlFieldBinary(1, "Blob", blob, 4), 0);
    ASSERT_EQ(IMAlFieldDouble(1, "Huge", -1e300), 0); // wider than 64 characters as %lf
    int i = 0, size = 0, number = -1;
    float f = 0;
    double d = 0, huge = 0;
    char c[16];
    unsigned char b[4];
    EXPECT_EQ(IMRtFieldInt(1, "count", &i), 0);
    EXPECT_EQ(IMRtFieldFloat(1, "gain", &f), 0);
    EXPECT_EQ(IMRtFieldDouble(1, "stage", &d), 0);
    EXPECT_EQ(IMRtFieldChar(1, "lens", c, sizeof c), 0);
    EXPECT_EQ(IMRtFieldBinary(1, "blob", b, sizeof b, &size), 0);
    EXPECT_EQ(IMRtFieldDouble(1, "huge", &huge), 0);
    EXPECT_EQ(std::tuple(i, f, d, huge, std::string(c)), std::tuple(-17, 1.5f, 12.125, -1e300, std::string("100x")));
    EXPECT_EQ(vec(b, 4), vec(blob, 4));
    char text[256];
    ASSERT_EQ(IMRtFieldHdr(1, text, sizeof text, &size), 0);
    EXPECT_EQ(std::string(text, 32), "Count,i,3=-17\nGain,f,8=1.500000\n");
    EXPECT_EQ(IMFindFieldNum(1, "LENS", &number), 0);
    EXPECT_EQ(number, 3);
    // Writing replaces a field of exactly the same name; reading ignores case.
    ASSERT_EQ(IMAlFieldInt(1, "Count", 2), 0);
    ASSERT_EQ(IMAlFieldInt(1, "COUNT", 3), 0);
    IMRtNumFields(1, &number);
    EXPECT_EQ(number, 7);
    IMRtFieldInt(1, "count", &i);
    EXPECT_EQ(i, 2);
    ASSERT_EQ(IMRtFieldValueNum(1, 6, text, sizeof text, &size), 0); // each one's own value by index
    EXPECT_STREQ(text, "3");
    EXPECT_EQ(IMRtFieldValueNum(1, 7, text, sizeof text, &size), 729);
}

TEST_F(Fields, Refusals)
{
    float f;
    const std::string err = stderr_of([&] {
        EXPECT_EQ(IMAlField(1, "Name", "x", 'x', 1), 722);
        EXPECT_EQ(IMAlFieldInt(1, nullptr, 1), 721);
        EXPECT_EQ(IMAlFieldInt(1, std::string(64, 'a').c_str(), 1), 736);
        EXPECT_EQ(IMAlFieldInt(1, std::string(63, 'a').c_str(), 1), 0);
        EXPECT_EQ(IMRtFieldFloat(1, std::string(63, 'a').c_str(), &f), 733);
        EXPECT_EQ(IMAlFieldChar(1, "Note", "two\nlines"), 726); // would end the field early on reading
        EXPECT_EQ(IMRtField(1, nullptr, nullptr, 0, nullptr, nullptr), 734);
        EXPECT_EQ(IMFindFieldNum(1, nullptr, nullptr), 734);
        EXPECT_EQ(IMFindFieldNum(1, "missing", nullptr), 731);
        EXPECT_EQ(IMRtFieldFloat(1, std::string(63, 'a').c_str(), nullptr), 734);
        EXPECT_EQ(IMRtFieldNum(1, 1, nullptr, nullptr, nullptr), 729);
    });
    for (const char *line : {"IMAlField: unrecognized field type (x).\n", "IMRtField: NULL field name requested.\n",
                             "IMFindFieldNum: NULL field name requested.\n"})
        EXPECT_NE(err.find(line), std::string::npos) << line;
}

TEST_F(Fields, AFullAreaRefusesAndAHeaderWriteReportsWhatNoLongerFits)
{
    int space = 0, count = 0, stored = 0;
    IMRtFieldHdrSpace(1, &space);
    ASSERT_EQ(space, 4096 - 160 - 1);
    const std::string big(60, 'v');
    const std::string err = stderr_of([&] {
        for (int i = 0; i < 100; ++i)
            stored += IMAlFieldChar(1, ("F" + std::to_string(i)).c_str(), big.c_str()) == 0;
    });
    // Each field takes 2 or 3 name bytes + 2 size digits + 5 + 60 bytes.
    EXPECT_EQ(stored, 56);
    EXPECT_NE(err.find("Stream 1 out of field header space. (Field 56,size="), std::string::npos) << err;
    IMRtNumFields(1, &count);
    EXPECT_EQ(count, 56);
    ASSERT_EQ(IMAlExHdrSize2(1, 8, 32, 1, 0), 0); // the field area shrinks to 863 bytes
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(IMWrHdr2(1, 1), 707); }),
              "IMWrHdr2 1: field header overrun\n  num fields=12 out of 56 expected\n"
              "  num bytes stored=831 out of 3911 expected (max allowed=863\n");
    EXPECT_EQ(readFile(path).substr(1024 + 160 + 830), '\r' + std::string(1024 - 160 - 831, '\0'));
}

} // namespace
