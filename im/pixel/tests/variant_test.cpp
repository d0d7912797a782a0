// The kernel variant a process runs: the suite runs once as chosen and once forced to the
// variant for any x86-64, so both variants pass every kernel test.
#include <cstdlib>
#include <string>

#include "pixel_test_support.h"

TEST(KernelVariant, ForcedBaselineOrTheBestThisProcessorRuns)
{
    const char *forced = std::getenv("LX_PIXEL_ISA");
    std::string expected = "baseline";
#if defined(__x86_64__)
    if (!(forced && std::string(forced) == "baseline") && __builtin_cpu_supports("avx2"))
        expected = "avx2";
#endif
    EXPECT_EQ(lx::im::pixel::kernel_variant(), expected);
}
