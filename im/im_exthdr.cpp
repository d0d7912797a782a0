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

// The record of section (z, w, t, p) and where value `index` lives in it for the stream's
// extended-header type: an integer (types 1 and 4) or a float.
struct ValueSlot {
    std::vector<int> ints;
    std::vector<float> floats;
    int *i = nullptr;
    float *f = nullptr;
};

// Reads the record and finds the value: 0, IM_ERR_EXT_TOO_SMALL, the read's status,
// IM_ERR_EXT_FIELD for an index the type has no value at, or IM_ERR_STREAM_NUMBER for a type
// with no record layout.
int find_value(const Stream &s, int stream, int z, int w, int t, int p, int index, ValueSlot &slot)
{
    const double needed = 4.0 * (z + 1.0) * (w + 1.0) * (t + 1.0) * (p + 1.0);
    if (s.ext_size < needed)
        return IM_ERR_EXT_TOO_SMALL;
    slot.ints.assign(std::max(0, s.ints_per_section), 0);
    slot.floats.assign(std::max(0, s.floats_per_section), 0.0f);
    if (const int bad = IMRtExHdrZWTP(stream, z, w, t, p, slot.ints.data(), slot.floats.data()))
        return bad;
    const int ints = static_cast<int>(slot.ints.size()), floats = static_cast<int>(slot.floats.size());
    auto at_float = [&](int k) {
        if (k >= 0 && k < floats)
            slot.f = &slot.floats[k];
    };
    switch (s.ext_type) {
    case 1:
        if (index == 0 && ints > 0)
            slot.i = &slot.ints[0];
        else if (index == 1)
            at_float(0);
        break;
    case 2:
        if (index >= 0 && index <= 1)
            at_float(index);
        break;
    case 3:
        if (index >= 0 && index <= 15)
            at_float(index);
        break;
    case 4:
        if (index >= 0 && index <= 20)
            at_float(index);
        else if (index >= 1000 && index <= 1004 && index - 1000 < ints)
            slot.i = &slot.ints[index - 1000];
        break;
    default: return IM_ERR_STREAM_NUMBER; // no record layout for this type
    }
    return slot.i || slot.f ? 0 : IM_ERR_EXT_FIELD;
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
        ValueSlot slot;
        if (const int status = find_value(s, stream, z, w, t, p, index, slot))
            return status;
        *value = slot.f ? *slot.f : *slot.i + (s.ext_type == 4 ? 1e-10 : 0);
        return 0;
    });
}

int IMAlExHdrValueZWTP(int stream, int z, int w, int t, int p, int index, double value)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        ValueSlot slot;
        if (const int status = find_value(s, stream, z, w, t, p, index, slot))
            return status;
        if (slot.f) {
            *slot.f = static_cast<float>(value);
        } else {
            if (!fits_int(stream, value))
                return IM_ERR_EXT_FIELD;
            *slot.i = static_cast<int>(value); // the 1e-10 added on return truncates away
        }
        return IMAlExHdrZWTP(stream, z, w, t, p, slot.ints.data(), slot.floats.data());
    });
}

} // extern "C"
