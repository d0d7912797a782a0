// Shared helpers of the image library tests: file bytes as strings, a writer that lays out header
// bytes in either byte order without going through the library, and stderr capture.
#pragma once

#include <gtest/gtest.h>
#include <lumarix/im.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unistd.h>
#include <string>
#include <vector>

#include "lx_testing.h"

namespace imtest {

using lxtest::readFile;
using lxtest::TempDir;
using lxtest::writeFile;

// Puts values at byte offsets, in this machine's order or reversed (a machine of the other order).
struct ByteWriter {
    std::string &bytes;
    bool foreign = false;
    template <typename T>
    void put(size_t offset, T value)
    {
        char raw[sizeof(T)];
        std::memcpy(raw, &value, sizeof(T));
        if (foreign)
            std::reverse(raw, raw + sizeof(T));
        bytes.replace(offset, sizeof(T), raw, sizeof(T));
    }
    void i16(size_t at, int v) { put<int16_t>(at, static_cast<int16_t>(v)); }
    void u16(size_t at, int v) { put<uint16_t>(at, static_cast<uint16_t>(v)); }
    void i32(size_t at, int v) { put<int32_t>(at, v); }
    void f32(size_t at, float v) { put<float>(at, v); }
    void text(size_t at, const std::string &s) { bytes.replace(at, s.size(), s); }
};

// A header with size, mode, file ID, NW, NT and the sequence; no extended header.
inline std::string minimal_header(bool foreign, int nx, int ny, int sections, int mode, int nw = 1, int nt = 1,
                                  int sequence = 2)
{
    std::string bytes(1024, '\0');
    ByteWriter h{bytes, foreign};
    h.i32(0, nx);
    h.i32(4, ny);
    h.i32(8, sections);
    h.i32(12, mode);
    h.i16(96, -16224);
    h.u16(180, nt);
    h.i16(182, sequence);
    h.u16(196, nw);
    return bytes;
}

template <typename T>
T native_at(const std::string &bytes, size_t offset)
{
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// What `body` prints on the standard error stream.
template <typename F>
std::string stderr_of(F &&body)
{
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

// A scratch folder; streams 1 to 3 closed and verbose mode off after each test.
class ImTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        for (int s : {1, 2, 3})
            IMClose(s);
        IMAlVerbose(0);
    }
    TempDir dir;
};

template <typename T>
std::vector<T> vec(const T *p, size_t n)
{
    return std::vector<T>(p, p + n);
}

} // namespace imtest
