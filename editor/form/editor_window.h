/* The editor's window: the scrolled parameter form, its value transfer to and from the variable
 * table, the action area with Done, Save, Revert and Help, and the start-up steps that build the
 * window and run the event loop. */
#ifndef LUMARIX_EDITOR_WINDOW_H
#define LUMARIX_EDITOR_WINDOW_H

#include <X11/Intrinsic.h>

#include <lumarix/editor.h>

#ifdef __cplusplus
extern "C" {
#endif

extern Widget gwMainShell;  /* the main window's shell */
extern Widget gwSaveButton; /* the Save button */

/* Builds the framed, scrolled grid "frame"/"swindow"/"main_grid" with one row per variable in
 * `parent` and loads the values (LoadValues). Returns the outer frame. */
Widget BuildParameterForm(Widget parent);

/* Loads every variable's value (configuration file under -f, else the settings lookup) into its
 * widget and its `value`. Under -f an unreadable configuration file ends the program (status 1)
 * after "Couldn't open config File". */
void LoadValues(void);

/* Copies the row's value into `text` (256 bytes) and returns 1, or returns 0 when the row holds
 * none (empty field, unset entry). `*changed` is 1 only when a value differs from var->value. */
int GetWidgetValue(ConfigVar *var, char *text, int *changed);

/* Creates the action area "action_area" in `form` with Done, Save, Revert and Help; Done becomes
 * the form's cancel button. Returns the action area. */
Widget CreateActionArea(Widget form);

/* Fills the main form: the action area, the parameter form above it, Tab order (rows first,
 * then the buttons) and the window manager's close acting as Done. Returns the form's frame. */
Widget BuildEditorWindow(Widget form);

/* Realizes and maps the main shell once the window is built (the option menus join the form
 * only then, all at once). */
void RealizeEditorWindow(Widget shell);

/* Action callbacks (client data and call data unused, except ShowHelp: the variable's index). */
void DoneCB(Widget w, XtPointer client_data, XtPointer call_data);
void SaveCB(Widget w, XtPointer client_data, XtPointer call_data);
void RevertCB(Widget w, XtPointer client_data, XtPointer call_data);
void ShowHelp(Widget w, XtPointer client_data, XtPointer call_data);

/* Start-up once the description file is read: creates the resizable main shell titled
 * gcMainTitle, the action area and the parameter form, realises the window and runs the event
 * loop, which never returns (the program ends in Done). Returns 1 only when the window cannot
 * be built (no display); the caller then exits with status 1. */
int RunEditorWindow(void);

#ifdef __cplusplus
}
#endif

#endif
