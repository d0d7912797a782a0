// A help page as plain text, for the help viewer's own window when no browser is available.
#pragma once

#include <string>
#include <string_view>

namespace lx::wm {

struct HelpPageText {
    std::string title; // the page's <title>, white space collapsed; empty when there is none
    std::string body;  // the text a browser would show, one paragraph per block, lines unwrapped
};

// Tags are dropped (block tags start new lines, list items get "- "), comments, scripts and
// styles are dropped, entities are decoded (characters outside ASCII become '?'), white space
// is collapsed except inside <pre>. Any input gives a result; unclosed constructs end the text.
HelpPageText PlainTextOfHelpPage(std::string_view html);

} // namespace lx::wm
