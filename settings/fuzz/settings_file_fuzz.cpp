// Fuzzes the settings-file reader: the first input line names the setting to look for, the
// rest is the file.
#include "lumarix/settings.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto *bytes = reinterpret_cast<const char *>(data);
    const auto *newline = static_cast<const char *>(std::memchr(bytes, '\n', size));
    const std::size_t nameLength = newline ? static_cast<std::size_t>(newline - bytes) : size;
    const std::string name(bytes, nameLength);
    const std::size_t rest = newline ? size - nameLength - 1 : 0;
    FILE *file = rest ? fmemopen(const_cast<char *>(newline + 1), rest, "r") : std::tmpfile();
    if (!file)
        return 0;
    char *value = ReadSettingFromFile(file, name.c_str());
    std::fclose(file);
    if (value) {
        const std::size_t length = std::strlen(value);
        if (length == 0 || length > 254 || std::strchr(value, '\n') ||
            std::isspace(static_cast<unsigned char>(value[0])) ||
            std::isspace(static_cast<unsigned char>(value[length - 1])))
            __builtin_trap();
        std::free(value);
    }
    return 0;
}
