// The extended header: types, sizing, per-section values and single values by index.
#include <lumarix/im.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "im_call.h"
#include "im_window.h"

namespace lx::im {
namespace {

struct TypeLayout {
    int ints, floats;
};

TypeLayout layout_of_type(int type)
{
    switch (type) {
    case 1: return {1, 1};
    case 2: return {0, 2};
    default: return {8, 32}; // types 3 and 4
    }
}

long long per_section_bytes(const Stream &s)
{
    return 4LL * std::max(0, s.sections) * std::max(0, s.ints_per_section + s.floats_per_section);
}

// Checks that a section's record lies inside the buffer: 0, 704 (too small), 706 (no buffer).
int record_fits(const Stream &s, long long section)
{
    if (s.ints_per_section < 0 || s.floats_per_section < 0)
        return IM_ERR_EXT_TOO_SMALL; // only a hostile file gets here
    const long long words = s.ints_per_section + s.floats_per_section;
    if (s.ext_size < 4 * section * words + 4)
        return IM_ERR_EXT_TOO_SMALL;
    if (s.ext.empty())
        return IM_ERR_NO_EXT_HEADER;
    return 0;
}

bool record_overruns(const Stream &s, long long section)
{
    const long long words = s.ints_per_section + s.floats_per_section;
    return 4 * (section + 1) * words > held_ext_bytes(s);
}

void store_record(Stream &s, long long section, const int *ints, const float *floats)
{
    const long long base = section * (s.ints_per_section + s.floats_per_section);
    if (s.ints_per_section > 0 && ints)
        std::memcpy(s.ext.data() + 4 * base, ints, 4 * static_cast<size_t>(s.ints_per_section));
    if (s.floats_per_section > 0 && floats)
        std::memcpy(s.ext.data() + 4 * (base + s.ints_per_section), floats,
                    4 * static_cast<size_t>(s.floats_per_section));
}

void load_record(const Stream &s, long long section, int *ints, float *floats)
{
    const long long base = section * (s.ints_per_section + s.floats_per_section);
    if (s.ints_per_section > 0 && ints)
        std::memcpy(ints, s.ext.data() + 4 * base, 4 * static_cast<size_t>(s.ints_per_section));
    if (s.floats_per_section > 0 && floats)
        std::memcpy(floats, s.ext.data() + 4 * (base + s.ints_per_section),
                    4 * static_cast<size_t>(s.floats_per_section));
}

// An integer value of a section's record must be a number an int holds (after truncation).
bool fits_int(int stream, double value)
{
    if (value > -2147483649.0 && value < 2147483648.0)
        return true;
    say(" %d: %g does not fit an integer value.\n", stream, value);
    return false;
}

} // namespace

void place_field_area(Stream &s)
{
    const long long start = per_section_bytes(s);
    s.field_start = 0;
    s.field_space = 0;
    s.field_used = 0;
    s.field_blocks = s.ext_size > 0 ? static_cast<int>(std::max(0LL, s.ext_size / 1024 - (start + 1023) / 1024)) : 0;
    const long long held = held_ext_bytes(s);
    if (start > 0 && start <= held - 6 && !s.ext.empty()) {
        s.field_start = static_cast<int>(start);
        s.field_space = static_cast<int>(held - start - 1);
        if (s.field_space < 6)
            s.field_space = 0;
    }
}

int ext_resize(Stream &s, int ints, int floats, int sections, int field_blocks)
{
    if (ints < 0 || floats < 0 || ints > SHRT_MAX || floats > SHRT_MAX) {
        emit("IMAlExHdrSize2 %d: invalid number of values per section (%d,%d).\n", s.number, ints, floats);
        return IM_ERR_EXT_TYPE;
    }
    if (sections < s.sections) {
        emit("IMAlExHdrSize2 %d: requested number of sections is less than current image size (%d < %d).\n", s.number,
             sections, s.sections);
        sections = s.sections;
    }
    sections = std::max(1, sections);
    const long long per_section = 4LL * sections * (ints + floats);
    const long long size = ((per_section + 1023) / 1024 + std::max(0, field_blocks)) * 1024LL;
    if (size > INT_MAX) {
        emit("IMAlExHdrSize2 %d: extended header memory allocation error.\n", s.number);
        return IM_ERR_ALLOC;
    }
    if (s.kind == kWindow) {
        unsigned char *memory = window_runtime().allocate_ext_header(s.window, static_cast<size_t>(size));
        if (!memory) {
            emit("IMAlExHdrSize2 %d: extended header memory allocation error.\n", s.number);
            return IM_ERR_ALLOC;
        }
        s.ext.attach(memory, static_cast<size_t>(size));
    } else {
        try {
            s.ext.assign(static_cast<size_t>(size), 0);
        } catch (...) {
            emit("IMAlExHdrSize2 %d: extended header memory allocation error.\n", s.number);
            return IM_ERR_ALLOC;
        }
    }
    s.ints_per_section = ints;
    s.floats_per_section = floats;
    s.ext_size = static_cast<int>(size);
    if (s.kind == kWindow)
        if (unsigned char *header = window_runtime().header(s.window)) {
            const int32_t bytes = s.ext_size;
            std::memcpy(header + 92, &bytes, sizeof bytes);
        }
    place_field_area(s);
    if (s.kind == kFile && !s.file && s.fd < 0)
        return 0;
    return IMPosn(s.number, 0, 0);
}

int create_ext_header(Stream &s, int type, int field_blocks)
{
    if (type > 4) {
        say(" %d: invalid ext header type (%d).\n", s.number, type);
        return IM_ERR_EXT_TYPE;
    }
    if (type <= 0)
        type = 4;
    if (field_blocks < 0) {
        if (field_blocks != -1)
            say(" %d: invalid number of field blocks (%d). Setting to %d...\n", s.number, field_blocks, 4);
        field_blocks = 4;
    }
    if (s.sections < 1) {
        say(" %d: invalid number of image sections (%d)...\n", s.number, s.sections);
        return IM_ERR_SECTION_COUNT;
    }
    const TypeLayout layout = layout_of_type(type);
    if (int status = ext_resize(s, layout.ints, layout.floats, s.sections, field_blocks);
        status && status != IM_ERR_POSITION)
        return status;
    s.ext_type = type;
    return 0;
}

} // namespace lx::im

using namespace lx::im;

extern "C" {

int IMCrExHdr(int stream, int type, int field_blocks)
{
    return boundary(__func__, stream, [&](Stream &s) -> int { return create_ext_header(s, type, field_blocks); });
}

int IMAlExHdrSize2(int stream, int ints, int floats, int sections, int field_blocks)
{
    return boundary(__func__, stream,
                    [&](Stream &s) -> int { return ext_resize(s, ints, floats, sections, field_blocks); });
}

int IMAlExHdrInfo(int stream, int type, int ints, int floats)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (type > 4) {
            say(" %d: %d is an invalid ext header type. Switching to %d.\n", stream, type, 4);
            type = 4;
        }
        if (type <= 0)
            type = 4;
        const int blocks = s.field_blocks;
        const int resized = ext_resize(s, ints, floats, s.sections, blocks);
        if (resized == IM_ERR_ALLOC) {
            say(" %d: unable to allocate memory for extended header values.\n", stream);
            return IM_ERR_ALLOC;
        }
        if (resized && resized != IM_ERR_POSITION)
            return resized;
        s.ext_type = type;
        return 0;
    });
}

int IMRtExHdrInfo(int stream, int *type, int *ints, int *floats)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        *type = s.ext_type;
        *ints = s.ints_per_section;
        *floats = s.floats_per_section;
        return 0;
    });
}

int IMRtExHdrSize(int stream, int *bytes)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        *bytes = s.ext_size;
        return 0;
    });
}

int IMRtExHdrType(int stream, int *type)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        *type = s.ext_type;
        return 0;
    });
}

int IMAlExHdrZWTP(int stream, int z, int w, int t, int p, const int *ints, const float *floats)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        int section = 0;
        if (int bad = IMRtSecNum2(stream, z, w, t, p, &section))
            return bad;
        if (int bad = record_fits(s, section))
            return bad;
        if (record_overruns(s, section)) {
            say(" %d: extended header overrun. ZWTP=%d %d %d %d\n", stream, z, w, t, p);
            return IM_ERR_EXT_OVERRUN;
        }
        store_record(s, section, ints, floats);
        return 0;
    });
}

int IMRtExHdrZWTP(int stream, int z, int w, int t, int p, int *ints, float *floats)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        int section = 0;
        if (int bad = IMRtSecNum2(stream, z, w, t, p, &section))
            return bad;
        if (int bad = record_fits(s, section))
            return bad;
        if (record_overruns(s, section)) {
            say(" %d: extended header overrun.\n", stream);
            return IM_ERR_EXT_OVERRUN;
        }
        load_record(s, section, ints, floats);
        return 0;
    });
}

int IMAlExHdr(int stream, int section, const int *ints, const float *floats)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (section < 0 || record_fits(s, section) == IM_ERR_EXT_TOO_SMALL) {
            say(" iStream %d: invalid section number (%d). Extended header is too small (%d bytes).\n", stream, section,
                s.ext_size);
            return section < 0 ? IM_ERR_SECTION : IM_ERR_EXT_TOO_SMALL;
        }
        if (record_fits(s, section) == IM_ERR_NO_EXT_HEADER)
            return IM_ERR_NO_EXT_HEADER;
        if (record_overruns(s, section)) {
            say(" %d: extended header overrun.\n", stream);
            return IM_ERR_EXT_OVERRUN;
        }
        store_record(s, section, ints, floats);
        return 0;
    });
}

int IMRtExHdr(int stream, int section, int *ints, float *floats)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (section < 0 || record_fits(s, section) || record_overruns(s, section)) {
            say(" %d: invalid section number.\n", stream);
            return section < 0               ? IM_ERR_SECTION
                   : record_fits(s, section) ? record_fits(s, section)
                                             : IM_ERR_EXT_OVERRUN;
        }
        load_record(s, section, ints, floats);
        return 0;
    });
}

int IMRtExHdrValueZWTP(int stream, int z, int w, int t, int p, int index, double *value)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        *value = 0;
        const double needed = 4.0 * (z + 1.0) * (w + 1.0) * (t + 1.0) * (p + 1.0);
        if (s.ext_size < needed)
            return IM_ERR_EXT_TOO_SMALL;
        std::vector<int> ints(std::max(0, s.ints_per_section));
        std::vector<float> floats(std::max(0, s.floats_per_section));
        if (int bad = IMRtExHdrZWTP(stream, z, w, t, p, ints.data(), floats.data()))
            return bad;
        auto pick_float = [&](int i) -> int {
            if (i < 0 || i >= static_cast<int>(floats.size()))
                return IM_ERR_EXT_FIELD;
            *value = floats[i];
            return 0;
        };
        switch (s.ext_type) {
        case 1:
            if (index == 0 && !ints.empty()) {
                *value = ints[0];
                return 0;
            }
            return index == 1 ? pick_float(0) : IM_ERR_EXT_FIELD;
        case 2: return index >= 0 && index <= 1 ? pick_float(index) : IM_ERR_EXT_FIELD;
        case 3: return index >= 0 && index <= 15 ? pick_float(index) : IM_ERR_EXT_FIELD;
        case 4:
            if (index >= 0 && index <= 20)
                return pick_float(index);
            if (index >= 1000 && index <= 1004 && index - 1000 < static_cast<int>(ints.size())) {
                *value = ints[index - 1000] + 1e-10;
                return 0;
            }
            return IM_ERR_EXT_FIELD;
        default: return IM_ERR_STREAM_NUMBER; // no record layout for this type
        }
    });
}

int IMAlExHdrValueZWTP(int stream, int z, int w, int t, int p, int index, double value)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        const double needed = 4.0 * (z + 1.0) * (w + 1.0) * (t + 1.0) * (p + 1.0);
        if (s.ext_size < needed)
            return IM_ERR_EXT_TOO_SMALL;
        std::vector<int> ints(std::max(0, s.ints_per_section));
        std::vector<float> floats(std::max(0, s.floats_per_section));
        if (int bad = IMRtExHdrZWTP(stream, z, w, t, p, ints.data(), floats.data()))
            return bad;
        auto put_float = [&](int i) -> bool {
            if (i < 0 || i >= static_cast<int>(floats.size()))
                return false;
            floats[i] = static_cast<float>(value);
            return true;
        };
        bool done = false;
        switch (s.ext_type) {
        case 1:
            if (index == 0 && !ints.empty()) {
                if (!fits_int(stream, value))
                    return IM_ERR_EXT_FIELD;
                ints[0] = static_cast<int>(value);
                done = true;
            } else if (index == 1) {
                done = put_float(0);
            }
            break;
        case 2: done = index >= 0 && index <= 1 && put_float(index); break;
        case 3: done = index >= 0 && index <= 15 && put_float(index); break;
        case 4:
            if (index >= 0 && index <= 20)
                done = put_float(index);
            else if (index >= 1000 && index <= 1004 && index - 1000 < static_cast<int>(ints.size())) {
                if (!fits_int(stream, value))
                    return IM_ERR_EXT_FIELD;
                ints[index - 1000] = static_cast<int>(value); // the 1e-10 added on return truncates away
                done = true;
            }
            break;
        default: return IM_ERR_STREAM_NUMBER; // no record layout for this type
        }
        if (!done)
            return IM_ERR_EXT_FIELD;
        return IMAlExHdrZWTP(stream, z, w, t, p, ints.data(), floats.data());
    });
}

} // extern "C"
