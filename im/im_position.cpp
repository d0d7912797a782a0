// Image sequences, section numbers and stream positioning.
#include <lumarix/im.h>
#include <lumarix/im_format.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "im_call.h"
#include "im_window.h"

namespace lx::im {
namespace {

// Size and position of the dimension named by a letter of a sequence name.
int size_of(const Stream &s, char letter)
{
    switch (letter) {
    case 'Z': return s.nz;
    case 'W': return s.nw;
    case 'T': return s.nt;
    default: return s.np;
    }
}

} // namespace

int section_number(const Stream &s, int z, int w, int t, int p, int *section)
{
    const char *name = IMRtSequenceName(s.sequence);
    uint32_t result = 0, stride = 1;
    for (int i = 0; i < 4; ++i) {
        const char letter = name[i];
        const int pos = letter == 'Z' ? z : letter == 'W' ? w : letter == 'T' ? t : p;
        result += static_cast<uint32_t>(pos) * stride;
        stride *= static_cast<uint32_t>(size_of(s, letter));
    }
    *section = static_cast<int>(result);
    return 0;
}

void section_position(const Stream &s, int section, int *z, int *w, int *t, int *p)
{
    int pos[4] = {0, 0, 0, 0}; // z, w, t, p
    if (s.sequence >= IM_SEQ_ZTWP && s.sequence <= IM_SEQ_TPWZ && section >= 0) {
        const char *name = IMRtSequenceName(s.sequence);
        long long rest = section;
        for (int i = 0; i < 4; ++i) {
            const char letter = name[i];
            const int size = size_of(s, letter) > 0 ? size_of(s, letter) : 1;
            const int index = letter == 'Z' ? 0 : letter == 'W' ? 1 : letter == 'T' ? 2 : 3;
            pos[index] = static_cast<int>(i == 3 ? rest : rest % size);
            rest /= size;
        }
    }
    *z = pos[0];
    *w = pos[1];
    *t = pos[2];
    *p = pos[3];
}

bool offset_of(const Stream &s, long long section, long long line, long long *offset)
{
    double value = IM_HEADER_BYTES + static_cast<double>(s.ext_size) +
                   static_cast<double>(s.bytes_per_pixel) *
                       (static_cast<double>(section) * s.nx * s.ny + static_cast<double>(line) * s.nx);
    value += value < 0 ? -0.0001 : 0.0001;
    if (!(value >= 0 && value < 9.0e18))
        return false;
    *offset = static_cast<long long>(value);
    return true;
}

} // namespace lx::im

using namespace lx::im;

extern "C" {

int IMRtSecNum2(int stream, int z, int w, int t, int p, int *section)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (z < 0 || z >= s.nz || w < 0 || w >= s.nw || t < 0 || t >= s.nt || p < 0 || p >= s.np) {
            emit("[%d] %s %d: invalid Z,W,T,P coordinate.\nRequested %d %d %d %d, Stream has %d %d %d %d.\n",
                 static_cast<int>(getpid()), call_name(), stream, z, w, t, p, s.nz, s.nw, s.nt, s.np);
            if (section)
                *section = 0;
            return IM_ERR_ZWTP;
        }
        if (s.sequence < IM_SEQ_ZTWP || s.sequence > IM_SEQ_TPWZ) {
            say(" %d: invalid image sequence %d\n", stream, s.sequence);
            return IM_ERR_SEQUENCE;
        }
        int result = 0;
        section_number(s, z, w, t, p, &result);
        if (g_verbose)
            std::printf("%s %d: iz=%d, iw=%d, it=%d, ip=%d, sec=%d\n", call_name(), stream, z, w, t, p, result);
        if (section)
            *section = result;
        return 0;
    });
}

int IMRtSecNum(int stream, int z, int w, int t, int *section) { return IMRtSecNum2(stream, z, w, t, 0, section); }

int IMRtZWTPNum(int stream, int section, int *z, int *w, int *t, int *p)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (s.sequence < IM_SEQ_ZTWP || s.sequence > IM_SEQ_TPWZ) {
            say(" %d: invalid image sequence %d\n", stream, s.sequence);
            return IM_ERR_SEQUENCE;
        }
        if (section < 0 || section >= s.sections) {
            say(" %d: invalid section number (%d).\n", stream, section);
            return IM_ERR_SECTION;
        }
        int pos[4];
        section_position(s, section, &pos[0], &pos[1], &pos[2], &pos[3]);
        *z = pos[0];
        *w = pos[1];
        *t = pos[2];
        *p = pos[3];
        return 0;
    });
}

int IMRtPosn(int stream, int *z, int *w, int *t, int *p, int *section)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        *z = s.z;
        *w = s.w;
        *t = s.t;
        *p = s.p;
        *section = s.section;
        return 0;
    });
}

int IMPosn(int stream, int section, int line)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (s.kind == kFile) {
            long long offset = 0;
            if (!offset_of(s, section, line, &offset) || !stream_file_seek(s, offset, SEEK_SET)) {
                say(" %d: error positioning stream.\n", stream);
                return IM_ERR_POSITION;
            }
        } else {
            window_runtime().set_position(s.window, section);
        }
        s.section = section;
        s.line = line;
        section_position(s, section, &s.z, &s.w, &s.t, &s.p);
        s.last_op = kSeek;
        return 0;
    });
}

int IMPosnZWTP(int stream, int z, int w, int t, int p)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (s.kind == kWindow) {
            int section = 0;
            if (IMRtSecNum2(stream, z, w, t, p, &section))
                return IM_ERR_POSITION;
            s.section = section;
            s.line = 0;
            window_runtime().set_position(s.window, section);
            section_position(s, section, &s.z, &s.w, &s.t, &s.p);
            if (s.z != z || s.w != w || s.t != t || s.p != p)
                say(" %d: internal calculation error.\n", stream);
            return 0;
        }
        const long long current = stream_file_tell(s);
        if (current < 0) {
            emit("%s %d: error positioning stream.\n", "IMPosnZWTP - current position is invalid.", stream);
            return IM_ERR_POSITION;
        }
        int section = 0;
        if (IMRtSecNum2(stream, z, w, t, p, &section)) {
            emit("%s %d: error positioning stream.\n", "IMPosnZWTP 1 - invalid section number", stream);
            return IM_ERR_POSITION;
        }
        long long target = 0;
        if (!offset_of(s, section, 0, &target) || !stream_file_seek(s, target - current, SEEK_CUR)) {
            emit("%s %d: error positioning stream.\n", "IMPosnZWTP - unable to seek to new position", stream);
            return IM_ERR_POSITION;
        }
        s.z = z;
        s.w = w;
        s.t = t;
        s.p = p;
        s.section = section;
        s.line = 0;
        s.last_op = kSeek;
        return 0;
    });
}

int IMALCon(int stream, int flag)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        s.convert = flag != 0;
        return 0;
    });
}

int IMRtCon(int stream, int *flag)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        *flag = s.convert;
        return 0;
    });
}

} // extern "C"
