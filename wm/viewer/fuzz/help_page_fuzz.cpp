// Fuzzes the help viewer's page-to-text conversion with arbitrary page contents.
#include "help_page_text.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view html(reinterpret_cast<const char *>(data), size);
    const lx::wm::HelpPageText text = lx::wm::PlainTextOfHelpPage(html);
    // Never longer than the page plus the list marks and line breaks it can add per tag.
    if (text.body.size() > 3 * size + 3 || text.title.size() > size) {
        __builtin_trap();
    }
    return 0;
}
