#include "working_set.h"

#include "lumarix/settings.h"

#include <cstdio>
#include <string>

namespace lx::suite {

int FirstIntSetting(const char *const *names, int count, int fallback, bool checkRange)
{
    for (int i = 0; i < count; ++i) {
        const char *text = GetSetting(names[i]);
        if (!text)
            continue;
        int value = 0;
        if (std::sscanf(text, "%d", &value) != 1)
            return fallback;
        if (checkRange && (value < 0 || value > 15000))
            return fallback;
        return value;
    }
    return fallback;
}

WorkingSet DecideWorkingSet(int arenaMB)
{
    static const char *const kSetNames[] = {"LX_WORKING_SET", "PM_WORKING_SET", "OB_WORKING_SET", "OXL_WORKING_SET"};
    static const char *const kUnitNames[] = {"LX_WORKING_UNIT", "PM_WORKING_UNIT", "OB_WORKING_UNIT",
                                             "OXL_WORKING_UNIT"};
    WorkingSet result{FirstIntSetting(kSetNames, 4, 1800, true), FirstIntSetting(kUnitNames, 4, 100, true)};
    bool storedBack = false;
    if (result.setMB > arenaMB - 30) {
        result.setMB = arenaMB - 30;
        SetSetting("LX_WORKING_SET", std::to_string(result.setMB).c_str());
        storedBack = true;
    }
    if (result.unitMB > result.setMB / 5) {
        result.unitMB = result.setMB / 5;
        SetSetting("LX_WORKING_UNIT", std::to_string(result.unitMB).c_str());
        storedBack = true;
    }
    if (storedBack)
        WriteUserSettings();
    return result;
}

} // namespace lx::suite
