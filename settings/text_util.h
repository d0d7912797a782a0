// Small text helpers shared by the settings readers.
#pragma once

#include <cctype>
#include <string_view>

namespace lx::settings {

inline bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

inline bool equalsNoCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

} // namespace lx::settings
