// ReadDescriptionFile and CheckDependencies: the parser with its messages shown to the user.
#include "description_parser.h"
#include "lumarix/editor.h"

#include <cstdio>
#include <memory>
#include <string>

namespace {

void showMessage(std::string_view message) { ShowError(std::string(message).c_str()); }

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};

} // namespace

extern "C" int ReadDescriptionFile(void)
{
    try {
        std::unique_ptr<FILE, FileCloser> file(std::fopen(gDescriptionFile, "r"));
        if (!file) {
            ShowError("Couldn't open Description File.");
            return 0;
        }
        return lx::editor::ParseDescription(file.get(), showMessage) ? 1 : 0;
    } catch (...) {
        ShowError("Couldn't read Description File: out of memory.");
        return 0;
    }
}

extern "C" int CheckDependencies(void)
{
    try {
        return lx::editor::CheckDependsOn(showMessage) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}
