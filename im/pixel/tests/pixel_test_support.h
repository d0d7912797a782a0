// Helpers shared by the pixel kernel tests: guarded buffers and lengths that reach vector tails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace pixel_test {

// Lengths around every vector width and around the kernels' internal step sizes.
inline const std::vector<std::size_t> kLengths = {0,    1,    2,    3,    5,    7,    8,     9,    15,   16,
                                                  17,   31,   33,   63,   64,   65,   127,   129,  1365, 1366,
                                                  1367, 4095, 4096, 4097, 8191, 8193, 12289, 40003};

constexpr unsigned char kGuard = 0xA5;

// A byte buffer with `extra` guard bytes after `used` bytes, 64-byte aligned at its start.
struct Guarded {
    explicit Guarded(std::size_t used_bytes, std::size_t extra = 64)
        : used(used_bytes), bytes(used_bytes + extra + 64, kGuard)
    {
    }
    unsigned char *data()
    {
        auto p = reinterpret_cast<std::uintptr_t>(bytes.data());
        return bytes.data() + ((64 - p % 64) % 64);
    }
    bool guard_intact()
    {
        const unsigned char *d = data();
        for (const unsigned char *p = d + used; p < bytes.data() + bytes.size(); ++p)
            if (*p != kGuard)
                return false;
        return true;
    }
    std::size_t used;
    std::vector<unsigned char> bytes;
};

inline std::uint32_t float_bits(float f)
{
    std::uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

inline float bits_float(std::uint32_t u)
{
    float f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}

} // namespace pixel_test
