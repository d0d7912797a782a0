// Saves a configuration of `count` variables VAR0000.. with every value changed to "new-NNNN",
// as the editor's Save would. Prints the warning on standard error and exits 1 when the save fails.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "config_save.h"

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s CONFIG_FILE COUNT\n", argv[0]);
        return 2;
    }
    int count = std::atoi(argv[2]);
    std::vector<lx::SaveEntry> entries;
    for (int i = 0; i < count; ++i) {
        char name[32], value[32];
        std::snprintf(name, sizeof name, "VAR%04d", i);
        std::snprintf(value, sizeof value, "new-%04d", i);
        entries.push_back({name, true, value});
    }
    lx::SaveResult result = lx::saveConfigurationFile(argv[1], entries, std::time(nullptr));
    if (!result.ok) {
        std::fprintf(stderr, "%s\n", result.message.c_str());
        return 1;
    }
    return 0;
}
