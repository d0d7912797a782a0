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

// Staging for the lines of a rectangle: at least one line, else about this many bytes of lines.
constexpr long long kRectStagingBytes = 256 * 1024;

int no_buffer(const Stream &s, const char *caller)
{
    std::fprintf(stderr, "%s %d: no buffer given.\n", caller, s.number);
    return 901;
}

SectionRect rect_of(const Stream &s, int x0, int x1, int y0, int y1) { return {s.z, s.w, s.t, s.p, x0, x1, y0, y1}; }

int read_window(Stream &s, const char *caller, const SectionRect &rect, void *buffer, long long row_pixels)
{
    if (window_runtime().read_rect(s.window, rect, s.convert, buffer, static_cast<size_t>(row_pixels)))
        return 0;
    std::fprintf(stderr, "%s %d: unable to read from window.\n", caller, s.number);
    return 808;
}

// `lines` whole lines of a file stream from its position into one buffer.
int read_file_lines(Stream &s, const char *caller, void *buffer, long long lines)
{
    const Moved moved = read_pixels(s, caller, buffer, lines * s.nx);
    advance_position(s, moved.pixels);
    if (moved.status == 212)
        report_short_read(s, caller, moved.pixels, moved.error, nullptr);
    return moved.status;
}

// A window stream's whole current section (the reads that take a section leave any partial line
// behind) into rows row_pixels apart, then on to the next section.
int read_window_section(Stream &s, const char *caller, void *buffer, long long row_pixels)
{
    s.line = 0;
    if (int status = read_window(s, caller, rect_of(s, 0, s.nx - 1, 0, s.ny - 1), buffer, row_pixels))
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

// The needed lines of a rectangle, staged a few at a time; each line's columns are swapped and
// converted into the caller's row.
int read_file_rect(Stream &s, unsigned char *buffer, long long columns, int x0, int x1, int y0, int y1)
{
    const int bytes = s.bytes_per_pixel;
    const long long line_bytes = static_cast<long long>(s.nx) * bytes;
    const long long batch = std::max(1LL, kRectStagingBytes / std::max(1LL, line_bytes));
    const long long width = x1 - x0 + 1;
    const long long out_row = columns * caller_read_bytes(s);
    const int section = s.section;
    auto staging = std::make_unique_for_overwrite<unsigned char[]>(static_cast<size_t>(std::min<long long>(batch, y1 - y0 + 1) * line_bytes));

    if (!seek_pixel(s, section, y0, 0)) {
        std::fprintf(stderr, "%s %d: error positioning stream.\n", "IMRdPas", s.number);
        return 301;
    }
    set_position(s, section, y0);
    long long read_total = 0;
    for (long long row = y0; row <= y1; row += batch) {
        const long long rows = std::min(batch, y1 - row + 1);
        errno = 0;
        const long long got = stream_file_read(s, staging.get(), bytes, rows * s.nx);
        const int error = errno;
        s.last_op = kRead;
        read_total += got;
        advance_position(s, got);
        if (got < rows * s.nx) {
            char detail[96];
            std::snprintf(detail, sizeof detail, "           cols %d -> %d, rows %d -> %d\n", x0, x1, y0, y1);
            report_short_read(s, "IMRdPas", read_total, error, detail);
            return 212;
        }
        for (long long i = 0; i < rows; ++i) {
            unsigned char *from = staging.get() + i * line_bytes + x0 * bytes;
            unsigned char *to = buffer + (row - y0 + i) * out_row;
            if (s.swap && pixel::swap_pixels(s.mode, from, static_cast<size_t>(width)) != pixel::kStatusOk) {
                std::fprintf(stderr, "IMRdPas %d: byte swap failed\n", s.number);
                return 214;
            }
            if (!s.convert) {
                std::memcpy(to, from, static_cast<size_t>(width * bytes));
                continue;
            }
            const int status = pixel::widen_copy(s.mode, from, to, static_cast<size_t>(width));
            if (status == pixel::kStatusComplex16) {
                std::fprintf(stderr, "IMRdPas %d: 16 bit complex data not supported.\n", s.number);
                return 905;
            }
            if (status != pixel::kStatusOk) {
                std::fprintf(stderr, "IMRdPas %d: %d is an invalid pixel data type.\n", s.number, s.mode);
                return 503;
            }
        }
    }
    if (!seek_pixel(s, section + 1LL, 0, 0)) {
        std::fprintf(stderr, "%s %d: error positioning stream.\n", "IMRdPas", s.number);
        return 301;
    }
    set_position(s, section + 1, 0);
    return 0;
}

} // namespace

extern "C" {

int IMRdSec(int stream, void *buffer)
{
    return guarded(stream, "IMRdSec", [&](Stream &s) {
        if (!buffer)
            return no_buffer(s, "IMRdSec");
        if (int status = check_section_size(s, "IMRdSec"))
            return status;
        if (s.kind == kWindow)
            return read_window_section(s, "IMRdSec", buffer, s.nx);
        return read_file_lines(s, "IMRdSec", buffer, s.ny);
    });
}

int IMRdLin(int stream, void *buffer)
{
    return guarded(stream, "IMRdLin", [&](Stream &s) {
        if (!buffer)
            return no_buffer(s, "IMRdLin");
        if (int status = check_section_size(s, "IMRdLin"))
            return status;
        if (s.kind == kFile)
            return read_file_lines(s, "IMRdLin", buffer, 1);
        if (int status = read_window(s, "IMRdLin", rect_of(s, 0, s.nx - 1, s.line, s.line), buffer, s.nx))
            return status;
        advance_position(s, s.nx);
        return 0;
    });
}

int IMRdSecl(int stream, void *const *lines)
{
    return guarded(stream, "IMRdSecl", [&](Stream &s) {
        if (!lines || std::any_of(lines, lines + std::max(0, s.ny), [](void *line) { return !line; }))
            return no_buffer(s, "IMRdSecl");
        if (int status = check_section_size(s, "IMRdSecl"))
            return status;
        if (s.kind == kWindow) {
            s.line = 0;
            for (int row = 0; row < s.ny; ++row)
                if (int status = read_window(s, "IMRdSecl", rect_of(s, 0, s.nx - 1, row, row), lines[row], s.nx))
                    return status;
            advance_position(s, static_cast<long long>(s.nx) * s.ny);
            return 0;
        }
        long long read_total = 0;
        for (int row = 0; row < s.ny; ++row) {
            const Moved moved = read_pixels(s, "IMRdSecl", lines[row], s.nx);
            read_total += moved.pixels;
            advance_position(s, moved.pixels);
            if (moved.status == 212)
                report_short_read(s, "IMRdSecl", read_total, moved.error, nullptr);
            if (moved.status)
                return moved.status;
        }
        return 0;
    });
}

int IMRdPal(int stream, void *buffer, int line_length)
{
    return guarded(stream, "IMRdPal", [&](Stream &s) {
        if (!buffer)
            return no_buffer(s, "IMRdPal");
        if (int status = check_section_size(s, "IMRdPal"))
            return status;
        if (line_length < s.nx) {
            std::fprintf(stderr, "IMRdPal %d: line length %d is shorter than a line (%d).\n", stream, line_length, s.nx);
            return 402;
        }
        auto *bytes = static_cast<unsigned char *>(buffer);
        if (s.kind == kWindow) {
            if (int status = read_window_section(s, "IMRdPal", buffer, line_length))
                return status;
        } else {
            if (int status = read_file_lines(s, "IMRdPal", buffer, s.ny))
                return status;
            spread_lines(bytes, s.nx, s.ny, line_length, caller_read_bytes(s));
        }
        zero_pads(bytes, s.nx, s.ny, line_length, caller_read_bytes(s));
        return 0;
    });
}

int IMRdPas(int stream, void *buffer, int columns, int rows, int first_col, int last_col, int first_row,
            int last_row)
{
    return guarded(stream, "IMRdPas", [&](Stream &s) {
        if (!buffer)
            return no_buffer(s, "IMRdPas");
        const long long width = static_cast<long long>(last_col) - first_col + 1;
        const long long height = static_cast<long long>(last_row) - first_row + 1;
        if (first_col < 0 || last_col >= s.nx || width < 1 || width > columns) {
            std::fprintf(stderr, "IMRdPas %d: too many columns (%d/%d/%d).\n", stream, static_cast<int>(width), columns,
                         s.nx);
            return 402;
        }
        if (first_row < 0 || last_row >= s.ny || height < 1 || height > rows) {
            std::fprintf(stderr, "IMRdPas %d: too many rows (%d/%d/%d).\n", stream, static_cast<int>(height), rows, s.ny);
            return 403;
        }
        if (s.kind == kFile)
            return read_file_rect(s, static_cast<unsigned char *>(buffer), columns, first_col, last_col, first_row,
                                  last_row);
        s.line = 0;
        if (int status = read_window(s, "IMRdPas", rect_of(s, first_col, last_col, first_row, last_row), buffer, columns))
            return status;
        advance_position(s, static_cast<long long>(s.nx) * s.ny);
        return 0;
    });
}

} // extern "C"
