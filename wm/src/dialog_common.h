// What the message dialogs share: the message buffer, the parent and placement arithmetic.
#pragma once

#include <X11/Intrinsic.h>

#include <cstdarg>
#include <string>

#include "toolkit_verbs.h"

namespace lx::wm {

// Formats into the shared 500-byte message buffer (cut at 499 characters) and returns it.
const char *FormatMessage(const char *format, va_list args) __attribute__((format(printf, 1, 0)));

// One coordinate of a dialog placed around `centre`: at least 50 from the near edge, and
// wholly on a screen of `screenSize` unless the dialog is larger than the screen.
int PlaceDialogCoordinate(int centre, int size, int screenSize);

// The message as a compound string whose lines longer than a dialog's width (80 characters)
// are broken at spaces, so that one long line does not make the dialog as wide as the screen.
CompoundString MakeWrappedMessage(const char *text);
std::string WrapLines(const std::string &text, size_t width);

// Titles the dialog's window "<main window's title>: <kind>" ("Lumarix User Parameters:
// Warning"), or just the kind when the main window has no title.
void SetDialogTitle(Widget dialog, const char *kind);

// Adds the "NAtoggle" toggle that flips *suppress on every change.
void AddSuppressToggle(Widget dialog, int *suppress, const char *label);

} // namespace lx::wm
