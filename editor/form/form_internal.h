// Pieces of the editor window shared between its files.
#pragma once

#include <optional>
#include <string>

#include <X11/Intrinsic.h>

#include <lumarix/editor.h>

#include "value_checks.h"

namespace lx::form {

// Lets the checks read the widgets (GetWidgetValue and the text field's string).
void installWidgetReader();
std::optional<std::string> fieldText(ConfigVar &var);

// Realizes the option menus while unmanaged and manages them, with the "Value" title sized to
// the view, in one call (see the form).
void manageOptionMenus();
// Once the shell is realized: the option menus join the grid, and the mouse wheel over the
// form, a scroll-arrow click and Page Up/Down in its values scroll it row-wise.
void completeForm();
void scrollWithWheelAndPageKeys(Widget swindow, Widget grid);
// Sizes the "Value" title (a frame in the grid) to half the view, now and whenever the view
// changes width, so that the grid's equal columns fill the view.
void followViewWidth(Widget swindow, Widget grid, Widget valueTitle);

// Scrolls the form so that a row reached with the keyboard is in view.
void followKeyboardFocus(Widget scrolledWindow);

// Closing the window through the window manager acts as Done.
void installCloseAsDone(Widget shell);

} // namespace lx::form
