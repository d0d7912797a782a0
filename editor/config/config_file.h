/* The configuration file as the editor sees it: the -f value search, the checks run before a save,
 * and the path character rule.  Results follow the editor's convention: 1 success, 0 failure. */
#ifndef LUMARIX_EDITOR_CONFIG_FILE_H
#define LUMARIX_EDITOR_CONFIG_FILE_H

#include <stdio.h>

#include <lumarix/editor.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The value set for `name` in the open, rewound configuration file: a malloc'ed copy without
 * surrounding white space (free it), or NULL when no line sets it. A line holding the name and
 * only white space ends the search with NULL. */
char *FindValueInFile(FILE *file, const char *name);

/* 0 clean, 1 contains white space, 2 contains a character other than a letter, digit, '-', '_',
 * '.' or '/', 3 empty. */
int ClassifyPathChars(const char *text);

/* Value count of a MULTIVALUE variable as typed in the form. 1 pass, 0 fail (the message has been
 * shown through ShowError, except for a required field that yields no text at all). */
int CheckMultiValue(ConfigVar *var);

/* MUSTBESET and the CHECKREAD / CHECKWRITE path rules of a SIMPLE variable as typed in the form.
 * 1 pass, 0 fail (message shown through ShowError). */
int CheckPathValue(ConfigVar *var);

#ifdef __cplusplus
}
#endif

#endif
