// The editor's process-wide state, and the fixed layout of its variable records.
#include "lumarix/editor.h"

#include <cstddef>

static_assert(offsetof(ConfigVar, name) == 0);
static_assert(offsetof(ConfigVar, shortDesc) == 256);
static_assert(offsetof(ConfigVar, dependsOn) == 512);
static_assert(offsetof(ConfigVar, help) == 768);
static_assert(offsetof(ConfigVar, type) == 2368);
static_assert(offsetof(ConfigVar, numValues) == 2372);
static_assert(offsetof(ConfigVar, value) == 2376);
static_assert(offsetof(ConfigVar, choices) == 2632);
static_assert(offsetof(ConfigVar, numChoices) == 7752);
static_assert(offsetof(ConfigVar, reserved) == 7756);
static_assert(offsetof(ConfigVar, optional) == 7760);
static_assert(offsetof(ConfigVar, checkRead) == 7764);
static_assert(offsetof(ConfigVar, checkWrite) == 7768);
static_assert(offsetof(ConfigVar, canSetLive) == 7772);
static_assert(offsetof(ConfigVar, valueWidget) == 7776);
static_assert(offsetof(ConfigVar, choiceWidgets) == 7784);
static_assert(sizeof(ConfigVar) == 7944);

ConfigVar gVarList[MAX_VARS];
int32_t gNumVars = 0;
char gcMainTitle[256] = "Lumarix User Parameters";
char gDescriptionFile[256];
char gConfigFile[256];
int giConfigOnlyFromFile = 0;
int giRunningWithSHM = 0;
