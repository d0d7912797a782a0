// What the message dialogs share: the message buffer, the parent and placement arithmetic.
#pragma once

#include <X11/Intrinsic.h>

#include <cstdarg>

namespace lx::wm {

// Formats into the shared 500-byte message buffer (cut at 499 characters) and returns it.
const char *FormatMessage(const char *format, va_list args) __attribute__((format(printf, 1, 0)));

// One coordinate of a dialog placed around `centre`: at least 50 from the near edge, and
// wholly on a screen of `screenSize` unless the dialog is larger than the screen.
int PlaceDialogCoordinate(int centre, int size, int screenSize);

// Adds the "NAtoggle" toggle that flips *suppress on every change.
void AddSuppressToggle(Widget dialog, int *suppress, const char *label);

}  // namespace lx::wm
