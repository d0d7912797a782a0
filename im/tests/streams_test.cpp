// Stream numbers, open attributes, names, access checks and closing.
#include <lumarix/im.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include "im_test_support.h"

using namespace imtest;

namespace {

class Streams : public ::testing::Test {
protected:
    void TearDown() override
    {
        for (int s : {1, 2, 3, 12, 10000})
            if (IMClose(s) == 0)
                continue;
    }
    // A file of three 2 x 2 sections of mode 0 written through the library.
    std::string three_sections()
    {
        const std::string path = dir.file("three.img");
        EXPECT_EQ(IMOpen(3, path.c_str(), "new"), 0);
        EXPECT_EQ(IMCrHdr3(3, 2, 2, 3, 1, 1, 1, 2, 0), 0);
        EXPECT_EQ(IMWrHdr(3, "three", 0, 0, 1, 0), 0);
        EXPECT_EQ(IMClose(3), 0);
        return path;
    }
    ScratchDir dir;
};

TEST_F(Streams, StreamNumbersOutsideTheTableAreRefused)
{
    for (int number : {0, 10001, -3}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(IMOpen(number, dir.file("x").c_str(), "new"), 1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "IMOpen " + std::to_string(number) + ": invalid stream number.\n");
    }
    EXPECT_EQ(IMOpen(10000, dir.file("last").c_str(), "new"), 0);
    int mode;
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRtMode(10001, &mode), 1);
    EXPECT_EQ(IMRtMode(7, &mode), 3);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMRtMode 10001: invalid stream number.\nIMRtMode 7: internal stream numbering error.\n");
}

TEST_F(Streams, AttributesChooseModeAndIoKind)
{
    const std::string path = three_sections();
    struct Case {
        const char *attribute;
        int mode, io;
    } cases[] = {
        {"NEW_unbuffered", IM_MODE_NEW, IM_IO_UNBUFFERED},           {"scratch", IM_MODE_NEW, IM_IO_BUFFERED},
        {"old_buffered_unbuffered", IM_MODE_OLD, IM_IO_BUFFERED},    {"rox", IM_MODE_RO, IM_IO_BUFFERED},
        {"ro_unbuffered extra words", IM_MODE_RO, IM_IO_UNBUFFERED}, {"append", IM_MODE_APPEND, IM_IO_BUFFERED}};
    for (const auto &c : cases) {
        const std::string target = c.mode == IM_MODE_NEW ? dir.file("fresh.img") : path;
        ASSERT_EQ(IMOpen(1, target.c_str(), c.attribute), 0) << c.attribute;
        int mode = -1, io = -1;
        IMRtOpenMode(1, &mode, &io);
        EXPECT_EQ(mode, c.mode) << c.attribute;
        EXPECT_EQ(io, c.io) << c.attribute;
        ASSERT_EQ(IMClose(1), 0);
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMOpen(1, path.c_str(), "read"), 201);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMOpen 1: read is an invalid stream attribute.\n");
    EXPECT_EQ(IMClose(1), 104); // the failed open left the slot empty
}

TEST_F(Streams, AppendStartsAtTheLastSectionOrAtSectionZero)
{
    const std::string path = three_sections();
    ASSERT_EQ(IMOpen(1, path.c_str(), "append"), 0);
    int z, w, t, p, section;
    IMRtPosn(1, &z, &w, &t, &p, &section);
    EXPECT_EQ(section, 2);
    EXPECT_EQ(z, 2);
    ASSERT_EQ(IMClose(1), 0);
    // A file of 0 sections (the library makes them): appending writes section 0, after the headers.
    ASSERT_EQ(IMOpen(1, path.c_str(), "old"), 0);
    ASSERT_EQ(IMAlSiz(1, 2, 2, 0), 0);
    ASSERT_EQ(IMWrHdr2(1, 1), 0);
    ASSERT_EQ(IMClose(1), 0);
    const std::vector<uint8_t> headers = read_bytes(path);
    ASSERT_EQ(IMOpen(1, path.c_str(), "append"), 0);
    const float pixels[4] = {9, 8, 7, 6};
    ASSERT_EQ(IMWrSec(1, pixels), 0);
    ASSERT_EQ(IMClose(1), 0);
    const std::vector<uint8_t> after = read_bytes(path);
    ASSERT_EQ(after.size(), headers.size() + 4);
    EXPECT_TRUE(std::equal(headers.begin(), headers.end(), after.begin())) << "append wrote into the headers";
    EXPECT_EQ(after.back(), 6);
}

TEST_F(Streams, ReopeningAnOpenSlotWarnsAndReusesIt)
{
    const std::string path = three_sections();
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    testing::internal::CaptureStderr();
    ASSERT_EQ(IMOpen(1, dir.file("other.img").c_str(), "new"), 0);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("] IMOpen 1: stream (name " + path + ") is already open. Continuing...\n"), std::string::npos)
        << err;
    int nx, ny, nsec;
    IMRtSiz(1, &nx, &ny, &nsec);
    EXPECT_EQ(nsec, 1); // the new file's fresh header
}

TEST_F(Streams, NamesOfWindowsFilesAndTheDatabase)
{
    int kind = -1, window = -1;
    IMRtStreamTypeFromName("12", &kind, &window);
    EXPECT_EQ(kind, 0);
    EXPECT_EQ(window, 12);
    for (const char *file_name : {"0012", "1024", "12345", "12a", "0"}) {
        IMRtStreamTypeFromName(file_name, &kind, &window);
        EXPECT_EQ(kind, 1) << file_name;
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRtStreamTypeFromName("", &kind, &window), 504);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMRtStreamTypeFromName: invalid stream name.\n");
    // No image window runtime in this build: new fails to open, the others find no window.
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMOpen(12, "12", "new"), 803);
    EXPECT_EQ(IMOpen(12, "12", "old"), 810);
    EXPECT_EQ(IMOpen(12, "7", "append"), 810);
    EXPECT_EQ(IMOpen(12, "1023", "ro"), 810);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("IMOpen: unable to open window connected to stream 12.\n"),
              std::string::npos);
    EXPECT_EQ(IMClose(12), 104);
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMOpen(2, "RDB:/project/image", "ro"), 206);
    EXPECT_EQ(IMOpen(2, "rdb:/project/image", "new"), 206);
    EXPECT_EQ(IMOpen(2, "rdb:/project/image", "old"), 206);
    testing::internal::GetCapturedStderr();
    // A four-digit name with a leading zero is a file in the working directory.
    EXPECT_EQ(IMOpen(2, (dir.path() / "0012").c_str(), "new"), 0);
}

TEST_F(Streams, MissingFilesAndDirectories)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMOpen(1, dir.file("none/x.img").c_str(), "new"), 203);
    EXPECT_EQ(IMOpen(1, dir.file("absent.img").c_str(), "old"), 202);
    EXPECT_EQ(IMClose(1), 104);
    EXPECT_EQ(IMOpen(1, dir.file("absent.img").c_str(), "ro"), 202);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("IMOpen 1: unable to find directory:\n        " + dir.file("none") + "\n"), std::string::npos);
    EXPECT_NE(err.find("IMOpen 1: unable to find file\n" + dir.file("absent.img") + "\n"), std::string::npos);
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
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMClose(1), 0);
    EXPECT_EQ(IMClose(1), 104);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMClose 1: attempt to close an unopened stream.\n");
    EXPECT_EQ(IMFileSync(1), 1);
}

TEST_F(Streams, ShortOrHostileFilesAreRefusedOrReadAsFarAsTheyGo)
{
    const std::string path = dir.file("short.img");
    write_bytes(path, std::vector<uint8_t>(100, 0));
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMOpen(1, path.c_str(), "ro"), 207);
    EXPECT_EQ(IMClose(1), 104);
    // An extended header that claims 2 GB in a file that holds 1 KB of it: the stream opens with
    // 210 and the bytes the file holds (here a field), and only those are allocated and written.
    std::vector<uint8_t> bytes(2048, 0);
    ByteWriter w(bytes, false);
    w.i32(0, 1);
    w.i32(4, 1);
    w.i32(8, 1);
    w.i16(96, -16224);
    w.i16(128, 1);
    w.i32(92, 2000000000);
    w.text(1028, "Lens,c,3=60x\n\r");
    write_bytes(path, bytes);
    EXPECT_EQ(IMOpen(1, path.c_str(), "old"), 210);
    char lens[8] = {};
    EXPECT_EQ(IMRtFieldChar(1, "lens", lens, sizeof lens), 0);
    EXPECT_STREQ(lens, "60x");
    EXPECT_EQ(IMWrHdr2(1, 1), 0);
    EXPECT_EQ(read_bytes(path).size(), bytes.size());
    // A negative extended header size, or an append whose positioning fails, leaves no stream.
    w.i32(92, -1);
    write_bytes(path, bytes);
    EXPECT_EQ(IMOpen(2, path.c_str(), "ro"), 210);
    EXPECT_EQ(IMClose(2), 104);
    w.i32(92, 0);
    w.i32(0, 2147483647);
    w.i32(4, 2147483647);
    w.i32(8, 2147483647);
    w.i32(12, 8);
    write_bytes(path, bytes);
    EXPECT_EQ(IMOpen(2, path.c_str(), "append"), 301);
    EXPECT_EQ(IMClose(2), 104);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("IMOpen 1: error reading extended header (1024,2000000000,old,\"" + path + "\").\n"),
              std::string::npos)
        << err;
}

TEST_F(Streams, HugeCountsFromTheFileGiveNoSections)
{
    const std::string path = dir.file("huge.img");
    std::vector<uint8_t> bytes(1024, 0);
    ByteWriter w(bytes, false);
    w.i32(8, 6);
    w.i16(96, -16224);
    w.i16(160, 100);
    w.u16(196, 65535);
    w.i32(852, 2147483647); // NT raised to this
    w.i32(880, 2147483647); // NP
    write_bytes(path, bytes);
    ASSERT_EQ(IMOpen(1, path.c_str(), "ro"), 0);
    int nz, nw, nt, np;
    IMRtZWTP(1, &nz, &nw, &nt, &np);
    EXPECT_EQ(std::vector<int>({nz, nw, nt, np}), std::vector<int>({0, 65535, 2147483647, 2147483647}));
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMAlWav(1, 3, std::vector<float>(12, 500.0f).data()), 0); // 0 x 3 sections
    EXPECT_EQ(IMAlZWTP(1, 2, 2, 2147483647, 2147483647), 510);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("IMAlZWTP 1: invalid number of sections"), std::string::npos);
}

// Permission cases run as an unprivileged user through a small probe program.
int probe_as_nobody(const std::string &name, const char *attribute)
{
    const pid_t child = fork();
    if (child == 0) {
        execl("/usr/bin/setpriv", "setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", IM_OPEN_PROBE,
              name.c_str(), attribute, static_cast<char *>(nullptr));
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(Streams, AccessIsCheckedBeforeOpening)
{
    chmod(dir.path().c_str(), 0755);
    const std::string path = three_sections();
    chmod(path.c_str(), 0600);
    // The probe prints the status modulo 256 as its exit code; statuses here fit.
    EXPECT_EQ(probe_as_nobody(path, "ro"), 205);
    EXPECT_EQ(probe_as_nobody(path, "old"), 204);
    EXPECT_EQ(probe_as_nobody(path, "append"), 204);
    EXPECT_EQ(probe_as_nobody(dir.file("new.img"), "new"), 204);
    chmod(path.c_str(), 0644);
    EXPECT_EQ(probe_as_nobody(path, "ro"), 0);
    EXPECT_EQ(probe_as_nobody(path, "old"), 204);
}

} // namespace
