// Runs shm_helper as a real process for the arena tests and cleans the user's arena away.
#pragma once

#include <gtest/gtest.h>
#include <semaphore.h>
#include <sys/shm.h>
#include <unistd.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "lumarix/shm.h"
#include "lx_testing.h"

namespace arena_test {

using lxtest::exists;
using lxtest::words;

constexpr const char *kCreate = "create:16777216";
constexpr const char *kArenaFile = "/tmp/arena-test.map";

// A shm_helper process running the given commands, mapping the arena where every other helper
// does unless `env` says otherwise. At destruction a waiting helper gets end of input.
struct Helper : lxtest::Process {
    explicit Helper(std::vector<std::string> commands, lxtest::Env env = {},
                    const std::vector<std::string> &wrapper = {})
        : Process((commands.insert(commands.begin(), SHM_HELPER_PATH), commands),
                  (env.insert(env.begin(), "LX_SHMSTADDR=300000000000"), env), wrapper)
    {
    }
};

// Runs a helper to its end: its standard output, then its standard error.
inline std::string outputOf(const std::vector<std::string> &commands, const lxtest::Env &env = {})
{
    const lxtest::Result r = Helper(commands, env).finish();
    return r.out + r.err;
}

// A suite process that made the arena (with `create`) and put alpha = value; it exits when sent a line.
inline std::unique_ptr<Helper> creatorOf(const std::string &value, const std::string &create = kCreate,
                                         const lxtest::Env &env = {})
{
    auto creator =
        std::make_unique<Helper>(std::vector<std::string>{create, "put:alpha:" + value, "wait", "exit"}, env);
    creator->lineStarting("put ");
    return creator;
}

// What another process finds: its attach result and alpha's value, e.g. "0 one" or "3 (nil)".
inline std::string alphaSeenBy(const lxtest::Env &env = {}, const std::vector<std::string> &wrapper = {})
{
    const std::string out = Helper({"attach", "get:alpha"}, env, wrapper).finish().out;
    const std::string got = lxtest::field(out, "get");
    return lxtest::field(out, "attach") + " " + got.substr(got.rfind(' ') + 1);
}

inline std::string idFile() { return "/tmp/" + lxtest::userName() + ".api_shmid"; }
inline int controlSegment() { return shmget(SG_key(nullptr, 'F'), 0, 0); } // or -1
inline int dataSegment() { return shmget(SG_key(nullptr, 'N'), 0, 0); }    // or -1
inline std::string semaphoreName() { return "/IWConfigSem_" + lxtest::userName(); }

// Every arena test starts and ends with no arena of this user (also when it fails half-way).
class ArenaTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("USER", lxtest::userName().c_str(), 1); // all processes must agree on the names
        setenv("LOGNAME", lxtest::userName().c_str(), 1);
        TearDown();
    }
    void TearDown() override
    {
        for (const int id : {controlSegment(), dataSegment()})
            shmctl(id, IPC_RMID, nullptr);
        unlink(idFile().c_str());
        unlink(kArenaFile);
        sem_unlink(semaphoreName().c_str());
    }
};

} // namespace arena_test
