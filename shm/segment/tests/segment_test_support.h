// Shared pieces of the segment tests: a private temporary directory, the helper program, the
// fixed address the processes agree on and a look at this process's mappings.
#pragma once

#include <lumarix/shm.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "lx_testing.h"

namespace lx::test {

using namespace lxtest;

inline const std::string kHelper = SEGMENT_HELPER_PATH;
// Where every test process maps the segment: free in plain and in sanitizer builds.
constexpr uintptr_t kAddress = 0x500000000000;
inline const std::string kAddressText = "500000000000";
constexpr uint64_t kFirstBreak = 4'823'616;
// The heap can use the allowance less this: the segment is allowance + 2216 bytes long.
constexpr uint64_t kBreakShortfall = kFirstBreak - 2216;

inline void *address(uintptr_t a) { return reinterpret_cast<void *>(a); }

inline std::string hex(const void *p)
{
    char text[32];
    std::snprintf(text, sizeof text, "%p", p);
    return text;
}

// Whether the page holding p is mapped in this process.
inline bool is_mapped(const void *p)
{
    auto page = reinterpret_cast<uintptr_t>(p) & ~uintptr_t{4095};
    return msync(reinterpret_cast<void *>(page), 4096, MS_ASYNC) == 0 || errno != ENOMEM;
}

// The helper, run with the same LX_SHMSTADDR as the tests unless options say otherwise.
inline Result run_helper(std::vector<std::string> args, Env env = {})
{
    args.insert(args.begin(), kHelper);
    env.insert(env.begin(), "LX_SHMSTADDR=" + kAddressText);
    return run(args, env);
}

} // namespace lx::test
