// Reads two settings that the environment gives, as text and as a number.
#include <lumarix/settings.h>

#include <cstdio>
#include <string>

int main()
{
    const char *dir = GetSetting("LX_DATA_DIR");
    int size = 0;
    if (dir == nullptr || std::string(dir) != "/data/consumer" || GetSettingInt("LX_SIZE", &size, 0) != 1 ||
        size != 256) {
        std::fputs("settings_lookup: the settings from the environment were not found\n", stderr);
        return 1;
    }
    std::puts("settings lookup ok");
    return 0;
}
