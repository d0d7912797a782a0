// The 1024-byte header: one table of field locations for both layouts, byte-order detection and
// swapping, decoding into the stream record and encoding back.
#include <lumarix/im.h>
#include <lumarix/im_format.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include "im_call.h"

namespace lx::im {
namespace {

enum class Disk { I16, U16, I32, F32, F64, U8, Hundredths, Sampling };
enum class Target { Int, Float, Double };

// One header field: where it lies, how it is stored, its swap unit, whether only the extended
// layout has it, and the record member it decodes into.
struct Location {
    int offset;
    Disk disk;
    int swap;
    bool extended_only;
    Target target;
    std::function<void *(Stream &)> ref;
};

#define LOC(off, disk, swap, ext, target, member)                                                                      \
    table.push_back({off, Disk::disk, swap, ext, Target::target, [=](Stream &s) -> void * { return &(member); }})

std::vector<Location> build_table()
{
    std::vector<Location> table;
    LOC(0, I32, 4, false, Int, s.nx);
    LOC(4, I32, 4, false, Int, s.ny);
    LOC(8, I32, 4, false, Int, s.sections);
    LOC(12, I32, 4, false, Int, s.mode);
    for (int i = 0; i < 3; ++i) {
        LOC(16 + 4 * i, I32, 4, false, Int, s.start[i]);
        LOC(28 + 4 * i, Sampling, 4, false, Float, s.sampling[i]);
        LOC(40 + 4 * i, F32, 4, false, Float, s.cell[i]);
        LOC(52 + 4 * i, F32, 4, false, Float, s.angle[i]);
        LOC(64 + 4 * i, I32, 4, false, Int, s.axis_map[i]);
        LOC(184 + 4 * i, F32, 4, false, Float, s.rotation[i]);
    }
    LOC(88, I32, 4, false, Int, s.space_group);
    LOC(92, I32, 4, false, Int, s.ext_size);
    LOC(100, U16, 0, false, Int, s.ext_type);
    LOC(128, I16, 2, false, Int, s.ints_per_section);
    LOC(130, I16, 2, false, Int, s.floats_per_section);
    LOC(132, I16, 2, false, Int, s.value132);
    LOC(134, I16, 2, false, Float, s.value134);
    LOC(160, I16, 2, false, Int, s.image_type);
    LOC(162, U16, 2, false, Int, s.lens_id);
    LOC(164, I16, 2, false, Int, s.data_int[0]);
    LOC(166, I16, 2, false, Int, s.data_int[1]);
    LOC(168, Hundredths, 2, false, Float, s.data_float[0]);
    LOC(170, Hundredths, 2, false, Float, s.data_float[1]);
    LOC(180, U16, 2, false, Int, s.nt);
    LOC(182, I16, 2, false, Int, s.sequence);
    LOC(196, U16, 2, false, Int, s.nw);
    LOC(208, F32, 4, false, Float, s.origin_z);
    LOC(212, F32, 4, false, Float, s.origin_x);
    LOC(216, F32, 4, false, Float, s.origin_y);
    LOC(222, I16, 0, false, Int, s.title_count); // swapped with 220 as one 4-byte unit
    // Per wavelength: minimum, maximum, mean, wavelength, and (extended) three values.
    constexpr int kMin[5] = {76, 136, 144, 152, 172};
    constexpr int kMax[5] = {80, 140, 148, 156, 176};
    constexpr int kMean[5] = {84, 864, 868, 872, 876}; // 864-876 in both layouts
    for (int w = 0; w < kMaxWaves; ++w) {
        const bool ext = w >= 5;
        LOC(ext ? 544 + 4 * (w - 5) : kMin[w], F32, 4, ext, Float, s.wave_min[w]);
        LOC(ext ? 588 + 4 * (w - 5) : kMax[w], F32, 4, ext, Float, s.wave_max[w]);
        LOC(ext ? 632 + 4 * (w - 5) : kMean[w], F32, 4, ext, Float, s.wave_mean[w]);
        LOC(ext ? 676 + 2 * (w - 5) : 198 + 2 * w, U16, 2, ext, Float, s.wave[w]);
        for (int k = 0; k < 3; ++k)
            LOC(700 + 12 * w + 4 * k, I32, 4, true, Int, s.wave_values[w][k]);
    }
    LOC(844, F64, 8, true, Double, s.time_stamp);
    LOC(852, I32, 4, true, Int, s.nt_lower_bound);
    LOC(856, U8, 0, true, Int, s.data_bits);
    LOC(880, I32, 4, true, Int, s.np);
    return table;
}
#undef LOC

const std::vector<Location> &locations()
{
    static const std::vector<Location> table = build_table();
    return table;
}

template <typename T>
T load(const unsigned char *raw, int offset)
{
    T value;
    std::memcpy(&value, raw + offset, sizeof value);
    return value;
}

template <typename T>
void store(unsigned char *raw, int offset, T value)
{
    std::memcpy(raw + offset, &value, sizeof value);
}

void reverse(unsigned char *bytes, int unit) { std::reverse(bytes, bytes + unit); }

double read_disk(const unsigned char *raw, const Location &loc)
{
    switch (loc.disk) {
    case Disk::I16: return load<int16_t>(raw, loc.offset);
    case Disk::U16: return load<uint16_t>(raw, loc.offset);
    case Disk::I32: return load<int32_t>(raw, loc.offset);
    case Disk::Sampling: return load<int32_t>(raw, loc.offset);
    case Disk::F32: return load<float>(raw, loc.offset);
    case Disk::F64: return load<double>(raw, loc.offset);
    case Disk::U8: return raw[loc.offset];
    case Disk::Hundredths: return load<int16_t>(raw, loc.offset) * 0.01;
    }
    return 0;
}

template <typename T>
T saturate(double value)
{
    if (!(value == value))
        return 0;
    if (value <= static_cast<double>(std::numeric_limits<T>::min()))
        return std::numeric_limits<T>::min();
    if (value >= static_cast<double>(std::numeric_limits<T>::max()))
        return std::numeric_limits<T>::max();
    return static_cast<T>(value);
}

void write_disk(unsigned char *raw, const Location &loc, double value)
{
    switch (loc.disk) {
    case Disk::I16: store(raw, loc.offset, saturate<int16_t>(value)); break;
    case Disk::U16: store(raw, loc.offset, saturate<uint16_t>(value)); break;
    case Disk::I32: store(raw, loc.offset, saturate<int32_t>(value)); break;
    case Disk::Sampling: store(raw, loc.offset, saturate<int32_t>(value + 0.5)); break;
    case Disk::F32: store(raw, loc.offset, static_cast<float>(value)); break;
    case Disk::F64: store(raw, loc.offset, value); break;
    case Disk::U8: raw[loc.offset] = saturate<uint8_t>(value); break;
    case Disk::Hundredths: store(raw, loc.offset, saturate<int16_t>(value * 100)); break;
    }
}

double get_target(Stream &s, const Location &loc)
{
    void *p = loc.ref(s);
    switch (loc.target) {
    case Target::Int: return *static_cast<int *>(p);
    case Target::Float: return *static_cast<float *>(p);
    case Target::Double: return *static_cast<double *>(p);
    }
    return 0;
}

void set_target(Stream &s, const Location &loc, double value)
{
    void *p = loc.ref(s);
    switch (loc.target) {
    case Target::Int: *static_cast<int *>(p) = static_cast<int>(value); break;
    case Target::Float: *static_cast<float *>(p) = static_cast<float>(value); break;
    case Target::Double: *static_cast<double *>(p) = value; break;
    }
}

bool extended_layout(int image_type) { return image_type >= IM_EXTENDED_TYPE_MIN; }

} // namespace

int limit_titles(int image_type, bool window)
{
    const int limit = extended_layout(image_type) ? IM_MAX_TITLES_EXTENDED : IM_MAX_TITLES_ORDINARY;
    return window ? std::min(limit, kWindowMaxTitles) : limit;
}

int limit_waves(int image_type, bool window)
{
    const int limit = extended_layout(image_type) ? IM_MAX_WAVES_EXTENDED : IM_MAX_WAVES_ORDINARY;
    return window ? std::min(limit, kWindowMaxWaves) : limit;
}

void swap_header(unsigned char *raw, bool extended)
{
    for (int offset = 0; offset < 96; offset += 4)
        reverse(raw + offset, 4);
    reverse(raw + 96, 2);
    reverse(raw + 98, 2);
    // 220-223 form one 4-byte unit on disk, but the values in it are two int16s: reversing each
    // half is that 4-byte reversal with the halves kept in their places.
    reverse(raw + 220, 2);
    reverse(raw + 222, 2);
    for (const auto &loc : locations())
        if ((!loc.extended_only || extended) && loc.offset >= 96 && loc.swap)
            reverse(raw + loc.offset, loc.swap);
}

void header_in_file_order(const Stream &s, unsigned char *raw)
{
    if (!s.swap)
        return;
    swap_header(raw, extended_layout(s.image_type));
    // Title texts are never swapped. In an ordinary file bytes 864-879 of the ninth title are the
    // means of wavelengths 2-5, swapped as values (as in the header encoded for this machine, the
    // means are what those bytes hold).
    std::array<unsigned char, 16> means;
    std::memcpy(means.data(), raw + 864, means.size());
    for (int i = 0; i < std::min(s.title_count, limit_titles(s.image_type, false)); ++i)
        std::memcpy(raw + 224 + IM_TITLE_BYTES * i, s.titles[i].data(), 79);
    std::memcpy(raw + 864, means.data(), means.size());
}

int decode_header(Stream &s)
{
    unsigned char *raw = s.raw.data();
    // Titles are taken as stored, before any swap (an ordinary file's ninth title shares its
    // bytes with swapped values).
    std::array<unsigned char, IM_TITLE_BYTES * kMaxTitles> stored_titles;
    std::memcpy(stored_titles.data(), raw + 224, stored_titles.size());
    int16_t id = load<int16_t>(raw, 96);
    s.file_id = id;
    if (id != IM_FILE_ID) {
        int16_t reversed = id;
        reverse(reinterpret_cast<unsigned char *>(&reversed), 2);
        if (reversed == IM_FILE_ID) {
            int16_t type = load<int16_t>(raw, 160);
            reverse(reinterpret_cast<unsigned char *>(&type), 2);
            swap_header(raw, extended_layout(type));
            store<int16_t>(raw, 96, IM_FILE_ID);
            s.file_id = IM_FILE_ID;
            s.swap = true;
        } else {
            emit("[%d] IMSubs %d: warning, unrecognized file ID (%d).\n", static_cast<int>(getpid()), s.number, id);
        }
    }
    const int image_type = load<int16_t>(raw, 160);
    const bool ext = extended_layout(image_type);
    s.unused98 = load<int16_t>(raw, 98);
    s.unused220 = load<int16_t>(raw, 220);
    s.max_titles = limit_titles(image_type, s.kind == kWindow);
    s.max_waves = limit_waves(image_type, s.kind == kWindow);
    s.wave_values = {};
    s.time_stamp = 0;
    s.data_bits = 0;
    s.nt_lower_bound = 0;
    s.np = 1;
    for (const auto &loc : locations()) {
        if (loc.extended_only && !ext)
            continue;
        set_target(s, loc, read_disk(raw, loc));
    }
    for (int w = s.max_waves; w < kMaxWaves; ++w)
        s.wave_min[w] = s.wave_max[w] = s.wave_mean[w] = s.wave[w] = 0;

    if (s.nx < 0 || s.ny < 0 || s.sections < 0) {
        emit("IMSubs %d: invalid image size (%d,%d,%d).\n", s.number, s.nx, s.ny, s.sections);
        return IM_ERR_READ_HEADER;
    }
    if (s.nw == 0) {
        emit("IMSubs: number of wavelengths must be > 0.\n");
        s.nw = 1;
    }
    if (s.nt == 0) {
        emit("IMSubs: number of time-points must be > 0.\n");
        s.nt = 1;
    }
    if (ext) {
        if (s.np <= 0) {
            store<int32_t>(raw, 880, 1);
            s.np = 1;
        }
        if (s.nt_lower_bound > s.nt)
            s.nt = s.nt_lower_bound;
        if (!(s.time_stamp > 0))
            s.time_stamp = 0;
    }
    // NT and NP may come from 32-bit fields: the product is formed only while it can still divide.
    long long product = static_cast<long long>(s.nt) * s.nw;
    if (product <= s.sections)
        product *= s.np;
    s.nz = product > s.sections ? 0 : static_cast<int>(s.sections / product);
    for (auto &m : s.sampling)
        if (m < 1)
            m = 1;
    if (bytes_per_pix(s.number, s.mode, &s.bytes_per_pixel, true) == IM_ERR_PIXEL_MODE) {
        emit("IMSubs: internal error involving the number of bytes per pixel.\n");
        s.bytes_per_pixel = 2;
    }
    for (int i = 0; i < 3; ++i)
        s.pixel_size[i] = s.cell[i] / s.sampling[i];
    s.title_count = std::clamp(s.title_count, 0, s.max_titles);
    for (int i = 0; i < kMaxTitles; ++i) {
        auto &title = s.titles[i];
        title.fill(0);
        if (i < s.title_count)
            std::memcpy(title.data(), stored_titles.data() + IM_TITLE_BYTES * i, 79);
    }
    return 0;
}

void encode_header(Stream &s)
{
    if (s.raw.empty())
        s.raw.assign(IM_HEADER_BYTES, 0);
    unsigned char *raw = s.raw.data();
    const bool ext = extended_layout(s.image_type);
    const int slots = ext ? IM_MAX_TITLES_EXTENDED : IM_MAX_TITLES_ORDINARY;
    for (int i = 0; i < slots; ++i) {
        unsigned char *slot = raw + 224 + IM_TITLE_BYTES * i;
        std::memset(slot, 0, IM_TITLE_BYTES);
        if (i < s.title_count)
            std::memcpy(slot, s.titles[i].data(), 79);
    }
    s.nt_lower_bound = s.nt;
    for (const auto &loc : locations()) {
        if (loc.extended_only && !ext)
            continue;
        write_disk(raw, loc, get_target(s, loc));
    }
    store<int16_t>(raw, 96, IM_FILE_ID);
    store<int16_t>(raw, 98, s.unused98);
    store<int16_t>(raw, 220, s.unused220);
}

} // namespace lx::im
