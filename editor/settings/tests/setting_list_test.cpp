// The in-process setting lists: growth in blocks of 40, stable texts, disabled entries.
#include "setting_list.h"

#include <gtest/gtest.h>
#include <string>

using lumarix::settings::SettingList;

TEST(SettingList, GrowsInBlocksOf40AndKeepsHandedOutTextsInPlace)
{
    SettingList list;
    const char *first = list.append("A", "alpha");
    EXPECT_EQ(list.capacity(), 40u);
    for (int i = 0; i < 40; ++i)
        list.append("N" + std::to_string(i), "v");
    EXPECT_EQ(list.capacity(), 80u);
    EXPECT_STREQ(first, "alpha");
    EXPECT_EQ(list.find("A")->value.get(), first);
}

TEST(SettingList, FindMatchesExactlyAndTheOldestEntryWins)
{
    SettingList list;
    list.append("Name", "1");
    list.append("Name", "2");
    EXPECT_EQ(list.find("name"), nullptr);
    EXPECT_STREQ(list.find("Name")->value.get(), "1");
}

TEST(SettingList, DisabledEntryIsSkippedAndNotReused)
{
    SettingList list;
    list.append("A", "1");
    list.append("A", "2");
    list.disable("A");
    EXPECT_STREQ(list.entries()[0].name.get(), "");
    EXPECT_EQ(list.entries()[0].value, nullptr);
    EXPECT_STREQ(list.find("A")->value.get(), "2");
    list.append("B", "3");
    EXPECT_EQ(list.entries().size(), 3u);
}

TEST(SettingList, AssignReplacesOrAppends)
{
    SettingList list;
    list.assign("A", "short");
    list.assign("A", "a much longer value");
    list.assign("B", "b");
    ASSERT_EQ(list.entries().size(), 2u);
    EXPECT_STREQ(list.find("A")->value.get(), "a much longer value");
}
