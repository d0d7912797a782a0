// lxsuite: runs the suite's start-up in the foreground until SIGINT or SIGTERM.
#include "lumarix/shm.h"
#include "lumarix/suite.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kDefaults[4] = {0, 0, 1280, 1024};

void printHelp()
{
    std::printf(
        "Usage: lxsuite [FIRST SECOND THIRD FOURTH]\n"
        "Creates the user's shared arena, prints \"ready\" and keeps it until SIGINT or SIGTERM.\n"
        "The four numbers are the runtime's start-up values passed to IWInitSHM:\n"
        "  FIRST, SECOND  at least 0         (default %d %d)\n"
        "  THIRD          clamped to 1..1280 (default %d)\n"
        "  FOURTH         clamped to 1..1024 (default %d)\n"
        "The arena is sized from the settings LX_SIZE (MB, default 2000), LX_SHMSTADDR,\n"
        "OB_USE_SHM_FILE, LX_TMP, LX_WORKING_SET (default 1800), LX_WORKING_UNIT (default 100)\n"
        "and LX_PGTHRESH (default 0), looked up in the environment and the settings files.\n"
        "Exit status: 0 after a signal, 1 when the arena cannot be created or a suite already runs,\n"
        "2 on a usage error.\n",
        kDefaults[0], kDefaults[1], kDefaults[2], kDefaults[3]);
}

// True when a live suite already owns the user's arena. Probed in a child, so that this process
// holds no arena state before it creates its own; a crashed suite's leftovers are cleaned there.
bool suiteAlreadyRunning()
{
    const pid_t child = fork();
    if (child < 0)
        return false;
    if (child == 0) {
        SMArena probe{};
        _exit(SMAttachToArena(&probe) == 0 ? 0 : 1);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool parseValues(int argc, char **argv, int (&values)[4])
{
    std::memcpy(values, kDefaults, sizeof values);
    if (argc == 1)
        return true;
    if (argc != 5)
        return false;
    for (int i = 0; i < 4; ++i) {
        char *end = nullptr;
        const long value = std::strtol(argv[i + 1], &end, 10);
        if (*argv[i + 1] == '\0' || *end != '\0' || value < -1000000 || value > 1000000)
            return false;
        values[i] = static_cast<int>(value);
    }
    return true;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        printHelp();
        return 0;
    }
    int values[4];
    if (!parseValues(argc, argv, values)) {
        std::fputs("Usage: lxsuite [FIRST SECOND THIRD FOURTH]   (lxsuite --help for more)\n", stderr);
        return 2;
    }
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    sigprocmask(SIG_BLOCK, &stopSignals, nullptr);

    if (suiteAlreadyRunning()) {
        std::fputs("lxsuite: a suite is already running for this user\n", stderr);
        return 1;
    }
    // A semaphore left held by a crashed run would block every named-block operation.
    IWOpenConfigSem();
    IWRemoveConfigSem();
    if (IWInitSHM(values[0], values[1], values[2], values[3]) == -1)
        return 1;
    if (!std::getenv("LX_SHMSTADDR"))
        std::fputs("lxsuite: warning: LX_SHMSTADDR is not set, so other processes may map the arena at\n"
                   "another address and cannot use it; set it (e.g. 0x600000000000) for every process\n",
                   stderr);
    std::puts("ready");
    std::fflush(stdout);

    int signal = 0;
    sigwait(&stopSignals, &signal);
    IWStop();
    return 0;
}
