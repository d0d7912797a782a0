// The lximinfo program run on files made by the library and by the tests' own writer.
#include <lumarix/im.h>

#include <sys/wait.h>

#include <fstream>
#include <sstream>

#include "im_test_support.h"

using namespace imtest;

namespace {

struct ProgramRun {
    int status = -1;
    std::string out, err;
};

ProgramRun run_lximinfo(const std::vector<std::string> &args, const ScratchDir &dir)
{
    const std::string out = dir.file("stdout"), err = dir.file("stderr");
    std::string command = LXIMINFO;
    for (const auto &a : args)
        command += " '" + a + "'";
    command += " >" + out + " 2>" + err;
    ProgramRun run;
    const int raw = std::system(command.c_str());
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    const auto text = [](const std::string &path) {
        std::ostringstream s;
        s << std::ifstream(path).rdbuf();
        return s.str();
    };
    run.out = text(out);
    run.err = text(err);
    return run;
}

class Lximinfo : public ::testing::Test {
protected:
    ScratchDir dir;
};

TEST_F(Lximinfo, ShowsTheHeaderAndTheFieldsOfALibraryFile)
{
    const std::string path = dir.file("made.img");
    ASSERT_EQ(IMOpen(1, path.c_str(), "new"), 0);
    ASSERT_EQ(IMCrHdr3(1, 64, 32, 3, 2, 1, 1, 2, 1), 0);
    ASSERT_EQ(IMAlFieldFloat(1, "Exposure", 0.25f), 0);
    ASSERT_EQ(IMAlFieldChar(1, "Objective", "60x oil"), 0);
    const unsigned char raw[3] = {0x00, 0x7f, 0xff};
    ASSERT_EQ(IMAlFieldBinary(1, "Calibration", raw, 3), 0);
    ASSERT_EQ(IMWrHdr(1, "made by the library", 0, -1, 7, 3), 0);
    ASSERT_EQ(IMClose(1), 0);

    const ProgramRun run = run_lximinfo({path}, dir);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    for (const char *line : {"Image Name............................\t", "Size (X, Y, Z)........................\t64 32 3\n",
                             "Size (W, T, P)........................\t2 1 1\n",
                             "Data Type.............................\t2 byte signed integer\n",
                             "made by the library\n", "Extended Header Fields................\t3\n",
                             "  Exposure (f, 8 bytes)\t0.250000\n", "  Objective (c, 7 bytes)\t60x oil\n",
                             "  Calibration (b, 3 bytes)\t00 7f ff\n"})
        EXPECT_NE(run.out.find(line), std::string::npos) << line << "\n" << run.out;
}

TEST_F(Lximinfo, ReadsAForeignOrderFileAndReportsEachFailure)
{
    std::vector<uint8_t> bytes = minimal_header(true, 5, 4, 6, 6, 2, 3, 0);
    ByteWriter h(bytes, true);
    h.u16(198, 488);
    h.i16(220, 1); // 220 and 222 travel as one 4-byte unit
    h.i16(222, 1);
    h.text(224, "foreign");
    const std::string foreign = dir.file("foreign.img");
    write_bytes(foreign, bytes);
    const std::string missing = dir.file("missing.img");

    const ProgramRun run = run_lximinfo({foreign, missing, foreign}, dir);
    EXPECT_EQ(run.status, 1);
    for (const char *line : {"Size (X, Y, Z)........................\t5 4 1\n", "Size (W, T, P)........................\t2 3 1\n",
                             "Sequence..............................\tZ -> T -> W\n",
                             "Wavelengths (nm)......................\t488.00  0.00  \n", "foreign\n"})
        EXPECT_NE(run.out.find(line), std::string::npos) << line << "\n" << run.out;
    EXPECT_NE(run.out.find("foreign\n", run.out.find("foreign\n") + 1), std::string::npos) << "shown twice";
    EXPECT_NE(run.err.find("lximinfo: " + missing + ": Unable to find file\n"), std::string::npos) << run.err;

    EXPECT_EQ(run_lximinfo({}, dir).status, 2);
}

} // namespace
