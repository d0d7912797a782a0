// Widening pixels from a separate buffer (a slice just read into a small staging buffer) into the
// caller's floats. The values are those of widen_to_float; what differs is that nothing has to be
// preserved in the output, so on x86-64 the stores may bypass the caches.
#include <cstdint>
#include <cstring>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "pixel_convert.h"

namespace lx::im::pixel {
namespace {

template <class In>
void widen_plain(const In* __restrict in, float* __restrict out, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<float>(in[i]);
}

#if defined(__SSE2__)

template <bool kStream>
void store4(float* p, __m128i lanes) {
  const __m128 f = _mm_cvtepi32_ps(lanes);
  if constexpr (kStream)
    _mm_stream_ps(p, f);
  else
    _mm_storeu_ps(p, f);
}

// Converts whole vectors; returns the pixels done. With kStream, `out` must be 16-byte aligned.
template <class In, bool kStream>
std::size_t widen_sse2(const In* in, float* out, std::size_t n) {
  const __m128i zero = _mm_setzero_si128();
  std::size_t i = 0;
  if constexpr (sizeof(In) == 1) {
    for (; i + 16 <= n; i += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
      const __m128i lo = _mm_unpacklo_epi8(v, zero), hi = _mm_unpackhi_epi8(v, zero);
      store4<kStream>(out + i, _mm_unpacklo_epi16(lo, zero));
      store4<kStream>(out + i + 4, _mm_unpackhi_epi16(lo, zero));
      store4<kStream>(out + i + 8, _mm_unpacklo_epi16(hi, zero));
      store4<kStream>(out + i + 12, _mm_unpackhi_epi16(hi, zero));
    }
  } else if constexpr (sizeof(In) == 2) {
    for (; i + 8 <= n; i += 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
      if constexpr (std::is_signed_v<In>) {
        // Each 16-bit value into the top half of a 32-bit lane, then shifted down with its sign.
        store4<kStream>(out + i, _mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16));
        store4<kStream>(out + i + 4, _mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16));
      } else {
        store4<kStream>(out + i, _mm_unpacklo_epi16(v, zero));
        store4<kStream>(out + i + 4, _mm_unpackhi_epi16(v, zero));
      }
    }
  } else {
    for (; i + 4 <= n; i += 4)
      store4<kStream>(out + i, _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i)));
  }
  return i;
}

#endif

template <class In>
void widen_mode(const void* file_pixels, void* out, std::size_t pixels, Stores stores) {
  const auto* in = static_cast<const In*>(file_pixels);
  auto* o = static_cast<float*>(out);
  std::size_t done = 0;
#if defined(__SSE2__)
  if (stores == Stores::kStreaming) {
    // Up to the first 16-byte boundary of the output the plain loop does the work.
    const auto misaligned = reinterpret_cast<std::uintptr_t>(o) % 16;
    const std::size_t head = misaligned == 0 ? 0 : (16 - misaligned) / sizeof(float);
    done = head < pixels ? head : pixels;
    widen_plain(in, o, done);
    done += widen_sse2<In, true>(in + done, o + done, pixels - done);
    _mm_sfence();
  } else {
    done = widen_sse2<In, false>(in, o, pixels);
  }
#else
  (void)stores;
#endif
  widen_plain(in + done, o + done, pixels - done);
}

}  // namespace

int widen_copy(int mode, const void* file_pixels, void* out, std::size_t pixels, Stores stores) {
  switch (mode) {
    case kModeByte:
      widen_mode<std::uint8_t>(file_pixels, out, pixels, stores);
      return kStatusOk;
    case kModeInt16:
      widen_mode<std::int16_t>(file_pixels, out, pixels, stores);
      return kStatusOk;
    case kModeUInt16:
      widen_mode<std::uint16_t>(file_pixels, out, pixels, stores);
      return kStatusOk;
    case kModeInt32:
      widen_mode<std::int32_t>(file_pixels, out, pixels, stores);
      return kStatusOk;
    case kModeFloat:
    case kModeDouble:
      if (pixels > 0) std::memcpy(out, file_pixels, pixels * file_bytes_per_pixel(mode));
      return kStatusOk;
    case kModeComplexFloat:
      return widen_to_float(mode, out, pixels, static_cast<const float*>(file_pixels));
    case kModeComplexInt16:
      return kStatusComplex16;
    default:
      return kStatusInvalidMode;
  }
}

}  // namespace lx::im::pixel
