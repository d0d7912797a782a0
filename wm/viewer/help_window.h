// The help viewer's own window: a help page's plain text, scrollable, with a Close button.
#pragma once

#include "help_page_text.h"

#include <string>

namespace lx::wm {

// Shows the text in a resizable window titled "Lumarix Help: <page title>" (the file name when
// the page has no title) and runs the event loop until Close or the window manager's close;
// returns the exit status (0; 1 when no display can be opened).
int RunHelpWindow(const HelpPageText &text, const std::string &path);

} // namespace lx::wm
