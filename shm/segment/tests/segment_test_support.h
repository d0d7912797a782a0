// Shared pieces of the segment tests: the helper program, the address every process agrees on,
// the heap checker's verdict and a segment in a private mapped file.
#pragma once

#include <gtest/gtest.h>
#include <lumarix/shm.h>
#include <sys/mman.h>

#include <sstream>
#include <string>

#include "lx_testing.h"

namespace lx::test {

using namespace lxtest;

inline const std::string kHelper = SHM_HELPER_PATH;
inline const std::string kAddressText = "500000000000"; // free in plain and in sanitizer builds
constexpr uint64_t kFirstBreak = 4'823'616;
constexpr uint64_t kShortfall = kFirstBreak - 2216; // allowance the heap cannot use
inline void *const kRefused = reinterpret_cast<void *>(-1);

inline std::string hex(const void *p) { return (std::ostringstream() << p).str(); }
// "" when the heap is consistent, else the checker's reason.
inline std::string heap_fault()
{
    char reason[256];
    return SG_heap_check(reason, sizeof reason) ? "" : reason;
}
inline Result run_helper(std::vector<std::string> args, Env env = {}, const std::vector<std::string> &wrapper = {})
{
    args.insert(args.begin(), kHelper);
    env.insert(env.begin(), "LX_SHMSTADDR=" + kAddressText);
    return run(args, env, wrapper);
}

// A segment of `allowance` bytes in a mapped file wherever the system puts it.
class FileSegment : public ::testing::Test {
protected:
    void open_segment(uint64_t allowance)
    {
        unsetenv("LX_SHMSTADDR");
        start_ = static_cast<char *>(SG_create((dir_ / "segment.map").c_str(), allowance));
        ASSERT_NE(start_, nullptr);
    }
    char *first_break() const { return start_ + kFirstBreak; }
    TempDir dir_;
    char *start_ = nullptr;
};

} // namespace lx::test
