// A user's session of the suite in scratch folders: HOME, the settings base with its system
// settings file, the user settings file, and the suite's programs run there.
#pragma once

#include "lx_testing.h"

#include <memory>

namespace lxtest {

class SuiteSession {
public:
    TempDir home, base;

    struct Programs {
        std::string lxsuite, lxsetting; // their paths
    };
    explicit SuiteSession(Programs programs = {}); // with an empty system settings file: lookups stay quiet
    std::string userDir() const { return home / (".lumarix_" + hostName()); }
    std::string userFile() const { return userDir() + "/user.lxrc"; }
    void writeSettings(const std::string &user, const std::string &system) const;

    // HOME, LX_BASE and LOGNAME, then `extra`. No LX_SHMSTADDR: a suite started here uses its
    // default address and the others attach there.
    Env env(Env extra = {}) const;
    // Standard output, then standard error, of the program and space-separated arguments in `line`.
    std::string output(const std::string &line, const Env &extra = {},
                       const std::vector<std::string> &wrapper = {}) const;
    // lxsetting's exit status, a space, then its standard output and standard error.
    std::string lxsetting(const std::string &args, const Env &extra = {}) const;
    // lxsuite with a 64 MB arena, started but not waited for; stop it with a signal.
    std::unique_ptr<Process> startSuite(std::vector<std::string> args = {}, Env extra = {}) const;

private:
    Programs programs_;
};

} // namespace lxtest
