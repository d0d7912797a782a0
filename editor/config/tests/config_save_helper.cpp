// Saves a configuration of `count` variables VAR0000.. with every value changed to "new-NNNN",
// as the editor's Save would. Prints the warning on standard error and exits 1 when the save fails.
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "config_save.h"

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2; // usage: config_save_helper CONFIG_FILE COUNT
    std::vector<lx::SaveEntry> entries;
    for (int i = 0; i < std::stoi(argv[2]); ++i) {
        const std::string n = std::to_string(10000 + i).substr(1);
        entries.push_back({"VAR" + n, true, "new-" + n});
    }
    lx::SaveResult result = lx::saveConfigurationFile(argv[1], entries, std::time(nullptr));
    if (!result.ok)
        std::fprintf(stderr, "%s\n", result.message.c_str());
    return result.ok ? 0 : 1;
}
