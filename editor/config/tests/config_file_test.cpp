// The configuration file: the -f search of a value, and writing the file back (kept and dropped
// lines, appended changes, the dated backup, the file's mode).
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>

#include <sys/stat.h>

#include "config_file.h"
#include "config_save.h"
#include "lx_testing.h"

namespace {

using lx::SaveEntry;
using namespace lxtest;
namespace fs = std::filesystem;

// Saves at 14:05 on 4 July 2031 in UTC, the time zone of these tests.
lx::SaveResult save(const std::string &path, const std::vector<SaveEntry> &entries)
{
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    return lx::saveConfigurationFile(path, entries, 1940940300);
}

std::optional<std::string> find(std::string content, const char *name)
{
    FILE *file = fmemopen(content.data(), content.size(), "r");
    std::unique_ptr<char, void (*)(void *)> value(FindValueInFile(file, name), std::free);
    std::fclose(file);
    return value ? std::optional<std::string>(value.get()) : std::nullopt;
}

} // namespace

TEST(FindValueInFile, FirstLineWhoseFirstWordIsTheName)
{
    for (const auto &[content, name, value] :
         std::vector<std::tuple<std::string, const char *, std::optional<std::string>>>{
             {"# comment\nlx_size\t  3000 \t\nLX_SIZE 12\n", "LX_SIZE", "3000"},
             {"   LX_TMP /scratch/a b  \n", "LX_TMP", "/scratch/a b"},
             {"LX_SIZEX 5\nXLX_SIZE 6\nLX_SIZE 7\n", "LX_SIZE", "7"},
             {"LX_SIZE \nLX_SIZE\nLX_SIZE 10\n", "LX_SIZE", "10"},   // one space or nothing: searched on
             {"LX_SIZE \t \nLX_SIZE 10\n", "LX_SIZE", std::nullopt}, // only blanks: the search ends
             {"A 1\nLX_FACILITY Imaging Core", "LX_FACILITY", "Imaging Core"},
             {"LX_FACILITY Imaging Core\r\n", "lx_facility", "Imaging Core"},
             // Lines are read 255 characters at a time; the rest is read as a line of its own.
             {"LX_NOTE " + std::string(400, 'x') + "\n", "LX_NOTE", std::string(247, 'x')},
             {std::string(255, 'y') + "LX_NOTE hidden\n", "LX_NOTE", "hidden"}})
        EXPECT_EQ(find(content, name), value) << content;
}

TEST(ConfigSave, KeptLinesChangesAtTheEndAndTheBackup)
{
    const std::string longLine = "LX_NOTE " + std::string(700, 'n') + "\n";
    const std::string odd = std::string("BIN \x01\x02\xff\0tail\n", 13);
    // The old file (none: there is no file yet), what is saved, and the new file.
    for (const auto &[old, entries, expected] :
         std::vector<std::tuple<std::optional<std::string>, std::vector<SaveEntry>, std::string>>{
             {"LX_SIZE 2000\n# LX_SIZE was 1000\n! LX_TMP elsewhere\nLX_TMP /tmp\nLX_APP x\n",
              {{"LX_SIZE", true, "3000"}, {"LX_TMP", false, ""}, {"LX_APP", true, "platemark"}},
              "# LX_SIZE was 1000\n! LX_TMP elsewhere\nLX_TMP /tmp\nLX_SIZE 3000\nLX_APP platemark\n"},
             // A line belongs to the first variable whose name it contains: "AB old" to A.
             {"AB old\nA 1\n", {{"A", true, "2"}, {"AB", false, ""}}, "A 2\n"},
             // A last line without a newline is continued by the first new setting.
             {"LX_SIZE 2000\nLX_FACILITY Core",
              {{"LX_SIZE", true, "10"}, {"LX_TMP", true, "/tmp"}},
              "LX_FACILITY CoreLX_SIZE 10\nLX_TMP /tmp\n"},
             {longLine + odd + "LX_SIZE 1\n", {{"LX_SIZE", true, "2"}}, longLine + odd + "LX_SIZE 2\n"},
             {std::nullopt, {{"LX_SIZE", true, "2000"}, {"LX_TMP", false, ""}}, "LX_SIZE 2000\n"},
         }) {
        TempDir dir;
        const std::string path = dir / "lumarix.conf";
        if (old)
            writeFile(path, *old);
        ::chmod(path.c_str(), 0600);
        const mode_t mask = ::umask(077);
        const lx::SaveResult result = save(path, entries);
        ::umask(mask);
        ASSERT_TRUE(result.ok) << result.message;
        EXPECT_EQ(std::tuple(readFile(path), fs::status(path).permissions(), result.backupPath),
                  std::tuple(expected, fs::perms(0644), old ? path + ".07042031_1405" : ""));
        if (old) {
            EXPECT_EQ(std::pair(readFile(result.backupPath), fs::status(result.backupPath).permissions()),
                      std::pair(*old, fs::perms(0600)));
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), old ? 2 : 1); // no _tmp left
    }
}

// A second save in the same minute replaces the backup; a link stays a link to the new text.
TEST(ConfigSave, SameMinuteAndLinks)
{
    TempDir dir;
    fs::create_symlink(dir / "real.conf", dir / "link.conf");
    writeFile(dir / "link.conf", "LX_SIZE 1\n");
    for (const char *value : {"2", "3"})
        ASSERT_TRUE(save(dir / "link.conf", {{"LX_SIZE", true, value}}).ok);
    EXPECT_TRUE(fs::is_symlink(dir / "link.conf"));
    EXPECT_EQ(readFile(dir / "real.conf"), "LX_SIZE 3\n");
    EXPECT_EQ(readFile(dir / "link.conf.07042031_1405"), "LX_SIZE 2\n");
}
