// Reading pixels: whole sections, single lines, sections into separate or padded lines, and
// rectangles of a section.
#include <lumarix/im.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "im_pixel_io.h"
#include "im_window.h"

using namespace lx::im;

namespace {

SectionRect rect_of(const Stream &s, int x0, int x1, int y0, int y1) { return {s.z, s.w, s.t, s.p, x0, x1, y0, y1}; }

int read_window(Stream &s, const SectionRect &rect, void *buffer, long long row_pixels)
{
    if (window_runtime().read_rect(s.window, rect, s.convert, buffer, static_cast<size_t>(row_pixels)))
        return 0;
    say(" %d: unable to read from window.\n", s.number);
    return IM_ERR_WINDOW_READ;
}

// `lines` whole lines of a file stream from its position into one buffer.
int read_file_lines(Stream &s, void *buffer, long long lines)
{
    const Moved moved = read_pixels(s, buffer, lines * s.nx);
    advance_position(s, moved.pixels);
    if (moved.status == IM_ERR_SHORT_READ)
        report_short_read(s, moved.pixels, moved.error, nullptr);
    return moved.status;
}

// A window stream's whole current section (the reads that take a section leave any partial line
// behind) into rows row_pixels apart, then on to the next section.
int read_window_section(Stream &s, void *buffer, long long row_pixels)
{
    s.line = 0;
    if (int status = read_window(s, rect_of(s, 0, s.nx - 1, 0, s.ny - 1), buffer, row_pixels))
        return status;
    advance_position(s, static_cast<long long>(s.nx) * s.ny);
    return 0;
}

// Moves the lines of a section read contiguously to rows `line_length` pixels apart, last line
// first so that no line is overwritten before it has moved.
void spread_lines(unsigned char *buffer, long long nx, long long ny, long long line_length, int bytes)
{
    const long long line_bytes = nx * bytes, row_bytes = line_length * bytes;
    for (long long row = ny - 1; row > 0; --row)
        std::memmove(buffer + row * row_bytes, buffer + row * line_bytes, static_cast<size_t>(line_bytes));
}

void zero_pads(unsigned char *buffer, long long nx, long long ny, long long line_length, int bytes)
{
    const long long line_bytes = nx * bytes, row_bytes = line_length * bytes;
    for (long long row = 0; row < ny; ++row)
        std::memset(buffer + row * row_bytes + line_bytes, 0, static_cast<size_t>(row_bytes - line_bytes));
}

// The rectangle's part of each needed line, read at its place (seeking only where rows leave
// columns out), swapped and converted into the caller's row. The staging takes one
// row of the rectangle, so a header's line length never sizes an allocation.
int read_file_rect(Stream &s, unsigned char *buffer, long long columns, int x0, int x1, int y0, int y1)
{
    const int bytes = s.bytes_per_pixel;
    const long long width = x1 - x0 + 1;
    const long long out_row = columns * caller_read_bytes(s);
    const int section = s.section;
    auto staging = std::make_unique_for_overwrite<unsigned char[]>(static_cast<size_t>(width * bytes));
    long long read_total = 0;
    for (int row = y0; row <= y1; ++row) {
        if (row == y0 || width < s.nx) {
            if (!seek_pixel(s, section, row, x0))
                return report_positioning_failed(s);
            set_position(s, section, row);
        }
        errno = 0;
        const long long got = stream_file_read(s, staging.get(), bytes, width);
        const int error = errno;
        s.last_op = kRead;
        read_total += got;
        if (got < width) {
            char detail[96];
            std::snprintf(detail, sizeof detail, "           cols %d -> %d, rows %d -> %d\n", x0, x1, y0, y1);
            report_short_read(s, read_total, error, detail);
            return IM_ERR_SHORT_READ;
        }
        unsigned char *to = buffer + (row - y0) * out_row;
        int status = s.swap ? pixel::swap_pixels(s.mode, staging.get(), static_cast<size_t>(width)) : 0;
        if (status == 0 && s.convert)
            status = pixel::widen_copy(s.mode, staging.get(), to, static_cast<size_t>(width));
        else if (status == 0)
            std::memcpy(to, staging.get(), static_cast<size_t>(width * bytes));
        if (status)
            return report_kernel_status(s, status);
    }
    return move_to_next_section(s, section);
}

} // namespace

extern "C" {

int IMRdSec(int stream, void *buffer)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (int status = check_transfer(s, buffer != nullptr))
            return status;
        if (s.kind == kWindow)
            return read_window_section(s, buffer, s.nx);
        return read_file_lines(s, buffer, s.ny);
    });
}

int IMRdLin(int stream, void *buffer)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (int status = check_transfer(s, buffer != nullptr))
            return status;
        if (s.kind == kFile)
            return read_file_lines(s, buffer, 1);
        if (int status = read_window(s, rect_of(s, 0, s.nx - 1, s.line, s.line), buffer, s.nx))
            return status;
        advance_position(s, s.nx);
        return 0;
    });
}

int IMRdSecl(int stream, void *const *lines)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        const bool have_lines =
            lines && std::none_of(lines, lines + std::max(0, s.ny), [](void *line) { return !line; });
        if (int status = check_transfer(s, have_lines))
            return status;
        if (s.kind == kWindow) {
            s.line = 0;
            for (int row = 0; row < s.ny; ++row)
                if (int status = read_window(s, rect_of(s, 0, s.nx - 1, row, row), lines[row], s.nx))
                    return status;
            advance_position(s, static_cast<long long>(s.nx) * s.ny);
            return 0;
        }
        long long read_total = 0;
        for (int row = 0; row < s.ny; ++row) {
            const Moved moved = read_pixels(s, lines[row], s.nx);
            read_total += moved.pixels;
            advance_position(s, moved.pixels);
            if (moved.status == IM_ERR_SHORT_READ)
                report_short_read(s, read_total, moved.error, nullptr);
            if (moved.status)
                return moved.status;
        }
        return 0;
    });
}

int IMRdPal(int stream, void *buffer, int line_length)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (int status = check_transfer(s, buffer != nullptr))
            return status;
        if (line_length < s.nx) {
            say(" %d: line length %d is shorter than a line (%d).\n", stream, line_length, s.nx);
            return IM_ERR_COLUMNS;
        }
        auto *bytes = static_cast<unsigned char *>(buffer);
        if (s.kind == kWindow) {
            if (int status = read_window_section(s, buffer, line_length))
                return status;
        } else {
            if (int status = read_file_lines(s, buffer, s.ny))
                return status;
            spread_lines(bytes, s.nx, s.ny, line_length, caller_read_bytes(s));
        }
        zero_pads(bytes, s.nx, s.ny, line_length, caller_read_bytes(s));
        return 0;
    });
}

int IMRdPas(int stream, void *buffer, int columns, int rows, int first_col, int last_col, int first_row, int last_row)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (!buffer)
            return report_no_buffer(s);
        if (int status = check_rectangle(s, columns, rows, first_col, last_col, first_row, last_row))
            return status;
        if (s.kind == kFile)
            return read_file_rect(s, static_cast<unsigned char *>(buffer), columns, first_col, last_col, first_row,
                                  last_row);
        s.line = 0;
        if (int status = read_window(s, rect_of(s, first_col, last_col, first_row, last_row), buffer, columns))
            return status;
        advance_position(s, static_cast<long long>(s.nx) * s.ny);
        return 0;
    });
}

} // extern "C"
