// The -f search: the first line whose first word is the variable's name gives its value.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "config_file.h"
#include "text_rules.h"

namespace {

// One line as the search reads it, at most 255 characters (longer lines arrive in pieces).
enum class LineVerdict { NotThisName, NameWithoutValue, NameWithBlankValue, Value };

LineVerdict examineLine(char *line, std::string_view name, std::string_view &value)
{
    size_t length = std::strlen(line);
    for (size_t i = 0; i < length; ++i)
        if (line[i] == '\t')
            line[i] = ' ';
    std::string_view text(line, length);

    size_t start = text.find_first_not_of(' ');
    if (start == std::string_view::npos)
        return LineVerdict::NotThisName;
    size_t tokenEnd = text.find(' ', start);
    std::string_view token = text.substr(start, tokenEnd == std::string_view::npos ? text.npos : tokenEnd - start);
    if (!lx::equalsIgnoreCase(token, name))
        return LineVerdict::NotThisName;
    if (tokenEnd == std::string_view::npos)
        return LineVerdict::NameWithoutValue;

    // The rest of the line after the single separating space, up to the newline.
    std::string_view rest = text.substr(tokenEnd + 1);
    size_t restStart = rest.find_first_not_of('\n');
    if (restStart == std::string_view::npos)
        return LineVerdict::NameWithoutValue;
    rest = rest.substr(restStart);
    rest = rest.substr(0, rest.find('\n'));

    value = lx::trimWhiteSpace(rest);
    return value.empty() ? LineVerdict::NameWithBlankValue : LineVerdict::Value;
}

} // namespace

extern "C" char *FindValueInFile(FILE *file, const char *name)
{
    if (file == nullptr || name == nullptr)
        return nullptr;
    char line[256];
    while (std::fgets(line, sizeof line, file) != nullptr) {
        std::string_view value;
        switch (examineLine(line, name, value)) {
        case LineVerdict::NotThisName:
        case LineVerdict::NameWithoutValue: continue;
        case LineVerdict::NameWithBlankValue: return nullptr;
        case LineVerdict::Value: return strndup(value.data(), value.size());
        }
    }
    return nullptr;
}
