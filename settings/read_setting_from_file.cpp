// Reading one setting from a settings file ("name value" lines, 255 characters at a time).
#include "lumarix/settings.h"
#include "text_util.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

using lx::settings::equalsNoCase;
using lx::settings::isBlank;

extern "C" char *ReadSettingFromFile(FILE *file, const char *name)
{
    if (!file || !name)
        return nullptr;
    char line[256];
    while (std::fgets(line, sizeof line, file)) {
        for (char &c : line) {
            if (c == '\0')
                break;
            if (c == '\t')
                c = ' ';
        }
        char *word = line;
        while (*word == ' ')
            ++word;
        if (*word == '\0')
            continue;
        char *wordEnd = word;
        while (*wordEnd != '\0' && *wordEnd != ' ')
            ++wordEnd;
        if (!equalsNoCase({word, static_cast<size_t>(wordEnd - word)}, name))
            continue;
        if (*wordEnd == '\0')
            continue; // the name ends the line: no value here, keep searching
        // The rest of the line, after the one separator, up to the newline.
        char *rest = wordEnd + 1;
        while (*rest == '\n')
            ++rest;
        if (*rest == '\0')
            continue;
        char *restEnd = rest;
        while (*restEnd != '\0' && *restEnd != '\n')
            ++restEnd;
        while (rest < restEnd && isBlank(*rest))
            ++rest;
        if (rest == restEnd)
            return nullptr; // only white space: the setting is given as empty
        while (restEnd > rest && isBlank(restEnd[-1]))
            --restEnd;
        return strndup(rest, static_cast<size_t>(restEnd - rest));
    }
    return nullptr;
}
