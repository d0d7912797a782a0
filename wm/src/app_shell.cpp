// Top-level shells with the suite's look, the main form and the layer's exported anchors.
#include "fonts.h"
#include "layer_state.h"
#include "mwm_hints.h"
#include "toolkit_verbs.h"

#include <lumarix/wm.h>

#include <Xm/Form.h>
#include <X11/Shell.h>

#include <cstdint>
#include <cstdio>

Widget firstshell = nullptr;
Widget topshell = nullptr;
Widget baseshell = nullptr;
Widget form1 = nullptr;
Widget current_form = nullptr;
Widget xstart = nullptr;
Widget left = nullptr;
Widget top = nullptr;
Widget execbut = nullptr;
Widget gsSubFormStack[250];
int32_t WMStrAnswer = 0;

static_assert(sizeof(gsSubFormStack) == 2000, "the sub-form stack keeps its 2000 bytes");

namespace lx::wm {
namespace {

Colormap SessionColormap(LayerState &s)
{
    if (!s.colormapRead && s.sessionShell != nullptr) {
        s.colormapRead = true;
        XtVaGetValues(s.sessionShell, XmNcolormap, &s.colormap, nullptr);
    }
    return s.colormap;
}

// Pixel 0 stands for "no background": no colour name, no colormap or a failed allocation.
Pixel AllocateStandardBackground(LayerState &s)
{
    const auto &colour = StandardBackground();
    Colormap colormap = SessionColormap(s);
    if (!colour || colormap == 0) {
        return 0;
    }
    XColor exact{}, screen{};
    if (!XAllocNamedColor(s.display, colormap, colour->c_str(), &screen, &exact)) {
        return 0;
    }
    return screen.pixel;
}

void InstallShellFallback(LayerState &s)
{
    const auto &colour = StandardBackground();
    if (!colour) {
        return;
    }
    std::snprintf(s.shellFallbackLine.data(), s.shellFallbackLine.size(), "*.background: %s", colour->c_str());
    s.shellFallbackList = FallbackResources(s.shellFallbackLine.data(), s.antiAliased);
    XtAppSetFallbackResources(s.app, s.shellFallbackList.data());
}

void ForgetResizableCB(Widget shell, XtPointer, XtPointer) { State().resizableOf.erase(shell); }

// Shells have no userData resource, so the flag is kept beside them for their lifetime.
void RememberResizable(LayerState &s, Widget shell, int resizable)
{
    s.resizableOf[shell] = resizable;
    XtAddCallback(shell, XmNdestroyCallback, ForgetResizableCB, nullptr);
}

void PlaceAtPointer(LayerState &s, Widget shell)
{
    Window root = RootWindow(s.display, DefaultScreen(s.display));
    Window rootReturn = 0, child = 0;
    int rootX = 0, rootY = 0, winX = 0, winY = 0;
    unsigned int mask = 0;
    if (XQueryPointer(s.display, root, &rootReturn, &child, &rootX, &rootY, &winX, &winY, &mask)) {
        XtVaSetValues(shell, XmNx, ToArgVal(rootX - 10), XmNy, ToArgVal(rootY - 10), nullptr);
    }
}

void RegisterShell(LayerState &s, Widget shell)
{
    if (s.shells.size() == s.shells.capacity()) {
        s.shells.reserve(s.shells.capacity() + 20);
    }
    s.shells.push_back({shell, 0});
}

void StartLayout(LayerState &s, Widget form)
{
    xstart = left = top = form;
    s.nextStartsRow = 1;
    s.nextIsFirstRow = 1;
    s.layout = LayoutRecord{};
}

} // namespace
} // namespace lx::wm

using namespace lx::wm;

extern "C" void WMSetResizable(int resizable) { State().resizableNext = resizable ? 1 : 0; }

extern "C" int WMShellIsResizable(Widget shell)
{
    const auto &flags = State().resizableOf;
    auto found = flags.find(shell);
    return found != flags.end() ? found->second : 0;
}

namespace {

Widget MakeAppShell(const char *title)
{
    LayerState &s = State();
    if (s.display == nullptr) {
        OpenApplication();
    }
    if (s.display == nullptr) {
        return nullptr;
    }
    InstallShellFallback(s);
    Pixel background = AllocateStandardBackground(s);
    s.backgroundPixel = background;

    Arg args[2];
    Cardinal count = 0;
    XtSetArg(args[count], XmNallowShellResize, False), ++count;
    if (background != 0) {
        XtSetArg(args[count], XmNbackground, background), ++count;
    }
    Widget shell = XtAppCreateShell(title, kAppClass, topLevelShellWidgetClass, s.display, args, count);

    const int resizable = s.resizableNext;
    const MwmHints hints = HintsForShell(title != nullptr, resizable != 0);
    XtVaSetValues(shell, XmNmwmDecorations, ToArgVal(hints.decorations), XmNmwmFunctions, ToArgVal(hints.functions),
                  nullptr);
    RememberResizable(s, shell, resizable);
    s.resizableNext = 0;

    PlaceAtPointer(s, shell);
    if (firstshell == nullptr) {
        firstshell = shell;
    }
    WMSetShellIcon(shell, "lx_app_icon.xpm");
    return shell;
}

Widget MakeMainForm(const char *title)
{
    LayerState &s = State();
    if (s.display == nullptr) {
        OpenApplication();
    }
    if (s.display == nullptr) {
        return nullptr;
    }
    Widget shell = CreateAppShell(title);
    if (shell == nullptr) {
        return nullptr;
    }
    topshell = shell;
    RegisterShell(s, shell);
    baseshell = shell;

    Widget form = XtVaCreateManagedWidget("form", xmFormWidgetClass, shell, nullptr);
    current_form = form;
    if (form1 == nullptr) {
        form1 = form;
        s.evtable = {};
        s.evHandlerCount = 0;
    }
    StartLayout(s, form);
    s.defaultDirKey = "OXL_DEF_DIR:";
    s.defaultExtKey = "OXL_DEF_FILE_EXT:";
    return form;
}

} // namespace

extern "C" Widget CreateAppShell(const char *title)
{
    Widget shell = nullptr;
    GuardCallback(__func__, [&] { shell = MakeAppShell(title); });
    return shell;
}

extern "C" Widget CreateMainForm(const char *title)
{
    Widget form = nullptr;
    GuardCallback(__func__, [&] { form = MakeMainForm(title); });
    return form;
}
