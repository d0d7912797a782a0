// Section transfers the benchmark times. The driver only sees the SectionReader and SectionWriter
// interfaces: the kernel-driven classes here do what a section read or write of the image stream
// library does (one positioned transfer per section, swap and widen in place; chunked narrowing
// through one scratch buffer), so that a reader and writer over IMRdSec/IMWrSec can take their
// place without touching the driver.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "pixel_convert.h"

namespace im_io {

struct SectionLayout {
  int mode = 1;
  std::size_t nx = 0, ny = 0, sections = 0;
  std::size_t data_offset = 1024;  // header, no extended header
  std::size_t pixels() const { return nx * ny; }
  std::size_t file_bytes() const {
    return pixels() * lx::im::pixel::file_bytes_per_pixel(mode);
  }
  std::size_t offset_of(std::size_t section) const { return data_offset + section * file_bytes(); }
};

class SectionReader {
 public:
  virtual ~SectionReader() = default;
  virtual void rewind() = 0;
  // Reads the next section into `buffer` (room for its floats, or its file bytes without
  // conversion); false on a short read or a refused mode.
  virtual bool read_next(void* buffer) = 0;
};

class SectionWriter {
 public:
  virtual ~SectionWriter() = default;
  virtual void rewind() = 0;
  virtual bool write_next(const float* section) = 0;
  virtual lx::im::pixel::ClampCounts clamped() const = 0;
};

// pread of the section's bytes, then the byte swap of a foreign-order file and the conversion
// (one pass for both where the kernels have one).
class KernelSectionReader : public SectionReader {
 public:
  KernelSectionReader(int fd, SectionLayout layout, bool foreign_order, bool convert);
  void rewind() override { next_ = 0; }
  bool read_next(void* buffer) override;

 private:
  int fd_;
  SectionLayout layout_;
  bool swap_, convert_;
  std::size_t next_ = 0;
  std::vector<float> complex_scratch_;
};

// The section in slices through a small staging buffer that stays in the cache: each slice is
// read, swapped there if needed and widened into its place in the caller's buffer, with streaming
// stores for sections past kStreamingSectionBytes. Same result as KernelSectionReader, less
// memory traffic; it moves a section in several transfers instead of one.
class SlicedSectionReader : public SectionReader {
 public:
  static constexpr std::size_t kSliceBytes = 128 * 1024;
  SlicedSectionReader(int fd, SectionLayout layout, bool foreign_order);
  void rewind() override { next_ = 0; }
  bool read_next(void* buffer) override;

 private:
  int fd_;
  SectionLayout layout_;
  bool swap_;
  std::size_t next_ = 0;
  std::vector<unsigned char> staging_;
};

// The same bytes by pread alone: the floor any section read has to pay.
class PlainSectionReader : public SectionReader {
 public:
  PlainSectionReader(int fd, SectionLayout layout) : fd_(fd), layout_(layout) {}
  void rewind() override { next_ = 0; }
  bool read_next(void* buffer) override;

 private:
  int fd_;
  SectionLayout layout_;
  std::size_t next_ = 0;
};

// Floats narrowed chunk by chunk into one scratch buffer, each chunk written with pwrite.
class KernelSectionWriter : public SectionWriter {
 public:
  KernelSectionWriter(int fd, SectionLayout layout);
  void rewind() override { next_ = 0; }
  bool write_next(const float* section) override;
  lx::im::pixel::ClampCounts clamped() const override { return counts_; }

 private:
  int fd_;
  SectionLayout layout_;
  std::size_t next_ = 0;
  std::vector<unsigned char> scratch_;
  lx::im::pixel::ClampCounts counts_;
};

// Writes a whole section of already narrowed bytes with one pwrite: the floor for writing.
bool write_raw_section(int fd, const SectionLayout& layout, std::size_t section, const void* bytes);

}  // namespace im_io
