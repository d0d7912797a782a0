// The in-process setting list grows in blocks of 40 without moving the texts GetSetting handed out.
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
