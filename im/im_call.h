// The boundary of every public call: it names the call, finds the stream and keeps exceptions
// inside the library; and the one sink every message of the library goes through.
#pragma once

#include <lumarix/im.h>

#include <climits>
#include <type_traits>
#include <utility>

#include "im_stream.h"

namespace lx::im {

// The public call being served. Its name starts the messages printed for it; a call made from
// inside another names itself until it returns.
class CallName {
public:
    explicit CallName(const char *name);
    ~CallName();
    CallName(const CallName &) = delete;
    CallName &operator=(const CallName &) = delete;

private:
    const char *previous_;
};
const char *call_name();

// Every message of the library: handed to the handler set with IMSetMessageHandler, else
// written to standard error.
void emit(const char *format, ...) __attribute__((format(printf, 1, 2)));
// A message that starts with the name of the call being served: say(" %d: ...", stream) or
// say(": ..."). Messages that name an internal routine on purpose use emit (see im_call.cpp).
void say(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The stream number of a call that takes none.
constexpr int kNoStream = INT_MIN;
// The status and line of an exception caught at the boundary ("<call> <stream>: <text>.").
int caught(const char *name, int stream, int status);

// A public call: body(Stream &) after the stream check (its two messages name the call), or
// body() for calls that check their streams themselves or take none. Anything thrown (only
// memory can run out) becomes on_throw with its line, so that nothing crosses the C interface.
template <class Body>
int boundary(const char *name, int stream, Body &&body, int on_throw = IM_ERR_ALLOC)
{
    CallName current(name);
    try {
        if constexpr (std::is_invocable_v<Body &, Stream &>) {
            int status;
            Stream *s = checked(stream, name, &status);
            if (!s)
                return status;
            return body(*s);
        } else {
            return body();
        }
    } catch (...) {
        return caught(name, stream, on_throw);
    }
}

template <class Body>
int boundary(const char *name, Body &&body)
{
    return boundary(name, kNoStream, std::forward<Body>(body));
}

} // namespace lx::im
