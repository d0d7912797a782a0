// Pixel transfers at a stream's position, shared by the section, line and rectangle calls.
// Their messages start with the name of the public call being served.
#pragma once

#include "im_call.h"
#include "pixel_convert.h"

namespace lx::im {

struct Moved {
    int status = 0;       // 0, or the status of the failure (its line already printed, but
                          // for 212: the caller prints it with report_short_read)
    long long pixels = 0; // whole pixels moved
    int error = 0;        // errno of a short transfer
};
// Bytes of one pixel in the caller's buffer. Reading: a float with conversion (mode 8 stays
// 8-byte values), else the file's own pixel. Writing: a float when the mode is narrowed from
// floats (0, 1, 6, 7 with conversion), else the file's own pixel.
int caller_read_bytes(const Stream &s);
int caller_write_bytes(const Stream &s);
// 0, or 402/403 with a line when the header gives a negative number of columns or rows.
int check_section_size(const Stream &s);
// The status of a pixel kernel (0, 214, 503, 905), with the caller's line when it failed.
int report_kernel_status(const Stream &s, int status);
// 301 with the caller's line: a seek failed.
int report_positioning_failed(const Stream &s);
// 901 with the caller's line: no buffer was given.
int report_no_buffer(const Stream &s);
// The checks before a section or line transfer: 901 without a buffer, else check_section_size.
int check_transfer(const Stream &s, bool have_buffer);
// 0, or 402/403 with the caller's line when columns first_col..last_col or rows
// first_row..last_row leave the section or do not fit a buffer of columns x rows pixels.
int check_rectangle(const Stream &s, int columns, int rows, int first_col, int last_col, int first_row, int last_row);
// A buffered stream that changes between reading and writing seeks by 0 first, as stdio needs.
void prepare_direction(Stream &s, int op);
// Reads pixels into buffer, swaps a foreign-order file and, with conversion, widens them in
// place. 212 (short), 214 (swap), 503, 905, 902.
Moved read_pixels(Stream &s, void *buffer, long long pixels);
// Prints the short-read lines: the count, an optional detail line, the system's error text.
void report_short_read(Stream &s, long long pixels, int error, const char *detail);
// Writes pixels from buffer, narrowing floats chunk by chunk with conversion (modes 0, 1, 6, 7),
// else as they are. 213 (short, line printed), 503, 905.
Moved write_pixels(Stream &s, const void *buffer, long long pixels, pixel::ClampCounts &clamped);
// After a write: the verbose truncation line, then with flush the flush of a buffered stream
// (so that other processes see whole sections). 0, or 213 when the flush fails.
int finish_write(Stream &s, const pixel::ClampCounts &clamped, bool flush);
// Moves the record's position on by a number of pixels (window streams wrap to section 0).
void advance_position(Stream &s, long long pixels);
// Sets the record's section and line, and the z, w, t, p of that section.
void set_position(Stream &s, int section, int line);
// Positions a file stream at a pixel of a line of a section. false when the seek fails.
bool seek_pixel(Stream &s, long long section, long long line, long long column);
// Leaves a file stream at the start of the section after this one, as a whole-section transfer
// does. 0, or 301 with the caller's line.
int move_to_next_section(Stream &s, int section);

} // namespace lx::im
