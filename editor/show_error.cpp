// The editor's single error path: always a line on standard error (for a user who started the
// editor from a terminal), and a warning dialog when a display is open. Before the main window
// is up every error ends the program, so during start-up ShowError waits until the person has
// dismissed the warning (OK or the window manager's close): a dialog would otherwise vanish
// with the process before it was ever drawn.
#include "lumarix/editor.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <Xm/Xm.h>
#include <lumarix/wm.h>

namespace {

bool waitDuringStartUp = false;

bool mainWindowIsUp() { return topshell != nullptr && XtIsRealized(topshell); }

void markGone(Widget, XtPointer gone, XtPointer) { *static_cast<bool *>(gone) = true; }

void closeDismisses(void *dialog, void *) { XtDestroyWidget(static_cast<Widget>(dialog)); }

void waitUntilDismissed(Widget dialog)
{
    bool gone = false;
    XtAddCallback(dialog, XmNdestroyCallback, markGone, &gone);
    AddDeleteWindowHandler(XtParent(dialog), closeDismisses, dialog);
    XtAppContext app = XtWidgetToApplicationContext(dialog);
    while (!gone)
        XtAppProcessEvent(app, XtIMAll);
}

} // namespace

extern "C" void ShowErrorWaitsDuringStartUp(int wait) { waitDuringStartUp = wait != 0; }

extern "C" void ShowError(const char *text)
{
    if (!text)
        return;
    const std::size_t length = std::strlen(text);
    std::fprintf(stderr, length > 0 && text[length - 1] == '\n' ? "%s" : "%s\n", text);
    std::fflush(stderr);
    // Without a display to go to (none open, none named), standard error is all there is.
    const char *display = std::getenv("DISPLAY");
    if (WMGetDisplay() == nullptr && (display == nullptr || display[0] == '\0'))
        return;
    // Should the display not open after all, the toolkit writes the text to standard error once
    // more and returns no dialog.
    Widget dialog = WMShowWarning("%s", text);
    if (dialog != nullptr && waitDuringStartUp && !mainWindowIsUp())
        waitUntilDismissed(dialog);
}
