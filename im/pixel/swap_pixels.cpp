// Byte reversal of pixels read from a file written on a machine of the other byte order.
#include <cstdint>

#include "pixel_variants.h"

namespace lx::im::pixel::LX_PIXEL_ISA {
namespace {

// Shifts rather than a byte-swap builtin: this form vectorises on every x86-64.
void reverse_2(std::uint16_t *v, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint16_t x = v[i];
        v[i] = static_cast<std::uint16_t>((x << 8) | (x >> 8));
    }
}

// A 4-byte reversal written on 32-bit values is turned into a scalar byte-swap instruction that
// does not vectorise without SSSE3; as two 16-bit halves exchanged and reversed it does.
void reverse_4(std::uint16_t *v, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint16_t a = v[2 * i], b = v[2 * i + 1];
        v[2 * i] = static_cast<std::uint16_t>((b << 8) | (b >> 8));
        v[2 * i + 1] = static_cast<std::uint16_t>((a << 8) | (a >> 8));
    }
}

} // namespace

int swap_pixels(int mode, void *buffer, std::size_t pixels)
{
    switch (mode) {
    case kModeByte:
    case kModeDouble: // 8-byte floats stay as they are read
        return kStatusOk;
    case kModeInt16:
    case kModeUInt16: reverse_2(static_cast<std::uint16_t *>(buffer), pixels); return kStatusOk;
    case kModeFloat:
    case kModeInt32: reverse_4(static_cast<std::uint16_t *>(buffer), pixels); return kStatusOk;
    case kModeComplexFloat: reverse_4(static_cast<std::uint16_t *>(buffer), 2 * pixels); return kStatusOk;
    default: return kStatusSwapFailed;
    }
}

} // namespace lx::im::pixel::LX_PIXEL_ISA
