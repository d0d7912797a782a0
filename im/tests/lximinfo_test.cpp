// The lximinfo program run on files made by the library and by the tests' own writer.
#include "im_test_support.h"

using namespace imtest;

namespace {

lxtest::Result run_lximinfo(std::vector<std::string> args)
{
    return args.insert(args.begin(), LXIMINFO), lxtest::run(args);
}

using Lximinfo = ImTest;

// Fields whose names differ only in case, and text from the file that would drive a terminal.
TEST_F(Lximinfo, ShowsEachFieldByItsOwnValueWithControlBytesEscaped)
{
    const std::string path = dir / "made.img";
    ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0);
    ASSERT_EQ(IMCrHdr3(1, 64, 32, 3, 2, 1, 1, 2, 1), 0);
    ASSERT_EQ(IMAlFieldFloat(1, "Exposure", 0.25f), 0);
    ASSERT_EQ(IMAlFieldInt(1, "Aa", 1), 0);
    ASSERT_EQ(IMAlFieldInt(1, "AA", 2), 0);
    ASSERT_EQ(IMAlFieldChar(1, "Note\x1b", "\x1b[31mred\ttab\\"), 0);
    const unsigned char raw[33] = {0x00, 0x7f, 0xff}; // shown up to 32 bytes
    ASSERT_EQ(IMAlFieldBinary(1, "Calibration", raw, 33), 0);
    ASSERT_EQ(IMWrHdr(1, "title \x1b]0;x\x07 \xc3\xa9\x9b", 0, -1, 7, 3), 0);
    ASSERT_EQ(IMClose(1), 0);

    const lxtest::Result run = run_lximinfo({path});
    EXPECT_EQ(std::pair(run.status, run.err), std::pair(0, std::string()));
    for (const char *line :
         {"Size (X, Y, Z)........................\t64 32 3\n",
          "Data Type.............................\t2 byte signed integer\n", "\ntitle \\x1b]0;x\\x07 \xc3\xa9\\x9b\n",
          "Extended Header Fields................\t5\n", "  Exposure (f, 8 bytes)\t0.250000\n",
          "  Aa (i, 1 bytes)\t1\n  AA (i, 1 bytes)\t2\n", "  Note\\x1b (c, 13 bytes)\t\\x1b[31mred\\ttab\\\\\n",
          "  Calibration (b, 33 bytes)\t00 7f ff 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
          "00 00 00 00 00 00 ...\n"})
        EXPECT_NE(run.out.find(line), std::string::npos) << line << "\n" << run.out;
    EXPECT_EQ(run.out.find('\x1b'), std::string::npos);

    const lxtest::Result json = run_lximinfo({"--json", path});
    EXPECT_NE(
        json.out.find(
            R"("fields":[{"name":"Exposure","type":"f","size":8,"value":0.25},)"
            R"({"name":"Aa","type":"i","size":1,"value":1},{"name":"AA","type":"i","size":1,"value":2},)"
            R"({"name":"Note\u001b","type":"c","size":13,"value":"\u001b[31mred\ttab\\"},)"
            R"({"name":"Calibration","type":"b","size":33,"value":"007fff000000000000000000000000000000000000000000000000000000000000"}]})"
            "\n"),
        std::string::npos)
        << json.out;
}

TEST_F(Lximinfo, ReadsAForeignOrderFileAndReportsEachFailure)
{
    std::string bytes = minimal_header(true, 5, 4, 6, 6, 2, 3, 0);
    ByteWriter h{bytes, true};
    h.u16(198, 488);
    h.f32(188, 2.5f); // the second rotation angle
    h.i16(222, 1);
    h.text(224, "foreign");
    const std::string foreign = dir / "foreign.img";
    writeFile(foreign, bytes);
    const std::string missing = dir / "missing.img";

    EXPECT_EQ(run_lximinfo({foreign, missing}).err,
              "IMOpen 1: unable to find file\n" + missing + "\nlximinfo: " + missing + ": Unable to find file\n");

    const lxtest::Result json = run_lximinfo({"--json", foreign, missing});
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(json.out,
              R"({"file":")" + foreign +
                  R"(","status":0,"error":null,"nx":5,"ny":4,"nz":1,"nw":2,"nt":3,"np":1,)"
                  R"("sections":6,"mode":6,"mode_name":"2 byte unsigned integer","sequence":0,"sequence_name":"ZTWP",)"
                  R"("pixel_size":[0,0,0],"wavelengths":[{"nm":488,"min":0,"max":0,"mean":0},)"
                  R"({"nm":0,"min":0,"max":0,"mean":0}],"rotation":[0,2.5,0],"image_type":0,"lens_id":0,)"
                  R"("titles":["foreign"],"extended_header":{"type":0,"size":0,"ints_per_section":0,)"
                  R"("floats_per_section":0},"fields":[]})"
                  "\n"
                  R"({"file":")" +
                  missing +
                  R"(","status":202,"error":"Unable to find file"})"
                  "\n");
    EXPECT_EQ(run_lximinfo({}).status, 2);
}

} // namespace
