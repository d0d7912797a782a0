/* lumarix/settings.h - the suite-wide settings lookup.
 *
 * Every setting is a text keyed by name. GetSetting answers, first hit wins, from:
 *   1. the named shared block of that name (only when the arena is attached, see IWAttach);
 *   2. the process's setting cache (oldest entry first, exact name match);
 *   3. the environment;
 *   4. the user settings file "user.lxrc" in UserSettingsDir();
 *   5. the system settings file "config/system.lxrc" under the suite base directory;
 *   6. for "LX_BASE" only: the default base directory LX_DEFAULT_BASE;
 *   7. otherwise the setting is unset; with an attached arena an empty named block is left
 *      behind so that every process of the suite finds it unset at step 1.
 * An empty text always counts as unset.
 *
 * Settings files hold one setting per line: a name, white space, the value. Lines are read
 * 255 characters at a time; the name compares case-insensitively; nothing is a comment, a
 * line simply never matches unless its first word is the name looked up.
 *
 * Caveats:
 *   - Texts returned by GetSetting belong to the lookup (cache or shared block). A later
 *     SetSetting of the same name releases the cached copy, so do not keep the pointer
 *     across a SetSetting; copy it (CopySetting) when it must live longer.
 *   - Not thread-safe: one thread per process, as everywhere in the suite.
 *
 * Messages name the function that writes them, except "IWIntRetArenaPtr(): ...", which IWAttach
 * prints when the arena cannot be attached, naming its attach step as the suite always has.
 */
#ifndef LUMARIX_SETTINGS_H
#define LUMARIX_SETTINGS_H

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The base directory used when LX_BASE, PMBASE and OB_BASE are all unset. A build chooses it
 * with the CMake option LX_DEFAULT_BASE_DIR; GetBaseDirectory answers with the library's own. */
#ifndef LX_DEFAULT_BASE
#define LX_DEFAULT_BASE "/usr/local/Lumarix"
#endif

/* Attaches this process to the user's running suite arena, once per process.
 * Returns 1 when attached (now or before), -1 when no arena can be attached (no suite). */
int IWAttach(void);

/* The setting's text, or NULL when it is unset or empty. The text is owned by the lookup. */
const char *GetSetting(const char *name);

/* Replaces the setting in this process (cache and user-settings list) and, with an attached
 * arena, republishes it as the named shared block `name`. A name beginning with '^' is not
 * entered in the user-settings list. Returns 1. */
int SetSetting(const char *name, const char *text);

/* Fills `buffer` (256 bytes) with the suite base directory: LX_BASE, PMBASE or OB_BASE, else
 * LX_DEFAULT_BASE, which is then stored under all three names with SetSetting. Returns 1. */
int GetBaseDirectory(char *buffer);

/* Appends (name, value) to the setting cache; a NULL value is stored as "" (unset). */
void CacheSetting(const char *name, const char *value);

/* The value of the first line of `file` whose first word is `name` (case-insensitive), with
 * surrounding white space removed, as a malloc'd copy (release with free()); NULL when absent.
 * A matching line holding only white space after the name ends the search with NULL. */
char *ReadSettingFromFile(FILE *file, const char *name);

/* "$HOME/.lumarix_<host>" (or "$HOME/.lumarix" when the host name cannot be read), created
 * with mode 0755 when missing. Worked out on the first call, which returns NULL (after
 * "Could not create user config directory" on standard output) when it cannot be created. */
const char *UserSettingsDir(void);

/* UserSettingsDir() + "/user.lxrc", worked out once; NULL when the directory could not be made. */
const char *UserSettingsFile(void);

/* Typed reads. Each returns 1 when the setting is set and parses, else 0.
 * Get*: on 0 the output receives `fallback` (GetSettingBool: only when unset; a text that is
 * not a boolean leaves the output untouched). Find*: on 0 the output is left untouched.
 * Booleans: true is "true", "yes", "t", "y", "1"; false is "false", "no", "f", "n", "0";
 * any case. The output of the Bool forms is 1 or 0. */
int GetSettingDouble(const char *name, double *out, double fallback);
int GetSettingFloat(const char *name, float *out, float fallback);
int GetSettingInt(const char *name, int *out, int fallback);
int GetSettingBool(const char *name, int *out, int fallback);
int FindSettingFloat(const char *name, float *out);
int FindSettingInt(const char *name, int *out);
int FindSettingBool(const char *name, int *out);

/* Copies the setting into `buffer` (256 bytes; longer texts are cut at 255 characters).
 * Returns `buffer`, or NULL (buffer untouched) when the setting is unset. */
char *CopySetting(const char *name, char *buffer);

/* The arena size in MB: the first of LX_SIZE, PM_SIZE, OB_SIZE, OXL_SIZE that is set, read
 * with "%d" and clamped to 30..15000; 2000 when none is set (or it does not parse).
 * Decided on the first call and remembered. */
int SharedSizeMB(void);

/* Writes the settings set in this process into UserSettingsFile(): the old file is renamed to
 * "<file>.bak", its lines are copied except those shorter than two characters and those whose
 * first word is (case-sensitively) a name set here, then "name value" lines are appended for
 * every setting with a non-empty name and value. Returns 0 on success, -1 when the old file
 * could not be renamed (nothing written), -2 when there is no settings file path or the file
 * cannot be created. */
int WriteUserSettings(void);

#ifdef __cplusplus
}
#endif

#endif /* LUMARIX_SETTINGS_H */
