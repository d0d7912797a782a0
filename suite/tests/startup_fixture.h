// A scratch HOME and settings base for the start-up tests, and the start-up helper.
#pragma once

#include "lx_testing.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

class StartupTest : public ::testing::Test {
protected:
    lxtest::TempDir home;

    void SetUp() override
    {
        mkdir((home / "config").c_str(), 0755);
        lxtest::writeFile(home / "config/system.lxrc", ""); // quiet lookups
    }

    std::string userFile() const { return home.path() + "/.lumarix_" + lxtest::hostName() + "/user.lxrc"; }

    std::string capFile(const std::string &text) const
    {
        lxtest::writeFile(home / "cap", text);
        return home / "cap";
    }

    lxtest::Result helper(const std::vector<std::string> &args, lxtest::Env extra = {}) const
    {
        std::vector<std::string> argv{SUITE_INIT_HELPER_PATH};
        argv.insert(argv.end(), args.begin(), args.end());
        extra.insert(extra.begin(), {"HOME=" + home.path(), "LX_BASE=" + home.path(), "LOGNAME=" + lxtest::userName()});
        return lxtest::run(argv, extra);
    }
};
