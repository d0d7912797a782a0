#include "section_io.h"

#include <unistd.h>

#include <algorithm>

namespace im_io {
namespace px = lx::im::pixel;

namespace {

bool pread_all(int fd, void* buffer, std::size_t bytes, std::size_t offset) {
  auto* p = static_cast<unsigned char*>(buffer);
  while (bytes > 0) {
    const ssize_t got = ::pread(fd, p, bytes, static_cast<off_t>(offset));
    if (got <= 0) return false;
    p += got;
    bytes -= static_cast<std::size_t>(got);
    offset += static_cast<std::size_t>(got);
  }
  return true;
}

bool pwrite_all(int fd, const void* buffer, std::size_t bytes, std::size_t offset) {
  const auto* p = static_cast<const unsigned char*>(buffer);
  while (bytes > 0) {
    const ssize_t put = ::pwrite(fd, p, bytes, static_cast<off_t>(offset));
    if (put <= 0) return false;
    p += put;
    bytes -= static_cast<std::size_t>(put);
    offset += static_cast<std::size_t>(put);
  }
  return true;
}

}  // namespace

KernelSectionReader::KernelSectionReader(int fd, SectionLayout layout, bool foreign_order,
                                         bool convert)
    : fd_(fd), layout_(layout), swap_(foreign_order), convert_(convert) {
  if (convert_ && layout_.mode == px::kModeComplexFloat)
    complex_scratch_.resize(2 * layout_.pixels());
}

bool KernelSectionReader::read_next(void* buffer) {
  if (next_ >= layout_.sections) return false;
  const bool via_scratch = !complex_scratch_.empty();
  void* target = via_scratch ? static_cast<void*>(complex_scratch_.data()) : buffer;
  if (!pread_all(fd_, target, layout_.file_bytes(), layout_.offset_of(next_))) return false;
  ++next_;
  float* complex = via_scratch ? complex_scratch_.data() : nullptr;
  if (swap_ && convert_)
    return px::swap_and_widen_to_float(layout_.mode, buffer, layout_.pixels(), complex) ==
           px::kStatusOk;
  if (swap_ && px::swap_pixels(layout_.mode, target, layout_.pixels()) != px::kStatusOk)
    return false;
  return !convert_ ||
         px::widen_to_float(layout_.mode, buffer, layout_.pixels(), complex) == px::kStatusOk;
}

SlicedSectionReader::SlicedSectionReader(int fd, SectionLayout layout, bool foreign_order)
    : fd_(fd), layout_(layout), swap_(foreign_order), staging_(kSliceBytes) {}

bool SlicedSectionReader::read_next(void* buffer) {
  if (next_ >= layout_.sections) return false;
  const std::size_t bpp = px::file_bytes_per_pixel(layout_.mode);
  const std::size_t slice = kSliceBytes / bpp;
  const px::Stores stores = layout_.pixels() * sizeof(float) >= px::kStreamingSectionBytes
                                ? px::Stores::kStreaming
                                : px::Stores::kCached;
  const std::size_t offset = layout_.offset_of(next_++);
  auto* out = static_cast<float*>(buffer);
  for (std::size_t done = 0; done < layout_.pixels(); done += slice) {
    const std::size_t n = std::min(slice, layout_.pixels() - done);
    if (!pread_all(fd_, staging_.data(), n * bpp, offset + done * bpp)) return false;
    if (swap_ && px::swap_pixels(layout_.mode, staging_.data(), n) != px::kStatusOk) return false;
    if (px::widen_copy(layout_.mode, staging_.data(), out + done, n, stores) != px::kStatusOk)
      return false;
  }
  return true;
}

bool PlainSectionReader::read_next(void* buffer) {
  if (next_ >= layout_.sections) return false;
  return pread_all(fd_, buffer, layout_.file_bytes(), layout_.offset_of(next_++));
}

KernelSectionWriter::KernelSectionWriter(int fd, SectionLayout layout)
    : fd_(fd), layout_(layout), scratch_(px::kWriteScratchBytes) {}

bool KernelSectionWriter::write_next(const float* section) {
  if (next_ >= layout_.sections) return false;
  const std::size_t chunk = px::write_chunk_pixels(layout_.mode);
  const std::size_t bpp = px::file_bytes_per_pixel(layout_.mode);
  if (chunk == 0) return false;
  std::size_t offset = layout_.offset_of(next_++);
  for (std::size_t done = 0; done < layout_.pixels(); done += chunk) {
    const std::size_t n = std::min(chunk, layout_.pixels() - done);
    if (px::narrow_from_float(layout_.mode, section + done, scratch_.data(), n, counts_) !=
        px::kStatusOk)
      return false;
    if (!pwrite_all(fd_, scratch_.data(), n * bpp, offset)) return false;
    offset += n * bpp;
  }
  return true;
}

bool write_raw_section(int fd, const SectionLayout& layout, std::size_t section,
                       const void* bytes) {
  return pwrite_all(fd, bytes, layout.file_bytes(), layout.offset_of(section));
}

}  // namespace im_io
