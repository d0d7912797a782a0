// A scratch HOME and suite base directory with their settings files, and the programs run there.
#pragma once

#include "lx_testing.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

class SettingsFiles : public ::testing::Test {
protected:
    lxtest::TempDir home, base;

    void SetUp() override { mkdir((base / "config").c_str(), 0755); }

    std::string userDir() const { return home / (".lumarix_" + lxtest::hostName()); }
    std::string userFile() const { return userDir() + "/user.lxrc"; }

    void writeFiles(const std::string &user, const std::string &system) const
    {
        mkdir(userDir().c_str(), 0755);
        lxtest::writeFile(userFile(), user);
        lxtest::writeFile(base / "config/system.lxrc", system);
    }

    // No LX_SHMSTADDR: a suite started here uses its default address and the others attach there.
    lxtest::Env env(lxtest::Env extra = {}) const
    {
        extra.insert(extra.begin(), {"HOME=" + home.path(), "LX_BASE=" + base.path(), "LOGNAME=" + lxtest::userName()});
        return extra;
    }

    // What the settings helper prints running `commands`, space-separated ('' stands for an empty
    // value): its standard output, then its standard error.
    std::string helper(const std::string &commands, const lxtest::Env &extra = {},
                       const std::vector<std::string> &wrapper = {}) const
    {
        const auto run = lxtest::run(lxtest::words(SETTINGS_HELPER_PATH " " + commands), env(extra), wrapper);
        return run.out + run.err;
    }
};
