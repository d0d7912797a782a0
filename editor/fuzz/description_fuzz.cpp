// Fuzzes the variable description parser with arbitrary file contents.
#include "description_parser.h"
#include "lumarix/editor.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

bool fieldEnds(const char *field, std::size_t size) { return std::memchr(field, '\0', size) != nullptr; }

void checkTable()
{
    if (gNumVars < 0 || gNumVars > MAX_VARS)
        __builtin_trap();
    for (int i = 0; i < gNumVars; ++i) {
        const ConfigVar &var = gVarList[i];
        if (!fieldEnds(var.name, 256) || !fieldEnds(var.shortDesc, 256) || !fieldEnds(var.dependsOn, 256) ||
            !fieldEnds(var.help, 1600) || var.numChoices > MAX_CHOICES)
            __builtin_trap();
        for (int c = 0; c < var.numChoices; ++c)
            if (!fieldEnds(var.choices[c], 256))
                __builtin_trap();
    }
    if (!fieldEnds(gcMainTitle, 256))
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::snprintf(gDescriptionFile, sizeof gDescriptionFile, "%s", "fuzz.desc");
    FILE *file = size ? fmemopen(const_cast<uint8_t *>(data), size, "r") : std::tmpfile();
    if (!file)
        return 0;
    int messages = 0;
    const bool ok = lx::editor::ParseDescription(file, [&](std::string_view message) {
        if (message.empty())
            __builtin_trap();
        ++messages;
    });
    std::fclose(file);
    if (messages != (ok ? 0 : 1))
        __builtin_trap();
    checkTable();
    return 0;
}
