// Transfers of headers and extended headers between streams.
#include <lumarix/im.h>
#include <lumarix/im_fortran.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "im_call.h"

using namespace lx::im;

namespace {

// Header values that describe the image (not the stream's file, position or extended header).
void copy_header_values(const Stream &from, Stream &to)
{
    to.nx = from.nx;
    to.ny = from.ny;
    to.sections = from.sections;
    to.nz = from.nz;
    to.nw = from.nw;
    to.nt = from.nt;
    to.np = from.np;
    to.mode = from.mode;
    to.bytes_per_pixel = from.bytes_per_pixel;
    to.sequence = from.sequence;
    to.start = from.start;
    to.axis_map = from.axis_map;
    to.sampling = from.sampling;
    to.cell = from.cell;
    to.pixel_size = from.pixel_size;
    to.angle = from.angle;
    to.rotation = from.rotation;
    to.origin_x = from.origin_x;
    to.origin_y = from.origin_y;
    to.origin_z = from.origin_z;
    to.space_group = from.space_group;
    to.image_type = from.image_type;
    to.lens_id = from.lens_id;
    to.data_int = from.data_int;
    to.data_float = from.data_float;
    to.unused98 = from.unused98;
    to.unused220 = from.unused220;
    to.value132 = from.value132;
    to.value134 = from.value134;
    to.wave_min = from.wave_min;
    to.wave_max = from.wave_max;
    to.wave_mean = from.wave_mean;
    to.wave = from.wave;
    to.wave_values = from.wave_values;
    to.time_stamp = from.time_stamp;
    to.data_bits = from.data_bits;
    to.max_titles = limit_titles(from.image_type, to.kind == kWindow);
    to.max_waves = limit_waves(from.image_type, to.kind == kWindow);
    to.title_count = std::min(from.title_count, to.max_titles);
    to.titles = from.titles;
    if (to.raw.empty())
        to.raw.assign(1024, 0);
}

// Both streams of an extended-header transfer, whose values must have the same type and shape:
// 0, a stream's status, or IM_ERR_EXT_MISMATCH.
int extended_header_pair(int from, int to, Stream *&src, Stream *&dst)
{
    int status;
    if (!(src = checked(from, call_name(), &status)) || !(dst = checked(to, call_name(), &status)))
        return status;
    if (src->ext_type != dst->ext_type || src->ints_per_section != dst->ints_per_section ||
        src->floats_per_section != dst->floats_per_section) {
        say(" %d->%d: extended header type mismatch (%d/%d)\n", from, to, src->ext_type, dst->ext_type);
        return IM_ERR_EXT_MISMATCH;
    }
    return 0;
}

} // namespace

extern "C" {

int IMTrExHdr(int from, int to)
{
    return boundary(__func__, from, [&]() -> int {
        Stream *src = nullptr, *dst = nullptr;
        if (const int status = extended_header_pair(from, to, src, dst))
            return status;
        if (src->ext.empty())
            return 0;
        const long long bytes =
            std::min<long long>(4LL * src->sections * (src->ints_per_section + src->floats_per_section),
                                static_cast<long long>(src->ext.size()));
        if (dst->ext.empty() && dst->ext_size == 0) {
            if (ext_resize(*dst, src->ints_per_section, src->floats_per_section, dst->sections, 0) == IM_ERR_ALLOC) {
                say(" %d->%d: unable to allocate memory for extended header values.\n", from, to);
                return IM_ERR_ALLOC;
            }
        }
        if (static_cast<long long>(dst->ext.size()) < bytes) {
            say(" %d->%d: extended header size (%d, %d) is too small.\n", from, to, src->ext_size, dst->ext_size);
            return IM_ERR_EXT_TOO_SMALL;
        }
        if (bytes > 0)
            std::memcpy(dst->ext.data(), src->ext.data(), static_cast<size_t>(bytes));
        return 0;
    });
}

int IMTrExHdr4(int from, int to, int z_first, int z_step, int t_first, int t_step)
{
    return boundary(__func__, from, [&]() -> int {
        Stream *src = nullptr, *dst = nullptr;
        if (const int status = extended_header_pair(from, to, src, dst))
            return status;
        if (t_step < 1) {
            say(": time increment must be greater than 0. Fixed.\n");
            t_step = 1;
        }
        if (z_step < 1) {
            say(": Z section increment must be greater than 0. Fixed.\n");
            z_step = 1;
        }
        std::vector<int> ints(std::max(0, src->ints_per_section));
        std::vector<float> floats(std::max(0, src->floats_per_section));
        int result = 0;
        if (!src->ext.empty() && !dst->ext.empty()) {
            for (int p = 0; p < dst->np && !result; ++p)
                for (int t = 0; t < dst->nt && !result; ++t)
                    for (int w = 0; w < dst->nw && !result; ++w)
                        for (int z = 0; z < dst->nz && !result; ++z) {
                            const long long sz = z_first + static_cast<long long>(z) * z_step;
                            const long long st = t_first + static_cast<long long>(t) * t_step;
                            if (sz < 0 || sz >= src->nz || st < 0 || st >= src->nt || w >= src->nw || p >= src->np)
                                continue;
                            int section = 0;
                            section_number(*src, static_cast<int>(sz), w, static_cast<int>(st), p, &section);
                            const long long words = src->ints_per_section + src->floats_per_section;
                            if (4 * (section + 1LL) * words > held_ext_bytes(*src))
                                continue;
                            IMRtExHdr(from, section, ints.data(), floats.data());
                            result = IMAlExHdrZWTP(to, z, w, t, p, ints.data(), floats.data());
                        }
        }
        for (size_t i = 0; i < src->fields.size() && !result; ++i) {
            const Field &f = src->fields[i];
            if (g_verbose)
                std::printf("Transferring field %d: %s %c %d %s\n", static_cast<int>(i), f.name.c_str(), f.type, f.size,
                            f.type == 'b' ? "(binary)" : f.value.c_str());
            result = set_field_text(*dst, f.name, f.value, f.type);
        }
        return result;
    });
}

int IMTrExHdr2(int from, int to, int z_first, int z_step)
{
    return boundary(__func__, from, [&]() -> int {
        say(": switch to IMTrExHdr3. Backwards compatibility enabled...\n");
        return IMTrExHdr4(from, to, z_first, z_step, 0, 1);
    });
}

int IMTrHdr(int from, int to)
{
    return boundary(__func__, from, [&]() -> int {
        int status;
        Stream *src = checked(from, call_name(), &status);
        if (!src)
            return status;
        Stream *dst = checked(to, call_name(), &status);
        if (!dst)
            return status;
        copy_header_values(*src, *dst);
        if (IMAlExHdrInfo(to, src->ext_type, src->ints_per_section, src->floats_per_section)) {
            say(" %d->%d: IMAlExHdrInfo Failed\n", from, to);
            return IM_ERR_ALLOC;
        }
        if (src->ext_size > 0 && dst->ext.empty()) {
            say(" %d->%d: ext header buffer %d is NULL.\n", from, to, to);
            return IM_ERR_NO_EXT_HEADER;
        }
        return 0;
    });
}

// The lower-case compatibility entry of IMTrExHdr2, with its own notice.
int itrexhdr2_(const int *from, const int *to, const int *z_first, const int *z_step)
{
    return boundary(__func__, *from, [&]() -> int {
        emit("itrexhdr2: switch to itrexhdr3. Backwards compatibility enabled...\n");
        return IMTrExHdr4(*from, *to, *z_first, *z_step, 0, 1);
    });
}

} // extern "C"
