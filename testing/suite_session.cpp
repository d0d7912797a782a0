#include "suite_session.h"

#include <sys/stat.h>

namespace lxtest {

SuiteSession::SuiteSession(Programs programs) : programs_(std::move(programs))
{
    mkdir((base / "config").c_str(), 0755);
    writeFile(base / "config/system.lxrc", "");
}

void SuiteSession::writeSettings(const std::string &user, const std::string &system) const
{
    mkdir(userDir().c_str(), 0755);
    writeFile(userFile(), user);
    writeFile(base / "config/system.lxrc", system);
}

Env SuiteSession::env(Env extra) const
{
    extra.insert(extra.begin(), {"HOME=" + home.path(), "LX_BASE=" + base.path(), "LOGNAME=" + userName()});
    return extra;
}

std::string SuiteSession::output(const std::string &line, const Env &extra,
                                 const std::vector<std::string> &wrapper) const
{
    const Result result = run(words(line), env(extra), wrapper);
    return result.out + result.err;
}

std::string SuiteSession::lxsetting(const std::string &args, const Env &extra) const
{
    const Result result = run(words(programs_.lxsetting + " " + args), env(extra));
    return std::to_string(result.status) + " " + result.out + result.err;
}

std::unique_ptr<Process> SuiteSession::startSuite(std::vector<std::string> args, Env extra) const
{
    args.insert(args.begin(), programs_.lxsuite);
    extra.insert(extra.begin(), "LX_SIZE=64");
    return std::make_unique<Process>(args, env(extra));
}

} // namespace lxtest
