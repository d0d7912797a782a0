// The -f search of a value in the configuration file, on real files.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "config_file.h"
#include "test_files.h"

namespace {

class FindValueInFileTest : public ::testing::Test {
protected:
    std::optional<std::string> find(const std::string &content, const char *name)
    {
        lx::test::writeFile(dir_ / "lumarix.conf", content);
        std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen((dir_ / "lumarix.conf").c_str(), "r"), std::fclose);
        if (!file)
            ADD_FAILURE() << "cannot open the test file";
        char *value = FindValueInFile(file.get(), name);
        if (value == nullptr)
            return std::nullopt;
        std::string copy(value);
        std::free(value);
        return copy;
    }
    lx::test::TempDir dir_;
};

TEST_F(FindValueInFileTest, MatchesTheFirstWordIgnoringCaseAndTrimsTheValue)
{
    EXPECT_EQ(find("# comment\nlx_size\t  3000 \t\nLX_SIZE 12\n", "LX_SIZE"), "3000");
    EXPECT_EQ(find("   LX_TMP /scratch/a b  \n", "LX_TMP"), "/scratch/a b");
}

TEST_F(FindValueInFileTest, ANameThatOnlyStartsTheWordDoesNotMatch)
{
    EXPECT_EQ(find("LX_SIZEX 5\nXLX_SIZE 6\nLX_SIZE 7\n", "LX_SIZE"), "7");
    EXPECT_EQ(find("LX_SIZEX 5\n", "LX_SIZE"), std::nullopt);
}

TEST_F(FindValueInFileTest, NameWithOneSpaceOrNothingIsSkippedAndTheSearchGoesOn)
{
    EXPECT_EQ(find("LX_SIZE \nLX_SIZE 10\n", "LX_SIZE"), "10");
    EXPECT_EQ(find("LX_SIZE\nLX_SIZE 11\n", "LX_SIZE"), "11");
}

TEST_F(FindValueInFileTest, NameWithOnlyBlanksEndsTheSearchWithoutValue)
{
    EXPECT_EQ(find("LX_SIZE  \nLX_SIZE 10\n", "LX_SIZE"), std::nullopt);
    EXPECT_EQ(find("LX_SIZE \t \nLX_SIZE 10\n", "LX_SIZE"), std::nullopt);
}

TEST_F(FindValueInFileTest, LastLineWithoutNewlineAndWindowsLineEnds)
{
    EXPECT_EQ(find("A 1\nLX_FACILITY Imaging Core", "LX_FACILITY"), "Imaging Core");
    EXPECT_EQ(find("LX_FACILITY Imaging Core\r\n", "lx_facility"), "Imaging Core");
    EXPECT_EQ(find("", "LX_FACILITY"), std::nullopt);
}

TEST_F(FindValueInFileTest, LongLinesAreReadIn255CharacterPieces)
{
    std::string longValue(400, 'x');
    auto value = find("LX_NOTE " + longValue + "\n", "LX_NOTE");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(*value, std::string(255 - 8, 'x'));
    // The rest of a long line is read as a line of its own.
    std::string filler(255, 'y');
    EXPECT_EQ(find(filler + "LX_NOTE hidden\n", "LX_NOTE"), "hidden");
}

TEST_F(FindValueInFileTest, RewindingFindsEveryVariableOfOneOpenFile)
{
    lx::test::writeFile(dir_ / "c.conf", "B 2\nA 1\n");
    FILE *file = std::fopen((dir_ / "c.conf").c_str(), "r");
    ASSERT_NE(file, nullptr);
    for (const char *name : {"A", "B", "A"}) {
        std::rewind(file);
        char *value = FindValueInFile(file, name);
        ASSERT_NE(value, nullptr) << name;
        EXPECT_EQ(std::string(value), name[0] == 'A' ? "1" : "2");
        std::free(value);
    }
    std::fclose(file);
}

} // namespace
