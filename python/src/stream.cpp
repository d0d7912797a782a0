#include "stream.h"

#include <lumarix/im.h>

#include <set>

#include "library_lock.h"

namespace lx::py {
namespace {

// Stream numbers in use by this module, taken from the top so that C code in the same process
// that counts from 1 keeps its numbers.
std::set<int> &numbers_in_use()
{
    static std::set<int> numbers;
    return numbers;
}

int take_number()
{
    auto &used = numbers_in_use();
    for (int n = IM_MAX_STREAMS; n >= 1; --n)
        if (used.insert(n).second)
            return n;
    throw StatusError(IM_ERR_NO_STREAMS, "no free stream number");
}

} // namespace

std::mutex &library_mutex()
{
    static std::mutex m;
    return m;
}

void check(int status, const char *call, const std::string &subject)
{
    if (status != 0)
        throw StatusError(status, std::string(call) + " " + subject);
}

Stream::Stream(const std::string &path, const std::string &attribute) : path_(path)
{
    std::lock_guard lock(library_mutex());
    const int n = take_number();
    // A bare name such as "12" would name image window 12, and "rdb:..." the database service.
    const std::string name = path.find('/') == std::string::npos ? "./" + path : path;
    const int status = IMOpen(n, name.c_str(), attribute.c_str());
    if (status != 0) {
        // A read-only open of a missing file and an unreadable extended header leave the slot taken.
        if (status == IM_ERR_NO_FILE || status == IM_ERR_READ_EXT_HEADER)
            IMClose(n);
        numbers_in_use().erase(n);
        throw StatusError(status, "IMOpen " + path);
    }
    number_ = n;
    writable_ = attribute.rfind("ro", 0) != 0;
}

Stream::~Stream()
{
    try {
        close();
    } catch (const StatusError &) {
        // collected without close(): the library has printed why the header was not written
    }
}

int Stream::number() const
{
    if (number_ == 0)
        throw StatusError(IM_ERR_FILE_NOT_OPEN, "stream of " + path_ + " is closed");
    return number_;
}

void Stream::require_writable() const
{
    if (!writable_)
        throw StatusError(IM_ERR_NO_READ_WRITE_ACCESS, "the stream of " + path_ + " is read-only");
}

void Stream::write_header()
{
    std::lock_guard lock(library_mutex());
    check(IMWrHdr2(number(), 1), "IMWrHdr2", path_);
    dirty_ = false;
}

void Stream::close()
{
    if (number_ == 0)
        return;
    std::lock_guard lock(library_mutex());
    const int written = dirty_ && writable_ ? IMWrHdr2(number_, 1) : 0;
    IMClose(number_);
    numbers_in_use().erase(number_);
    number_ = 0;
    check(written, "IMWrHdr2", path_);
}

} // namespace lx::py
