#include "library_pass.h"

#include <lumarix/im.h>

#include <stdexcept>

namespace im_io {

namespace {
int g_next_stream = 1;
}

LibraryStream::LibraryStream(const std::string &path, const char *attribute, bool convert) : stream_(g_next_stream++)
{
    if (int status = IMOpen(stream_, path.c_str(), attribute))
        throw std::runtime_error("IMOpen " + path + ": " + IMRtStatusText(status));
    int nx = 0, ny = 0, sections = 0;
    IMRtSiz(stream_, &nx, &ny, &sections);
    IMALCon(stream_, convert ? 1 : 0);
    sections_ = static_cast<std::size_t>(sections);
    pixels_ = static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny);
}

LibraryStream::~LibraryStream() { IMClose(stream_); }

bool LibraryStream::read_all(void *buffer)
{
    if (IMPosn(stream_, 0, 0) != 0)
        return false;
    for (std::size_t s = 0; s < sections_; ++s)
        if (IMRdSec(stream_, buffer) != 0)
            return false;
    return true;
}

bool LibraryStream::write_all(const float *section)
{
    if (IMPosn(stream_, 0, 0) != 0)
        return false;
    for (std::size_t s = 0; s < sections_; ++s)
        if (IMWrSec(stream_, section) != 0)
            return false;
    return true;
}

} // namespace im_io
