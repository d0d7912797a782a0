#include "image_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace im_io {
namespace px = lx::im::pixel;

namespace {

class HeaderWriter {
public:
    explicit HeaderWriter(bool foreign) : foreign_(foreign) {}
    template <class T>
    void put(std::size_t offset, T value)
    {
        unsigned char raw[sizeof(T)];
        std::memcpy(raw, &value, sizeof raw);
        if (foreign_)
            std::reverse(raw, raw + sizeof raw);
        std::memcpy(bytes.data() + offset, raw, sizeof raw);
    }
    std::vector<unsigned char> bytes = std::vector<unsigned char>(ImageLayout::kDataOffset, 0);

private:
    bool foreign_;
};

void write_all(int fd, const unsigned char *p, std::size_t n, std::size_t offset)
{
    while (n > 0) {
        const ssize_t put = ::pwrite(fd, p, n, static_cast<off_t>(offset));
        if (put <= 0)
            throw std::runtime_error(std::string("write failed: ") + std::strerror(errno));
        p += put;
        n -= static_cast<std::size_t>(put);
        offset += static_cast<std::size_t>(put);
    }
}

} // namespace

void write_image(const std::string &path, const ImageLayout &l, bool foreign,
                 const std::function<void(std::size_t, unsigned char *)> &fill)
{
    HeaderWriter h(foreign);
    h.put<std::int32_t>(0, static_cast<std::int32_t>(l.nx));
    h.put<std::int32_t>(4, static_cast<std::int32_t>(l.ny));
    h.put<std::int32_t>(8, static_cast<std::int32_t>(l.sections));
    h.put<std::int32_t>(12, l.mode);
    h.put<std::int16_t>(96, -16224); // file ID
    h.put<std::uint16_t>(180, 1);    // NT
    h.put<std::int16_t>(182, 2);     // ZWTP
    h.put<std::uint16_t>(196, 1);    // NW
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        throw std::runtime_error("cannot create " + path + ": " + std::strerror(errno));
    try {
        write_all(fd, h.bytes.data(), h.bytes.size(), 0);
        std::vector<unsigned char> section(l.pixels() * 8);
        for (std::size_t s = 0; s < l.sections; ++s) {
            fill(s, section.data());
            if (foreign)
                px::swap_pixels(l.mode, section.data(), l.pixels());
            write_all(fd, section.data(), l.section_bytes(), l.offset_of(s));
        }
    } catch (...) {
        ::close(fd);
        throw;
    }
    ::close(fd);
}

} // namespace im_io
