// Narrowing floats into the file's pixel mode, toward zero with clamping and counting.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "pixel_convert.h"

namespace lx::im::pixel {
namespace {

// Counts are kept in 32-bit lanes inside a step so that the counting vectorises too.
constexpr std::size_t kStep = 1u << 20;

// Modes 0, 1 and 6: every clamped value lies inside int32, so one conversion serves them all.
// The selects are written so that a NaN fails both comparisons and is then replaced by 0.
template <class Out>
void narrow_step(const float* __restrict in, Out* __restrict out, std::size_t n, float lo,
                 float hi, std::uint32_t& low, std::uint32_t& high) {
  std::uint32_t l = 0, h = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const float v = in[i];
    l += v < lo;
    h += v > hi;
    float c = v < lo ? lo : v;
    c = c > hi ? hi : c;
    c = std::isnan(v) ? 0.0f : c;
    out[i] = static_cast<Out>(static_cast<std::int32_t>(c));
  }
  low = l;
  high = h;
}

// Mode 7: the upper limit 2^31 is a float but not an int32, so values are clamped to the largest
// float below it and those at or above 2^31 are then set to the int32 maximum.
void narrow_step_int32(const float* __restrict in, std::int32_t* __restrict out, std::size_t n,
                       std::uint32_t& low, std::uint32_t& high) {
  constexpr float lo = -2147483648.0f;
  constexpr float hi = 2147483648.0f;
  constexpr float below_hi = 2147483520.0f;  // the float just below 2^31
  std::uint32_t l = 0, h = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const float v = in[i];
    l += v < lo;
    h += v > hi;
    float c = v < lo ? lo : v;
    c = c > below_hi ? below_hi : c;
    c = std::isnan(v) ? 0.0f : c;
    const std::int32_t r = static_cast<std::int32_t>(c);
    out[i] = v >= hi ? std::numeric_limits<std::int32_t>::max() : r;
  }
  low = l;
  high = h;
}

template <class Out, class Step>
void narrow_all(const float* in, void* out, std::size_t pixels, ClampCounts& counts, Step step) {
  auto* o = static_cast<Out*>(out);
  for (std::size_t done = 0; done < pixels;) {
    const std::size_t n = pixels - done < kStep ? pixels - done : kStep;
    std::uint32_t low = 0, high = 0;
    step(in + done, o + done, n, low, high);
    counts.low += low;
    counts.high += high;
    done += n;
  }
}

template <class Out>
void narrow_clamped(const float* in, void* out, std::size_t pixels, ClampCounts& counts,
                    float lo, float hi) {
  narrow_all<Out>(in, out, pixels, counts,
                  [lo, hi](const float* i, Out* o, std::size_t n, std::uint32_t& l,
                           std::uint32_t& h) { narrow_step(i, o, n, lo, hi, l, h); });
}

}  // namespace

int narrow_from_float(int mode, const float* in, void* out, std::size_t pixels,
                      ClampCounts& counts) {
  switch (mode) {
    case kModeByte:
      narrow_clamped<std::uint8_t>(in, out, pixels, counts, 0.0f, 255.0f);
      return kStatusOk;
    case kModeInt16:
      narrow_clamped<std::int16_t>(in, out, pixels, counts, -32767.0f, 32767.0f);
      return kStatusOk;
    case kModeUInt16:
      narrow_clamped<std::uint16_t>(in, out, pixels, counts, 0.0f, 65535.0f);
      return kStatusOk;
    case kModeInt32:
      narrow_all<std::int32_t>(in, out, pixels, counts, narrow_step_int32);
      return kStatusOk;
    case kModeFloat:
      if (pixels > 0) std::memcpy(out, in, pixels * sizeof(float));
      return kStatusOk;
    case kModeComplexInt16:
      return kStatusComplex16;
    default:
      return kStatusInvalidMode;
  }
}

}  // namespace lx::im::pixel
