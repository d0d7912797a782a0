// Widening pixels from a separate buffer (the columns of a line just read) into the caller's
// floats. The values are those of widen_to_float; as nothing in the output has to be preserved,
// the loop runs forward and needs no staging.
#include <cstdint>
#include <cstring>

#include "pixel_variants.h"

namespace lx::im::pixel::LX_PIXEL_ISA {
namespace {

template <class In>
void widen_forward(const void *file_pixels, void *out, std::size_t n)
{
    const auto *__restrict in = static_cast<const In *>(file_pixels);
    auto *__restrict o = static_cast<float *>(out);
    for (std::size_t i = 0; i < n; ++i)
        o[i] = static_cast<float>(in[i]);
}

} // namespace

int widen_copy(int mode, const void *file_pixels, void *out, std::size_t pixels)
{
    switch (mode) {
    case kModeByte: widen_forward<std::uint8_t>(file_pixels, out, pixels); return kStatusOk;
    case kModeInt16: widen_forward<std::int16_t>(file_pixels, out, pixels); return kStatusOk;
    case kModeUInt16: widen_forward<std::uint16_t>(file_pixels, out, pixels); return kStatusOk;
    case kModeInt32: widen_forward<std::int32_t>(file_pixels, out, pixels); return kStatusOk;
    case kModeFloat:
    case kModeDouble:
        if (pixels > 0)
            std::memcpy(out, file_pixels, pixels * file_bytes_per_pixel(mode));
        return kStatusOk;
    case kModeComplexFloat: return widen_to_float(mode, out, pixels, static_cast<const float *>(file_pixels));
    case kModeComplexInt16: return kStatusComplex16;
    default: return kStatusInvalidMode;
    }
}

} // namespace lx::im::pixel::LX_PIXEL_ISA
