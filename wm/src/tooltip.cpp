// Tooltips: a delayed popup label for any registered widget, obeying LX_DO_TOOLTIPS.
#include "dialog_common.h"
#include "layer_state.h"
#include "toolkit_verbs.h"

#include <lumarix/settings.h>
#include <lumarix/wm.h>

#include <Xm/Label.h>
#include <Xm/MenuShell.h>
#include <X11/Shell.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace lx::wm {
namespace {

constexpr unsigned long kShowDelayMs = 750;
constexpr long kDisplayTimeMs = 3000; // 0 or less: keep until the pointer leaves

struct TooltipEntry {
    Widget widget = nullptr;
    std::optional<std::string> text;
};

struct Tooltips {
    std::vector<TooltipEntry> registry; // entries are never removed: the index is client data
    Widget shell = nullptr;
    Widget label = nullptr;
    XtAppContext app = nullptr;
    XtIntervalId showTimer = 0;
    XtIntervalId hideTimer = 0;
};

Tooltips &Tips()
{
    static Tooltips tips;
    return tips;
}

void Hide()
{
    Tooltips &t = Tips();
    if (t.shell != nullptr) {
        HidePopupShell(t.shell);
    }
    StopTimer(t.showTimer);
    StopTimer(t.hideTimer);
}

bool TooltipsWanted()
{
    int on = 1; // missing or unreadable: on
    FindSettingBool("LX_DO_TOOLTIPS", &on);
    return on != 0;
}

void HideTimerCB(XtPointer, XtIntervalId *)
{
    GuardCallback(__func__, [] {
        Tips().hideTimer = 0; // firing now, already off Xt's queue
        Hide();
    });
}

void ShowTimerCB(XtPointer, XtIntervalId *)
{
    GuardCallback(__func__, [] {
        Tooltips &t = Tips();
        t.showTimer = 0;
        ShowPopupShell(t.shell);
        XRaiseWindow(XtDisplay(t.shell), XtWindow(t.shell));
        if (kDisplayTimeMs > 0) {
            t.hideTimer = XtAppAddTimeOut(t.app, kDisplayTimeMs, HideTimerCB, nullptr);
        }
    });
}

// The popup dies with the shell it was created under; the next enter creates a new one.
void PopupGoneCB(Widget, XtPointer, XtPointer)
{
    Tooltips &t = Tips();
    t.shell = nullptr;
    t.label = nullptr;
    StopTimer(t.showTimer);
    StopTimer(t.hideTimer);
}

void CreatePopup(Tooltips &t, Widget wmShell)
{
    t.shell = XtVaCreatePopupShell("tooltip_shell", topLevelShellWidgetClass, wmShell, XmNoverrideRedirect, True,
                                   XmNallowShellResize, True, XmNmappedWhenManaged, False, XmNwidth, ToArgVal(1),
                                   XmNheight, ToArgVal(1), XmNborderWidth, ToArgVal(1), nullptr);
    t.label = XtVaCreateManagedWidget("tooltip_label", xmLabelWidgetClass, t.shell, nullptr);
    XtVaSetValues(t.shell, XmNmappedWhenManaged, True, nullptr);
    XtAddCallback(t.shell, XmNdestroyCallback, PopupGoneCB, nullptr);
}

bool IsMenuEntry(Widget w)
{
    Widget parent = XtParent(w);
    Widget grandparent = parent != nullptr ? XtParent(parent) : nullptr;
    return (parent != nullptr && XmIsMenuShell(parent)) || (grandparent != nullptr && XmIsMenuShell(grandparent));
}

// Below the widget, or above it near the bottom edge; pulled left near the right edge.
void PositionPopup(Tooltips &t, Widget w)
{
    Dimension height = 0, popupWidth = 0, popupHeight = 0;
    XtVaGetValues(w, XmNheight, &height, nullptr);
    XtVaGetValues(t.shell, XmNwidth, &popupWidth, XmNheight, &popupHeight, nullptr);
    Position rx = 0, ry = 0;
    XtTranslateCoords(w, 0, 0, &rx, &ry);
    Screen *screen = XtScreen(w);
    const int screenWidth = WidthOfScreen(screen);
    const int screenHeight = HeightOfScreen(screen);
    int x = 0, y = 0;
    if (IsMenuEntry(w)) {
        Dimension parentWidth = 0;
        XtVaGetValues(XtParent(w), XmNwidth, &parentWidth, nullptr);
        y = ry;
        x = (rx + popupWidth + parentWidth <= screenWidth) ? rx + parentWidth : rx - popupWidth;
    } else {
        y = (ry + height + 2 + popupHeight < screenHeight) ? ry + height + 2 : ry - popupHeight - 2;
        x = (rx + popupWidth + 2 > screenWidth) ? screenWidth - popupWidth : rx + 2;
    }
    XtVaSetValues(t.shell, XmNx, ToArgVal(x), XmNy, ToArgVal(y), nullptr);
}

void EnterCB(Widget w, XtPointer client, XEvent *event, Boolean *)
{
    GuardCallback(__func__, [w, client, event] {
        if (event->type != EnterNotify || event->xcrossing.mode != NotifyNormal) {
            return;
        }
        if (!TooltipsWanted()) {
            return;
        }
        Tooltips &t = Tips();
        const auto index = reinterpret_cast<uintptr_t>(client);
        if (index >= t.registry.size()) {
            return;
        }
        Widget wmShell = FindWmShell(w);
        if (wmShell == nullptr) {
            return;
        }
        if (t.app == nullptr) {
            t.app = XtWidgetToApplicationContext(w);
        }
        if (t.shell == nullptr) {
            CreatePopup(t, wmShell);
        }
        const auto &text = t.registry[index].text;
        CompoundString label = MakeCompoundString(text ? text->c_str() : "");
        XtVaSetValues(t.label, XmNlabelString, label.get(), nullptr);
        FitShellToChild(t.shell, t.label);
        PositionPopup(t, w);
        t.showTimer = XtAppAddTimeOut(t.app, kShowDelayMs, ShowTimerCB, nullptr);
    });
}

void LeaveCB(Widget, XtPointer, XEvent *event, Boolean *)
{
    GuardCallback(__func__, [event] {
        if (event->type == LeaveNotify) {
            Hide();
        }
    });
}

// A destroyed widget's address may come back for a new one, which must get handlers again.
void ForgetWidgetCB(Widget, XtPointer client, XtPointer)
{
    Tooltips &t = Tips();
    const auto index = reinterpret_cast<uintptr_t>(client);
    if (index < t.registry.size()) {
        t.registry[index].widget = nullptr;
    }
}

void SetTooltip(Widget w, const char *text)
{
    Tooltips &t = Tips();
    if (t.hideTimer != 0) {
        if (t.shell != nullptr) {
            HidePopupShell(t.shell);
        }
        StopTimer(t.hideTimer);
    }
    std::optional<std::string> copy;
    if (text != nullptr) {
        copy = text;
    }
    for (TooltipEntry &entry : t.registry) {
        if (entry.widget == w) {
            entry.text = std::move(copy);
            return;
        }
    }
    const auto index = static_cast<uintptr_t>(t.registry.size());
    t.registry.push_back({w, std::move(copy)});
    XtPointer data = reinterpret_cast<XtPointer>(index);
    XtAddEventHandler(w, EnterWindowMask, False, EnterCB, data);
    XtAddEventHandler(w, LeaveWindowMask, False, LeaveCB, data);
    XtAddCallback(w, XmNdestroyCallback, ForgetWidgetCB, data);
}

} // namespace
} // namespace lx::wm

using namespace lx::wm;

extern "C" void WMSetTooltip(Widget w, const char *text)
{
    if (w == nullptr) {
        return;
    }
    GuardCallback(__func__, [w, text] { SetTooltip(w, text); });
}

extern "C" void WMSetHelpText(Widget w, const char *format, ...)
{
    if (w == nullptr) {
        return;
    }
    va_list args;
    va_start(args, format);
    const char *text = FormatMessage(format, args);
    va_end(args);
    Widget target = w;
    if (std::strcmp(XtName(w), "tabPageForm") == 0) {
        XtPointer record = nullptr;
        XtVaGetValues(w, XmNuserData, &record, nullptr);
        // The page's record starts with the widget that stands for its tab.
        if (record != nullptr && *static_cast<Widget *>(record) != nullptr) {
            target = *static_cast<Widget *>(record);
        }
    }
    WMSetTooltip(target, text);
}

extern "C" void WMCancelTooltip(void)
{
    Tooltips &t = Tips();
    if (t.showTimer != 0 || t.hideTimer != 0) {
        Hide();
    }
}
