// One open stream of the image stream library, owned by a Python object: closed when the object
// is closed or collected, and its header written first when it was changed through a writable stream.
#pragma once

#include <string>

namespace lx::py {

class Stream {
public:
    // Opens the file `path` (never a window or database name) with the library's attribute
    // ("ro", "old", "new", optionally "_unbuffered").
    Stream(const std::string &path, const std::string &attribute);
    ~Stream();
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    // The stream number; throws StatusError (IM_ERR_FILE_NOT_OPEN) once closed.
    int number() const;
    const std::string &path() const { return path_; }
    bool closed() const { return number_ == 0; }
    bool writable() const { return writable_; }
    // Throws StatusError (IM_ERR_NO_READ_WRITE_ACCESS) for a read-only stream.
    void require_writable() const;
    // Marks the header as changed: it is written before the stream closes.
    void touch() { dirty_ = true; }
    // Writes the header and extended header now.
    void write_header();
    // Writes a changed header, then closes; safe to call again. Throws StatusError when the header
    // could not be written (the stream is closed all the same).
    void close();

private:
    int number_ = 0;
    std::string path_;
    bool writable_ = false;
    bool dirty_ = false;
};

} // namespace lx::py
