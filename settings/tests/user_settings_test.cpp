// The user's settings folder and WriteUserSettings.
#include "settings_fixture.h"

using lxtest::readFile;
using lxtest::writeFile;

using UserSettings = SettingsFiles;

TEST_F(UserSettings, FolderIsMadePerHostUnderHomeWithMode0755)
{
    EXPECT_EQ(helper({"userdir", "userfile"}).out, "userdir " + userDir() + "\nuserfile " + userFile() + "\n");
    struct stat info {};
    ASSERT_EQ(stat(userDir().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0755u);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
}

TEST_F(UserSettings, FolderFailureIsReportedOnceAndNothingIsReadOrWritten)
{
    writeFile(home / "plainfile", "");
    const std::string dir = home / "plainfile" + "/.lumarix_" + lxtest::hostName();
    EXPECT_EQ(helper({"userdir", "userdir", "userfile", "get", "COLOR", "set", "A", "2", "write"},
                     {"HOME=" + home / "plainfile", "COLOR="})
                  .out,
              "Could not create user config directory\nuserdir (none)\nuserdir " + dir +
                  "\nuserfile (none)\nget COLOR (none)\nwrite -2\n");
}

TEST_F(UserSettings, WriteKeepsOtherLinesDropsReplacedOnesAndAppendsInOrder)
{
    const std::string old = "A 1\nB 2\nx\n\nAB 3\na 4\nC old\n" + std::string(400, 'z') + "\nA\t9\nLX_TMP /scratch";
    writeUserFile(old);
    writeFile(userFile() + ".bak", "stale\n"); // an earlier backup is replaced
    EXPECT_EQ(helper({"set", "C", "", "set", "A", "first", "set", "^HIDDEN", "v", "set", "D", "4", "set", "A", "second",
                      "write"})
                  .out,
              "write 0\n");
    EXPECT_EQ(readFile(userFile()),
              "B 2\nx\nAB 3\na 4\n" + std::string(400, 'z') + "\nLX_TMP /scratch\nA second\nD 4\n");
    EXPECT_EQ(readFile(userFile() + ".bak"), old);
}

TEST_F(UserSettings, WriteWithoutAnOldFileWritesOnlyTheNewSettings)
{
    EXPECT_EQ(helper({"set", "A", "1", "write"}).out, "write 0\n");
    EXPECT_EQ(readFile(userFile()), "A 1\n");
    EXPECT_FALSE(lxtest::exists(userFile() + ".bak"));
}

TEST_F(UserSettings, FailedBackupRenameWritesNothing)
{
    writeUserFile("A 1\n");
    mkdir((userFile() + ".bak").c_str(), 0755);
    writeFile(userFile() + ".bak/keep", ""); // a non-empty folder cannot be renamed over
    EXPECT_EQ(helper({"set", "A", "2", "write"}).out, "write -1\n");
    EXPECT_EQ(readFile(userFile()), "A 1\n");
}

TEST_F(UserSettings, UnwritableFolderGivesMinusTwo)
{
    mkdir(userDir().c_str(), 0755); // owned by root; the helper runs as nobody
    chmod(home.path().c_str(), 0755);
    const lxtest::Result result =
        lxtest::run({SETTINGS_HELPER_PATH, "set", "A", "2", "write"}, env(), lxtest::kAsNobody);
    EXPECT_EQ(result.out, "write -2\n") << result.err;
    EXPECT_FALSE(lxtest::exists(userFile()));
}
