// Fuzzes the configuration-file search (FindValueInFile) and the line rewrite of a save.
// Input: a first line of up to four variable names (space-separated) and a byte whose bits mark
// which of them changed, then the configuration file's bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "config_file.h"
#include "config_save.h"

namespace {

std::string readAll(const std::string &path)
{
    std::string text;
    if (FILE *f = std::fopen(path.c_str(), "rb")) {
        char buffer[4096];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0)
            text.append(buffer, n);
        std::fclose(f);
    }
    return text;
}

// A scratch folder for the rewrite, removed when the process ends.
class ScratchFolder {
public:
    ScratchFolder()
    {
        char pattern[] = "/tmp/lx-config-fuzz-XXXXXX";
        if (::mkdtemp(pattern) == nullptr)
            std::abort();
        dir_ = pattern;
    }
    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }
    std::string file() const { return dir_ + "/lumarix.conf"; }

private:
    std::string dir_;
};

const std::string &scratchFile()
{
    static ScratchFolder folder;
    static std::string path = folder.file();
    return path;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view input(reinterpret_cast<const char *>(data), size);
    size_t eol = input.find('\n');
    if (eol == std::string_view::npos || eol + 1 >= input.size())
        return 0;
    std::string_view header = input.substr(0, eol);
    unsigned changedBits = static_cast<unsigned char>(input[eol + 1]);
    std::string content(input.substr(eol + 2));

    std::vector<lx::SaveEntry> entries;
    size_t pos = 0;
    while (entries.size() < 4 && pos < header.size()) {
        size_t end = header.find(' ', pos);
        std::string name(header.substr(pos, end == header.npos ? header.npos : end - pos));
        pos = end == header.npos ? header.size() : end + 1;
        if (name.empty() || name.find('\0') != std::string::npos)
            continue;
        bool changed = (changedBits >> entries.size()) & 1u;
        entries.push_back({name, changed, "v" + std::to_string(entries.size())});
    }

    // The search: a value never carries surrounding white space or a line end, and fits a line.
    if (FILE *file = ::fmemopen(content.data(), content.size() + 1, "r")) {
        for (const auto &entry : entries) {
            std::rewind(file);
            if (char *value = FindValueInFile(file, entry.name.c_str())) {
                std::string_view v(value);
                if (v.empty() || v.size() > 254 || isBlank(v.front()) || isBlank(v.back()) || v.find('\n') != v.npos)
                    std::abort();
                std::free(value);
            }
        }
        std::fclose(file);
    }

    // The rewrite: without changes the file comes back byte for byte; with changes, the new lines
    // end the file and nothing but whole dropped lines is missing.
    const std::string &path = scratchFile();
    if (FILE *f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(content.data(), 1, content.size(), f);
        std::fclose(f);
    }
    lx::SaveResult result = lx::saveConfigurationFile(path, entries, 0);
    if (!result.ok)
        std::abort();
    std::string after = readAll(path);
    std::string appended;
    for (const auto &entry : entries)
        if (entry.changed)
            appended += entry.name + " " + entry.newText + "\n";
    if (after.size() < appended.size() || after.compare(after.size() - appended.size(), appended.size(), appended) != 0)
        std::abort();
    std::string kept = after.substr(0, after.size() - appended.size());
    if (appended.empty() && kept != content)
        std::abort();
    if (kept.size() > content.size())
        std::abort();
    std::remove(result.backupPath.c_str());
    return 0;
}
