// Saves a configuration of `count` variables VAR0000.. with every value changed to "PREFIX-NNNN"
// ("new-NNNN" when no prefix is given), as the editor's Save would. Prints the warning on standard
// error and exits 1 when the save fails.
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "config_save.h"

int main(int argc, char **argv)
{
    if (argc != 3 && argc != 4)
        return 2; // usage: config_save_helper CONFIG_FILE COUNT [PREFIX]
    const std::string prefix = argc == 4 ? argv[3] : "new";
    std::vector<lx::SaveEntry> entries;
    for (int i = 0; i < std::stoi(argv[2]); ++i) {
        const std::string n = std::to_string(10000 + i).substr(1);
        entries.push_back({"VAR" + n, true, prefix + "-" + n});
    }
    lx::SaveResult result = lx::saveConfigurationFile(argv[1], entries, std::time(nullptr));
    if (!result.ok)
        std::fprintf(stderr, "%s\n", result.message.c_str());
    return result.ok ? 0 : 1;
}
