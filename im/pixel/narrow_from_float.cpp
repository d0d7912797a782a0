// Narrowing floats into the file's pixel mode, toward zero with clamping and counting.
//
// The plain loops below are the definition; the compiler vectorises them with this folder's flags
// but packs the results poorly on SSE2, so on x86-64 the bulk of each run goes through SSE2 code
// that computes the same values (maxps/minps clamps, truncating conversion, saturating packs of
// values already in range) and the plain loops take the tails.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "pixel_variants.h"

namespace lx::im::pixel::LX_PIXEL_ISA {
namespace {

// Counts are kept in 32-bit lanes inside a step.
constexpr std::size_t kStep = 1u << 20;

template <int Mode>
struct Limits;
template <>
struct Limits<kModeByte> {
    using Out = std::uint8_t;
    static constexpr float lo = 0.0f, hi = 255.0f;
};
template <>
struct Limits<kModeInt16> {
    using Out = std::int16_t;
    static constexpr float lo = -32767.0f, hi = 32767.0f; // -32767 on purpose
};
template <>
struct Limits<kModeUInt16> {
    using Out = std::uint16_t;
    static constexpr float lo = 0.0f, hi = 65535.0f;
};
template <>
struct Limits<kModeInt32> {
    using Out = std::int32_t;
    static constexpr float lo = -2147483648.0f, hi = 2147483648.0f;
};

// 2^31 is a float but not an int32: mode 7 clamps to the float just below it and then stores the
// int32 maximum for values at or above 2^31.
constexpr float kBelowTwoTo31 = 2147483520.0f;

// The definition, written branch-free so that it vectorises too. A NaN fails every comparison
// and is replaced by 0.
template <int Mode>
void narrow_plain(const float *__restrict in, typename Limits<Mode>::Out *__restrict out, std::size_t n,
                  std::uint32_t &low, std::uint32_t &high)
{
    using L = Limits<Mode>;
    constexpr float top = Mode == kModeInt32 ? kBelowTwoTo31 : L::hi;
    std::uint32_t l = 0, h = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const float v = in[i];
        l += v < L::lo;
        h += v > L::hi;
        float c = v < L::lo ? L::lo : v;
        c = c > top ? top : c;
        c = std::isnan(v) ? 0.0f : c;
        const auto r = static_cast<std::int32_t>(c);
        if constexpr (Mode == kModeInt32)
            out[i] = v >= L::hi ? std::numeric_limits<std::int32_t>::max() : r;
        else
            out[i] = static_cast<typename Limits<Mode>::Out>(r);
    }
    low += l;
    high += h;
}

#if defined(__SSE2__)

std::uint32_t lane_sum(__m128i v)
{
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(1, 0, 3, 2)));
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(2, 3, 0, 1)));
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(v));
}

// Four pixels: counts them, clamps them and truncates them to int32 lanes.
template <int Mode>
struct Clamp4 {
    using L = Limits<Mode>;
    const __m128 lo = _mm_set1_ps(L::lo);
    const __m128 hi = _mm_set1_ps(L::hi);
    const __m128 top = _mm_set1_ps(Mode == kModeInt32 ? kBelowTwoTo31 : L::hi);
    __m128i low = _mm_setzero_si128();
    __m128i high = _mm_setzero_si128();

    __m128i operator()(const float *p)
    {
        const __m128 v = _mm_loadu_ps(p);
        low = _mm_sub_epi32(low, _mm_castps_si128(_mm_cmplt_ps(v, lo)));
        high = _mm_sub_epi32(high, _mm_castps_si128(_mm_cmpgt_ps(v, hi)));
        // maxps answers its second operand for a NaN: lo, which is 0 for modes 0 and 6.
        __m128 c = _mm_min_ps(_mm_max_ps(v, lo), top);
        if constexpr (L::lo != 0.0f)
            c = _mm_and_ps(c, _mm_cmpord_ps(v, v));
        __m128i r = _mm_cvttps_epi32(c);
        if constexpr (Mode == kModeInt32) {
            const __m128i at_top = _mm_castps_si128(_mm_cmpge_ps(v, hi));
            r = _mm_or_si128(r, _mm_and_si128(at_top, _mm_set1_epi32(0x7fffffff)));
        }
        return r;
    }
};

// Returns how many pixels it did (a multiple of its width); the rest is left for the plain loop.
template <int Mode>
std::size_t narrow_sse2(const float *in, typename Limits<Mode>::Out *out, std::size_t n, std::uint32_t &low,
                        std::uint32_t &high)
{
    Clamp4<Mode> clamp;
    std::size_t i = 0;
    if constexpr (Mode == kModeByte) {
        for (; i + 16 <= n; i += 16) {
            const __m128i a = _mm_packs_epi32(clamp(in + i), clamp(in + i + 4));
            const __m128i b = _mm_packs_epi32(clamp(in + i + 8), clamp(in + i + 12));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_packus_epi16(a, b));
        }
    } else if constexpr (Mode == kModeInt16) {
        for (; i + 8 <= n; i += 8)
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_packs_epi32(clamp(in + i), clamp(in + i + 4)));
    } else if constexpr (Mode == kModeUInt16) {
        // 0..65535 is moved to the signed range for the saturating pack, then moved back.
        const __m128i bias32 = _mm_set1_epi32(32768);
        const __m128i bias16 = _mm_set1_epi16(static_cast<short>(0x8000));
        for (; i + 8 <= n; i += 8) {
            const __m128i a = _mm_sub_epi32(clamp(in + i), bias32);
            const __m128i b = _mm_sub_epi32(clamp(in + i + 4), bias32);
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_xor_si128(_mm_packs_epi32(a, b), bias16));
        }
    } else {
        for (; i + 4 <= n; i += 4)
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), clamp(in + i));
    }
    low += lane_sum(clamp.low);
    high += lane_sum(clamp.high);
    return i;
}

#endif

template <int Mode>
void narrow_mode(const float *in, void *out, std::size_t pixels, ClampCounts &counts)
{
    auto *o = static_cast<typename Limits<Mode>::Out *>(out);
    for (std::size_t done = 0; done < pixels;) {
        const std::size_t n = pixels - done < kStep ? pixels - done : kStep;
        std::uint32_t low = 0, high = 0;
        std::size_t vectored = 0;
#if defined(__SSE2__)
        vectored = narrow_sse2<Mode>(in + done, o + done, n, low, high);
#endif
        narrow_plain<Mode>(in + done + vectored, o + done + vectored, n - vectored, low, high);
        counts.low += low;
        counts.high += high;
        done += n;
    }
}

} // namespace

int narrow_from_float(int mode, const float *in, void *out, std::size_t pixels, ClampCounts &counts)
{
    switch (mode) {
    case kModeByte: narrow_mode<kModeByte>(in, out, pixels, counts); return kStatusOk;
    case kModeInt16: narrow_mode<kModeInt16>(in, out, pixels, counts); return kStatusOk;
    case kModeUInt16: narrow_mode<kModeUInt16>(in, out, pixels, counts); return kStatusOk;
    case kModeInt32: narrow_mode<kModeInt32>(in, out, pixels, counts); return kStatusOk;
    case kModeFloat:
        if (pixels > 0)
            std::memcpy(out, in, pixels * sizeof(float));
        return kStatusOk;
    case kModeComplexInt16: return kStatusComplex16;
    default: return kStatusInvalidMode;
    }
}

} // namespace lx::im::pixel::LX_PIXEL_ISA
