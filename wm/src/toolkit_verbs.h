// Small helpers, each hiding one quirk of Motif or Xt behind a verb.
#pragma once

#include <X11/Intrinsic.h>
#include <Xm/Xm.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

namespace lx::wm {

// Xt calls our callbacks from C frames that cannot unwind: an exception escaping one would
// terminate the program, so every callback body runs inside this guard. `where` is the name of
// the function the guard runs in (__func__), which its message names.
template <class Body>
void GuardCallback(const char *where, Body &&body) noexcept
{
    try {
        body();
    } catch (const std::exception &e) {
        std::fprintf(stderr, "%s: %s\n", where, e.what());
    } catch (...) {
        std::fprintf(stderr, "%s: unexpected failure\n", where);
    }
}

struct CompoundStringFree {
    void operator()(XmString s) const noexcept { XmStringFree(s); }
};
using CompoundString = std::unique_ptr<std::remove_pointer_t<XmString>, CompoundStringFree>;

// Motif keeps a copy of every compound string handed to a resource, so ours is freed at once;
// the LtoR form is used because it is the one that turns "\n" into line breaks.
CompoundString MakeCompoundString(const char *text);

// The plain text of a compound string; nothing when Motif cannot convert it.
std::optional<std::string> ReadCompoundString(XmString text);

// Message and selection boxes always create their standard buttons; the only way to remove
// one is to unmanage it.
void RemoveMessageBoxButton(Widget box, unsigned char which);
void RemoveSelectionBoxButton(Widget box, unsigned char which);

// Unmanages before destroying so that the dialog shell is popped down first and the window
// disappears at once rather than at the end of the destroy phase.
void DestroyDialog(Widget dialog);

// Popup shells are not managed by their parent; popping them up and down is how Xt maps and
// unmaps them reliably, so "managing" the tooltip is done this way.
void ShowPopupShell(Widget shell);
void HidePopupShell(Widget shell);

// A shell does not grow when its child asks before the shell has a window, so a popup created
// 1 by 1 would stay that small; this sizes the shell to the child's preferred size.
void FitShellToChild(Widget shell, Widget child);

// Removes a pending toolkit timer and forgets its id (0 means none), so that an id whose timer
// already fired is never removed again after Xt has reused it.
void StopTimer(XtIntervalId &id);

// Popups must hang off a shell the window manager knows; a widget may sit under several other
// shells (menus, dialogs), so this finds the nearest ancestor (or the widget) that is one.
Widget FindWmShell(Widget w);

// Xt's varargs setters read every value as an XtArgVal; passing a plain int there is undefined
// on 64-bit machines, so values are widened first.
inline XtArgVal ToArgVal(long value) { return static_cast<XtArgVal>(value); }

} // namespace lx::wm
