// Benchmark image files: a 1024-byte header without extended header, in this machine's byte
// order or the other, then the sections.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "pixel_convert.h"

namespace im_io {

struct ImageLayout {
    int mode = 1;
    std::size_t nx = 0, ny = 0, sections = 0;
    static constexpr std::size_t kDataOffset = 1024;
    std::size_t pixels() const { return nx * ny; }
    std::size_t section_bytes() const { return pixels() * lx::im::pixel::file_bytes_per_pixel(mode); }
    std::size_t offset_of(std::size_t section) const { return kDataOffset + section * section_bytes(); }
};

// Writes `path`: the header, then each section as fill(section, pixels) leaves it in this
// machine's order (swapped on the way for a foreign-order file). Throws on failure.
void write_image(const std::string &path, const ImageLayout &layout, bool foreign,
                 const std::function<void(std::size_t, unsigned char *)> &fill);

} // namespace im_io
