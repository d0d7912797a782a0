/* lumarix/wm.h - the suite's widget toolkit layer over Motif and Xt.
 *
 * Shells with the suite's look (background, window-manager hints, icon, placement at the
 * pointer), message dialogs (warning, information note, question, string prompt), tooltips,
 * XPM pixmaps, the help presenter and the shared application log.
 *
 * Caveats:
 *   - One thread per process: everything runs on the toolkit's event-loop thread.
 *   - The blocking dialogs (question, prompt) spin the event loop themselves, so other
 *     callbacks may run while they wait.
 *   - When no display can be opened, dialogs write their text to standard error instead.
 *   - Programs must load libXm ahead of libXt (link -lXm before -lXt, without --as-needed
 *     dropping libXm): Motif's vendor shell class has to replace Xt's own.
 *   - Settings (LX_STD_BKG_COLOR, LX_APPLICATION, LX_DO_TOOLTIPS, the base directory) come
 *     from the suite's settings lookup (lumarix/settings.h).
 *
 * Messages name the function that writes them, except these, kept as the suite has always
 * written them: the log lines "WMShowWarning: ..." and "WMShowWarning (dialog disabled by
 * user): ..." (also from WMShowWarningSuppressible) and "WM_getpixmap: Xpm Failed for file ..."
 * (WMGetPixmap).
 */
#ifndef LUMARIX_WM_H
#define LUMARIX_WM_H

#include <stdint.h>
#include <X11/Intrinsic.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define LX_WM_PRINTF(fmt, first) __attribute__((format(printf, fmt, first)))
#else
#define LX_WM_PRINTF(fmt, first)
#endif

/* ---- Exported globals ------------------------------------------------------------------ */

extern Widget firstshell;        /* the first shell ever created (CreateAppShell) */
extern Widget topshell;          /* the shell of the latest main form (CreateMainForm) */
extern Widget baseshell;         /* parent of dialogs and reference for their placement */
extern Widget form1;             /* the first main form */
extern Widget current_form;      /* the form under construction */
extern Widget xstart, left, top; /* layout anchors, set to each new main form */
extern Widget execbut;           /* an execute button of the form-layout helpers */
/* Stack of nested sub-forms of the form-layout helpers (2000 bytes). */
extern Widget gsSubFormStack[250];
/* Answer of the string prompt: 1 OK, -1 cancelled, 0 while it is open. */
extern int32_t WMStrAnswer;

/* Size of the prompt's answer buffer: answers are cut at 255 characters. */
#define WM_ANSWER_SIZE 256
/* Size of the shared message buffer: texts are cut at 499 characters. */
#define WM_MESSAGE_SIZE 500

/* ---- Application and shells ------------------------------------------------------------ */

/* Opens the toolkit application once (class "Lumarix", session shell root). When no display
 * can be opened, says so once on standard error and leaves the display unset. */
void OpenApplication(void);

/* The application context and display, or NULL before OpenApplication succeeded. */
XtAppContext WMGetAppContext(void);
Display *WMGetDisplay(void);

/* Makes the next shell created by CreateAppShell resizable (1) or not (0); the flag resets
 * to 0 after that one shell. */
void WMSetResizable(int resizable);

/* The resizable flag a shell was created with: 1 or 0 (also 0 for shells not made here). */
int WMShellIsResizable(Widget shell);

/* A new top-level shell named `title` (NULL: untitled) with the suite's background, window-
 * manager hints, icon and placement at the pointer. NULL when no display can be opened. */
Widget CreateAppShell(const char *title);

/* A managed form "form" in a new shell that becomes topshell and baseshell; the form becomes
 * current_form (and form1 on the first call). NULL when no display can be opened. */
Widget CreateMainForm(const char *title);

/* Called when the window manager asks to close a shell: the handler's argument first, then
 * the record kept by AddDeleteWindowHandler. */
typedef void (*WMDeleteWindowHandler)(void *argument, void *record);

/* Installs `handler` for WM_DELETE_WINDOW on `shell` (NULL: baseshell); the toolkit no longer
 * destroys the window itself. Returns 1 when installed, 0 when there is no shell or it is
 * not a vendor shell. */
int AddDeleteWindowHandler(Widget shell, WMDeleteWindowHandler handler, void *argument);

/* Appends "[<ctime>]: <message>" to the application log, rotating it past 1199999 bytes.
 * Returns 0 when written to the log, -1 when it went to standard error instead. */
int WriteLog(const char *format, ...) LX_WM_PRINTF(1, 2);

/* The directory of the application log (resolved once per process). */
const char *LogDirectory(void);

/* ---- Dialogs --------------------------------------------------------------------------- */

/* Places a dialog centred on the pointer (or, once after WMCenterNextDialog, on the screen),
 * at least 50 pixels from the left and top edges and wholly on screen; manages and maps it. */
void PlaceDialog(Widget dialog);

/* Centres the next dialog placed on the screen instead of on the pointer (one-shot). */
void WMCenterNextDialog(void);

/* Makes dialogs appear under `parent` instead of baseshell; NULL restores baseshell. */
void WMSetDialogParent(Widget parent);

/* A modeless warning "warning" with OK only, also written to the application log. Returns
 * the dialog; NULL when there is no display (the text then goes to standard error). */
Widget WMShowWarning(const char *format, ...) LX_WM_PRINTF(1, 2);

/* An information note "info_dialog" with OK only, destroyed after `seconds` when that is 1
 * or more, else kept until OK. Never waits. Returns 0. */
int WMShowInfo(const char *text, int seconds);

/* Timer handler of WMShowInfo: destroys the note passed as client data. */
void WMPostinfotimeout(XtPointer dialog, XtIntervalId *id);

/* A modal question "question" with OK and Cancel; waits for the answer. Returns 1 for OK,
 * 0 for Cancel, a window-manager close or no display. */
int WMAskQuestion(const char *format, ...) LX_WM_PRINTF(1, 2);

/* A string prompt "prompt" showing `question` with `deftext` in its text field; waits.
 * On OK copies the text into `answer` (WM_ANSWER_SIZE bytes) and returns 1; on Cancel, a
 * window-manager close or no display empties `answer` and returns -1. */
int WMAskString(const char *question, char *answer, const char *deftext);

/* The prompt's OK/Cancel callback; client data is the answer buffer. Sets WMStrAnswer. */
void WMReadString(Widget w, XtPointer answer, XtPointer call_data);

/* WMAskQuestion with a "Don't ask me this again" toggle "NAtoggle" that flips *suppress.
 * Returns 1 at once, showing nothing, when suppress is non-NULL and *suppress is set. */
int WMAskQuestionSuppressible(int *suppress, const char *format, ...) LX_WM_PRINTF(2, 3);

/* WMShowWarning with a "Don't show me this warning again" toggle "NAtoggle" that flips
 * *suppress. When *suppress is set, only logs the text and returns NULL. */
Widget WMShowWarningSuppressible(int *suppress, const char *format, ...) LX_WM_PRINTF(2, 3);

/* Answer callbacks: each stores its constant into the int32_t passed as client data. */
void WMyes(Widget w, XtPointer answer, XtPointer call_data);     /* 1 */
void WMno(Widget w, XtPointer answer, XtPointer call_data);      /* 0 */
void WMchoice1(Widget w, XtPointer answer, XtPointer call_data); /* 1 */
void WMchoice2(Widget w, XtPointer answer, XtPointer call_data); /* 2 */
void WMchoice3(Widget w, XtPointer answer, XtPointer call_data); /* 3 */

/* ---- Tooltips, pixmaps, help ----------------------------------------------------------- */

/* Shows `text` (NULL: nothing) 750 ms after the pointer enters `w`, for 3 seconds. Registering
 * a widget again only replaces its text. Tooltips obey the LX_DO_TOOLTIPS setting. */
void WMSetTooltip(Widget w, const char *text);

/* Formats a tooltip into the shared message buffer and sets it on `w`, or on the tab of a
 * "tabPageForm" page. A NULL widget does nothing. */
void WMSetHelpText(Widget w, const char *format, ...) LX_WM_PRINTF(2, 3);

/* Hides the tooltip and cancels its pending show and hide timers. */
void WMCancelTooltip(void);

/* Reads the XPM file `path` for `w` (depth_one: a depth-1 bitmap; else the widget's depth with
 * colour "none" drawn in its background). Returns 1 on success, also after XPM warnings
 * (each non-zero XPM status prints one line on standard output), 0 on failure. An empty
 * pixmap or mask comes back as XmUNSPECIFIED_PIXMAP. */
int WMGetPixmap(Widget w, const char *path, int depth_one, Pixmap *pixmap, Pixmap *mask);

/* Sets the shell's icon (icon pixmap, mask and _NET_WM_ICON) from "<base>/config/pixmaps/
 * <name>". Returns 1 when set, 0 when name is NULL or the file cannot be loaded. */
int WMSetShellIcon(Widget shell, const char *name);

/* Help button callback: client data is the topic (char *). Remembers the triggering event
 * and calls WMPresentHelp. */
void WMHelpCB(Widget w, XtPointer topic, XtPointer call_data);

/* Runs "<base>/bin/WMShowHelp <base>/help/<first word of topic>.htm[l]" and waits for it;
 * a missing topic or help file is reported in a dialog instead. */
void WMPresentHelp(const char *topic);

#ifdef __cplusplus
}
#endif

#endif /* LUMARIX_WM_H */
