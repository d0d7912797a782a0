// The one-pixel-at-a-time loops, built with the project's ordinary flags, to measure what the
// kernels' vectorising flags buy.
#pragma once

#include <cstddef>
#include <cstdint>

namespace im_io {

void plain_widen_int16(void *section, std::size_t pixels);
void plain_narrow(int mode, const float *in, void *out, std::size_t pixels, std::size_t &low, std::size_t &high);

} // namespace im_io
