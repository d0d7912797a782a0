// Stream numbers, open attributes, names, access checks and closing.
#include <sys/stat.h>

#include "im_test_support.h"

using namespace imtest;

namespace {

class Streams : public ::testing::Test {
protected:
    void TearDown() override
    {
        for (int s : {1, 2, 3, 12, 10000})
            IMClose(s);
    }
    // A file of three 2 x 2 sections of mode 0 written through the library.
    std::string three_sections()
    {
        const std::string path = dir / "three.img";
        EXPECT_EQ(IMOpen(3, path.c_str(), "new"), 0);
        EXPECT_EQ(IMCrHdr3(3, 2, 2, 3, 1, 1, 1, 2, 0), 0);
        EXPECT_EQ(IMWrHdr(3, "three", 0, 0, 1, 0), 0);
        EXPECT_EQ(IMClose(3), 0);
        return path;
    }
    TempDir dir;
};

TEST_F(Streams, StreamNumbersOutsideTheTableAreRefused)
{
    for (int number : {0, 10001, -3})
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMOpen(number, (dir / "x").c_str(), "new"), 1); }),
                  "IMOpen " + std::to_string(number) + ": invalid stream number.\n");
    EXPECT_EQ(IMOpen(10000, (dir / "last").c_str(), "new"), 0);
    int mode;
    EXPECT_EQ(stderr_of([&] {
                  EXPECT_EQ(IMRtMode(10001, &mode), 1);
                  EXPECT_EQ(IMRtMode(7, &mode), 3);
              }),
              "IMRtMode 10001: invalid stream number.\nIMRtMode 7: internal stream numbering error.\n");
}

TEST_F(Streams, AttributesChooseModeAndIoKind)
{
    const std::string path = three_sections();
    const struct {
        const char *attribute;
        int mode, io;
    } cases[] = {
        {"NEW_unbuffered", IM_MODE_NEW, IM_IO_UNBUFFERED},           {"scratch", IM_MODE_NEW, IM_IO_BUFFERED},
        {"old_buffered_unbuffered", IM_MODE_OLD, IM_IO_BUFFERED},    {"rox", IM_MODE_RO, IM_IO_BUFFERED},
        {"ro_unbuffered extra words", IM_MODE_RO, IM_IO_UNBUFFERED}, {"append", IM_MODE_APPEND, IM_IO_BUFFERED}};
    for (const auto &c : cases) {
        ASSERT_EQ(IMOpen(1, (c.mode == IM_MODE_NEW ? dir / "fresh.img" : path).c_str(), c.attribute), 0);
        int mode = -1, io = -1;
        IMRtOpenMode(1, &mode, &io);
        EXPECT_EQ(std::pair(mode, io), std::pair(c.mode, c.io)) << c.attribute;
        ASSERT_EQ(IMClose(1), 0);
    }
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMOpen(1, path.c_str(), "read"), 201); }),
              "IMOpen 1: read is an invalid stream attribute.\n");
    EXPECT_EQ(IMClose(1), 104); // the failed open left the slot empty
}

TEST_F(Streams, AppendStartsAtTheLastSectionOrAtSectionZero)
{
    const std::string path = three_sections();
    ASSERT_EQ(IMOpen(1, path.c_str(), "append"), 0);
    int z, w, t, p, section;
    IMRtPosn(1, &z, &w, &t, &p, &section);
    EXPECT_EQ(std::pair(section, z), std::pair(2, 2));
    // A file of 0 sections (the library makes them): appending writes section 0, after the headers.
    ASSERT_EQ(IMAlSiz(1, 2, 2, 0), 0);
    ASSERT_EQ(IMWrHdr2(1, 1), 0);
    ASSERT_EQ(IMClose(1), 0);
    const std::string headers = readFile(path);
    ASSERT_EQ(IMOpen(1, path.c_str(), "append"), 0);
    const float pixels[4] = {9, 8, 7, 6};
    ASSERT_EQ(IMWrSec(1, pixels), 0);
    ASSERT_EQ(IMClose(1), 0);
    EXPECT_EQ(readFile(path), headers + "\x09\x08\x07\x06"); // the headers untouched
}

TEST_F(Streams, ReopeningAnOpenSlotWarnsAndReusesIt)
{
    const std::string path = three_sections();
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    EXPECT_EQ(stderr_of([&] { ASSERT_EQ(IMOpen(1, (dir / "other.img").c_str(), "new"), 0); }),
              "[" + std::to_string(getpid()) + "] IMOpen 1: stream (name " + path +
                  ") is already open. Continuing...\n");
    int nx, ny, nsec;
    IMRtSiz(1, &nx, &ny, &nsec);
    EXPECT_EQ(nsec, 1); // the new file's fresh header
}

TEST_F(Streams, NamesOfWindowsFilesAndTheDatabase)
{
    int kind = -1, window = -1;
    IMRtStreamTypeFromName("12", &kind, &window);
    EXPECT_EQ(std::pair(kind, window), std::pair(0, 12));
    for (const char *file_name : {"0012", "1024", "12345", "12a", "0"}) {
        IMRtStreamTypeFromName(file_name, &kind, &window);
        EXPECT_EQ(kind, 1) << file_name;
    }
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(IMRtStreamTypeFromName("", &kind, &window), 504); }),
              "IMRtStreamTypeFromName: invalid stream name.\n");
    // No image window runtime in this build: new fails to open, the others find no window.
    const std::string err = stderr_of([] {
        EXPECT_EQ(IMOpen(12, "12", "new"), 803);
        EXPECT_EQ(IMOpen(12, "7", "append"), 810);
        EXPECT_EQ(IMOpen(12, "1023", "ro"), 810);
        for (const char *attribute : {"ro", "new", "old"})
            EXPECT_EQ(IMOpen(2, "RDB:/project/image", attribute), 206);
    });
    EXPECT_NE(err.find("IMOpen: unable to open window connected to stream 12.\n"), std::string::npos);
    EXPECT_EQ(IMClose(12), 104);
    EXPECT_EQ(IMOpen(2, (dir / "0012").c_str(), "new"), 0);
}

TEST_F(Streams, MissingFilesAndDirectories)
{
    const std::string err = stderr_of([&] {
        EXPECT_EQ(IMOpen(1, (dir / "none/x.img").c_str(), "new"), 203);
        EXPECT_EQ(IMOpen(1, (dir / "absent.img").c_str(), "old"), 202);
        EXPECT_EQ(IMClose(1), 104);
        EXPECT_EQ(IMOpen(1, (dir / "absent.img").c_str(), "ro"), 202);
    });
    EXPECT_NE(err.find("IMOpen 1: unable to find directory:\n        " + dir / "none" + "\n"), std::string::npos);
    EXPECT_NE(err.find("IMOpen 1: unable to find file\n" + dir / "absent.img" + "\n"), std::string::npos);
    EXPECT_EQ(IMClose(1), 0); // a read-only open of a missing file keeps its slot
}

TEST_F(Streams, CloseNeverWritesTheHeader)
{
    const std::string path = three_sections();
    ASSERT_EQ(IMOpen(1, path.c_str(), "old"), 0);
    ASSERT_EQ(IMAlSiz(1, 9, 9, 3), 0);
    ASSERT_EQ(IMClose(1), 0);
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    int nx, ny, nsec;
    IMRtSiz(1, &nx, &ny, &nsec);
    EXPECT_EQ(nx, 2);
    EXPECT_EQ(stderr_of([] {
                  EXPECT_EQ(IMClose(1), 0);
                  EXPECT_EQ(IMClose(1), 104);
              }),
              "IMClose 1: attempt to close an unopened stream.\n");
    EXPECT_EQ(IMFileSync(1), 1);
}

TEST_F(Streams, ShortOrHostileFilesAreRefusedOrReadAsFarAsTheyGo)
{
    const std::string path = dir / "short.img";
    writeFile(path, std::string(100, '\0'));
    // An extended header that claims 2 GB in a file that holds 1 KB of it: the stream opens with
    // 210 and the bytes the file holds (here a field), and only those are allocated and written.
    std::string bytes = minimal_header(false, 1, 1, 1, 0) + std::string(1024, '\0');
    ByteWriter w{bytes};
    w.i16(128, 1);
    w.i32(92, 2000000000);
    w.text(1028, "Lens,c,3=60x\n\r");
    const std::string err = stderr_of([&] {
        EXPECT_EQ(IMOpen(1, path.c_str(), "ro"), 207);
        EXPECT_EQ(IMClose(1), 104);
        writeFile(path, bytes);
        EXPECT_EQ(IMOpen(1, path.c_str(), "old"), 210);
        char lens[8] = {};
        EXPECT_EQ(IMRtFieldChar(1, "lens", lens, sizeof lens), 0);
        EXPECT_STREQ(lens, "60x");
        EXPECT_EQ(IMWrHdr2(1, 1), 0);
        EXPECT_EQ(readFile(path).size(), bytes.size());
    });
    EXPECT_NE(err.find("IMOpen 1: error reading extended header (1024,2000000000,old,\"" + path + "\").\n"),
              std::string::npos)
        << err;
}

// Permission cases run as an unprivileged user through a small probe program that exits with
// the status of its open.
TEST_F(Streams, AccessIsCheckedBeforeOpening)
{
    chmod(dir.path().c_str(), 0755);
    const std::string path = three_sections();
    const auto probe = [](const std::string &name, const char *attribute) {
        return lxtest::run({IM_OPEN_PROBE, name, attribute}, {}, lxtest::kAsNobody);
    };
    chmod(path.c_str(), 0600);
    const lxtest::Result ro = probe(path, "ro");
    EXPECT_EQ(std::pair(ro.status, ro.err),
              std::pair(205, "IMOpen 1: unable to obtain read access to\n" + path + "\n"));
    EXPECT_EQ(probe(path, "old").status, 204);
    EXPECT_EQ(probe(path, "append").status, 204);
    EXPECT_EQ(probe(dir / "new.img", "new").status, 204);
    chmod(path.c_str(), 0644);
    EXPECT_EQ(probe(path, "ro").status, 0);
    EXPECT_EQ(probe(path, "old").status, 204);
}

} // namespace
