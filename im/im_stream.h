// The stream record and the stream table of the image stream library.
#pragma once

#include <lumarix/im.h>
#include <sys/types.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace lx::im {

enum Kind { kWindow = 0, kFile = 1 };
enum LastOp { kNoOp = 0, kRead = 1, kWrite = 2, kSeek = 3 };
constexpr int kBufferedBytes = 2097160;
constexpr int kMaxWaves = 12;
constexpr int kMaxTitles = 10;
constexpr int kWindowMaxTitles = 5;
constexpr int kWindowMaxWaves = 5;

struct Field {
    std::string name;
    std::string value; // exactly size bytes (binary values may hold zero bytes)
    char type = 0;
    int size = 0;
};

// The extended header bytes: owned by the record for a file stream, or attached to memory that
// the image window runtime keeps in shared memory for a window stream.
class ExtBuffer {
public:
    unsigned char *data() { return external_ ? external_ : owned_.data(); }
    const unsigned char *data() const { return external_ ? external_ : owned_.data(); }
    size_t size() const { return external_ ? external_size_ : owned_.size(); }
    bool empty() const { return size() == 0; }
    void assign(size_t bytes, unsigned char value)
    {
        detach();
        owned_.assign(bytes, value);
    }
    void attach(unsigned char *memory, size_t bytes)
    {
        owned_ = {};
        external_ = memory;
        external_size_ = bytes;
    }
    void clear()
    {
        detach();
        owned_ = {};
    }

private:
    void detach()
    {
        external_ = nullptr;
        external_size_ = 0;
    }
    std::vector<unsigned char> owned_;
    unsigned char *external_ = nullptr;
    size_t external_size_ = 0;
};

struct Stream {
    int number = 0;
    int kind = kFile;
    int window = -1;
    std::string name, attribute, directory;
    int io_kind = 1;
    int open_mode = 0;
    std::FILE *file = nullptr;
    int fd = -1;
    std::unique_ptr<char[]> io_buffer;
    bool swap = false;
    int display = 0;

    // Decoded header.
    int nx = 0, ny = 0, sections = 0, nz = 0, nw = 0, nt = 0, np = 0;
    int mode = 0, bytes_per_pixel = 2, sequence = 0;
    std::array<int, 3> start{}, axis_map{};
    std::array<float, 3> sampling{1, 1, 1}, cell{}, pixel_size{}, angle{}, rotation{};
    float origin_x = 0, origin_y = 0, origin_z = 0;
    int space_group = 0, image_type = 0, lens_id = 0;
    std::array<int, 2> data_int{};
    std::array<float, 2> data_float{};
    int16_t unused98 = 0, unused220 = 0;
    int file_id = 0; // as the file holds it (IM_FILE_ID once a foreign order is recognised)
    int value132 = 0;
    float value134 = 0;
    int ext_size = 0, ext_type = 0, ints_per_section = 0, floats_per_section = 0;
    std::array<float, kMaxWaves> wave_min{}, wave_max{}, wave_mean{}, wave{};
    std::array<std::array<int, 3>, kMaxWaves> wave_values{};
    double time_stamp = 0;
    int nt_lower_bound = 0;
    int data_bits = 0;
    int max_titles = 0, max_waves = 0, title_count = 0;
    std::array<std::array<char, 81>, kMaxTitles> titles{};

    // Raw header (allocated on first need) and extended header with its field area.
    std::vector<unsigned char> raw;
    ExtBuffer ext; // ext.size() is the allocated size (0: no buffer)
    int field_start = 0, field_space = 0, field_used = 0;
    int field_blocks = 0; // 1024-byte blocks after the per-section area
    std::vector<Field> fields;

    // Position: the section and the line in it where the next transfer starts. A file stream's
    // position is also its file offset; a window stream's lives only here.
    int z = 0, w = 0, t = 0, p = 0, section = 0, line = 0;
    int last_op = kNoOp;
    bool convert = true;

    int32_t *ext_ints() { return reinterpret_cast<int32_t *>(ext.data()); }
    float *ext_floats() { return reinterpret_cast<float *>(ext.data()); }
    bool has_header() const { return !raw.empty(); }
    // The extended header bytes in memory: the size the header names, or less when the file held less.
    friend long long held_ext_bytes(const Stream &s)
    {
        return std::min<long long>(std::max(0, s.ext_size), static_cast<long long>(s.ext.size()));
    }
};

// Process-wide state.
extern int g_verbose;
Stream *stream_slot(int number);
void set_stream_slot(int number, std::unique_ptr<Stream> record);
std::unique_ptr<Stream> take_stream_slot(int number);
void clear_stream_table();

// The check that starts every call: 0, 1 or 3 with its message naming the caller.
int check_stream(int number, const char *caller);
// check_stream and the record in one step (null when the check fails; status in *status).
Stream *checked(int number, const char *caller, int *status);

// Bytes per pixel of a mode: 0 ok, 503 (2 assumed), 905 (mode 3, 4 bytes). Prints its line.
int bytes_per_pix(int stream, int mode, int *bytes, bool quiet = false);
const char *mode_name(int mode);

// Header encoding and decoding through the field-location table (im_header.cpp).
int decode_header(Stream &s); // IMSubs
void encode_header(Stream &s);
void swap_header(unsigned char *raw, bool extended);
// An encoded (native) header turned into the byte order of the stream's file.
void header_in_file_order(const Stream &s, unsigned char *raw);
int limit_titles(int image_type, bool window);
int limit_waves(int image_type, bool window);

// File I/O (im_fileio.cpp).
int open_file(Stream &s);
void close_file(Stream &s);
// Whole elements moved (iStreamFileRead/iStreamFileWrite): one stdio call for buffered I/O, at
// most kMaxTransferAttempts plain reads or writes for unbuffered I/O.
constexpr int kMaxTransferAttempts = 11;
long long stream_file_read(Stream &s, void *buffer, long long size, long long count);
long long stream_file_write(Stream &s, const void *buffer, long long size, long long count);
bool stream_file_seek(Stream &s, long long offset, int whence);
long long stream_file_tell(Stream &s);
long long stream_file_size(Stream &s);
// Hands a buffered stream's pending bytes to the system; false when that fails (disk full).
bool stream_file_flush(Stream &s);
// 1 when a buffered stream has met the end of its file; 0 otherwise (printing that unbuffered
// streams cannot tell).
int stream_file_eof(Stream &s);

// The system calls behind unbuffered transfers, replaceable so that tests can make them move a
// few bytes at a time or fail.
struct FileCalls {
    ssize_t (*read)(int fd, void *buffer, size_t bytes);
    ssize_t (*write)(int fd, const void *buffer, size_t bytes);
};
FileCalls &file_calls();

// Positioning helpers (im_position.cpp).
int section_number(const Stream &s, int z, int w, int t, int p, int *section);
void section_position(const Stream &s, int section, int *z, int *w, int *t, int *p);
bool offset_of(const Stream &s, long long section, long long line, long long *offset);

// Extended header (im_exthdr.cpp, im_fields.cpp).
int ext_resize(Stream &s, int ints, int floats, int sections, int field_blocks);
void place_field_area(Stream &s);
int parse_fields(Stream &s, bool quiet);
int write_fields(Stream &s, int *needed);
int create_ext_header(Stream &s, int type, int field_blocks);
int set_field_text(Stream &s, const std::string &name, const std::string &value, char type);

} // namespace lx::im
