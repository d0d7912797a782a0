// Chooses the kernel variant for this process: AVX2 where the processor has it, else the one
// built for any x86-64. LX_PIXEL_ISA=baseline forces the latter (tests run both this way).
#include <cstdlib>
#include <cstring>

#include "pixel_variants.h"

namespace lx::im::pixel {
namespace {

struct Kernels {
    decltype(&baseline::swap_pixels) swap;
    decltype(&baseline::widen_to_float) widen;
    decltype(&baseline::swap_and_widen_to_float) swap_widen;
    decltype(&baseline::widen_copy) copy;
    decltype(&baseline::narrow_from_float) narrow;
};

Kernels choose()
{
    const char *forced = std::getenv("LX_PIXEL_ISA");
    const bool baseline_only = forced != nullptr && std::strcmp(forced, "baseline") == 0;
#if defined(LX_PIXEL_HAVE_AVX2)
    if (!baseline_only && __builtin_cpu_supports("avx2"))
        return {avx2::swap_pixels, avx2::widen_to_float, avx2::swap_and_widen_to_float, avx2::widen_copy,
                avx2::narrow_from_float};
#else
    (void)baseline_only;
#endif
    return {baseline::swap_pixels, baseline::widen_to_float, baseline::swap_and_widen_to_float, baseline::widen_copy,
            baseline::narrow_from_float};
}

const Kernels &kernels()
{
    static const Kernels chosen = choose();
    return chosen;
}

} // namespace

const char *kernel_variant() { return kernels().swap == &baseline::swap_pixels ? "baseline" : "avx2"; }

int swap_pixels(int mode, void *buffer, std::size_t pixels) { return kernels().swap(mode, buffer, pixels); }

int widen_to_float(int mode, void *section, std::size_t pixels, const float *complex_source)
{
    return kernels().widen(mode, section, pixels, complex_source);
}

int swap_and_widen_to_float(int mode, void *section, std::size_t pixels, float *complex_source)
{
    return kernels().swap_widen(mode, section, pixels, complex_source);
}

int widen_copy(int mode, const void *file_pixels, void *out, std::size_t pixels)
{
    return kernels().copy(mode, file_pixels, out, pixels);
}

int narrow_from_float(int mode, const float *in, void *out, std::size_t pixels, ClampCounts &counts)
{
    return kernels().narrow(mode, in, out, pixels, counts);
}

} // namespace lx::im::pixel
