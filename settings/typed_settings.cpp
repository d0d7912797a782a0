// Typed reads over GetSetting, and the arena size setting.
#include "lumarix/settings.h"
#include "text_util.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

using lx::settings::equalsNoCase;

// 1 true, 0 false, -1 not a boolean.
int parseBool(const char *text)
{
    for (const char *word : {"true", "yes", "t", "y", "1"})
        if (equalsNoCase(text, word))
            return 1;
    for (const char *word : {"false", "no", "f", "n", "0"})
        if (equalsNoCase(text, word))
            return 0;
    return -1;
}

bool scanText(const char *text, double *value) { return std::sscanf(text, "%lf", value) == 1; }
bool scanText(const char *text, float *value) { return std::sscanf(text, "%f", value) == 1; }
bool scanText(const char *text, int *value) { return std::sscanf(text, "%d", value) == 1; }

template <typename T>
int scanSetting(const char *name, T *out)
{
    const char *text = GetSetting(name);
    T value{};
    if (!text || !scanText(text, &value))
        return 0;
    *out = value;
    return 1;
}

template <typename T>
int scanOrFallback(const char *name, T *out, T fallback)
{
    if (scanSetting(name, out))
        return 1;
    *out = fallback;
    return 0;
}

} // namespace

extern "C" int GetSettingDouble(const char *name, double *out, double fallback)
{
    return scanOrFallback(name, out, fallback);
}

extern "C" int GetSettingFloat(const char *name, float *out, float fallback)
{
    return scanOrFallback(name, out, fallback);
}

extern "C" int GetSettingInt(const char *name, int *out, int fallback) { return scanOrFallback(name, out, fallback); }

extern "C" int FindSettingFloat(const char *name, float *out) { return scanSetting(name, out); }

extern "C" int FindSettingInt(const char *name, int *out) { return scanSetting(name, out); }

extern "C" int FindSettingBool(const char *name, int *out)
{
    const char *text = GetSetting(name);
    const int value = text ? parseBool(text) : -1;
    if (value < 0)
        return 0;
    *out = value;
    return 1;
}

extern "C" int GetSettingBool(const char *name, int *out, int fallback)
{
    const char *text = GetSetting(name);
    if (!text) {
        *out = fallback;
        return 0;
    }
    const int value = parseBool(text);
    if (value < 0)
        return 0;
    *out = value;
    return 1;
}

extern "C" char *CopySetting(const char *name, char *buffer)
{
    const char *text = GetSetting(name);
    if (!text)
        return nullptr;
    std::snprintf(buffer, 256, "%s", text);
    return buffer;
}

extern "C" int SharedSizeMB(void)
{
    static int sizeMB = 0;
    if (sizeMB != 0)
        return sizeMB;
    sizeMB = 2000;
    for (const char *name : {"LX_SIZE", "PM_SIZE", "OB_SIZE", "OXL_SIZE"}) {
        if (const char *text = GetSetting(name)) {
            int value = 0;
            if (std::sscanf(text, "%d", &value) == 1)
                sizeMB = std::clamp(value, 30, 15000);
            break;
        }
    }
    return sizeMB;
}
