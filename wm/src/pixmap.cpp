// Reading XPM files into pixmaps for a widget.
#include "toolkit_verbs.h"

#include <lumarix/wm.h>

#include <X11/xpm.h>

#include <cstdio>

extern "C" int WMGetPixmap(Widget w, const char *path, int depth_one, Pixmap *pixmap, Pixmap *mask)
{
    if (w == nullptr || path == nullptr || pixmap == nullptr || mask == nullptr) {
        return 0;
    }
    Screen *screen = XtScreen(w);
    XpmAttributes attributes{};
    attributes.valuemask = XpmCloseness | XpmVisual | XpmDepth;
    attributes.closeness = 40000;
    attributes.visual = DefaultVisualOfScreen(screen);

    // Transparent parts take the widget's background rather than a colour of their own.
    XpmColorSymbol none{};
    if (depth_one) {
        attributes.depth = 1;
    } else {
        int depth = 0;
        Pixel background = 0, foreground = 0;
        XtVaGetValues(w, XmNdepth, &depth, XmNbackground, &background, XmNforeground, &foreground, nullptr);
        attributes.depth = static_cast<unsigned int>(depth);
        none.name = nullptr;
        none.value = const_cast<char *>("none");
        none.pixel = background;
        attributes.colorsymbols = &none;
        attributes.numsymbols = 1;
        attributes.valuemask |= XpmColorSymbols;
    }

    *pixmap = 0;
    *mask = 0;
    const int status = XpmReadFileToPixmap(XtDisplay(w), RootWindowOfScreen(screen), const_cast<char *>(path), pixmap,
                                           mask, &attributes);
    if (status != XpmSuccess) {
        std::printf("WM_getpixmap: Xpm Failed for file %s\n", path);
        std::fflush(stdout);
    }
    XpmFreeAttributes(&attributes);
    if (status < 0) {
        return 0;
    }
    if (*pixmap == 0) {
        *pixmap = XmUNSPECIFIED_PIXMAP;
    }
    if (*mask == 0) {
        *mask = XmUNSPECIFIED_PIXMAP;
    }
    return 1;
}
