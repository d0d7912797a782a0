// Status texts, sequence names, version constants and the compatibility calls.
#include <lumarix/im.h>

#include <gtest/gtest.h>

#include "im_test_support.h"

#include <string>

namespace {

TEST(StatusText, TableEntriesAndGaps)
{
    EXPECT_STREQ(IMRtStatusText(0), "No error");
    EXPECT_STREQ(IMRtStatusText(201), "Invalid stream attribute (use: new, old, append, ro, etc)");
    EXPECT_STREQ(IMRtStatusText(601), IMRtStatusText(602));
    EXPECT_STREQ(IMRtStatusText(601), "Invalid section number");
    EXPECT_STREQ(IMRtStatusText(812), "Invalid dislay scale values");
    EXPECT_STREQ(IMRtStatusText(908), "Incompatible computer architecture");
    for (int code : {-1, 5, 510, 600, 909, 100000})
        EXPECT_STREQ(IMRtStatusText(code), "Unspecified error") << code;
    // Every code from 0 to 908 has a text, and the table's codes are exactly the described ones.
    int known = 0;
    for (int code = 0; code <= 908; ++code)
        if (std::string(IMRtStatusText(code)) != "Unspecified error")
            ++known;
    EXPECT_EQ(known, 95);
}

TEST(SequenceName, FifteenCodes)
{
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
    imtest::ScratchDir dir;
    std::string got;
    IMMessageHandler collect = [](const char *text, void *to) { *static_cast<std::string *>(to) += text; };
    EXPECT_EQ(IMSetMessageHandler(collect, &got), nullptr);
    EXPECT_EQ(IMOpen(1, dir.file("m.img").c_str(), "new"), IM_OK);
    EXPECT_EQ(IMAlZWTP(1, 1, 0, 1, 1), IM_ERR_WAVE_COUNT);
    EXPECT_EQ(IMRtMode(2, nullptr), IM_ERR_STREAM_NUMBERING);
    EXPECT_EQ(IMSetMessageHandler(nullptr, nullptr), collect);
    IMClose(1);
    EXPECT_EQ(got,
              "IMAlZWTP 1: 0 is an invalid number of wavelengths.\nIMRtMode 2: internal stream numbering error.\n");
}

TEST(CompatibilityCalls, PrintAndReturn904)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMRtExt(1), 904);
    EXPECT_EQ(IMAlTltRot(1), 904);
    EXPECT_EQ(IMInterp(1), 904);
    EXPECT_EQ(IMClLim(1), 904);
    EXPECT_EQ(IMWrPal(3), 904);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMRtExt: function not supported.\nIMAlTltRot: function not supported.\n"
              "IMInterp: unsupported function.\nIMClLim: unsupported function.\nIMWrPal 3: unsupported function.\n");
}

} // namespace
