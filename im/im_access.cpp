// The IMRt (return) and IMAl (alter) accessors of single header values.
#include <lumarix/im.h>
#include <lumarix/im_format.h>

#include <algorithm>
#include <cstring>

#include "im_call.h"
#include "im_window.h"

using namespace lx::im;

namespace {

// A return accessor: a window stream first takes the window's current header.
template <class Body>
int returning(const char *name, int stream, Body &&body)
{
    return boundary(name, stream, [&](Stream &s) -> int {
        if (s.kind == kWindow)
            if (const unsigned char *header = window_runtime().header(s.window)) {
                s.raw.assign(header, header + IM_HEADER_BYTES);
                decode_header(s);
            }
        return body(s);
    });
}

bool valid_wave(const Stream &s, int w) { return w >= 0 && w < s.max_waves; }

int bad_wave(int stream, int w)
{
    say(" %d: %d is an invalid wavelength number.\n", stream, w);
    return IM_ERR_WAVE_NUMBER;
}

void recompute_pixel_size(Stream &s)
{
    for (int i = 0; i < 3; ++i)
        s.pixel_size[i] = s.cell[i] / s.sampling[i];
}

} // namespace

extern "C" {

int IMRtSiz(int stream, int *nx, int *ny, int *sections)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *nx = s.nx;
        *ny = s.ny;
        *sections = s.sections;
        if (static_cast<double>(s.nz) * s.nw * s.nt * s.np != s.sections)
            say(": inconsistent section count (secs vs. ZWTP).\n");
        return 0;
    });
}

int IMAlSiz(int stream, int nx, int ny, int sections)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (s.kind == kWindow && sections > s.sections) {
            say(" %d: unable to increase the number of sections in an existing window.\n", stream);
            return IM_ERR_WINDOW_SIZE;
        }
        if (nx < 0 || ny < 0 || sections < 0) {
            say(" %d: invalid size (%d,%d,%d).\n", stream, nx, ny, sections);
            return nx < 0 ? IM_ERR_COLUMNS : ny < 0 ? IM_ERR_ROWS : IM_ERR_SECTION;
        }
        s.nx = nx;
        s.ny = ny;
        s.sections = sections;
        const double others = static_cast<double>(s.nw) * s.nt * s.np;
        s.nz = others > 0 ? static_cast<int>(sections / others) : sections;
        return 0;
    });
}

int IMRtZWTP(int stream, int *nz, int *nw, int *nt, int *np)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *nz = s.nz;
        *nw = s.nw;
        *nt = s.nt;
        *np = s.np;
        return 0;
    });
}

int IMAlZWTP(int stream, int nz, int nw, int nt, int np)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (nw < 1 || nw > s.max_waves) {
            say(" %d: %d is an invalid number of wavelengths.\n", stream, nw);
            return IM_ERR_WAVE_COUNT;
        }
        const double sections = static_cast<double>(nz) * nw * nt * np;
        if (nz < 1 || nt < 1 || np < 1 || sections > INT32_MAX || (nt > 65535 && s.image_type < IM_EXTENDED_TYPE_MIN)) {
            say(" %d: invalid number of sections (%d,%d,%d,%d).\n", stream, nz, nw, nt, np);
            return IM_ERR_SECTION_COUNT;
        }
        if (s.kind == kWindow && sections > s.sections) {
            say(" %d: warning. increasing the number of sections in an existing window.\n", stream);
            emit("Current num sections = %d. Requested NZ,NW,NT,NP=(%d,%d,%d,%d).\n", s.sections, nz, nw, nt, np);
        }
        s.nz = nz;
        s.nw = nw;
        s.nt = nt;
        s.np = np;
        s.sections = static_cast<int>(sections);
        return 0;
    });
}

int IMRtSequence(int stream, int *sequence)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *sequence = s.sequence;
        return 0;
    });
}

int IMAlSequence(int stream, int sequence)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (sequence < IM_SEQ_ZTWP || sequence > IM_SEQ_TPWZ) {
            say(" %d: invalid image sequence %d\n", stream, sequence);
            return IM_ERR_SEQUENCE;
        }
        s.sequence = sequence;
        return 0;
    });
}

int IMRtMode(int stream, int *mode)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *mode = s.mode;
        return 0;
    });
}

int IMAlMode(int stream, int mode)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        int bytes = 0;
        if (bytes_per_pix(stream, mode, &bytes, true) == IM_ERR_PIXEL_MODE) {
            say(" %d: %d is an invalid pixel data type.\n", stream, mode);
            return IM_ERR_PIXEL_MODE;
        }
        s.mode = mode;
        s.bytes_per_pixel = bytes;
        return 0;
    });
}

int IMRtBytesPerPixel(int stream, int *bytes)
{
    return returning(__func__, stream, [&](Stream &s) -> int { return bytes_per_pix(stream, s.mode, bytes); });
}

int IMRtDataTypeMinMax(int stream, float *min, float *max)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        switch (s.mode) {
        case IM_PIXEL_BYTE:
            *min = 0;
            *max = 255;
            return 0;
        case IM_PIXEL_INT16:
            *min = -32768;
            *max = 32767;
            return 0;
        case IM_PIXEL_UINT16:
            *min = 0;
            *max = 65535;
            return 0;
        case IM_PIXEL_INT32:
            *min = -2147483648.0f;
            *max = 2147483647.0f;
            return 0;
        case IM_PIXEL_FLOAT:
        case IM_PIXEL_COMPLEX_FLOAT:
        case IM_PIXEL_DOUBLE:
            *min = -3.402823466e+38f;
            *max = 3.402823466e+38f;
            return 0;
        case IM_PIXEL_COMPLEX_INT16: say(" %d: 16 bit complex data not supported.\n", stream); return IM_ERR_COMPLEX16;
        default: say(" %d: %d is an invalid pixel data type.\n", stream, s.mode); return IM_ERR_PIXEL_MODE;
        }
    });
}

int IMRtMst(int stream, int start[3])
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        std::copy(s.start.begin(), s.start.end(), start);
        return 0;
    });
}

int IMAlMst(int stream, const int start[3])
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        std::copy(start, start + 3, s.start.begin());
        return 0;
    });
}

int IMRtSam(int stream, int sampling[3])
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        for (int i = 0; i < 3; ++i)
            sampling[i] = static_cast<int>(std::min(static_cast<double>(s.sampling[i]) + 0.5, 2147483647.0));
        return 0;
    });
}

int IMAlSam(int stream, const int sampling[3])
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        for (int i = 0; i < 3; ++i)
            s.sampling[i] = static_cast<float>(std::max(1, sampling[i]));
        recompute_pixel_size(s);
        return 0;
    });
}

int IMRtMap(int stream, int map[3])
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        std::copy(s.axis_map.begin(), s.axis_map.end(), map);
        return 0;
    });
}

int IMAlMap(int stream, const int map[3])
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        std::copy(map, map + 3, s.axis_map.begin());
        return 0;
    });
}

int IMRtCel(int stream, float cell[6])
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        std::copy(s.cell.begin(), s.cell.end(), cell);
        std::copy(s.angle.begin(), s.angle.end(), cell + 3);
        return 0;
    });
}

int IMALCel(int stream, const float cell[6])
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        std::copy(cell, cell + 3, s.cell.begin());
        std::copy(cell + 3, cell + 6, s.angle.begin());
        recompute_pixel_size(s);
        return 0;
    });
}

int IMRtDel(int stream, float delta[3])
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        std::copy(s.pixel_size.begin(), s.pixel_size.end(), delta);
        return 0;
    });
}

int IMAlDel(int stream, const float delta[3])
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        for (int i = 0; i < 3; ++i)
            if (!(delta[i] > 0)) {
                say(" %d: pixel size must be greater than 0\n", stream);
                return IM_ERR_PIXEL_SIZE;
            }
        for (int i = 0; i < 3; ++i) {
            s.pixel_size[i] = delta[i];
            s.cell[i] = delta[i] * s.sampling[i];
        }
        return 0;
    });
}

int IMRtOrig(int stream, float *x, float *y, float *z)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *x = s.origin_x;
        *y = s.origin_y;
        *z = s.origin_z;
        return 0;
    });
}

int IMAlOrig(int stream, float x, float y, float z)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        s.origin_x = x;
        s.origin_y = y;
        s.origin_z = z;
        return 0;
    });
}

int IMRtDat(int stream, int *image_type, int *lens_id, int *n1, int *n2, float *v1, float *v2)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *image_type = s.image_type;
        *lens_id = s.lens_id;
        *n1 = s.data_int[0];
        *n2 = s.data_int[1];
        *v1 = s.data_float[0];
        *v2 = s.data_float[1];
        return 0;
    });
}

int IMAlFileType(int stream, int image_type);

int IMAlDat(int stream, int image_type, int lens_id, int n1, int n2, float v1, float v2)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (int bad = IMAlFileType(stream, image_type))
            return bad;
        s.lens_id = lens_id;
        s.data_int = {n1, n2};
        s.data_float = {v1, v2};
        return 0;
    });
}

int IMRtLensID(int stream, int *lens_id)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *lens_id = s.lens_id;
        return 0;
    });
}

int IMAlLensID(int stream, int lens_id)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        s.lens_id = lens_id;
        return 0;
    });
}

int IMRtFileType(int stream, int *image_type)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *image_type = s.image_type;
        return 0;
    });
}

int IMAlFileType(int stream, int image_type)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        const int titles = limit_titles(image_type, s.kind == kWindow);
        if (s.title_count > titles) {
            say(" %d: the current number of titles (%d) is too large for file type %d.\n", stream, s.title_count,
                image_type);
            say(" %d: setting the number of titles to %d.\n", stream, titles);
            s.title_count = titles;
        }
        s.image_type = image_type;
        s.max_titles = titles;
        s.max_waves = limit_waves(image_type, s.kind == kWindow);
        for (int w = s.max_waves; w < kMaxWaves; ++w) {
            s.wave_min[w] = s.wave_max[w] = s.wave_mean[w] = s.wave[w] = 0;
            s.wave_values[w] = {};
        }
        if (s.nw > s.max_waves) {
            s.nw = s.max_waves;
            s.sections = s.nz * s.nw * s.nt * s.np;
        }
        return 0;
    });
}

int IMRtWav(int stream, int *nw, float *waves)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *nw = s.nw;
        std::copy(s.wave.begin(), s.wave.begin() + s.max_waves, waves);
        return 0;
    });
}

int IMAlWav(int stream, int nw, const float *waves)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (nw < 1 || nw > s.max_waves) {
            say(" %d: %d is an invalid number of wavelengths.\n", stream, nw);
            return IM_ERR_WAVE_COUNT;
        }
        const double others = static_cast<double>(s.nz) * s.nt * s.np;
        if (others * nw > INT32_MAX || others < 0) {
            say(" %d: %d is an invalid number of wavelengths.\n", stream, nw);
            return IM_ERR_WAVE_COUNT;
        }
        s.nw = nw;
        s.sections = static_cast<int>(others * nw);
        for (int w = 0; w < nw; ++w)
            s.wave[w] = waves[w];
        return 0;
    });
}

int IMAlWav2(int stream, int w, float wavelength)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (!valid_wave(s, w)) {
            say(" %d: %d is an invalid wavelength number (min=0, max=%d).\n", stream, w, s.max_waves - 1);
            return IM_ERR_WAVE_NUMBER;
        }
        s.wave[w] = wavelength;
        return 0;
    });
}

int IMRtScl(int stream, int w, float mmm[3])
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        if (!valid_wave(s, w))
            return bad_wave(stream, w);
        mmm[0] = s.wave_min[w];
        mmm[1] = s.wave_max[w];
        mmm[2] = s.wave_mean[w];
        return 0;
    });
}

int IMAlScl(int stream, int w, const float mmm[3])
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (!valid_wave(s, w))
            return bad_wave(stream, w);
        s.wave_min[w] = mmm[0];
        s.wave_max[w] = mmm[1];
        s.wave_mean[w] = mmm[2];
        return 0;
    });
}

int IMAlScl2(int stream, int w, float min, float max)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (!valid_wave(s, w))
            return bad_wave(stream, w);
        s.wave_min[w] = min;
        s.wave_max[w] = max;
        return 0;
    });
}

int IMAlWavMM(int stream, int w, float min, float max)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (!valid_wave(s, w))
            return bad_wave(stream, w);
        s.wave_min[w] = min;
        s.wave_max[w] = max;
        if (g_verbose)
            std::printf("%s %d: w=%d, MMM=%.2f %.2f\n", call_name(), stream, w, static_cast<double>(min),
                        static_cast<double>(max));
        return 0;
    });
}

int IMAlWavMMM(int stream, int w, float min, float max, float mean)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (!valid_wave(s, w))
            return bad_wave(stream, w);
        s.wave_min[w] = min;
        s.wave_max[w] = max;
        s.wave_mean[w] = mean;
        if (g_verbose)
            std::printf("%s %d: w=%d, MMM=%.2f %.2f %.3f\n", call_name(), stream, w, static_cast<double>(min),
                        static_cast<double>(max), static_cast<double>(mean));
        return 0;
    });
}

int IMRtWavValues(int stream, int w, int values[3])
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        if (!valid_wave(s, w))
            return bad_wave(stream, w);
        std::copy(s.wave_values[w].begin(), s.wave_values[w].end(), values);
        return 0;
    });
}

int IMAlWavValues(int stream, int w, const int values[3])
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (!valid_wave(s, w))
            return bad_wave(stream, w);
        std::copy(values, values + 3, s.wave_values[w].begin());
        return 0;
    });
}

int IMRtSym(int stream, int *space_group, int *symmetry_bytes)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *space_group = s.space_group;
        *symmetry_bytes = 0;
        return 0;
    });
}

int IMAlSym(int stream, int space_group, int symmetry_bytes)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (symmetry_bytes != 0) {
            say(" %d: error altering symmetry information.\n", stream);
            return IM_ERR_SYMMETRY;
        }
        s.space_group = space_group;
        return 0;
    });
}

int IMRtFileID(int stream, int *file_id)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *file_id = s.file_id;
        return 0;
    });
}

int IMRtDataBitsPerPixel(int stream, int *bits)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *bits = s.data_bits;
        if (s.data_bits > 0)
            return 0;
        if (g_verbose)
            say(" %d: undefined number of data bits per pixel.\n", stream);
        return IM_ERR_DATA_BITS_UNDEFINED;
    });
}

int IMAlDataBitsPerPixel(int stream, int bits)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (s.image_type < IM_EXTENDED_TYPE_MIN) {
            say(" %d: file type %d does not support storage of data bits.\n", stream, s.image_type);
            return IM_ERR_DATA_BITS;
        }
        if (bits < 1 || bits > 8 * s.bytes_per_pixel || bits > 255) {
            say(" %d: invalid number of data bits per pixel (%d)\n", stream, bits);
            return IM_ERR_DATA_BITS;
        }
        s.data_bits = bits;
        return 0;
    });
}

int IMRtLab2(int stream, int count, char *titles)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        if (count > s.max_titles) {
            say(" %d: %d is too many titles. Max is %d. No titles returned.\n", stream, count, s.max_titles);
            return IM_ERR_TITLES;
        }
        for (int i = 0; i < count; ++i)
            std::memcpy(titles + IM_TITLE_BYTES * i, s.titles[i].data(), IM_TITLE_BYTES);
        return 0;
    });
}

static void put_titles(Stream &s, int count, const char *titles)
{
    for (int i = 0; i < count; ++i) {
        s.titles[i].fill(0);
        std::memcpy(s.titles[i].data(), titles + IM_TITLE_BYTES * i, 79);
        s.titles[i][79] = 0;
    }
    s.title_count = count;
}

int IMAlLab(int stream, int count, const char *titles)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (count > s.max_titles) {
            say(" %d: %d is too many titles. Truncating at %d...\n", stream, count, s.max_titles);
            count = s.max_titles;
        }
        put_titles(s, std::max(0, count), titles);
        return 0;
    });
}

int IMAlLab2(int stream, int count, const char *titles)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (count > s.max_titles) {
            say(" %d: %d is too many titles. Max is %d. No changes made.\n", stream, count, s.max_titles);
            return IM_ERR_TITLES;
        }
        put_titles(s, std::max(0, count), titles);
        return 0;
    });
}

int IMAlNumLab(int stream, int count)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (count < 0 || count > s.max_titles) {
            say(": %d is an invalid number of labels. Valid range: 0-%d.\n", count, s.max_titles);
            return IM_ERR_TITLES;
        }
        s.title_count = count;
        return 0;
    });
}

int IMRtNumLab(int stream, int *count)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *count = s.title_count;
        return 0;
    });
}

int IMRtMaxNumLab(int stream, int *count)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *count = s.max_titles;
        return 0;
    });
}

int IMRtRot(int stream, float angles[3])
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        std::copy(s.rotation.begin(), s.rotation.end(), angles);
        return 0;
    });
}

int IMAlRot(int stream, const float angles[3])
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        std::copy(angles, angles + 3, s.rotation.begin());
        return 0;
    });
}

int IMRtTimeStamp(int stream, double *seconds)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *seconds = 0;
        if (s.image_type < IM_EXTENDED_TYPE_MIN) {
            if (g_verbose)
                say(" %d: invalid image type (%d).\n", stream, s.image_type);
            return IM_ERR_TIME_STAMP;
        }
        if (!(s.time_stamp >= 315561600.0)) {
            if (g_verbose)
                say(" %d: invalid time stamp (%.3f).\n", stream, s.time_stamp);
            return IM_ERR_TIME_STAMP;
        }
        *seconds = s.time_stamp;
        return 0;
    });
}

int IMAlTimeStamp(int stream, double seconds)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (s.image_type < IM_EXTENDED_TYPE_MIN) {
            say(" %d: invalid image type (%d).\n", stream, s.image_type);
            return IM_ERR_TIME_STAMP;
        }
        s.time_stamp = seconds > 0 ? seconds : 0;
        return 0;
    });
}

int IMRtHdrValues(int stream, int *value132, float *value134)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *value132 = s.value132;
        *value134 = s.value134;
        return 0;
    });
}

int IMAlHdrValues(int stream, int value132, float value134)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        s.value132 = value132;
        s.value134 = value134;
        return 0;
    });
}

int IMAlDis2(int stream, int display)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        s.display = display;
        return 0;
    });
}

int IMRtWID(int stream, int *window)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *window = s.kind == kWindow ? s.window : -1;
        return 0;
    });
}

int IMRtSwap(int stream, int *swapped)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *swapped = s.swap;
        return 0;
    });
}

int IMRtOpenMode(int stream, int *mode, int *io_kind)
{
    return returning(__func__, stream, [&](Stream &s) -> int {
        *mode = s.open_mode;
        *io_kind = s.io_kind;
        return 0;
    });
}

} // extern "C"
