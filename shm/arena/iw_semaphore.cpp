// The Config Protection Semaphore: a named POSIX semaphore per login name that serialises the
// named-block list across processes.
#include "iw_internal.h"
#include "sm_internal.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <semaphore.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace lx::iw {
namespace {

constexpr int kWaitSeconds = 5;

sem_t *gSemaphore = nullptr;
std::string gSemaphoreName;

const std::string &semaphoreName()
{
    if (gSemaphoreName.empty()) {
        const char *login = std::getenv("LOGNAME");
        gSemaphoreName = std::string("/IWConfigSem_") + (login != nullptr ? login : lx::sm::realUserName());
    }
    return gSemaphoreName;
}

// The file behind a POSIX named semaphore.
std::string semaphoreFile() { return "/dev/shm/sem." + semaphoreName().substr(1); }

// Why an existing semaphore of our name must not be used (another user may have planted it so as
// to hold or watch the list), or null when it may.
const char *distrustSemaphore(struct stat &st)
{
    if (lstat(semaphoreFile().c_str(), &st) != 0)
        return nullptr; // none yet: ours to make
    if (!S_ISREG(st.st_mode))
        return "it is not a regular file";
    if (st.st_uid != geteuid())
        return "it belongs to another user";
    if ((st.st_mode & 077) != 0)
        return "other users may open it";
    return nullptr;
}

// Said once per process, however many list operations then fail.
bool refuseSemaphore()
{
    struct stat st {};
    const char *why = distrustSemaphore(st);
    if (why == nullptr)
        return false;
    static bool said = false;
    if (!said)
        std::fprintf(stderr, "Config Protection Semaphore %s (%s, user id %u, mode %03o) is not used: %s\n",
                     semaphoreName().c_str(), semaphoreFile().c_str(), static_cast<unsigned>(st.st_uid),
                     static_cast<unsigned>(st.st_mode & 0777), why);
    said = true;
    return true;
}

} // namespace

int &debugFlag()
{
    static int flag = -1;
    return flag;
}

bool decideDebug()
{
    int &flag = debugFlag();
    if (flag == -1)
        flag = std::getenv("DEBUG_SHM") != nullptr ? 1 : 0;
    return flag == 1;
}

bool takeSemaphore(const char *operation)
{
    int error = EINVAL; // the semaphore was never opened in this process
    if (gSemaphore != nullptr) {
        timespec deadline{};
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += kWaitSeconds;
        int result;
        while ((result = sem_timedwait(gSemaphore, &deadline)) != 0 && errno == EINTR) {
        }
        if (result == 0)
            return true;
        error = errno;
    }
    std::fprintf(stderr, "%s: Config Protection Semaphore could not be acquired:\n%s\n", operation,
                 std::strerror(error));
    return false;
}

void postSemaphore() { sem_post(gSemaphore); }

} // namespace lx::iw

using namespace lx::iw;

extern "C" {

int IWOpenConfigSem(void)
{
    try {
        const bool debug = decideDebug();
        if (gSemaphore != nullptr)
            return 1;
        const std::string &name = semaphoreName();
        if (refuseSemaphore())
            return 0;
        if (sem_t *existing = sem_open(name.c_str(), 0); existing != SEM_FAILED) {
            if (debug)
                std::fprintf(stderr, "Attached to Config Protection Semaphore\n");
            gSemaphore = existing;
            return 1;
        }
        if (debug)
            std::fprintf(stderr, "Creating Config Protection Semaphore\n");
        // 0600 whatever the umask: only this user's processes may take or post it.
        const mode_t mask = umask(077);
        sem_t *created = sem_open(name.c_str(), O_CREAT, 0600, 1);
        const int error = errno;
        umask(mask);
        if (created == SEM_FAILED) {
            std::fprintf(stderr, "Failed to create Config Protection Semaphore:\n%s\n", std::strerror(error));
            return 0;
        }
        if (refuseSemaphore()) { // planted between the look and the open
            sem_close(created);
            return 0;
        }
        gSemaphore = created;
        return 1;
    } catch (...) {
        return 0;
    }
}

void IWRemoveConfigSem(void)
{
    try {
        if (gSemaphore == nullptr)
            return;
        if (decideDebug())
            std::fprintf(stderr, "Removing Config Protection Semaphore\n");
        sem_unlink(semaphoreName().c_str());
        gSemaphore = nullptr; // forgotten, not closed
    } catch (...) {
    }
}

} // extern "C"
