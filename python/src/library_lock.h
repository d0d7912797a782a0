// The image stream library is used from one thread at a time; the module serialises every call.
#pragma once

#include <mutex>
#include <stdexcept>
#include <string>

namespace lx::py {

// Held around every library call. Code holding it never takes the GIL, so a thread that holds the
// GIL may wait for it without dead-locking a transfer that runs with the GIL released.
std::mutex &library_mutex();

// A failing status of the library, turned into lumarix.ImageError at the Python boundary.
struct StatusError : std::runtime_error {
    StatusError(int code, const std::string &what) : std::runtime_error(what), status(code) {}
    int status;
};

// Throws StatusError(status, "<call> <subject>") when status is not 0.
void check(int status, const char *call, const std::string &subject);

} // namespace lx::py
