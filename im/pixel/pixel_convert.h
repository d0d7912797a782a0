// Pixel kernels of the image stream library: byte swapping of a section read from a foreign-order
// file, widening a section in place to 32-bit floats, and narrowing floats into the file's pixel
// mode with clamping. They work on raw buffers of `pixels` pixels; the callers (section, line and
// rectangle transfers) own the buffers, the file I/O and the messages.
//
// Buffers must be aligned to their element size (any malloc'ed or std::vector<float> buffer is).
// The loops are compiled so that they vectorise, once for any x86-64 and once for AVX2; the
// variant this processor runs is chosen at the first call (LX_PIXEL_ISA=baseline in the
// environment forces the first). Their results are those of the plain one-pixel-at-a-time
// definitions given with each function, for every input and in both variants.
#pragma once

#include <lumarix/im.h>

#include <cstddef>

namespace lx::im::pixel {

// Pixel modes of the image file (header byte 12).
enum Mode : int {
    kModeByte = IM_PIXEL_BYTE,                  // unsigned 8-bit
    kModeInt16 = IM_PIXEL_INT16,                // signed 16-bit
    kModeFloat = IM_PIXEL_FLOAT,                // 32-bit float
    kModeComplexInt16 = IM_PIXEL_COMPLEX_INT16, // 2 x 16-bit complex: refused everywhere
    kModeComplexFloat = IM_PIXEL_COMPLEX_FLOAT, // 2 x 32-bit float complex
    kModeUInt16 = IM_PIXEL_UINT16,              // unsigned 16-bit
    kModeInt32 = IM_PIXEL_INT32,                // signed 32-bit
    kModeDouble = IM_PIXEL_DOUBLE,              // 64-bit float, never swapped nor converted
};

// Library status codes these kernels answer with.
inline constexpr int kStatusOk = IM_OK;
inline constexpr int kStatusSwapFailed = IM_ERR_SWAP;        // "Unable to swap bytes"
inline constexpr int kStatusInvalidMode = IM_ERR_PIXEL_MODE; // not a pixel mode
inline constexpr int kStatusComplex16 = IM_ERR_COMPLEX16;    // "16-bit complex numbers not supported"

// Pixels per chunk when a section of floats is written with conversion through the scratch
// buffer; every chunk is 128 KiB of file data.
inline constexpr std::size_t kWriteChunkByte = 131072;
inline constexpr std::size_t kWriteChunkInt16 = 65536;
inline constexpr std::size_t kWriteChunkUInt16 = 65536;
inline constexpr std::size_t kWriteChunkInt32 = 32768;
inline constexpr std::size_t kWriteScratchBytes = 131072;

// The kernel variant this process runs: "avx2" or "baseline".
const char *kernel_variant();

// Chunk size in pixels for writing `mode` with conversion; 0 for modes written as they are
// (2, 4, 8) and for modes that cannot be written (3, invalid).
std::size_t write_chunk_pixels(int mode);

// Bytes of one pixel in the file; 0 for a value that is not a mode (5, negative, above 8).
std::size_t file_bytes_per_pixel(int mode);

// Reverses the bytes of `pixels` pixels of a foreign-order file in place: modes 1 and 6 in 2-byte
// units, 2 and 7 in 4-byte units, 4 in 4-byte units (real and imaginary parts apart); mode 0 and
// mode 8 are left as they are. Returns kStatusOk, or kStatusSwapFailed for mode 3 and for a value
// that is not a mode (the buffer is then untouched).
int swap_pixels(int mode, void *buffer, std::size_t pixels);

// Converts `pixels` pixels of `mode`, held at the start of `section`, to floats in the same buffer,
// working from the last pixel to the first so that no unread pixel is overwritten. `section` must
// hold pixels * 4 bytes. Modes 0, 1, 6 and 7 become their float values (mode 7 rounded to the
// nearest float); mode 2 and mode 8 are left as they are. Mode 4 writes the magnitude
// sqrt(re^2 + im^2) of each pixel of `complex_source` (pixels * 2 floats, a buffer apart from
// `section`), computed in double precision and rounded to float. Returns kStatusOk,
// kStatusComplex16 for mode 3, kStatusInvalidMode for a value that is not a mode or for mode 4
// without a source; the buffer is untouched on failure.
int widen_to_float(int mode, void *section, std::size_t pixels, const float *complex_source = nullptr);

// The byte swap of a foreign-order section followed by widen_to_float, with the same results and
// status codes as the two calls (kStatusSwapFailed for mode 3); modes 1 and 6 are done in one pass.
// Mode 4 swaps `complex_source` in place, then writes the magnitudes to `section`.
int swap_and_widen_to_float(int mode, void *section, std::size_t pixels, float *complex_source = nullptr);

// Converts `pixels` pixels of `mode` from `file_pixels` (a buffer apart from `out`, such as the
// columns of a line just read) to floats in `out`, with the values widen_to_float gives. Modes 2
// and 8 are copied as they are (8 bytes a pixel for mode 8); mode 4 writes the magnitudes of the
// complex pixels in `file_pixels`. Returns as widen_to_float.
int widen_copy(int mode, const void *file_pixels, void *out, std::size_t pixels);

// Values clamped while narrowing, added up across calls.
struct ClampCounts {
    std::size_t low = 0;  // below the mode's lower limit
    std::size_t high = 0; // above the mode's upper limit
};

// Converts `pixels` floats into pixels of `mode` in `out` (a buffer apart from `in`), toward zero,
// with clamping:
//   mode 0: below 0 -> 0 (low), above 255 -> 255 (high)
//   mode 1: below -32767 -> -32767 (low), above 32767 -> 32767 (high)
//   mode 6: below 0 -> 0 (low), above 65535 -> 65535 (high)
//   mode 7: below -2147483648 -> -2147483648 (low), above 2147483648 -> 2147483647 (high)
// The lower limit of mode 1 is -32767, not -32768, on purpose. A value clamped to a limit is
// counted even where truncation alone would reach the same pixel (-0.5 in mode 0 counts as low).
// NaN becomes 0 and is not counted. 2147483648.0 in mode 7 is not above the limit, so it is not
// counted, but as it has no 32-bit value it becomes 2147483647. Mode 2 copies the floats.
// Returns kStatusOk, kStatusComplex16 for mode 3, kStatusInvalidMode for modes 4 and 8 (written
// as they are, never converted) and for a value that is not a mode.
int narrow_from_float(int mode, const float *in, void *out, std::size_t pixels, ClampCounts &counts);

} // namespace lx::im::pixel
