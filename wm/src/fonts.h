// The suite's fonts: an anti-aliased sans font, sized as on a current desktop, through Motif
// render tables when the display can render it; Motif's core fonts otherwise.
#pragma once

#include <X11/Intrinsic.h>

#include <vector>

namespace lx::wm {

// Whether the sans font of the render table opens on this display.
bool AntiAliasedFontOpens(Display *display);

// The fallback resources: the standard background line (if any), then, when `antiAliased`,
// the render table lines; ends with the terminating null.
std::vector<String> FallbackResources(char *backgroundLine, bool antiAliased);

} // namespace lx::wm
