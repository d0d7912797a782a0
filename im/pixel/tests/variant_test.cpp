// The kernel variant a process runs: the suite runs once as chosen and once forced to the
// variant for any x86-64, so both variants pass every kernel test.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "pixel_convert.h"

TEST(KernelVariant, ForcedBaselineOrTheBestThisProcessorRuns)
{
    const char *forced = std::getenv("LX_PIXEL_ISA");
    const std::string variant = lx::im::pixel::kernel_variant();
    if (forced != nullptr && std::string(forced) == "baseline") {
        EXPECT_EQ(variant, "baseline");
        return;
    }
#if defined(__x86_64__)
    EXPECT_EQ(variant, __builtin_cpu_supports("avx2") ? "avx2" : "baseline");
#else
    EXPECT_EQ(variant, "baseline");
#endif
}
