// Helpers shared by the pixel kernel tests: guarded buffers and lengths that reach vector tails.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "pixel_convert.h"

namespace pixel_test {

namespace px = lx::im::pixel;

// Lengths around every vector width and around the kernels' internal step sizes.
inline const std::vector<std::size_t> kLengths = {0,    1,    2,    3,    5,    7,    8,     9,    15,   16,
                                                  17,   31,   33,   63,   64,   65,   127,   129,  1365, 1366,
                                                  1367, 4095, 4096, 4097, 8191, 8193, 12289, 40003};

constexpr unsigned char kGuard = 0xA5;

// A byte buffer, 64-byte aligned at its start, with guard bytes after `used` bytes.
struct Guarded {
    explicit Guarded(std::size_t used_bytes) : used(used_bytes), bytes(used_bytes + 128, kGuard) {}
    unsigned char *data() { return bytes.data() + (64 - reinterpret_cast<std::uintptr_t>(bytes.data()) % 64) % 64; }
    bool guard_intact()
    {
        return std::all_of(data() + used, bytes.data() + bytes.size(), [](unsigned char b) { return b == kGuard; });
    }
    std::size_t used;
    std::vector<unsigned char> bytes;
};

template <typename T, typename F>
T bit_cast(F from)
{
    T to;
    std::memcpy(&to, &from, sizeof to);
    return to;
}

} // namespace pixel_test
