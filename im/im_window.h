// What window streams need from an image window runtime. This build has none: the null runtime
// answers that no window exists and that none can be opened, so window names fail to open with
// 803 (new) or 810 (old, append, ro). A real runtime implements this interface and is installed
// with set_window_runtime; the stream code does not change.
#pragma once

#include <cstddef>

namespace lx::im {

// A rectangle of one section of a window: columns x0..x1 and rows y0..y1 of the section at z, w,
// t, p (all 0-based, inclusive).
struct SectionRect {
    int z = 0, w = 0, t = 0, p = 0;
    int x0 = 0, x1 = 0, y0 = 0, y1 = 0;
};

class WindowRuntime {
public:
    virtual ~WindowRuntime() = default;
    virtual bool exists(int window) = 0;
    // Opens or creates the window; false on failure.
    virtual bool open(int window, const char *attribute) = 0;
    virtual void close(int window) = 0;
    // The window's 1024-byte header in shared memory (same layout as a file header).
    virtual unsigned char *header(int window) = 0;
    // Extended header buffer of the window, allocated zeroed in shared memory.
    virtual unsigned char *allocate_ext_header(int window, std::size_t bytes) = 0;
    // Current section of the window.
    virtual int position(int window) = 0;
    virtual void set_position(int window, int section) = 0;
    // Pixels of a rectangle to or from a buffer whose rows lie row_pixels pixels apart: 32-bit
    // floats when convert is set, else the window's own pixel type. False on failure.
    virtual bool read_rect(int window, const SectionRect &rect, bool convert, void *buffer, std::size_t row_pixels) = 0;
    virtual bool write_rect(int window, const SectionRect &rect, bool convert, const void *buffer,
                            std::size_t row_pixels) = 0;
};

WindowRuntime &window_runtime();
void set_window_runtime(WindowRuntime *runtime); // null restores the null runtime

} // namespace lx::im
