// The -f search of a value in the configuration file.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "config_file.h"

namespace {

std::optional<std::string> find(const std::string &content, const char *name)
{
    FILE *file = content.empty() ? std::tmpfile() : fmemopen(const_cast<char *>(content.data()), content.size(), "r");
    char *value = FindValueInFile(file, name);
    std::fclose(file);
    const auto copy = value != nullptr ? std::optional<std::string>(value) : std::nullopt;
    std::free(value);
    return copy;
}

} // namespace

TEST(FindValueInFile, FirstLineWhoseFirstWordIsTheName)
{
    for (const auto &[content, name, value] :
         std::vector<std::tuple<std::string, const char *, std::optional<std::string>>>{
             {"# comment\nlx_size\t  3000 \t\nLX_SIZE 12\n", "LX_SIZE", "3000"},
             {"   LX_TMP /scratch/a b  \n", "LX_TMP", "/scratch/a b"},
             {"LX_SIZEX 5\nXLX_SIZE 6\nLX_SIZE 7\n", "LX_SIZE", "7"},
             {"LX_SIZEX 5\n", "LX_SIZE", std::nullopt},
             {"LX_SIZE \nLX_SIZE\nLX_SIZE 10\n", "LX_SIZE", "10"}, // one space or nothing: searched on
             {"LX_SIZE  \nLX_SIZE 10\n", "LX_SIZE", std::nullopt}, // only blanks: the search ends
             {"LX_SIZE \t \nLX_SIZE 10\n", "LX_SIZE", std::nullopt},
             {"A 1\nLX_FACILITY Imaging Core", "LX_FACILITY", "Imaging Core"},
             {"LX_FACILITY Imaging Core\r\n", "lx_facility", "Imaging Core"},
             {"", "LX_FACILITY", std::nullopt},
             // Lines are read 255 characters at a time; the rest is read as a line of its own.
             {"LX_NOTE " + std::string(400, 'x') + "\n", "LX_NOTE", std::string(247, 'x')},
             {std::string(255, 'y') + "LX_NOTE hidden\n", "LX_NOTE", "hidden"}})
        EXPECT_EQ(find(content, name), value) << content;
}
