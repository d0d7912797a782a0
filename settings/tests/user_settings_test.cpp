// The user's settings folder and WriteUserSettings.
#include "settings_fixture.h"

#include <filesystem>

using lxtest::readFile;
using lxtest::writeFile;

using UserSettings = SettingsFiles;

TEST_F(UserSettings, FolderIsMadePerHostWithMode0755AndAFirstWriteHoldsOnlyTheNewSettings)
{
    EXPECT_EQ(helper("paths set A 1 write").out,
              "paths " + userDir() + " " + userDir() + " " + userFile() + "\nwrite 0\n");
    EXPECT_EQ(std::filesystem::status(userDir()).permissions(), std::filesystem::perms(0755));
    EXPECT_EQ(readFile(userFile()), "A 1\n");
    EXPECT_FALSE(lxtest::exists(userFile() + ".bak"));
}

TEST_F(UserSettings, FolderFailureIsReportedOnceAndNothingIsWritten)
{
    writeFile(home / "plainfile", "");
    const std::string dir = home / "plainfile" + "/.lumarix_" + lxtest::hostName();
    EXPECT_EQ(helper("paths set A 2 write", {"HOME=" + home / "plainfile"}).out,
              "Could not create user config directory\npaths (none) " + dir + " (none)\nwrite -2\n");
}

TEST_F(UserSettings, WriteKeepsOtherLinesDropsReplacedOnesAndAppendsInOrder)
{
    const std::string old = "A 1\nB 2\nx\n\nAB 3\na 4\nC old\n" + std::string(400, 'z') + "\nA\t9\nLX_TMP /scratch";
    writeFiles(old, "");
    writeFile(userFile() + ".bak", "stale\n"); // an earlier backup is replaced
    EXPECT_EQ(helper("set C '' set A first set ^HIDDEN v set D 4 set A second write").out, "write 0\n");
    EXPECT_EQ(readFile(userFile()),
              "B 2\nx\nAB 3\na 4\n" + std::string(400, 'z') + "\nLX_TMP /scratch\nA second\nD 4\n");
    EXPECT_EQ(readFile(userFile() + ".bak"), old);
}

TEST_F(UserSettings, FailedWritesLeaveTheOldFile)
{
    mkdir(userDir().c_str(), 0755); // owned by root; the helper runs as nobody
    chmod(home.path().c_str(), 0755);
    const lxtest::Result asNobody = helper("set A 2 write", {}, lxtest::kAsNobody);
    EXPECT_EQ(asNobody.out, "write -2\n") << asNobody.err;
    EXPECT_FALSE(lxtest::exists(userFile()));
    writeFiles("A 1\n", "");
    mkdir((userFile() + ".bak").c_str(), 0755);
    writeFile(userFile() + ".bak/keep", ""); // a non-empty folder cannot be renamed over
    EXPECT_EQ(helper("set A 2 write").out, "write -1\n");
    EXPECT_EQ(readFile(userFile()), "A 1\n");
}
