// The settings lookup: named shared block, cache, environment, user file, system file.
#include "lumarix/settings.h"
#include "lumarix/shm.h"
#include "setting_list.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>

namespace {

using lx::settings::settingCache;

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

struct FreeDeleter {
    void operator()(char *text) const { std::free(text); }
};
using MallocText = std::unique_ptr<char, FreeDeleter>;

const char *unsetIfEmpty(const char *text) { return text && text[0] != '\0' ? text : nullptr; }

const char *cacheAndAnswer(const char *name, const char *value)
{
    return unsetIfEmpty(settingCache().append(name, value));
}

const char *fromSettingsFile(const char *path, const char *name)
{
    File file(std::fopen(path, "r"));
    if (!file)
        return nullptr;
    MallocText value(ReadSettingFromFile(file.get(), name));
    return value ? cacheAndAnswer(name, value.get()) : nullptr;
}

// The base directory for the system settings file; the lookup must not recurse here.
std::string systemBaseDirectory()
{
    if (IW_arena_ptr)
        if (const char *block = unsetIfEmpty(static_cast<const char *>(IWRtNamedSHMAdd("LX_BASE"))))
            return block;
    if (auto *entry = settingCache().find("LX_BASE"); entry && entry->value[0] != '\0')
        return entry->value.get();
    if (const char *env = unsetIfEmpty(std::getenv("LX_BASE")))
        return env;
    return LX_DEFAULT_BASE;
}

const char *fromSystemFile(const char *name)
{
    const std::string path = systemBaseDirectory() + "/config/system.lxrc";
    File file(std::fopen(path.c_str(), "r"));
    if (!file) {
        // Said once per process and path: a start-up looks many settings up.
        static std::set<std::string> reported;
        if (reported.insert(path).second)
            std::fprintf(stderr, "Unable to find LX configuration file: %s\n", path.c_str());
        return nullptr;
    }
    MallocText value(ReadSettingFromFile(file.get(), name));
    return value ? cacheAndAnswer(name, value.get()) : nullptr;
}

const char *getSetting(const char *name)
{
    if (IW_arena_ptr)
        if (const char *block = static_cast<const char *>(IWRtNamedSHMAdd(name)))
            return unsetIfEmpty(block);
    if (auto *entry = settingCache().find(name))
        return unsetIfEmpty(entry->value.get());
    if (const char *env = std::getenv(name))
        return cacheAndAnswer(name, env);
    if (const char *userFile = UserSettingsFile())
        if (const char *hit = fromSettingsFile(userFile, name))
            return hit;
    if (const char *hit = fromSystemFile(name))
        return hit;
    if (std::strcmp(name, "LX_BASE") == 0) {
        const char *block = IW_arena_ptr ? static_cast<const char *>(IWRtNamedSHMAdd("LX_BASE")) : nullptr;
        return cacheAndAnswer(name, block ? block : LX_DEFAULT_BASE);
    }
    if (IW_arena_ptr)
        IWAlcNamedSHM(1, 1, name); // zeroed: every process now finds the setting unset
    settingCache().append(name, "");
    return nullptr;
}

} // namespace

extern "C" const char *GetSetting(const char *name)
{
    if (!name)
        return nullptr;
    try {
        return getSetting(name);
    } catch (...) {
        return nullptr;
    }
}

extern "C" void CacheSetting(const char *name, const char *value)
{
    if (!name)
        return;
    try {
        settingCache().append(name, value ? value : "");
    } catch (...) {
    }
}

extern "C" int GetBaseDirectory(char *buffer)
{
    const char *base = GetSetting("LX_BASE");
    if (!base)
        base = GetSetting("PMBASE");
    if (!base)
        base = GetSetting("OB_BASE");
    if (base) {
        std::snprintf(buffer, 256, "%s", base);
        return 1;
    }
    std::snprintf(buffer, 256, "%s", LX_DEFAULT_BASE);
    for (const char *name : {"LX_BASE", "PMBASE", "OB_BASE"})
        SetSetting(name, LX_DEFAULT_BASE);
    return 1;
}
