// A small suite program for the settings tests: runs the commands given as arguments, in order,
// against the settings lookup and prints one line per command that answers. A value '' is empty.
#include "lumarix/settings.h"
#include "lumarix/shm.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

const char *orNone(const char *text) { return text ? text : "(none)"; }

// COUNT live writes over five names, once $HOME/go exists (so that every writer starts at once).
void hammer(int count, const std::string &tag)
{
    const std::string go = std::string(std::getenv("HOME")) + "/go";
    while (access(go.c_str(), F_OK) != 0)
        usleep(1000);
    for (int n = 0; n < count; ++n) {
        const std::string xs(static_cast<size_t>(n % 97 + 1), 'x');
        SetSetting(("LX_HAMMER_" + std::to_string(n % 5)).c_str(), (tag + ":" + xs + "|" + xs).c_str());
    }
}

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string command = argv[i];
        const char *name = i + 1 < argc ? argv[i + 1] : "";
        const char *value = i + 2 < argc && std::strcmp(argv[i + 2], "''") != 0 ? argv[i + 2] : "";
        const bool alone =
            std::string(" write attach size base paths heapcheck ").find(" " + command + " ") != std::string::npos;
        i += alone ? 0 : command == "set" || command == "cache" || command == "hammer" ? 2 : 1;
        int number = 42, found = 42;
        double real = 42;
        float single = 42, foundSingle = 42;
        char buffer[256] = "";
        if (command == "get") {
            std::printf("get %s %s\n", name, orNone(GetSetting(name)));
        } else if (command == "set" || command == "cache") {
            command == "set" ? (void)SetSetting(name, value) : CacheSetting(name, value);
        } else if (command == "numbers") { // int, double, float, then the Find forms
            const int a = GetSettingInt(name, &number, -7), b = GetSettingDouble(name, &real, -7.5),
                      c = GetSettingFloat(name, &single, -7.5f), d = FindSettingInt(name, &found),
                      e = FindSettingFloat(name, &foundSingle);
            std::printf("%d %d %d %g %d %g %d %d %d %g\n", a, number, b, real, c, single, d, found, e, foundSingle);
        } else if (command == "bool") { // Get, then Find
            const int a = GetSettingBool(name, &number, 5), b = FindSettingBool(name, &found);
            std::printf("%s %d %d %d %d\n", name, a, number, b, found);
        } else if (command == "copy") {
            const char *copy = CopySetting(name, buffer);
            std::printf("copy %s %zu\n", copy == buffer ? "buffer" : orNone(copy), copy ? std::strlen(buffer) : 0);
        } else if (command == "hammer") {
            hammer(std::atoi(name), value);
        } else if (command == "write" || command == "attach" || command == "size") {
            const int result = command == "write"  ? WriteUserSettings()
                               : command == "size" ? SharedSizeMB()
                                                   : IWAttach();
            std::printf("%s %d\n", command.c_str(), result);
        } else if (command == "heapcheck") {
            std::printf("heapcheck %s\n", SG_heap_check(buffer, sizeof buffer) ? "ok" : buffer);
        } else if (command == "base") {
            std::printf("base %d %s\n", GetBaseDirectory(buffer), buffer);
        } else if (command == "paths") { // the folder, asked twice, and the file
            const char *dir = UserSettingsDir(), *again = UserSettingsDir(), *file = UserSettingsFile();
            std::printf("paths %s %s %s\n", orNone(dir), orNone(again), orNone(file));
        }
    }
    if (IW_arena_ptr)
        SMDetachFromArena(IW_arena_ptr);
    return 0;
}
