// Writing the configuration file back: kept and dropped lines, appended changes, the dated
// backup and the file's mode, on real files.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "config_save.h"
#include "test_files.h"

namespace {

using lx::SaveEntry;
using lx::test::readFile;
using lx::test::writeFile;

// 14:05 on 4 July 2031, local time.
std::time_t july4th()
{
    struct tm local {};
    local.tm_year = 2031 - 1900;
    local.tm_mon = 6;
    local.tm_mday = 4;
    local.tm_hour = 14;
    local.tm_min = 5;
    local.tm_isdst = -1;
    return std::mktime(&local);
}

class ConfigSave : public ::testing::Test {
protected:
    lx::SaveResult save(const std::vector<SaveEntry> &entries)
    {
        return lx::saveConfigurationFile(path_, entries, july4th());
    }
    lx::test::TempDir dir_;
    std::string path_ = dir_ / "lumarix.conf";
};

TEST_F(ConfigSave, WithoutChangesTheFileStaysByteForByteAndABackupIsMade)
{
    const std::string old = "# site settings\nLX_SIZE 2000\n! kept\nUNKNOWN_LINE x\n\nLX_TMP /tmp\n";
    writeFile(path_, old);
    auto result = save({{"LX_SIZE", false, ""}, {"LX_TMP", false, ""}});
    ASSERT_TRUE(result.ok) << result.message;
    EXPECT_EQ(readFile(path_), old);
    EXPECT_EQ(result.backupPath, path_ + ".07042031_1405");
    EXPECT_EQ(readFile(result.backupPath), old);
    EXPECT_FALSE(std::filesystem::exists(path_ + "_tmp"));
}

TEST_F(ConfigSave, ChangedLinesMoveToTheEndCommentsStay)
{
    writeFile(path_, "LX_SIZE 2000\n# LX_SIZE was 1000\n! LX_TMP elsewhere\nLX_TMP /tmp\nLX_APP x\n");
    auto result = save({{"LX_SIZE", true, "3000"}, {"LX_TMP", false, ""}, {"LX_APP", true, "platemark"}});
    ASSERT_TRUE(result.ok) << result.message;
    EXPECT_EQ(readFile(path_), "# LX_SIZE was 1000\n! LX_TMP elsewhere\nLX_TMP /tmp\nLX_SIZE 3000\nLX_APP platemark\n");
    EXPECT_EQ(readFile(result.backupPath),
              "LX_SIZE 2000\n# LX_SIZE was 1000\n! LX_TMP elsewhere\nLX_TMP /tmp\nLX_APP x\n");
}

TEST_F(ConfigSave, ALineBelongsToTheFirstVariableWhoseNameItContains)
{
    writeFile(path_, "AB old\nA 1\n");
    // A unchanged: the AB line is A's, so it stays, and the changed AB is appended as well.
    ASSERT_TRUE(save({{"A", false, ""}, {"AB", true, "new"}}).ok);
    EXPECT_EQ(readFile(path_), "AB old\nA 1\nAB new\n");

    // A changed: both lines containing A are dropped, even AB's, which was not changed.
    writeFile(path_, "AB old\nA 1\n");
    ASSERT_TRUE(save({{"A", true, "2"}, {"AB", false, ""}}).ok);
    EXPECT_EQ(readFile(path_), "A 2\n");
}

TEST_F(ConfigSave, LastLineWithoutNewlineIsContinuedByTheFirstNewSetting)
{
    writeFile(path_, "LX_SIZE 2000\nLX_FACILITY Core");
    ASSERT_TRUE(save({{"LX_SIZE", true, "10"}, {"LX_FACILITY", false, ""}, {"LX_TMP", true, "/tmp"}}).ok);
    EXPECT_EQ(readFile(path_), "LX_FACILITY CoreLX_SIZE 10\nLX_TMP /tmp\n");
}

TEST_F(ConfigSave, LongLinesAndOddBytesAreKeptExactly)
{
    std::string longLine = "LX_NOTE " + std::string(700, 'n') + "\n";
    std::string odd = std::string("BIN \x01\x02\xff", 7) + std::string(1, '\0') + "tail\n";
    writeFile(path_, longLine + odd + "LX_SIZE 1\n");
    ASSERT_TRUE(save({{"LX_SIZE", true, "2"}}).ok);
    EXPECT_EQ(readFile(path_), longLine + odd + "LX_SIZE 2\n");
}

TEST_F(ConfigSave, NewFileGetsOnlyTheChangesAndMode0644)
{
    mode_t oldMask = ::umask(077);
    auto result = save({{"LX_SIZE", true, "2000"}, {"LX_TMP", false, ""}});
    ::umask(oldMask);
    ASSERT_TRUE(result.ok) << result.message;
    EXPECT_EQ(readFile(path_), "LX_SIZE 2000\n");
    EXPECT_TRUE(result.backupPath.empty());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 1);
    struct stat st {};
    ASSERT_EQ(::stat(path_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0644u);
}

TEST_F(ConfigSave, ExistingFileEndsWithMode0644AndBackupKeepsItsMode)
{
    writeFile(path_, "LX_SIZE 1\n");
    ::chmod(path_.c_str(), 0600);
    auto result = save({{"LX_SIZE", true, "2"}});
    ASSERT_TRUE(result.ok);
    struct stat st {};
    ASSERT_EQ(::stat(path_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0644u);
    ASSERT_EQ(::stat(result.backupPath.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(ConfigSave, SecondSaveInTheSameMinuteReplacesTheBackup)
{
    writeFile(path_, "LX_SIZE 1\n");
    ASSERT_TRUE(save({{"LX_SIZE", true, "2"}}).ok);
    auto second = save({{"LX_SIZE", true, "3"}});
    ASSERT_TRUE(second.ok);
    EXPECT_EQ(readFile(second.backupPath), "LX_SIZE 2\n");
    EXPECT_EQ(readFile(path_), "LX_SIZE 3\n");
}

TEST_F(ConfigSave, PathsWithSpacesAndShellCharactersNeedNoShell)
{
    std::string folder = dir_ / "my conf; $(touch pwned) 'q' &";
    std::filesystem::create_directory(folder);
    std::string path = folder + "/lumarix conf";
    writeFile(path, "LX_SIZE 1\n");
    auto result = lx::saveConfigurationFile(path, std::vector<SaveEntry>{{"LX_SIZE", true, "2"}}, july4th());
    ASSERT_TRUE(result.ok) << result.message;
    EXPECT_EQ(readFile(path), "LX_SIZE 2\n");
    EXPECT_EQ(readFile(path + ".07042031_1405"), "LX_SIZE 1\n");
    EXPECT_FALSE(std::filesystem::exists("pwned"));
}

TEST_F(ConfigSave, ASymbolicLinkStaysALinkToTheNewText)
{
    std::filesystem::create_directory(dir_ / "real");
    writeFile(dir_ / "real/site.conf", "LX_SIZE 1\n");
    std::filesystem::create_symlink(dir_ / "real/site.conf", path_);
    auto result = save({{"LX_SIZE", true, "2"}});
    ASSERT_TRUE(result.ok) << result.message;
    EXPECT_TRUE(std::filesystem::is_symlink(path_));
    EXPECT_EQ(readFile(dir_ / "real/site.conf"), "LX_SIZE 2\n");
    EXPECT_EQ(readFile(result.backupPath), "LX_SIZE 1\n");
}

TEST_F(ConfigSave, TemporaryFileThatCannotBeCreatedLeavesTheOldFile)
{
    writeFile(path_, "LX_SIZE 1\n");
    std::filesystem::create_directory(path_ + "_tmp"); // something in the way
    auto result = save({{"LX_SIZE", true, "2"}});
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.message.rfind("Couldn't create temp configuration file!\n" + path_ + "_tmp: ", 0), 0u)
        << result.message;
    EXPECT_NE(result.message.find("Nothing was changed"), std::string::npos);
    EXPECT_EQ(readFile(path_), "LX_SIZE 1\n");
}

} // namespace
