// Anti-aliased fonts through render tables, and the probe that decides whether to use them.
#include "fonts.h"

#include <X11/Xft/Xft.h>

namespace lx::wm {
namespace {

// A render table for every widget, with one default rendition: the desktop's sans family at
// 10 points. The family and size are those the probe opens.
constexpr const char *kProbeFont = "Sans-10";
char kRenderTable[] = "*renderTable:";
char kFontType[] = "*renderTable.fontType: FONT_IS_XFT";
char kFontName[] = "*renderTable.fontName: Sans";
char kFontSize[] = "*renderTable.fontSize: 10";

} // namespace

// Without a font the render table's widgets would draw no text at all; fontconfig finding no
// font (or none it can load) is what "Xft missing" looks like at run time.
bool AntiAliasedFontOpens(Display *display)
{
    XftFont *font = XftFontOpenName(display, DefaultScreen(display), kProbeFont);
    if (font == nullptr) {
        return false;
    }
    XftFontClose(display, font);
    return true;
}

std::vector<String> FallbackResources(char *backgroundLine, bool antiAliased)
{
    std::vector<String> lines;
    if (backgroundLine != nullptr) {
        lines.push_back(backgroundLine);
    }
    if (antiAliased) {
        lines.insert(lines.end(), {kRenderTable, kFontType, kFontName, kFontSize});
    }
    lines.push_back(nullptr);
    return lines;
}

} // namespace lx::wm
