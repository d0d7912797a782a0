#include "arena_process.h"

#include "lumarix/shm.h"

#include <semaphore.h>
#include <sys/shm.h>
#include <unistd.h>

namespace arena_test {
namespace {

std::vector<std::string> helperCommand(std::vector<std::string> commands)
{
    commands.insert(commands.begin(), ARENA_HELPER_PATH);
    return commands;
}

lxtest::Env helperEnv(lxtest::Env env)
{
    env.insert(env.begin(), "LX_SHMSTADDR=300000000000");
    return env;
}

int segmentUnder(char project) { return shmget(SG_key(nullptr, project), 0, 0); }

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

void ArenaTest::SetUp()
{
    setenv("USER", lxtest::userName().c_str(), 1); // all processes must agree on the names
    setenv("LOGNAME", lxtest::userName().c_str(), 1);
    TearDown();
}

void ArenaTest::TearDown()
{
    for (const int id : {controlSegment(), dataSegment()})
        shmctl(id, IPC_RMID, nullptr);
    unlink(idFile().c_str());
    sem_unlink(semaphoreName().c_str());
}

} // namespace arena_test
