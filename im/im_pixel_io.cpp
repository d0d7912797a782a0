// Pixel transfers at a stream's position: reading with byte swap and widening in place, writing
// with chunked narrowing, and the bookkeeping of the position that every transfer shares.
#include "im_pixel_io.h"

#include <lumarix/im.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

namespace lx::im {
namespace {

// The conversion scratch buffer of writes, shared by all streams (the library runs on one thread).
unsigned char *write_scratch()
{
    static const std::unique_ptr<unsigned char[]> scratch =
        std::make_unique_for_overwrite<unsigned char[]>(pixel::kWriteScratchBytes);
    return scratch.get();
}

} // namespace

int report_kernel_status(const Stream &s, int status)
{
    switch (status) {
    case pixel::kStatusOk: return 0;
    case pixel::kStatusSwapFailed: say(" %d: byte swap failed\n", s.number); break;
    case pixel::kStatusComplex16: say(" %d: 16 bit complex data not supported.\n", s.number); break;
    default: say(" %d: %d is an invalid pixel data type.\n", s.number, s.mode);
    }
    return status;
}

namespace {

bool converts_on_write(const Stream &s) { return s.convert && pixel::write_chunk_pixels(s.mode) > 0; }

} // namespace

int caller_read_bytes(const Stream &s)
{
    if (!s.convert || s.mode == pixel::kModeDouble)
        return s.bytes_per_pixel;
    return static_cast<int>(sizeof(float));
}

int caller_write_bytes(const Stream &s)
{
    return converts_on_write(s) ? static_cast<int>(sizeof(float)) : s.bytes_per_pixel;
}

int check_section_size(const Stream &s)
{
    if (s.nx >= 0 && s.ny >= 0)
        return 0;
    say(" %d: invalid section size (%d x %d).\n", s.number, s.nx, s.ny);
    return s.nx < 0 ? IM_ERR_COLUMNS : IM_ERR_ROWS;
}

int report_positioning_failed(const Stream &s)
{
    say(" %d: error positioning stream.\n", s.number);
    return IM_ERR_POSITION;
}

int report_no_buffer(const Stream &s)
{
    say(" %d: no buffer given.\n", s.number);
    return IM_ERR_MEMORY;
}

int check_transfer(const Stream &s, bool have_buffer)
{
    return have_buffer ? check_section_size(s) : report_no_buffer(s);
}

int check_rectangle(const Stream &s, int columns, int rows, int first_col, int last_col, int first_row, int last_row)
{
    const long long width = static_cast<long long>(last_col) - first_col + 1;
    const long long height = static_cast<long long>(last_row) - first_row + 1;
    if (first_col < 0 || last_col >= s.nx || width < 1 || width > columns) {
        say(" %d: too many columns (%d/%d/%d).\n", s.number, static_cast<int>(width), columns, s.nx);
        return IM_ERR_COLUMNS;
    }
    if (first_row < 0 || last_row >= s.ny || height < 1 || height > rows) {
        say(" %d: too many rows (%d/%d/%d).\n", s.number, static_cast<int>(height), rows, s.ny);
        return IM_ERR_ROWS;
    }
    return 0;
}

void prepare_direction(Stream &s, int op)
{
    if (s.kind != kFile || s.io_kind != IM_IO_BUFFERED || !s.file)
        return;
    const int other = op == kRead ? kWrite : kRead;
    if (s.last_op == other)
        stream_file_seek(s, 0, SEEK_CUR);
}

Moved read_pixels(Stream &s, void *buffer, long long pixels)
{
    Moved moved;
    prepare_direction(s, kRead);
    // A complex section is read aside; the caller's buffer receives the magnitudes.
    const bool magnitudes = s.convert && s.mode == pixel::kModeComplexFloat;
    std::unique_ptr<float[]> pairs;
    if (magnitudes)
        pairs = std::make_unique_for_overwrite<float[]>(static_cast<size_t>(2 * pixels));
    void *target = magnitudes ? static_cast<void *>(pairs.get()) : buffer;

    errno = 0;
    moved.pixels = stream_file_read(s, target, s.bytes_per_pixel, pixels);
    moved.error = errno;
    s.last_op = kRead;
    if (moved.pixels < pixels) {
        moved.status = IM_ERR_SHORT_READ;
        return moved;
    }
    const auto n = static_cast<size_t>(pixels);
    int status = pixel::kStatusOk;
    if (s.swap && s.convert)
        status = pixel::swap_and_widen_to_float(s.mode, buffer, n, pairs.get());
    else if (s.swap)
        status = pixel::swap_pixels(s.mode, buffer, n);
    else if (s.convert)
        status = pixel::widen_to_float(s.mode, buffer, n, pairs.get());
    moved.status = report_kernel_status(s, status);
    return moved;
}

void report_short_read(Stream &s, long long pixels, int error, const char *detail)
{
    const int eof = stream_file_eof(s);
    say(" %d: only %d pixels read (EOF=%d).\n", s.number, static_cast<int>(std::min<long long>(pixels, INT_MAX)), eof);
    if (detail)
        std::fputs(detail, stderr);
    emit("        %s\n", std::strerror(error));
}

static Moved short_write(const Stream &s, Moved moved)
{
    say(" %d: incorrect number of pixels written.\n", s.number);
    emit("        %s\n", std::strerror(moved.error));
    moved.status = IM_ERR_SHORT_WRITE;
    return moved;
}

Moved write_pixels(Stream &s, const void *buffer, long long pixels, pixel::ClampCounts &clamped)
{
    Moved moved;
    if (s.mode == pixel::kModeComplexInt16) {
        moved.status = report_kernel_status(s, pixel::kStatusComplex16);
        return moved;
    }
    if (s.convert && pixel::file_bytes_per_pixel(s.mode) == 0) {
        moved.status = report_kernel_status(s, pixel::kStatusInvalidMode);
        return moved;
    }
    prepare_direction(s, kWrite);
    s.last_op = kWrite;
    const int bytes = s.bytes_per_pixel;
    if (!converts_on_write(s)) {
        errno = 0;
        moved.pixels = stream_file_write(s, buffer, bytes, pixels);
        moved.error = errno;
        return moved.pixels < pixels ? short_write(s, moved) : moved;
    }
    const auto chunk = static_cast<long long>(pixel::write_chunk_pixels(s.mode));
    const auto *floats = static_cast<const float *>(buffer);
    unsigned char *scratch = write_scratch();
    for (long long done = 0; done < pixels; done += chunk) {
        const long long n = std::min(chunk, pixels - done);
        pixel::narrow_from_float(s.mode, floats + done, scratch, static_cast<size_t>(n), clamped);
        errno = 0;
        const long long wrote = stream_file_write(s, scratch, bytes, n);
        moved.pixels += wrote;
        if (wrote < n) {
            moved.error = errno;
            return short_write(s, moved);
        }
    }
    return moved;
}

int finish_write(Stream &s, const pixel::ClampCounts &clamped, bool flush)
{
    if ((clamped.low > 0 || clamped.high > 0) && g_verbose)
        say(" %d: intensity truncation (hi=%d, lo=%d).\n", s.number,
            static_cast<int>(std::min<size_t>(clamped.high, INT_MAX)),
            static_cast<int>(std::min<size_t>(clamped.low, INT_MAX)));
    if (!flush)
        return 0;
    errno = 0;
    if (stream_file_flush(s))
        return 0;
    Moved failed;
    failed.error = errno;
    return short_write(s, failed).status;
}

void advance_position(Stream &s, long long pixels)
{
    const long long per_section = static_cast<long long>(s.nx) * s.ny;
    if (per_section <= 0)
        return;
    long long within = static_cast<long long>(s.line) * s.nx + pixels;
    long long section = s.section + within / per_section;
    within %= per_section;
    if (s.kind == kWindow && s.sections > 0)
        section %= s.sections;
    set_position(s, static_cast<int>(std::min<long long>(section, INT_MAX)), static_cast<int>(within / s.nx));
}

void set_position(Stream &s, int section, int line)
{
    s.section = section;
    s.line = line;
    section_position(s, section, &s.z, &s.w, &s.t, &s.p);
}

bool seek_pixel(Stream &s, long long section, long long line, long long column)
{
    long long offset = 0;
    if (!offset_of(s, section, line, &offset))
        return false;
    if (!stream_file_seek(s, offset + column * s.bytes_per_pixel, SEEK_SET))
        return false;
    s.last_op = kSeek;
    return true;
}

int move_to_next_section(Stream &s, int section)
{
    if (!seek_pixel(s, section + 1LL, 0, 0))
        return report_positioning_failed(s);
    set_position(s, section + 1, 0);
    return 0;
}

} // namespace lx::im
