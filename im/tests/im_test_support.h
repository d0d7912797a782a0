// Shared helpers of the image library tests: scratch directories, file bytes, and a writer that
// lays out header bytes in either byte order without going through the library.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace imtest {

class ScratchDir {
public:
    ScratchDir()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "lximtest.XXXXXX";
        path_ = mkdtemp(pattern.data());
    }
    ~ScratchDir() { std::filesystem::remove_all(path_); }
    std::string file(const std::string &name) const { return (path_ / name).string(); }
    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

inline std::vector<uint8_t> read_bytes(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void write_bytes(const std::string &path, const std::vector<uint8_t> &bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Puts values at byte offsets, in this machine's order or reversed (a machine of the other order).
class ByteWriter {
public:
    ByteWriter(std::vector<uint8_t> &bytes, bool foreign) : bytes_(bytes), foreign_(foreign) {}
    template <typename T>
    void put(size_t offset, T value)
    {
        uint8_t raw[sizeof(T)];
        std::memcpy(raw, &value, sizeof(T));
        if (foreign_)
            std::reverse(raw, raw + sizeof(T));
        std::memcpy(bytes_.data() + offset, raw, sizeof(T));
    }
    void i16(size_t offset, int v) { put<int16_t>(offset, static_cast<int16_t>(v)); }
    void u16(size_t offset, int v) { put<uint16_t>(offset, static_cast<uint16_t>(v)); }
    void i32(size_t offset, int v) { put<int32_t>(offset, v); }
    void f32(size_t offset, float v) { put<float>(offset, v); }
    void f64(size_t offset, double v) { put<double>(offset, v); }
    void text(size_t offset, const std::string &s) { std::memcpy(bytes_.data() + offset, s.data(), s.size()); }

private:
    std::vector<uint8_t> &bytes_;
    bool foreign_;
};

// The header fields a reader needs, in this machine's order or the other: size, mode, file ID,
// NW, NT and the sequence; no extended header.
inline std::vector<uint8_t> minimal_header(bool foreign, int nx, int ny, int sections, int mode, int nw = 1, int nt = 1,
                                           int sequence = 2)
{
    std::vector<uint8_t> bytes(1024, 0);
    ByteWriter h(bytes, foreign);
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
T native_at(const std::vector<uint8_t> &bytes, size_t offset)
{
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

} // namespace imtest
