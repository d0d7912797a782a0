// The user's settings folder and WriteUserSettings.
#include "settings_fixture.h"

#include <sys/stat.h>

using lxtest::readFile;
using lxtest::Result;
using lxtest::writeFile;

using UserSettingsFolder = SettingsFiles;

TEST_F(UserSettingsFolder, IsMadePerHostUnderHomeWithMode0755)
{
    const Result result = helper({"userdir", "userfile"});
    EXPECT_EQ(result.out, "userdir " + userDir() + "\nuserfile " + userFile() + "\n");
    struct stat info {};
    ASSERT_EQ(stat(userDir().c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_EQ(info.st_mode & 0777, 0755u);
}

TEST_F(UserSettingsFolder, FailureIsReportedOnceAndTheSettingsFileIsNotUsed)
{
    writeFile(home / "plainfile", "");
    const Result result =
        helper({"userdir", "userdir", "userfile", "get", "COLOR"}, {"HOME=" + home / "plainfile", "COLOR="});
    const std::string dir = home / "plainfile" + "/.lumarix_" + lxtest::hostName();
    EXPECT_EQ(result.out, "Could not create user config directory\nuserdir (none)\nuserdir " + dir +
                              "\nuserfile (none)\nget COLOR (none)\n");
}

using WriteUserSettings = SettingsFiles;

TEST_F(WriteUserSettings, KeepsOtherLinesDropsReplacedOnesAndAppendsInOrder)
{
    const std::string old = "A 1\nB 2\nx\n\nAB 3\na 4\nC old\n" + std::string(400, 'z') + "\nA\t9\nLX_TMP /scratch";
    writeUserFile(old);
    writeFile(userFile() + ".bak", "stale\n");  // an earlier backup is replaced
    const Result result = helper({"set", "C", "", "set", "A", "first", "set", "^HIDDEN", "v", "set", "D", "4",
                                  "set", "A", "second", "write"});
    EXPECT_EQ(result.out, "write 0\n");
    EXPECT_EQ(readFile(userFile()), "B 2\nx\nAB 3\na 4\n" + std::string(400, 'z') +
                                      "\nLX_TMP /scratch\nA second\nD 4\n");
    EXPECT_EQ(readFile(userFile() + ".bak"), old);
}

TEST_F(WriteUserSettings, WithoutAnOldFileWritesOnlyTheNewSettings)
{
    EXPECT_EQ(helper({"set", "A", "1", "write"}).out, "write 0\n");
    EXPECT_EQ(readFile(userFile()), "A 1\n");
    EXPECT_FALSE(lxtest::exists(userFile() + ".bak"));
}

TEST_F(WriteUserSettings, FailedBackupRenameWritesNothing)
{
    writeUserFile("A 1\n");
    mkdir((userFile() + ".bak").c_str(), 0755);
    writeFile(userFile() + ".bak/keep", "");  // a non-empty folder cannot be renamed over
    EXPECT_EQ(helper({"set", "A", "2", "write"}).out, "write -1\n");
    EXPECT_EQ(readFile(userFile()), "A 1\n");
}

TEST_F(WriteUserSettings, NoSettingsFilePathGivesMinusTwo)
{
    writeFile(home / "plainfile", "");
    const Result result = helper({"set", "A", "2", "write"}, {"HOME=" + home / "plainfile"});
    EXPECT_EQ(result.out, "Could not create user config directory\nwrite -2\n");
}

TEST_F(WriteUserSettings, UnwritableFolderGivesMinusTwo)
{
    mkdir(userDir().c_str(), 0755);  // owned by root; the helper runs as nobody
    chmod(home.path().c_str(), 0755);
    const Result result = lxtest::run({"/usr/bin/setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups",
                                       SETTINGS_HELPER_PATH, "set", "A", "2", "write"},
                                      env());
    EXPECT_EQ(result.out, "write -2\n") << result.err;
    EXPECT_FALSE(lxtest::exists(userFile()));
}
