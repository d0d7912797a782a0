// A scratch HOME and settings base folder, and the settings helper run there.
#pragma once

#include "suite_session.h"

#include <gtest/gtest.h>

class SettingsFiles : public ::testing::Test, protected lxtest::SuiteSession {
protected:
    explicit SettingsFiles(Programs programs = {}) : SuiteSession(std::move(programs)) {}
    // What the helper prints running `commands`, space-separated ('' stands for an empty value).
    std::string helper(const std::string &commands, const lxtest::Env &extra = {},
                       const std::vector<std::string> &wrapper = {}) const
    {
        return output(SETTINGS_HELPER_PATH " " + commands, extra, wrapper);
    }
};
