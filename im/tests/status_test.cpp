// Status texts, sequence names, the message handler and the compatibility calls.
#include "im_test_support.h"

using namespace imtest;

namespace {

TEST(StatusText, TableEntriesAndGaps)
{
    const std::vector<std::pair<int, const char *>> rows = {
        {0, "No error"},
        {201, "Invalid stream attribute (use: new, old, append, ro, etc)"},
        {601, "Invalid section number"},
        {602, "Invalid section number"},
        {812, "Invalid dislay scale values"},
        {908, "Incompatible computer architecture"}};
    for (auto [code, text] : rows)
        EXPECT_STREQ(IMRtStatusText(code), text) << code;
    for (int code : {-1, 5, 510, 600, 909, 100000})
        EXPECT_STREQ(IMRtStatusText(code), "Unspecified error") << code;
    int known = 0;
    for (int code = 0; code <= 908; ++code)
        known += std::string(IMRtStatusText(code)) != "Unspecified error";
    EXPECT_EQ(known, 95);
    const char *names[] = {"ZTWP", "WZTP", "ZWTP", "ZPWT", "ZWPT", "WZPT", "WPTZ", "PWTZ",
                           "PTWZ", "PZWT", "PWZT", "WPZT", "WTPZ", "TWPZ", "TPWZ"};
    for (int code = 0; code < 15; ++code)
        EXPECT_STREQ(IMRtSequenceName(code), names[code]);
    EXPECT_STREQ(IMRtSequenceName(15), "Undefined");
    EXPECT_STREQ(IMRtSequenceName(-1), "Undefined");
}

// Every message reaches the caller's handler and names the call that failed.
TEST(Messages, GoToTheHandlerNamingTheirCall)
{
    TempDir dir;
    std::string got;
    IMMessageHandler collect = [](const char *text, void *to) { *static_cast<std::string *>(to) += text; };
    EXPECT_EQ(IMSetMessageHandler(collect, &got), nullptr);
    EXPECT_EQ(IMOpen(1, (dir / "m.img").c_str(), "new"), IM_OK);
    EXPECT_EQ(IMAlZWTP(1, 1, 0, 1, 1), IM_ERR_WAVE_COUNT);
    EXPECT_EQ(IMAlZWTP(1, 1, 1, 1, 1), IM_OK);
    EXPECT_EQ(IMRtMode(2, nullptr), IM_ERR_STREAM_NUMBERING);
    writeFile(dir / "mode5.img", minimal_header(false, 1, 1, 1, 5));
    int bytes = 0;
    EXPECT_EQ(IMOpen(3, (dir / "mode5.img").c_str(), "ro"), IM_OK);
    EXPECT_EQ(IMRtBytesPerPixel(3, &bytes), IM_ERR_PIXEL_MODE);
    EXPECT_EQ(IMSetMessageHandler(nullptr, nullptr), collect);
    IMClose(1);
    IMClose(3);
    EXPECT_EQ(got, "IMAlZWTP 1: 0 is an invalid number of wavelengths.\nIMRtMode 2: internal stream numbering error.\n"
                   "IMSubs: internal error involving the number of bytes per pixel.\n"
                   "IMRtBytesPerPix 3: 5 is an invalid pixel data type.\n");
    EXPECT_EQ(stderr_of([] {
                  for (int status : {IMRtExt(1), IMAlTltRot(1), IMInterp(1), IMClLim(1), IMWrPal(3)})
                      EXPECT_EQ(status, 904);
              }),
              "IMRtExt: function not supported.\nIMAlTltRot: function not supported.\n"
              "IMInterp: unsupported function.\nIMClLim: unsupported function.\nIMWrPal 3: unsupported function.\n");
}

} // namespace
