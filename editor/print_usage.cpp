#include "lumarix/editor.h"

#include <cstdio>

extern "C" void PrintUsage(const char *program)
{
    std::fputs("Improper Command Syntax\n", stderr);
    std::fprintf(stderr, "Usage: %s [-f] variable_description_file config_file\n", program);
    std::fputs("  -f signifies to take values only from the config file\n", stderr);
}
