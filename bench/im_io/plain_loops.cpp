#include "plain_loops.h"

#include <lumarix/im.h>

#include <cstring>

namespace im_io {

void plain_widen_int16(void *section, std::size_t pixels)
{
    auto *bytes = static_cast<unsigned char *>(section);
    for (std::size_t i = pixels; i-- > 0;) {
        std::int16_t v;
        std::memcpy(&v, bytes + 2 * i, sizeof v);
        const float f = v;
        std::memcpy(bytes + 4 * i, &f, sizeof f);
    }
}

namespace {

template <class Out>
void narrow(const float *in, Out *out, std::size_t n, float lo, float hi, std::size_t &low, std::size_t &high)
{
    for (std::size_t i = 0; i < n; ++i) {
        float c = in[i];
        if (c < lo) {
            c = lo;
            ++low;
        } else if (c > hi) {
            c = hi;
            ++high;
        } else if (c != c) {
            c = 0.0f;
        }
        out[i] = static_cast<Out>(static_cast<std::int32_t>(c));
    }
}

} // namespace

void plain_narrow(int mode, const float *in, void *out, std::size_t pixels, std::size_t &low, std::size_t &high)
{
    if (mode == IM_PIXEL_BYTE)
        narrow(in, static_cast<std::uint8_t *>(out), pixels, 0.0f, 255.0f, low, high);
    else
        narrow(in, static_cast<std::uint16_t *>(out), pixels, 0.0f, 65535.0f, low, high);
}

} // namespace im_io
