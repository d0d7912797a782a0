// The user's settings folder and WriteUserSettings.
#include "settings_fixture.h"

#include <filesystem>
#include <sys/stat.h>

TEST_F(SettingsFiles, FolderFailureIsReportedOnceAndNothingIsWritten)
{
    lxtest::writeFile(home / "plainfile", "");
    const std::string dir = home / "plainfile" + "/.lumarix_" + lxtest::hostName();
    EXPECT_EQ(helper("paths set A 2 write", {"HOME=" + home / "plainfile"}),
              "Could not create user config directory\npaths (none) " + dir + " (none)\nwrite -2\n");
}

// The first write makes the folder (0755, per host); a later one keeps the other lines, drops those
// replaced and appends in order, the old file becoming the backup.
TEST_F(SettingsFiles, WriteMakesTheFolderKeepsOtherLinesDropsReplacedOnesAndAppendsInOrder)
{
    EXPECT_EQ(helper("paths set A 1 write"), "paths " + userDir() + " " + userDir() + " " + userFile() + "\nwrite 0\n");
    EXPECT_EQ(std::filesystem::status(userDir()).permissions(), std::filesystem::perms(0755));
    EXPECT_EQ(lxtest::readFile(userFile()), "A 1\n");
    EXPECT_FALSE(lxtest::exists(userFile() + ".bak"));
    const std::string old = "A 1\nB 2\nx\n\nAB 3\na 4\nC old\n" + std::string(400, 'z') + "\nA\t9\nLX_TMP /scratch";
    writeSettings(old, "");
    EXPECT_EQ(helper("set C '' set A first set ^HIDDEN v set D 4 set A second write"), "write 0\n");
    EXPECT_EQ(lxtest::readFile(userFile()),
              "B 2\nx\nAB 3\na 4\n" + std::string(400, 'z') + "\nLX_TMP /scratch\nA second\nD 4\n");
    EXPECT_EQ(lxtest::readFile(userFile() + ".bak"), old);
}

TEST_F(SettingsFiles, FailedWritesLeaveTheOldFile)
{
    mkdir(userDir().c_str(), 0755); // owned by root; the helper runs as nobody
    chmod(home.path().c_str(), 0755);
    EXPECT_EQ(helper("set A 2 write", {}, lxtest::kAsNobody), "write -2\n");
    EXPECT_FALSE(lxtest::exists(userFile()));
    writeSettings("A 1\n", "");
    mkdir((userFile() + ".bak").c_str(), 0755);
    lxtest::writeFile(userFile() + ".bak/keep", ""); // a non-empty folder cannot be renamed over
    EXPECT_EQ(helper("set A 2 write"), "write -1\n");
    EXPECT_EQ(lxtest::readFile(userFile()), "A 1\n");
}
