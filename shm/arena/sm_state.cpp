// Per-process arena control state and the trace line every operation writes.
#include "sm_internal.h"

#include <cstdio>
#include <pwd.h>
#include <unistd.h>

namespace lx::sm {

State &state()
{
    static State s;
    return s;
}

bool controlHeld() { return state().control != reinterpret_cast<ControlBlock *>(~uintptr_t{0}); }

void trace(const char *operation)
{
    if (state().trace != 1)
        return;
    std::fprintf(stderr, "%s%s%s, pid=%d\n", "sm-lib", " : ", operation, static_cast<int>(getpid()));
    std::fflush(stderr);
}

std::string realUserName()
{
    if (const passwd *pw = getpwuid(getuid()); pw != nullptr && pw->pw_name != nullptr)
        return pw->pw_name;
    return "uid" + std::to_string(getuid());
}

} // namespace lx::sm
