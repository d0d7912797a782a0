// Runs the description parser over a text and keeps what it reported.
#pragma once

#include "description_parser.h"
#include "lumarix/editor.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

class DescriptionParse : public ::testing::Test {
protected:
    std::vector<std::string> messages;

    bool parse(const std::string &text)
    {
        std::snprintf(gcMainTitle, sizeof gcMainTitle, "%s", "Lumarix User Parameters");
        std::snprintf(gDescriptionFile, sizeof gDescriptionFile, "%s", "/etc/test.vars");
        messages.clear();
        FILE *file = text.empty() ? std::tmpfile() : fmemopen(const_cast<char *>(text.data()), text.size(), "r");
        const bool ok =
            lx::editor::ParseDescription(file, [this](std::string_view message) { messages.emplace_back(message); });
        std::fclose(file);
        return ok;
    }

    // Parses text expected to fail and returns its one message.
    std::string failure(const std::string &text)
    {
        EXPECT_FALSE(parse(text));
        EXPECT_EQ(messages.size(), 1u);
        return messages.empty() ? "" : messages.front();
    }

    const ConfigVar &var(int index) const { return gVarList[index]; }
};
