// A shell's icon: the icon pixmap and mask for older window managers, and _NET_WM_ICON
// (ARGB pixels from the same XPM picture) for current desktops.
#include "toolkit_verbs.h"

#include <lumarix/settings.h>
#include <lumarix/wm.h>

#include <X11/Xatom.h>
#include <X11/xpm.h>

#include <array>
#include <cstdio>
#include <map>
#include <string>
#include <strings.h>
#include <vector>

namespace lx::wm {
namespace {

// Width, height, then one ARGB value per pixel; format-32 properties travel as longs in Xlib.
using NetWmIcon = std::vector<long>;

std::map<Widget, NetWmIcon> &PendingIcons()
{
    static std::map<Widget, NetWmIcon> icons;
    return icons;
}

long ArgbOfXpmColour(Display *display, Colormap colormap, const XpmColor &colour)
{
    const char *name = colour.c_color;
    for (const char *alternative : {colour.g_color, colour.g4_color, colour.m_color}) {
        if (name == nullptr) {
            name = alternative;
        }
    }
    if (name == nullptr || strcasecmp(name, "none") == 0) {
        return 0; // fully transparent
    }
    XColor parsed{};
    if (!XParseColor(display, colormap, name, &parsed)) {
        return 0xff000000L;
    }
    return 0xff000000L | ((parsed.red >> 8) << 16) | ((parsed.green >> 8) << 8) | (parsed.blue >> 8);
}

std::optional<NetWmIcon> ReadNetWmIcon(Display *display, Colormap colormap, const char *path)
{
    XpmImage image{};
    if (XpmReadFileToXpmImage(const_cast<char *>(path), &image, nullptr) < 0) {
        return std::nullopt;
    }
    std::vector<long> palette;
    for (unsigned int i = 0; i < image.ncolors; ++i) {
        palette.push_back(ArgbOfXpmColour(display, colormap, image.colorTable[i]));
    }
    NetWmIcon icon{static_cast<long>(image.width), static_cast<long>(image.height)};
    const size_t count = static_cast<size_t>(image.width) * image.height;
    for (size_t i = 0; i < count; ++i) {
        const unsigned int index = image.data[i];
        icon.push_back(index < palette.size() ? palette[index] : 0);
    }
    XpmFreeXpmImage(&image);
    return icon;
}

void WriteNetWmIcon(Widget shell, const NetWmIcon &icon)
{
    Display *display = XtDisplay(shell);
    Atom property = XInternAtom(display, "_NET_WM_ICON", False);
    XChangeProperty(display, XtWindow(shell), property, XA_CARDINAL, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char *>(icon.data()), static_cast<int>(icon.size()));
}

// A shell has no window until it is realized; the icon waits for its first structure event.
void WriteIconWhenRealizedCB(Widget shell, XtPointer, XEvent *, Boolean *)
{
    GuardCallback(__func__, [shell] {
        auto &pending = PendingIcons();
        auto found = pending.find(shell);
        if (found != pending.end() && XtWindow(shell) != 0) {
            WriteNetWmIcon(shell, found->second);
            pending.erase(found);
        }
        XtRemoveEventHandler(shell, StructureNotifyMask, False, WriteIconWhenRealizedCB, nullptr);
    });
}

void ForgetPendingIconCB(Widget shell, XtPointer, XtPointer) { PendingIcons().erase(shell); }

void SetNetWmIcon(Widget shell, const char *path)
{
    Colormap colormap = 0;
    XtVaGetValues(shell, XmNcolormap, &colormap, nullptr);
    auto icon = ReadNetWmIcon(XtDisplay(shell), colormap, path);
    if (!icon) {
        return;
    }
    if (XtIsRealized(shell)) {
        WriteNetWmIcon(shell, *icon);
        return;
    }
    auto &pending = PendingIcons();
    const bool first = pending.find(shell) == pending.end();
    pending[shell] = std::move(*icon);
    if (first) {
        XtAddEventHandler(shell, StructureNotifyMask, False, WriteIconWhenRealizedCB, nullptr);
        XtAddCallback(shell, XmNdestroyCallback, ForgetPendingIconCB, nullptr);
    }
}

} // namespace
} // namespace lx::wm

extern "C" int WMSetShellIcon(Widget shell, const char *name)
{
    if (shell == nullptr || name == nullptr) {
        return 0;
    }
    int result = 0;
    lx::wm::GuardCallback(__func__, [&] {
        std::array<char, 256> base{};
        if (!GetBaseDirectory(base.data())) {
            return;
        }
        const std::string path = std::string(base.data()) + "/config/pixmaps/" + name;
        Pixmap pixmap = 0, mask = 0;
        if (!WMGetPixmap(shell, path.c_str(), 0, &pixmap, &mask)) {
            return;
        }
        XtVaSetValues(shell, XmNiconPixmap, pixmap, XmNiconMask, mask, nullptr);
        lx::wm::SetNetWmIcon(shell, path.c_str());
        result = 1;
    });
    return result;
}
