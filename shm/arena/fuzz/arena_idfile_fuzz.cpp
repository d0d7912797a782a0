// The id file under /tmp can hold anything another process wrote: its reading must accept only
// one non-negative id and turn everything else away, without crashing.
#include "sm_internal.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    const std::optional<int> id = lx::sm::parseCtlId(text);
    if (!id)
        return 0;
    // An accepted text is its digits with white space (and a plus sign) around them.
    std::string digits;
    for (const char c : text)
        if (c >= '0' && c <= '9')
            digits += c;
        else if (c != ' ' && c != '\t' && c != '\n' && c != '\r' && c != '+')
            std::abort();
    if (*id < 0 || std::stoll(digits) != *id)
        std::abort();
    return 0;
}
