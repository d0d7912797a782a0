// Every section of an image file through the image stream library: one IMRdSec or IMWrSec each,
// as a program of the suite reads or writes a stack.
#pragma once

#include <cstddef>
#include <string>

namespace im_io {

class LibraryStream {
public:
    // Opens a stream on `path` with `attribute` ("ro", "old_unbuffered", ...). Throws on failure.
    LibraryStream(const std::string &path, const char *attribute, bool convert);
    ~LibraryStream();
    LibraryStream(const LibraryStream &) = delete;
    LibraryStream &operator=(const LibraryStream &) = delete;

    std::size_t sections() const { return sections_; }
    std::size_t pixels() const { return pixels_; }
    // Reads every section into `buffer` from the first on; false when a read fails.
    bool read_all(void *buffer);
    // Writes `section` as every section of the file from the first on; false when a write fails.
    bool write_all(const float *section);

private:
    int stream_;
    std::size_t sections_ = 0, pixels_ = 0;
};

} // namespace im_io
