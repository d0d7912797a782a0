// The editor's single error path: a warning dialog once the window exists, and always a line on
// standard error, so the message reaches a user who started the editor from a terminal and one
// whose program is about to exit (a dialog would vanish with the process).
#include "lumarix/editor.h"

#include <cstdio>
#include <cstring>

#ifdef LX_EDITOR_WITH_WM
#include <lumarix/wm.h>
#endif

extern "C" void ShowError(const char *text)
{
    if (!text)
        return;
#ifdef LX_EDITOR_WITH_WM
    // Without a display or before the application is open the toolkit writes the text to
    // standard error itself and returns no dialog.
    if (WMShowWarning("%s", text) == nullptr)
        return;
#endif
    const std::size_t length = std::strlen(text);
    std::fprintf(stderr, length > 0 && text[length - 1] == '\n' ? "%s" : "%s\n", text);
}
