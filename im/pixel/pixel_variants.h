// The kernels of pixel_convert.h exist twice: compiled for any x86-64 (namespace baseline) and
// for processors with AVX2 (namespace avx2), the same source built with other flags. Each kernel
// source defines its functions in namespace LX_PIXEL_ISA, which the build sets to the variant's
// name; pixel_dispatch.cpp picks one variant for the process.
//
// Kernel sources must not define anything outside that namespace with external linkage, nor
// instantiate inline functions that another file might also instantiate: the linker would keep
// one copy, perhaps the AVX2 one, for both variants.
#pragma once

#include "pixel_convert.h"

#define LX_PIXEL_DECLARE_KERNELS(isa)                                                                                  \
    namespace lx::im::pixel::isa {                                                                                     \
    int swap_pixels(int mode, void *buffer, std::size_t pixels);                                                       \
    int widen_to_float(int mode, void *section, std::size_t pixels, const float *complex_source = nullptr);            \
    int swap_and_widen_to_float(int mode, void *section, std::size_t pixels, float *complex_source = nullptr);         \
    int widen_copy(int mode, const void *file_pixels, void *out, std::size_t pixels);                                  \
    int narrow_from_float(int mode, const float *in, void *out, std::size_t pixels, ClampCounts &counts);              \
    }

#if defined(LX_PIXEL_ISA)
LX_PIXEL_DECLARE_KERNELS(LX_PIXEL_ISA) // a kernel source: its own variant
#else
LX_PIXEL_DECLARE_KERNELS(baseline)
#if defined(LX_PIXEL_HAVE_AVX2)
LX_PIXEL_DECLARE_KERNELS(avx2)
#endif
#endif
