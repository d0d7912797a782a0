// Opening and closing streams, reading and writing the header, fresh headers.
#include <lumarix/im.h>
#include <lumarix/im_format.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "im_call.h"
#include "im_window.h"

namespace lx::im {
namespace {

bool g_first_open = true;

struct Attribute {
    int open_mode = -1;
    int io_kind = IM_IO_BUFFERED;
};

Attribute parse_attribute(const char *attribute)
{
    Attribute result;
    std::string word;
    for (const char *c = attribute ? attribute : ""; *c && *c != ' ' && word.size() < 35; ++c)
        word += static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
    auto begins = [&](const char *prefix) { return word.compare(0, std::strlen(prefix), prefix) == 0; };
    if (begins("new") || begins("scratch"))
        result.open_mode = IM_MODE_NEW;
    else if (begins("ro"))
        result.open_mode = IM_MODE_RO;
    else if (begins("old"))
        result.open_mode = IM_MODE_OLD;
    else if (begins("append"))
        result.open_mode = IM_MODE_APPEND;
    if (word.find("_unbuffered") != std::string::npos)
        result.io_kind = IM_IO_UNBUFFERED;
    if (word.find("_buffered") != std::string::npos)
        result.io_kind = IM_IO_BUFFERED;
    return result;
}

bool is_database_name(const std::string &name) { return name.size() >= 4 && strncasecmp(name.c_str(), "rdb:", 4) == 0; }

// Step 5 of opening: 0 or the access failure (messages printed).
int check_access(Stream &s)
{
    const int stream = s.number;
    if (s.io_kind == IM_IO_DATABASE)
        return 0; // the database service checks its own paths
    if (s.open_mode == IM_MODE_NEW) {
        if (!s.directory.empty() && access(s.directory.c_str(), R_OK | W_OK) != 0) {
            if (errno == ENOENT || errno == ENOTDIR) {
                say(" %d: unable to find directory:\n        %s\n", stream, s.directory.c_str());
                return IM_ERR_NO_DIRECTORY;
            }
            say(" %d: unable to obtain read/write access to\n%s\n", stream, s.directory.c_str());
            return IM_ERR_NO_READ_WRITE_ACCESS;
        }
        return 0;
    }
    const bool ro = s.open_mode == IM_MODE_RO;
    if (access(s.name.c_str(), ro ? R_OK : R_OK | W_OK) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) {
            say(" %d: unable to find file\n%s\n", stream, s.name.c_str());
            return IM_ERR_NO_FILE;
        }
        if (ro) {
            say(" %d: unable to obtain read access to\n%s\n", stream, s.name.c_str());
            return IM_ERR_NO_READ_ACCESS;
        }
        say(" %d: unable to obtain read/write access to\n%s\n", stream, s.name.c_str());
        return IM_ERR_NO_READ_WRITE_ACCESS;
    }
    return 0;
}

// Step 10: the extended header of a file stream. 0 or 210 (the stream stays open with what the
// file holds; a hostile size never allocates more than the file's own bytes).
int read_ext_header(Stream &s)
{
    const int stream = s.number;
    s.ext.clear();
    const long long available = std::max(0LL, stream_file_size(s) - IM_HEADER_BYTES);
    const long long held = std::min<long long>(available, s.ext_size);
    s.ext.assign(static_cast<size_t>(held), 0);
    if (!stream_file_seek(s, IM_HEADER_BYTES, SEEK_SET)) {
        say(" %d: error positioning stream.\n", stream);
        s.ext.clear();
        return IM_ERR_POSITION;
    }
    const long long got = held > 0 ? stream_file_read(s, s.ext.data(), 1, held) : 0;
    int status = 0;
    if (got != s.ext_size) {
        say(" %d: error reading extended header (%d,%d,%s,\"%s\").\n", stream, static_cast<int>(got), s.ext_size,
            s.attribute.c_str(), s.name.c_str());
        status = IM_ERR_READ_EXT_HEADER;
    }
    if (s.swap) {
        const long long words = std::min<long long>(static_cast<long long>(s.sections) *
                                                        std::max(0, s.ints_per_section + s.floats_per_section),
                                                    static_cast<long long>(s.ext.size()) / 4);
        for (long long i = 0; i < words; ++i)
            std::reverse(s.ext.data() + 4 * i, s.ext.data() + 4 * i + 4);
    }
    place_field_area(s);
    const int parsed = parse_fields(s, false);
    if (parsed != 0 && parsed != IM_ERR_FIELDS_EMPTY)
        say(" %d: fields after field %d not read: %s.\n", stream, static_cast<int>(s.fields.size()),
            IMRtStatusText(parsed));
    return status;
}

// Step 8: window streams. 803, 810 or 809 in this build unless a runtime is installed.
int open_window(Stream &s, const char *attribute)
{
    const bool append = s.open_mode == IM_MODE_APPEND;
    if (append)
        s.open_mode = IM_MODE_OLD;
    WindowRuntime &rt = window_runtime();
    if (s.open_mode != IM_MODE_NEW && !rt.exists(s.window)) {
        say(": unable to open window connected to stream %d.\n", s.number);
        return IM_ERR_NO_WINDOW;
    }
    if (!rt.open(s.window, attribute)) {
        say(": unable to open window connected to stream %d.\n", s.number);
        return IM_ERR_WINDOW_OPEN;
    }
    const unsigned char *header = rt.header(s.window);
    if (!header) {
        say(" %d: error getting header information from window.\n", s.number);
        return IM_ERR_WINDOW_HEADER;
    }
    s.raw.assign(header, header + IM_HEADER_BYTES);
    if (int status = decode_header(s))
        return status;
    s.section = rt.position(s.window);
    section_position(s, s.section, &s.z, &s.w, &s.t, &s.p);
    if (append) {
        s.z = std::max(0, s.nz - 1);
        s.w = std::max(0, s.nw - 1);
        s.t = std::max(0, s.nt - 1);
        s.p = std::max(0, s.np - 1);
        section_number(s, s.z, s.w, s.t, s.p, &s.section);
        rt.set_position(s.window, s.section);
    }
    return 0;
}

// Step 10 for a window stream: the extended header lives in the window's shared memory.
int attach_window_ext_header(Stream &s)
{
    unsigned char *memory = window_runtime().allocate_ext_header(s.window, static_cast<size_t>(s.ext_size));
    if (!memory) {
        say(" %d: extended header memory allocation error.\n", s.number);
        return IM_ERR_ALLOC;
    }
    s.ext.attach(memory, static_cast<size_t>(s.ext_size));
    place_field_area(s);
    return 0;
}

struct ResetOnThrow {
    int stream;
    int exceptions = std::uncaught_exceptions();
    ~ResetOnThrow()
    {
        if (std::uncaught_exceptions() > exceptions && stream >= 1 && stream <= IM_MAX_STREAMS)
            take_stream_slot(stream).reset();
    }
};

int fail_open(int stream, int status)
{
    take_stream_slot(stream).reset();
    return status;
}

} // namespace

int bytes_per_pix(int stream, int mode, int *bytes, bool quiet)
{
    switch (mode) {
    case IM_PIXEL_BYTE: *bytes = 1; return 0;
    case IM_PIXEL_INT16:
    case IM_PIXEL_UINT16: *bytes = 2; return 0;
    case IM_PIXEL_FLOAT:
    case IM_PIXEL_INT32: *bytes = 4; return 0;
    case IM_PIXEL_COMPLEX_FLOAT:
    case IM_PIXEL_DOUBLE: *bytes = 8; return 0;
    case IM_PIXEL_COMPLEX_INT16:
        *bytes = 4;
        if (!quiet)
            emit("IMRtBytesPerPix %d: 16 bit complex data not supported.\n", stream);
        return IM_ERR_COMPLEX16;
    default:
        *bytes = 2;
        if (!quiet)
            emit("IMRtBytesPerPix %d: %d is an invalid pixel data type.\n", stream, mode);
        return IM_ERR_PIXEL_MODE;
    }
}

const char *mode_name(int mode)
{
    switch (mode) {
    case IM_PIXEL_BYTE: return "1 byte integer";
    case IM_PIXEL_INT16: return "2 byte signed integer";
    case IM_PIXEL_FLOAT: return "4 byte floating-point";
    case IM_PIXEL_COMPLEX_INT16: return "2 byte integer complex";
    case IM_PIXEL_COMPLEX_FLOAT: return "4 byte floating-point complex";
    case IM_PIXEL_UINT16: return "2 byte unsigned integer";
    case IM_PIXEL_INT32: return "4 byte signed integer";
    case IM_PIXEL_DOUBLE: return "8 byte floating-point";
    default: return "unknown";
    }
}

} // namespace lx::im

using namespace lx::im;

extern "C" {

int IMRtStreamTypeFromName(const char *name, int *kind, int *window)
{
    return boundary(__func__, [&]() -> int {
        if (!name || !*name) {
            say(": invalid stream name.\n");
            return IM_ERR_STREAM_NAME;
        }
        int number = -1;
        const size_t length = std::strlen(name);
        if (length < 5 && name[0] != '0' &&
            std::all_of(name, name + length, [](char c) { return c >= '0' && c <= '9'; }))
            number = std::atoi(name);
        const bool is_window = number >= 1 && number <= 1023;
        if (kind)
            *kind = is_window ? kWindow : kFile;
        if (window)
            *window = is_window ? number : -1;
        return 0;
    });
}

int IMOpen(int stream, const char *name, const char *attribute)
{
    return boundary(__func__, stream, [&]() -> int {
        // A record left half made by an exception does not stay in the table.
        const ResetOnThrow reset{stream};
        if (g_first_open) {
            g_first_open = false;
            if (std::getenv("IMSUBS_VERBOSE"))
                IMAlVerboseMode();
            clear_stream_table();
        }
        if (stream < 1 || stream > IM_MAX_STREAMS) {
            say(" %d: invalid stream number.\n", stream);
            return IM_ERR_STREAM_NUMBER;
        }
        if (Stream *old = stream_slot(stream)) {
            emit("[%d] %s %d: stream (name %s) is already open. Continuing...\n", static_cast<int>(getpid()),
                 call_name(), stream, old->name.c_str());
            if (old->kind == kFile && (old->file || old->fd >= 0))
                close_file(*old);
            else if (old->kind == kWindow)
                window_runtime().close(old->window);
        }
        set_stream_slot(stream, std::make_unique<Stream>());
        Stream &s = *stream_slot(stream);
        s.number = stream;
        s.name = name ? name : "";
        s.attribute = attribute ? attribute : "";
        int kind = kFile;
        if (int status = IMRtStreamTypeFromName(name, &kind, &s.window))
            return fail_open(stream, status);
        s.kind = kind;
        const Attribute parsed = parse_attribute(attribute);
        if (parsed.open_mode < 0) {
            say(" %d: %s is an invalid stream attribute.\n", stream, s.attribute.c_str());
            return fail_open(stream, IM_ERR_ATTRIBUTE);
        }
        s.open_mode = parsed.open_mode;
        s.io_kind = is_database_name(s.name) ? IM_IO_DATABASE : parsed.io_kind;

        if (s.kind == kWindow) {
            if (int status = open_window(s, s.attribute.c_str()))
                return fail_open(stream, status);
        } else {
            const size_t slash = s.name.find_last_of("/\\");
            if (slash != std::string::npos && s.io_kind != IM_IO_DATABASE)
                s.directory = s.name.substr(0, slash == 0 ? 1 : slash);
            if (int status = check_access(s)) {
                if (status == IM_ERR_NO_FILE && s.open_mode == IM_MODE_RO)
                    return status; // the record stays in the slot
                return fail_open(stream, status);
            }
            if (open_file(s) != 0) {
                if (s.io_kind == IM_IO_DATABASE)
                    say(" %d: no image database service for\n%s.\n", stream, s.name.c_str());
                else
                    say(" %d: unable to open file\n%s.\n", stream, s.name.c_str());
                return fail_open(stream, IM_ERR_OPEN_FAILED);
            }
            if (s.open_mode != IM_MODE_NEW)
                if (int status = IMRdHdr2(stream)) {
                    close_file(s);
                    return fail_open(stream, status);
                }
        }

        if (!s.has_header()) {
            if (s.kind == kFile && s.open_mode == IM_MODE_NEW) {
                s.raw.assign(IM_HEADER_BYTES, 0);
                if (int status = IMCrHdr3(stream, 1, 1, 1, 1, 1, 1, IM_SEQ_ZWTP, IM_PIXEL_UINT16)) {
                    close_file(s);
                    return fail_open(stream, status);
                }
                return 0;
            }
            say(" %d: critical SW error. Header is NULL.\n", stream);
            close_file(s);
            return fail_open(stream, IM_ERR_NEW_HEADER);
        }

        int status = 0;
        if (s.ext_size < 0) {
            say(" %d: invalid extended header size (%d).\n", stream, s.ext_size);
            if (s.kind == kFile)
                close_file(s);
            return fail_open(stream, IM_ERR_READ_EXT_HEADER);
        }
        if (s.ext_size != 0 && s.open_mode != IM_MODE_NEW) {
            if (s.kind == kFile)
                status = read_ext_header(s);
            else if ((status = attach_window_ext_header(s)) == IM_ERR_ALLOC)
                return fail_open(stream, status);
            if (status == IM_ERR_POSITION) {
                close_file(s);
                return fail_open(stream, status);
            }
        }
        if (s.kind == kWindow)
            return status;
        // Append starts at the last section, or at section 0 of a file without sections (never
        // inside the headers).
        const int section = s.open_mode == IM_MODE_APPEND ? std::max(0, s.sections - 1) : 0;
        if (int posn = IMPosn(stream, section, 0)) {
            close_file(s);
            return fail_open(stream, posn);
        }
        return status;
    });
}

int IMClose(int stream)
{
    return boundary(__func__, stream, [&]() -> int {
        if (stream < 1 || stream > IM_MAX_STREAMS) {
            say(" %d: invalid stream number.\n", stream);
            return IM_ERR_STREAM_NUMBER;
        }
        if (!stream_slot(stream)) {
            say(" %d: attempt to close an unopened stream.\n", stream);
            return IM_ERR_CLOSE_UNOPENED;
        }
        if (int status = check_stream(stream, call_name()))
            return status;
        std::unique_ptr<Stream> s = take_stream_slot(stream);
        if (s->kind == kWindow)
            window_runtime().close(s->window);
        else
            close_file(*s);
        return 0;
    });
}

int IMFileSync(int stream)
{
    return boundary(__func__, stream, [&]() -> int {
        if (stream < 1 || stream > IM_MAX_STREAMS || !stream_slot(stream))
            return IM_ERR_STREAM_NUMBER;
        Stream &s = *stream_slot(stream);
        if (s.kind != kFile || s.io_kind != IM_IO_BUFFERED)
            return 0;
        if (!s.file)
            return IM_ERR_STREAM_NUMBER;
        std::fflush(s.file);
        const int fd = fileno(s.file);
        fdatasync(fd);
        posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        return 0;
    });
}

int IMRdHdr2(int stream)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (s.kind == kWindow) {
            const unsigned char *header = window_runtime().header(s.window);
            if (!header) {
                say(" %d: unable to read header from window.\n", stream);
                return IM_ERR_WINDOW_HEADER;
            }
            s.raw.assign(header, header + IM_HEADER_BYTES);
            return decode_header(s);
        }
        std::vector<unsigned char> raw(IM_HEADER_BYTES, 0);
        if (!stream_file_seek(s, 0, SEEK_SET)) {
            say(" %d: error positioning stream.\n", stream);
            return IM_ERR_POSITION;
        }
        const long long got = stream_file_read(s, raw.data(), 1, IM_HEADER_BYTES);
        if (got != IM_HEADER_BYTES) {
            say(" %d: only %d bytes read from header.\n", stream, static_cast<int>(got));
            return IM_ERR_READ_HEADER;
        }
        s.raw = std::move(raw);
        s.swap = false;
        const int decoded = decode_header(s);
        if (decoded)
            s.raw.clear();
        return decoded;
    });
}

int IMWrHdr2(int stream, int with_extended_header)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        encode_header(s);
        if (s.kind == kWindow) {
            if (unsigned char *header = window_runtime().header(s.window))
                std::memcpy(header, s.raw.data(), IM_HEADER_BYTES);
            return 0;
        }
        if (!stream_file_seek(s, 0, SEEK_SET)) {
            say(" %d: error positioning stream.\n", stream);
            return IM_ERR_POSITION;
        }
        std::vector<unsigned char> on_disk = s.raw;
        header_in_file_order(s, on_disk.data());
        const long long wrote = stream_file_write(s, on_disk.data(), 1, IM_HEADER_BYTES);
        if (wrote != IM_HEADER_BYTES) {
            say(" %d: only %d bytes written to header.\n", stream, static_cast<int>(wrote));
            return IM_ERR_WRITE_HEADER;
        }
        int result = 0;
        if (with_extended_header && s.ext_size > 0) {
            if (s.ext.empty()) {
                say(" %d: ext header buffer is NULL, size is %d.\n", stream, s.ext_size);
                return IM_ERR_NO_EXT_HEADER;
            }
            int needed = 0;
            const int stored = write_fields(s, &needed);
            if (stored < static_cast<int>(s.fields.size())) {
                say(" %d: field header overrun\n", stream);
                emit("  num fields=%d out of %d expected\n", stored, static_cast<int>(s.fields.size()));
                emit("  num bytes stored=%d out of %d expected (max allowed=%d\n", s.field_used, needed, s.field_space);
                result = IM_ERR_EXT_OVERRUN;
            }
            // The per-section values go back in the file's byte order; a short extended header read
            // from a damaged file is written back as far as it was read.
            std::vector<unsigned char> ext(s.ext.data(), s.ext.data() + std::min<size_t>(s.ext.size(), s.ext_size));
            if (s.swap)
                for (long long i = 0; i < std::min<long long>(static_cast<long long>(s.sections) *
                                                                  (s.ints_per_section + s.floats_per_section),
                                                              static_cast<long long>(ext.size()) / 4);
                     ++i)
                    std::reverse(ext.data() + 4 * i, ext.data() + 4 * i + 4);
            const long long wrote_ext = stream_file_write(s, ext.data(), 1, static_cast<long long>(ext.size()));
            if (wrote_ext != static_cast<long long>(ext.size())) {
                say(" %d: only %d bytes written to extended header. Expected %d.\n", stream,
                    static_cast<int>(wrote_ext), s.ext_size);
                return IM_ERR_WRITE_EXT_HEADER;
            }
        }
        // Buffered bytes reach the file only here: a full disk shows up now, not at the writes.
        errno = 0;
        if (!stream_file_flush(s)) {
            say(" %d: unable to write the header: %s\n", stream, std::strerror(errno));
            return IM_ERR_WRITE_HEADER;
        }
        const int posn = IMPosn(stream, 0, 0);
        return result ? result : posn;
    });
}

int IMWrHdr(int stream, const char *title, int title_mode, float min, float max, float mean)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        auto put = [&](int index) {
            auto &slot = s.titles[index];
            slot.fill(0);
            std::strncpy(slot.data(), title ? title : "", 79);
        };
        if (title_mode == 0) {
            put(0);
            s.title_count = 1;
        } else {
            if (title_mode == 2)
                say(": add title to top of list not yet supported. Adding to bottom.\n");
            if (s.title_count < s.max_titles)
                put(s.title_count++);
            else if (s.max_titles > 0)
                put(s.max_titles - 1);
        }
        if (s.title_count < 1) {
            say(": the number of titles appears to be less than 1.\n");
            s.title_count = 1;
        }
        s.wave_min[0] = min;
        s.wave_max[0] = max;
        s.wave_mean[0] = mean;
        return IMWrHdr2(stream, 1);
    });
}

int IMCrHdr3(int stream, int nx, int ny, int nz, int nw, int nt, int np, int sequence, int mode)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (sequence < IM_SEQ_ZTWP || sequence > IM_SEQ_TPWZ)
            return IM_ERR_SEQUENCE;
        if (mode < IM_PIXEL_BYTE || mode > IM_PIXEL_DOUBLE || mode == 5)
            return IM_ERR_PIXEL_MODE;
        if (nx < 0 || ny < 0) {
            say(" %d: invalid image size (%d,%d).\n", stream, nx, ny);
            return nx < 0 ? IM_ERR_COLUMNS : IM_ERR_ROWS;
        }
        int result = 0;
        const bool window = s.kind == kWindow;
        if (window && nw >= 6) {
            nw = 5;
            result = IM_ERR_WAVE_CHANNELS;
        }
        const double sections = static_cast<double>(nt) * nz * np * nw;
        if (nz <= 0 || nw <= 0 || nt <= 0 || np <= 0 || sections > INT_MAX) {
            emit("IMOpen2 %d: invalid number of sections (%d,%d,%d)\n", stream, nz, nw, nt);
            return IM_ERR_SECTION_COUNT;
        }
        if (nw > IM_MAX_WAVES_EXTENDED || nt > 65535) {
            say(" %d: invalid number of wavelengths or time points (%d,%d)\n", stream, nw, nt);
            return nw > IM_MAX_WAVES_EXTENDED ? IM_ERR_WAVE_COUNT : IM_ERR_SECTION_COUNT;
        }
        if (s.raw.empty())
            s.raw.assign(IM_HEADER_BYTES, 0);
        s.nx = nx;
        s.ny = ny;
        s.nz = nz;
        s.nw = nw;
        s.nt = nt;
        s.np = np;
        s.sections = static_cast<int>(sections);
        s.sequence = sequence;
        s.swap = false;
        s.data_bits = 0;
        s.mode = mode;
        bytes_per_pix(stream, mode, &s.bytes_per_pixel, true);
        s.lens_id = 0;
        s.data_int = {};
        s.data_float = {};
        s.image_type = 100;
        s.max_titles = limit_titles(100, window);
        s.max_waves = window ? kWindowMaxWaves : IM_MAX_WAVES_EXTENDED;
        s.start = {};
        s.cell = {1, 1, 1};
        s.sampling = {1, 1, 1};
        s.pixel_size = {1, 1, 1};
        s.axis_map = {1, 2, 3};
        s.angle = {90, 90, 90};
        s.space_group = 0;
        s.ext.clear();
        s.fields.clear();
        s.ext_size = 0;
        s.ints_per_section = s.floats_per_section = 0;
        s.field_start = s.field_space = s.field_used = 0;
        s.value132 = 1;
        s.value134 = 1.0f;
        s.wave_min = {};
        s.wave_max = {};
        s.wave_mean = {};
        s.wave = {};
        s.wave_values = {};
        s.wave_max[0] = 1000.0f;
        s.wave_mean[0] = 500.0f;
        s.wave[0] = 500.0f;
        s.rotation = {};
        s.origin_x = s.origin_y = s.origin_z = 0;
        s.time_stamp = 0;
        s.title_count = 0;
        for (auto &title : s.titles)
            title.fill(0);
        if (window)
            if (unsigned char *header = window_runtime().header(s.window)) {
                encode_header(s);
                std::memcpy(header, s.raw.data(), IM_HEADER_BYTES);
            }
        if (int ext = IMCrExHdr(stream, 4, 3))
            return ext;
        return result;
    });
}

} // extern "C"
