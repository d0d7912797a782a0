// Status texts, sequence names, version constants and the compatibility calls.
#include <lumarix/im.h>

#include <gtest/gtest.h>

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

TEST(LibraryConstants, VersionAndLimits)
{
    EXPECT_EQ(IMRtLibraryVersion(), 2.000011);
    EXPECT_EQ(IMRtLibraryRevision(), 11);
    EXPECT_EQ(IMRtMaxStreams(), 10000);
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
    testing::internal::CaptureStdout();
    EXPECT_EQ(IMAlVerboseMode(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "IMAlVerboseMode: verbose mode is always on.");
    EXPECT_EQ(IMRtVerbose(), 0);
    IMAlVerbose(7);
    EXPECT_EQ(IMRtVerbose(), 7);
    IMAlVerbose(0);
}

} // namespace
