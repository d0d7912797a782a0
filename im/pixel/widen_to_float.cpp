// Widening a section in place to 32-bit floats.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "pixel_variants.h"

namespace lx::im::pixel::LX_PIXEL_ISA {
namespace {

// Pixels converted per step. A step's input and output never overlap once the step starts far
// enough from the buffer's start (at least kStep * in / (4 - in) pixels in); the steps below that,
// and every step of a same-width mode, first copy their input aside.
constexpr std::size_t kStep = 4096;

// The pixels are read through types that may alias anything: a later step writes floats over
// bytes an earlier step read as integers, and those reads must not be moved past those writes.
typedef std::uint8_t __attribute__((may_alias)) AliasingU8;
typedef std::int16_t __attribute__((may_alias)) AliasingI16;
typedef std::uint16_t __attribute__((may_alias)) AliasingU16;
typedef std::int32_t __attribute__((may_alias)) AliasingI32;
// One specialisation per type: the attribute is dropped when written on a template parameter.
template <class In>
struct Aliasing;
template <>
struct Aliasing<std::uint8_t> {
    using type = AliasingU8;
};
template <>
struct Aliasing<std::int16_t> {
    using type = AliasingI16;
};
template <>
struct Aliasing<std::uint16_t> {
    using type = AliasingU16;
};
template <>
struct Aliasing<std::int32_t> {
    using type = AliasingI32;
};

// With kSwap, 16-bit pixels of a foreign-order file are reversed on the way (shifts, which
// vectorise, rather than a byte-swap builtin).
template <bool kSwap, class In>
void widen_step(const In *__restrict in, float *__restrict out, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i) {
        auto x = in[i];
        if constexpr (kSwap) {
            static_assert(sizeof(x) == 2);
            const auto u = static_cast<std::uint16_t>(x);
            x = static_cast<decltype(x)>(static_cast<std::uint16_t>((u << 8) | (u >> 8)));
        }
        out[i] = static_cast<float>(x);
    }
}

template <class In, bool kSwap = false>
void widen_backward(void *section, std::size_t pixels)
{
    auto *bytes = static_cast<unsigned char *>(section);
    alignas(64) In copy[kStep];
    std::size_t end = pixels;
    while (end > 0) {
        const std::size_t start = end > kStep ? end - kStep : 0;
        const std::size_t n = end - start;
        const std::size_t in_offset = start * sizeof(In);
        const std::size_t out_offset = start * sizeof(float);
        auto *out = reinterpret_cast<float *>(bytes + out_offset);
        if (out_offset >= in_offset + n * sizeof(In)) {
            widen_step<kSwap>(reinterpret_cast<const typename Aliasing<In>::type *>(bytes + in_offset), out, n);
        } else {
            std::memcpy(copy, bytes + in_offset, n * sizeof(In));
            widen_step<kSwap>(copy, out, n);
        }
        end = start;
    }
}

void magnitude(const float *__restrict complex_source, float *__restrict out, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i) {
        const double re = complex_source[2 * i];
        const double im = complex_source[2 * i + 1];
        out[i] = static_cast<float>(std::sqrt(re * re + im * im));
    }
}

} // namespace

int widen_to_float(int mode, void *section, std::size_t pixels, const float *complex_source)
{
    switch (mode) {
    case kModeByte: widen_backward<std::uint8_t>(section, pixels); return kStatusOk;
    case kModeInt16: widen_backward<std::int16_t>(section, pixels); return kStatusOk;
    case kModeUInt16: widen_backward<std::uint16_t>(section, pixels); return kStatusOk;
    case kModeInt32: widen_backward<std::int32_t>(section, pixels); return kStatusOk;
    case kModeFloat:
    case kModeDouble: return kStatusOk;
    case kModeComplexFloat:
        if (complex_source == nullptr)
            return kStatusInvalidMode;
        magnitude(complex_source, static_cast<float *>(section), pixels);
        return kStatusOk;
    case kModeComplexInt16: return kStatusComplex16;
    default: return kStatusInvalidMode;
    }
}

int swap_and_widen_to_float(int mode, void *section, std::size_t pixels, float *complex_source)
{
    switch (mode) {
    case kModeInt16: widen_backward<std::int16_t, true>(section, pixels); return kStatusOk;
    case kModeUInt16: widen_backward<std::uint16_t, true>(section, pixels); return kStatusOk;
    case kModeComplexFloat: {
        if (complex_source == nullptr)
            return kStatusInvalidMode;
        const int swapped = swap_pixels(mode, complex_source, pixels);
        return swapped != kStatusOk ? swapped : widen_to_float(mode, section, pixels, complex_source);
    }
    default: {
        // One byte, four bytes and eight bytes a pixel: swapping first costs little or nothing.
        const int swapped = swap_pixels(mode, section, pixels);
        return swapped != kStatusOk ? swapped : widen_to_float(mode, section, pixels);
    }
    }
}

} // namespace lx::im::pixel::LX_PIXEL_ISA
