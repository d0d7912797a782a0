#include "arena_process.h"

#include "lumarix/shm.h"

#include <cstdlib>
#include <fstream>
#include <pwd.h>
#include <semaphore.h>
#include <sstream>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

namespace arena_test {

namespace {

lx::test::ChildOptions optionsFor(const std::vector<std::string> &extra_env, const std::vector<std::string> &wrapper)
{
    lx::test::ChildOptions options;
    options.wrapper = wrapper;
    for (const std::string &e : extra_env) {
        const size_t equals = e.find('=');
        if (equals == std::string::npos)
            options.unset.push_back(e);
        else
            options.env.emplace_back(e.substr(0, equals), e.substr(equals + 1));
    }
    return options;
}

std::vector<std::string> helperCommand(const std::vector<std::string> &commands)
{
    std::vector<std::string> args {ARENA_HELPER_PATH};
    args.insert(args.end(), commands.begin(), commands.end());
    return args;
}

} // namespace

Helper::Helper(const std::vector<std::string> &commands, const std::vector<std::string> &extra_env,
               const std::vector<std::string> &wrapper)
    : Child(helperCommand(commands), optionsFor(extra_env, wrapper))
{
}

int Helper::finish()
{
    lx::test::ChildResult result = Child::finish();
    if (result.exit_code != -1 || !result.out.empty() || !result.err.empty())
        result_ = std::move(result);
    return result_.exit_code;
}

std::string userName() { return getpwuid(getuid())->pw_name; }
std::string idFile() { return "/tmp/" + userName() + ".api_shmid"; }

static int segmentUnder(char project)
{
    const char *home = std::getenv("HOME");
    return shmget(SG_key(home != nullptr ? home : "", project), 0, 0);
}
int controlSegment() { return segmentUnder('F'); }
int dataSegment() { return segmentUnder('N'); }
std::string semaphoreName() { return "/IWConfigSem_" + userName(); }

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
    // All processes must map the arena at one address and agree on the names.
    setenv("LX_SHMSTADDR", "300000000000", 1);
    setenv("USER", userName().c_str(), 1);
    setenv("LOGNAME", userName().c_str(), 1);
    unsetenv("DEBUG_SHM");
    removeArena();
}

bool exists(const std::string &path)
{
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

std::string readFile(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace arena_test
