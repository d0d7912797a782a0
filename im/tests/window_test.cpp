// Window streams over a stand-in image window runtime installed through the internal interface.
#include <map>

#include "im_test_support.h"
#include "im_window.h"

using namespace imtest;

namespace {

struct FakeWindow {
    std::string header = std::string(1024, '\0'), ext;
    std::map<int, std::vector<float>> pixels; // by Z + NZ x W, NX x NY floats each
    lx::im::SectionRect last;
    int position = 0;
    bool open = false;
};

class FakeWindows final : public lx::im::WindowRuntime {
public:
    std::map<int, FakeWindow> windows;
    bool refuse_pixels = false;
    bool exists(int window) override { return windows.count(window) > 0; }
    bool open(int window, const char *attribute) override
    {
        if (!exists(window) && std::string(attribute).rfind("new", 0) != 0)
            return false;
        return windows[window].open = true;
    }
    void close(int window) override { windows[window].open = false; }
    unsigned char *header(int window) override
    {
        return exists(window) ? reinterpret_cast<unsigned char *>(windows[window].header.data()) : nullptr;
    }
    unsigned char *allocate_ext_header(int window, size_t bytes) override
    {
        windows[window].ext.assign(bytes, '\0');
        return reinterpret_cast<unsigned char *>(windows[window].ext.data());
    }
    int position(int window) override { return windows[window].position; }
    void set_position(int window, int section) override { windows[window].position = section; }
    bool read_rect(int window, const lx::im::SectionRect &r, bool, void *buffer, size_t row_pixels) override
    {
        return move_rect(window, r, static_cast<float *>(buffer), row_pixels, false);
    }
    bool write_rect(int window, const lx::im::SectionRect &r, bool, const void *buffer, size_t row_pixels) override
    {
        return move_rect(window, r, static_cast<float *>(const_cast<void *>(buffer)), row_pixels, true);
    }
    // Pixels kept as floats, NZ from the header's section count.
    bool move_rect(int window, const lx::im::SectionRect &r, float *buffer, size_t row_pixels, bool to_window)
    {
        FakeWindow &win = windows[window];
        const int nx = native_at<int32_t>(win.header, 0);
        auto &section =
            win.pixels[r.z + native_at<int32_t>(win.header, 8) / native_at<uint16_t>(win.header, 196) * r.w];
        section.resize(static_cast<size_t>(nx) * native_at<int32_t>(win.header, 4));
        for (int y = r.y0; y <= r.y1; ++y)
            for (int x = r.x0; x <= r.x1; ++x) {
                float &pixel = section[y * nx + x], &held = buffer[(y - r.y0) * row_pixels + (x - r.x0)];
                (to_window ? pixel : held) = to_window ? held : pixel;
            }
        win.last = r;
        return !refuse_pixels;
    }
};

class WindowStreams : public ::testing::Test {
protected:
    void SetUp() override { lx::im::set_window_runtime(&runtime); }
    void TearDown() override
    {
        IMClose(1);
        lx::im::set_window_runtime(nullptr);
    }
    // A window of 4 x 3 pixels, NZ 2, NW 2, ZWTP, in the ordinary layout with six titles.
    void make_window(int number)
    {
        auto &h = runtime.windows[number].header;
        h = minimal_header(false, 4, 3, 4, 0, 2);
        ByteWriter w{h};
        w.i16(160, 1);
        w.i16(222, 6);
        w.text(224, "window title");
        w.i32(92, 1024);
        w.i16(128, 1);
        w.i16(130, 1);
    }
    FakeWindows runtime;
};

TEST_F(WindowStreams, OpenTakesTheWindowsHeaderWithWindowLimits)
{
    stderr_of([] { EXPECT_EQ(IMOpen(1, "5", "old"), 810); });
    make_window(5);
    ASSERT_EQ(IMOpen(1, "5", "old"), 0);
    int n[7];
    IMRtWID(1, &n[0]);
    IMRtSiz(1, &n[1], &n[2], &n[3]);
    IMRtNumLab(1, &n[4]);
    IMRtMaxNumLab(1, &n[5]);
    IMRtExHdrSize(1, &n[6]);
    EXPECT_EQ(vec(n, 7), (std::vector<int>{5, 4, 3, 4, 5, 5, 1024}));
    EXPECT_EQ(runtime.windows[5].ext.size(), 1024u); // the extended header lives with the window
    // A return accessor reads the window's current header.
    ByteWriter{runtime.windows[5].header}.i32(0, 9);
    IMRtSiz(1, &n[1], &n[2], &n[3]);
    EXPECT_EQ(n[1], 9);
    // Fields are refused.
    EXPECT_EQ(stderr_of([&] {
                  EXPECT_EQ(IMAlFieldInt(1, "Frames", 3), 735);
                  EXPECT_EQ(IMRtNumFields(1, &n[0]), 735);
              }),
              "IMAlField 1: field Frames not set. Fields not supported in image windows.\n"
              "IMRtNumFields 1: Fields not supported in image windows.\n");
    // Append opens the last section, as old.
    make_window(7);
    ASSERT_EQ(IMOpen(1, "7", "append"), 0);
    IMRtOpenMode(1, &n[0], &n[1]);
    IMRtPosn(1, &n[2], &n[3], &n[4], &n[5], &n[6]);
    EXPECT_EQ(vec(n, 7), (std::vector<int>{IM_MODE_OLD, IM_IO_BUFFERED, 1, 1, 0, 0, 3}));
    EXPECT_EQ(runtime.windows[7].position, 3);
}

TEST_F(WindowStreams, SectionsMoveThroughTheRuntimeAndTheSectionNumberWraps)
{
    make_window(5); // 4 x 3 pixels, NZ 2, NW 2
    ASSERT_EQ(IMOpen(1, "5", "old"), 0);
    std::vector<float> section(12), line(4), back(12);
    for (int s = 0; s < 4; ++s) {
        for (int i = 0; i < 12; ++i)
            section[i] = static_cast<float>(100 * s + i);
        ASSERT_EQ(IMWrSec(1, section.data()), 0);
    }
    int z, w, t, p, number;
    IMRtPosn(1, &z, &w, &t, &p, &number);
    EXPECT_EQ(number, 0); // past the last section: back to the first
    EXPECT_EQ(stderr_of([] { ASSERT_EQ(IMPosnZWTP(1, 1, 1, 0, 0), 0); }), "");
    EXPECT_EQ(runtime.windows[5].position, 3);
    ASSERT_EQ(IMRdSec(1, back.data()), 0);
    EXPECT_EQ(back[11], 311.0f);
    ASSERT_EQ(IMRdLin(1, line.data()), 0); // section 0 after the wrap, line 0
    EXPECT_EQ(line, std::vector<float>({0, 1, 2, 3}));
    float rows[3][4] = {};
    void *lines[3] = {rows[0], rows[1], rows[2]};
    ASSERT_EQ(IMPosnZWTP(1, 0, 1, 0, 0), 0);
    ASSERT_EQ(IMRdSecl(1, lines), 0);
    EXPECT_EQ(vec(rows[2], 4), (std::vector<float>{208, 209, 210, 211}));
    std::vector<float> rect(6, -1);
    ASSERT_EQ(IMPosnZWTP(1, 0, 1, 0, 0), 0);
    ASSERT_EQ(IMRdPas(1, rect.data(), 3, 2, 1, 2, 1, 2), 0);
    EXPECT_EQ(rect, std::vector<float>({205, 206, -1, 209, 210, -1}));
    const auto &last = runtime.windows[5].last;
    EXPECT_EQ(std::vector<int>({last.z, last.w, last.x0, last.x1, last.y0, last.y1}),
              std::vector<int>({0, 1, 1, 2, 1, 2}));
    ASSERT_EQ(IMPosnZWTP(1, 0, 1, 0, 0), 0);
    ASSERT_EQ(IMWrPas(1, rect.data(), 3, 2, 0, 1, 0, 1), 0); // to the top left corner
    ASSERT_EQ(IMPosnZWTP(1, 0, 1, 0, 0), 0);
    ASSERT_EQ(IMRdSec(1, back.data()), 0);
    EXPECT_EQ(vec(back.data(), 8), (std::vector<float>{205, 206, 202, 203, 209, 210, 206, 207}));

    runtime.refuse_pixels = true;
    EXPECT_EQ(stderr_of([&] {
                  EXPECT_EQ(IMRdSec(1, back.data()), 808);
                  EXPECT_EQ(IMWrSec(1, section.data()), 807);
              }),
              "IMRdSec 1: unable to read from window.\nIMWrSec 1: unable to write to window.\n");
}

} // namespace
