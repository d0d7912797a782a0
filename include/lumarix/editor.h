/* lumarix/editor.h - the configuration editor's variable table and start-up.
 *
 * The variable description file declares, one block per variable, every variable the editor
 * shows. ReadDescriptionFile turns it into gVarList (gNumVars records, in file order).
 *
 * File grammar, one line at a time (lines are read 256 bytes at a time, so a longer line goes
 * on as the next line). A line starting with '#' is a comment; tabs count as spaces; the first
 * word is the keyword (any case); lines with any other first word are ignored:
 *   TITLE: text              replaces gcMainTitle
 *   VARIABLE: name           starts a new record
 *   SHORTDESC: text          the label
 *   TYPE: SIMPLE | BOOLEAN | MULTIVALUE [count|$var] | ONEOFMANY count|$var
 *                            BOOLEAN is followed by two choice lines, ONEOFMANY by `count`
 *   MUSTBESET:  CHECKREAD:  CHECKWRITE:  CANSETLIVE:   flags (also accepted alone on a line)
 *   HELP: text               then up to 18 more lines, ended by a line starting with "%%"
 * TITLE:, VARIABLE:, SHORTDESC: and TYPE: alone at the end of a line (no space after them)
 * are ignored; followed by a space and nothing else they are "line incomplete" errors.
 *
 * Caveats:
 *   - Input is refused, with a message naming the line, beyond the table's capacity: 200
 *     variables, 20 choices per variable, 1599 characters of help. Lines with CR-LF ends or
 *     NUL bytes are refused too.
 *   - The widget fields are filled by the parameter form; the parser leaves them null.
 */
#ifndef LUMARIX_EDITOR_H
#define LUMARIX_EDITOR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A toolkit widget handle; the parameter form stores its widgets here. */
typedef struct _WidgetRec *ConfigWidget;

#define VAR_SIMPLE 1
#define VAR_BOOLEAN 2
#define VAR_ONEOFMANY 3
#define VAR_MULTIVALUE 4

#define MAX_VARS 200
#define MAX_CHOICES 20
#define MAX_HELP_CHARS 1599

/* numValues / numChoices markers */
#define VALUES_ANY (-1)          /* MULTIVALUE without a count */
#define VALUES_FROM_DEPENDS (-2) /* count taken from the variable named in dependsOn */

/* One configurable variable. The layout is fixed (checked at build time). */
typedef struct ConfigVar {
    char name[256];
    char shortDesc[256];
    char dependsOn[256];
    char help[1600];
    int32_t type;      /* 0 none, VAR_SIMPLE .. VAR_MULTIVALUE */
    int32_t numValues; /* 1; MULTIVALUE: count, VALUES_ANY or VALUES_FROM_DEPENDS */
    char value[256];   /* last loaded or saved value; "" = unset */
    char choices[20][256];
    int32_t numChoices; /* 2 for BOOLEAN; ONEOFMANY: count or VALUES_FROM_DEPENDS */
    int32_t reserved;
    int32_t optional; /* 1 unless MUSTBESET: */
    int32_t checkRead;
    int32_t checkWrite;
    int32_t canSetLive;
    ConfigWidget valueWidget;
    ConfigWidget choiceWidgets[20];
} ConfigVar;

extern ConfigVar gVarList[MAX_VARS];
extern int32_t gNumVars;
extern char gcMainTitle[256]; /* "Lumarix User Parameters" unless a TITLE: line says otherwise */
extern char gDescriptionFile[256];
extern char gConfigFile[256];
extern int giConfigOnlyFromFile; /* 1 with -f: values come from the configuration file only */
extern int giRunningWithSHM;     /* 1 when the suite's arena was attached at start-up */

/* Parses gDescriptionFile into gVarList/gNumVars (and gcMainTitle). Returns 1, or 0 after the
 * failure was shown with ShowError. */
int ReadDescriptionFile(void);

/* Checks that every dependsOn names a variable of the table (exact name). Returns 1, or 0 after
 * ShowError. Called by ReadDescriptionFile. */
int CheckDependencies(void);

/* The editor's one error path: writes `text` to standard error and shows it in a warning
 * dialog when a display is open. */
void ShowError(const char *text);

/* With 1, ShowError waits until its warning is dismissed as long as the main window has not
 * been realised: start-up errors end the program, and the person must see them first. */
void ShowErrorWaitsDuringStartUp(int wait);

/* Writes the three-line usage text for `program` to standard error. */
void PrintUsage(const char *program);

#ifdef __cplusplus
}
#endif

#endif /* LUMARIX_EDITOR_H */
