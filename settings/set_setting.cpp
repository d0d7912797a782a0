// Setting a value in this process and, with an attached arena, in the whole running suite.
#include "lumarix/settings.h"
#include "lumarix/shm.h"
#include "setting_list.h"

#include <cstring>

namespace {

using namespace lx::settings;

void setSetting(const char *name, const char *text)
{
    settingCache().disable(name);
    settingCache().append(name, text);
    if (name[0] != '\0' && name[0] != '^')
        userSettingsList().assign(name, text);
    if (!IW_arena_ptr)
        return;
    // One step under the Config Protection Semaphore: another process replacing the same name at
    // the same moment must never free the block this one has just made.
    IWSetNamedSHM(name, text, std::strlen(text) + 1);
}

} // namespace

extern "C" int SetSetting(const char *name, const char *text)
{
    if (!name)
        return 1;
    try {
        setSetting(name, text ? text : "");
    } catch (...) {
    }
    return 1;
}
