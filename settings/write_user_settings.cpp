// Writing the settings set in this process into the user settings file, keeping a .bak copy.
#include "lumarix/settings.h"
#include "setting_list.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace {

using lx::settings::userSettingsList;

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

std::string_view firstWord(std::string_view line)
{
    const auto start = line.find_first_not_of(" \t");
    if (start == std::string_view::npos)
        return {};
    line.remove_prefix(start);
    return line.substr(0, line.find_first_of(" \t\n"));
}

bool setHere(std::string_view word)
{
    for (const auto &entry : userSettingsList().entries())
        if (word == entry.name.get())
            return true;
    return false;
}

// Copies the old lines that are neither too short nor replaced by a setting made here.
// Lines are copied whole, however long, and always end with a newline: a last line without one
// would otherwise swallow the first appended setting.
void copyKeptLines(FILE *from, FILE *to)
{
    char *line = nullptr;
    size_t capacity = 0;
    ssize_t length;
    while ((length = getline(&line, &capacity, from)) >= 0) {
        std::string_view text(line, static_cast<size_t>(length));
        if (text.size() < 2 || setHere(firstWord(text)))
            continue;
        std::fwrite(text.data(), 1, text.size(), to);
        if (text.back() != '\n')
            std::fputc('\n', to);
    }
    std::free(line);
}

int writeUserSettings()
{
    const char *path = UserSettingsFile();
    if (!path)
        return -2;
    const std::string backup = std::string(path) + ".bak";
    struct stat info {};
    const bool hadFile = stat(path, &info) == 0;
    if (hadFile && std::rename(path, backup.c_str()) != 0)
        return -1;
    File out(std::fopen(path, "w"));
    if (!out)
        return -2;
    if (hadFile)
        if (File old{std::fopen(backup.c_str(), "r")})
            copyKeptLines(old.get(), out.get());
    for (const auto &entry : userSettingsList().entries())
        if (entry.name[0] != '\0' && entry.value && entry.value[0] != '\0')
            std::fprintf(out.get(), "%s %s\n", entry.name.get(), entry.value.get());
    return std::fflush(out.get()) == 0 ? 0 : -2;
}

} // namespace

extern "C" int WriteUserSettings(void)
{
    try {
        return writeUserSettings();
    } catch (...) {
        return -2;
    }
}
