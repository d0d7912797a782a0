// lxsuite: runs the suite's start-up in the foreground until SIGINT or SIGTERM.
#include "lumarix/shm.h"
#include "lumarix/suite.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

constexpr int kDefaults[4] = {0, 0, 1280, 1024};

void printHelp()
{
    std::printf("Usage: lxsuite [FIRST SECOND THIRD FOURTH]\n"
                "Creates the user's shared arena, prints \"ready\" and keeps it until SIGINT or SIGTERM.\n"
                "The four numbers are the runtime's start-up values passed to IWInitSHM:\n"
                "  FIRST, SECOND  at least 0         (default %d %d)\n"
                "  THIRD          clamped to 1..1280 (default %d)\n"
                "  FOURTH         clamped to 1..1024 (default %d)\n"
                "The arena is sized from the settings LX_SIZE (MB, default 2000), LX_SHMSTADDR (default\n"
                "%s; other processes attach where the suite put it), OB_USE_SHM_FILE, LX_TMP,\n"
                "LX_WORKING_SET (default 1800), LX_WORKING_UNIT (default 100) and LX_PGTHRESH (default 0),\n"
                "looked up in the environment and the settings files.\n"
                "One suite per user id: a second one names the running suite's process and stops.\n"
                "Exit status: 0 after a signal, 1 when the arena cannot be created or a suite already runs,\n"
                "2 on a usage error.\n",
                kDefaults[0], kDefaults[1], kDefaults[2], kDefaults[3], IW_DEFAULT_SHMSTADDR);
}

// One suite per user id: names the live suite that holds the arena. False when there is none.
bool refuseBesideLiveSuite()
{
    const int owner = SMArenaOwner();
    if (owner == 0 || owner == static_cast<int>(getpid()))
        return false;
    if (owner > 0)
        std::fprintf(stderr, "lxsuite: a suite is already running for this user (process %d); stop it first\n", owner);
    else
        std::fputs("lxsuite: a suite is already running for this user (in another PID namespace); stop it first\n",
                   stderr);
    return true;
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

} // namespace

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

    if (refuseBesideLiveSuite())
        return 1;
    if (IWInitSHM(values[0], values[1], values[2], values[3]) == -1) {
        refuseBesideLiveSuite(); // another suite that started at the same moment won
        return 1;
    }
    if (!IWOpenConfigSem()) { // its message names the semaphore and its file
        std::fputs("lxsuite: the named-block list cannot be guarded; remove the semaphore file named above\n"
                   "(as its owner or as root, e.g. with rm) and start lxsuite again\n",
                   stderr);
        IWStop();
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);

    int signal = 0;
    sigwait(&stopSignals, &signal);
    IWStop();
    return 0;
}
