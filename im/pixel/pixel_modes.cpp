// Sizes that follow from a pixel mode.
#include "pixel_convert.h"

namespace lx::im::pixel {

std::size_t file_bytes_per_pixel(int mode)
{
    switch (mode) {
    case kModeByte: return 1;
    case kModeInt16:
    case kModeUInt16: return 2;
    case kModeFloat:
    case kModeComplexInt16:
    case kModeInt32: return 4;
    case kModeComplexFloat:
    case kModeDouble: return 8;
    default: return 0;
    }
}

std::size_t write_chunk_pixels(int mode)
{
    switch (mode) {
    case kModeByte: return kWriteChunkByte;
    case kModeInt16: return kWriteChunkInt16;
    case kModeUInt16: return kWriteChunkUInt16;
    case kModeInt32: return kWriteChunkInt32;
    default: return 0;
    }
}

static_assert(kWriteChunkByte * 1 == kWriteScratchBytes);
static_assert(kWriteChunkInt16 * 2 == kWriteScratchBytes);
static_assert(kWriteChunkUInt16 * 2 == kWriteScratchBytes);
static_assert(kWriteChunkInt32 * 4 == kWriteScratchBytes);

} // namespace lx::im::pixel
