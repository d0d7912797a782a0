// A scratch HOME and suite base directory with their settings files, and the helper program.
#pragma once

#include "lx_testing.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

class SettingsFiles : public ::testing::Test {
protected:
    lxtest::TempDir home;
    lxtest::TempDir base;

    void SetUp() override { mkdir((base.path() + "/config").c_str(), 0755); }

    std::string userDir() const { return home.path() + "/.lumarix_" + lxtest::hostName(); }
    std::string userFile() const { return userDir() + "/user.lxrc"; }
    std::string systemFile() const { return base.path() + "/config/system.lxrc"; }

    void writeUserFile(const std::string &text) const
    {
        mkdir(userDir().c_str(), 0755);
        lxtest::writeFile(userFile(), text);
    }
    void writeSystemFile(const std::string &text) const { lxtest::writeFile(systemFile(), text); }

    lxtest::Env env(lxtest::Env extra = {}) const
    {
        extra.insert(extra.begin(), {"HOME=" + home.path(), "LX_BASE=" + base.path()});
        return extra;
    }

    // Runs the settings helper with `commands` in this HOME and base directory.
    lxtest::Result helper(const std::vector<std::string> &commands, const lxtest::Env &extra = {}) const
    {
        std::vector<std::string> argv{SETTINGS_HELPER_PATH};
        argv.insert(argv.end(), commands.begin(), commands.end());
        return lxtest::run(argv, env(extra));
    }
};
