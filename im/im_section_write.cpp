// Writing pixels: whole sections, single lines and rectangles of a section.
#include <lumarix/im.h>

#include <cstring>

#include "im_pixel_io.h"
#include "im_window.h"

using namespace lx::im;

namespace {

int write_window(Stream &s, const SectionRect &rect, const void *buffer, long long row_pixels)
{
    if (window_runtime().write_rect(s.window, rect, s.convert, buffer, static_cast<size_t>(row_pixels)))
        return 0;
    say(" %d: unable to write to window.\n", s.number);
    return IM_ERR_WINDOW_WRITE;
}

// `pixels` pixels of a file stream at its position; with flush, a buffered stream hands them to
// the system at once.
int write_file_pixels(Stream &s, const void *buffer, long long pixels, bool flush)
{
    pixel::ClampCounts clamped;
    const Moved moved = write_pixels(s, buffer, pixels, clamped);
    advance_position(s, moved.pixels);
    if (moved.status)
        return moved.status;
    return finish_write(s, clamped, flush);
}

// The rectangle's lines at their places in the current section, seeking over the columns outside
// it; the stream then stands at the start of the next section.
int write_file_rect(Stream &s, const unsigned char *buffer, long long columns, int x0, int x1, int y0, int y1)
{
    const long long width = x1 - x0 + 1;
    const long long in_row = columns * caller_write_bytes(s);
    const int section = s.section;
    pixel::ClampCounts clamped;
    for (int row = y0; row <= y1; ++row) {
        if (!seek_pixel(s, section, row, x0))
            return report_positioning_failed(s);
        set_position(s, section, row);
        const Moved moved = write_pixels(s, buffer + (row - y0) * in_row, width, clamped);
        if (moved.status)
            return moved.status;
    }
    if (int status = finish_write(s, clamped, true))
        return status;
    return move_to_next_section(s, section);
}

} // namespace

extern "C" {

int IMWrSec(int stream, const void *buffer)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (int status = check_transfer(s, buffer != nullptr))
            return status;
        const long long pixels = static_cast<long long>(s.nx) * s.ny;
        if (s.kind == kFile)
            return write_file_pixels(s, buffer, pixels, true);
        s.line = 0;
        if (int status = write_window(s, {s.z, s.w, s.t, s.p, 0, s.nx - 1, 0, s.ny - 1}, buffer, s.nx))
            return status;
        advance_position(s, pixels);
        return 0;
    });
}

int IMWrLin(int stream, const void *buffer)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (!s.convert) {
            say(": write without conversion not implemented yet.\n");
            return IM_ERR_NOT_IMPLEMENTED;
        }
        if (int status = check_transfer(s, buffer != nullptr))
            return status;
        if (s.kind == kFile) {
            // A buffered stream hands its bytes over once the line completes a section.
            const bool last_line = s.line == s.ny - 1;
            return write_file_pixels(s, buffer, s.nx, last_line);
        }
        if (int status = write_window(s, {s.z, s.w, s.t, s.p, 0, s.nx - 1, s.line, s.line}, buffer, s.nx))
            return status;
        advance_position(s, s.nx);
        return 0;
    });
}

int IMWrPas(int stream, const void *buffer, int columns, int rows, int first_col, int last_col, int first_row,
            int last_row)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        // The whole section from a buffer of exactly its size is a section write.
        if (first_col == 0 && last_col == s.nx - 1 && first_row == 0 && last_row == s.ny - 1 && columns == s.nx &&
            rows == s.ny)
            return IMWrSec(stream, buffer);
        if (!buffer)
            return report_no_buffer(s);
        if (int status = check_rectangle(s, columns, rows, first_col, last_col, first_row, last_row))
            return status;
        if (s.kind == kFile)
            return write_file_rect(s, static_cast<const unsigned char *>(buffer), columns, first_col, last_col,
                                   first_row, last_row);
        s.line = 0;
        if (int status =
                write_window(s, {s.z, s.w, s.t, s.p, first_col, last_col, first_row, last_row}, buffer, columns))
            return status;
        advance_position(s, static_cast<long long>(s.nx) * s.ny);
        return 0;
    });
}

} // extern "C"
