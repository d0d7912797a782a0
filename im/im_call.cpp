// The message sink, the handler a caller may put in its place, and the name of the call being
// served.
//
// Messages that name an internal routine rather than the public call, kept on purpose because
// the library's callers know them by these texts (every other message starts with the name of
// the call being served, through say or the stream check):
//   "IMRtBytesPerPix"    the bytes-per-pixel check behind IMRtBytesPerPixel, IMAlMode and transfers
//   "IMSubs"             header decoding, for IMOpen, IMRdHdr2 and the header returns of windows
//   "IMOpen2"            the section count check of IMCrHdr3
//   "iReadAllFields"     parsing the field area, for IMOpen and IMRdFieldHdr
//   "iStreamFile...", "dStreamFileTell", "iCreate...IOModeArgs"   the file I/O layer
//   "IMAlExHdrSize2"     extended header sizing, also when IMCrExHdr, IMAlExHdrInfo or IMTrExHdr
//                        resize through it
//   "IMPosnZWTP - ..."   the three positioning failures of IMPosnZWTP, each named by its step
//   "itrexhdr2"          the notice of the lower-case compatibility entry
// Lines that name no routine ("Stream %d out of field header space", "Error parsing field size",
// the second lines of two-line messages) go out through emit as they are.
#include "im_call.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace lx::im {
namespace {

const char *g_call = "";
IMMessageHandler g_handler = nullptr;
void *g_context = nullptr;

void deliver(const std::string &text)
{
    if (g_handler)
        g_handler(text.c_str(), g_context);
    else
        std::fputs(text.c_str(), stderr);
}

std::string format_text(const char *format, std::va_list args)
{
    std::va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length <= 0)
        return {};
    std::string text(static_cast<size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, args);
    text.resize(static_cast<size_t>(length));
    return text;
}

} // namespace

CallName::CallName(const char *name) : previous_(g_call) { g_call = name; }
CallName::~CallName() { g_call = previous_; }
const char *call_name() { return g_call; }

void emit(const char *format, ...)
{
    std::va_list args;
    va_start(args, format);
    deliver(format_text(format, args));
    va_end(args);
}

void say(const char *format, ...)
{
    std::va_list args;
    va_start(args, format);
    deliver(g_call + format_text(format, args));
    va_end(args);
}

int caught(const char *name, int stream, int status)
{
    // Allocating the message may fail as well: the default sink then gets the fixed text.
    try {
        std::string text = IMRtStatusText(status);
        if (text.size() > 1 && std::isupper(static_cast<unsigned char>(text[0])) &&
            std::islower(static_cast<unsigned char>(text[1])))
            text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
        emit("%s %d: %s.\n", name, stream, text.c_str());
    } catch (...) {
        emit("%s %d: %s.\n", name, stream, IMRtStatusText(status));
    }
    return status;
}

} // namespace lx::im

extern "C" IMMessageHandler IMSetMessageHandler(IMMessageHandler handler, void *context)
{
    const IMMessageHandler previous = lx::im::g_handler;
    lx::im::g_handler = handler;
    lx::im::g_context = context;
    return previous;
}
