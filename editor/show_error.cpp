// The editor's single error path. Until the window exists it can only write to standard error.
#include "lumarix/editor.h"

#include <cstdio>
#include <cstring>

extern "C" void ShowError(const char *text)
{
    if (!text)
        return;
    const std::size_t length = std::strlen(text);
    std::fprintf(stderr, length > 0 && text[length - 1] == '\n' ? "%s" : "%s\n", text);
}
