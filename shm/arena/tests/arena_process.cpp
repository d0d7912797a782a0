#include "arena_process.h"

#include "lumarix/shm.h"

#include <cstdlib>
#include <semaphore.h>
#include <sys/shm.h>
#include <unistd.h>

namespace arena_test {

namespace {

std::vector<std::string> helperCommand(const std::vector<std::string> &commands)
{
    std::vector<std::string> args{ARENA_HELPER_PATH};
    args.insert(args.end(), commands.begin(), commands.end());
    return args;
}

lxtest::Env helperEnv(lxtest::Env env)
{
    env.insert(env.begin(), "LX_SHMSTADDR=300000000000");
    return env;
}

int segmentUnder(char project)
{
    const char *home = std::getenv("HOME");
    return shmget(SG_key(home != nullptr ? home : "", project), 0, 0);
}

} // namespace

Helper::Helper(const std::vector<std::string> &commands, const lxtest::Env &env,
               const std::vector<std::string> &wrapper)
    : Process(helperCommand(commands), helperEnv(env), wrapper)
{
}

int Helper::finish()
{
    result_ = Process::finish();
    return result_.status;
}

std::unique_ptr<Helper> creatorOf(const std::string &value, const std::string &create, const lxtest::Env &env)
{
    auto creator =
        std::make_unique<Helper>(std::vector<std::string>{create, "put:alpha:" + value, "wait", "exit"}, env);
    creator->lineStarting("put ");
    return creator;
}

std::string alphaSeenBy(const lxtest::Env &env, const std::vector<std::string> &wrapper)
{
    Helper reader({"attach", "get:alpha"}, env, wrapper);
    reader.finish();
    const std::string got = lxtest::field(reader.output(), "get");
    return lxtest::field(reader.output(), "attach") + " " + got.substr(got.rfind(' ') + 1);
}

std::string idFile() { return "/tmp/" + lxtest::userName() + ".api_shmid"; }
int controlSegment() { return segmentUnder('F'); }
int dataSegment() { return segmentUnder('N'); }
std::string semaphoreName() { return "/IWConfigSem_" + lxtest::userName(); }

void removeArena()
{
    for (const int id : {controlSegment(), dataSegment()})
        if (id >= 0)
            shmctl(id, IPC_RMID, nullptr);
    unlink(idFile().c_str());
    sem_unlink(semaphoreName().c_str());
}

void ArenaTest::SetUp()
{
    // All processes must agree on the names.
    unsetenv("LOGNAME");
    setenv("USER", lxtest::userName().c_str(), 1);
    setenv("LOGNAME", lxtest::userName().c_str(), 1);
    removeArena();
}

} // namespace arena_test
