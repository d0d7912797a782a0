// A small suite program for the settings tests: runs the commands given as arguments, in order,
// against the settings lookup and prints one line per command.
#include "lumarix/settings.h"
#include "lumarix/shm.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

const char *orNone(const char *text) { return text ? text : "(none)"; }

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string command = argv[i];
        const char *name = i + 1 < argc ? argv[i + 1] : "";
        if (command == "get") {
            std::printf("get %s %s\n", name, orNone(GetSetting(name)));
            ++i;
        } else if (command == "set") {
            SetSetting(name, argv[i + 2]);
            i += 2;
        } else if (command == "cache") {
            CacheSetting(name, argv[i + 2]);
            i += 2;
        } else if (command == "write") {
            std::printf("write %d\n", WriteUserSettings());
        } else if (command == "attach") {
            std::printf("attach %d\n", IWAttach());
        } else if (command == "int") {
            int value = 42;
            const int result = GetSettingInt(name, &value, -7);
            std::printf("int %d %d\n", result, value);
            ++i;
        } else if (command == "findint") {
            int value = 42;
            const int result = FindSettingInt(name, &value);
            std::printf("findint %d %d\n", result, value);
            ++i;
        } else if (command == "double") {
            double value = 42;
            const int result = GetSettingDouble(name, &value, -7.5);
            std::printf("double %d %g\n", result, value);
            ++i;
        } else if (command == "bool") {
            int value = 42;
            const int result = GetSettingBool(name, &value, 5);
            std::printf("bool %d %d\n", result, value);
            ++i;
        } else if (command == "findbool") {
            int value = 42;
            const int result = FindSettingBool(name, &value);
            std::printf("findbool %d %d\n", result, value);
            ++i;
        } else if (command == "copy") {
            char buffer[256];
            std::memset(buffer, 'x', sizeof buffer);
            const char *result = CopySetting(name, buffer);
            std::printf("copy %s %zu\n", result == buffer ? "buffer" : orNone(result),
                        result ? std::strlen(buffer) : 0);
            ++i;
        } else if (command == "hammer") { // hammer COUNT TAG: COUNT live writes over 5 names, from $HOME/go on
            const int count = std::atoi(name);
            const std::string tag = argv[i + 2];
            const std::string go = std::string(std::getenv("HOME")) + "/go";
            while (access(go.c_str(), F_OK) != 0)
                usleep(1000);
            for (int n = 0; n < count; ++n)
                SetSetting(
                    ("LX_HAMMER_" + std::to_string(n % 5)).c_str(),
                    (tag + ":" + std::to_string(n) + ":" + std::string(static_cast<size_t>(n % 97 + 1), 'x')).c_str());
            std::printf("hammer %d\n", count);
            i += 2;
        } else if (command == "heapcheck") {
            char reason[256] = "";
            std::printf("heapcheck %s\n", SG_heap_check(reason, sizeof reason) ? "ok" : reason);
        } else if (command == "size") {
            std::printf("size %d\n", SharedSizeMB());
        } else if (command == "base") {
            char buffer[256];
            std::printf("base %d %s\n", GetBaseDirectory(buffer), buffer);
        } else if (command == "userdir") {
            std::printf("userdir %s\n", orNone(UserSettingsDir()));
        } else if (command == "userfile") {
            std::printf("userfile %s\n", orNone(UserSettingsFile()));
        } else {
            std::fprintf(stderr, "settings_helper: unknown command %s\n", command.c_str());
            return 2;
        }
        std::fflush(stdout);
    }
    if (IW_arena_ptr)
        SMDetachFromArena(IW_arena_ptr);
    return 0;
}
