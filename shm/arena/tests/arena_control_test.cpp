// Arena control across real processes: finding the arena, removing a crashed suite's
// leftovers, who may remove it, and an id file or control segment planted in /tmp.
#include "arena_process.h"

#include "lumarix/shm.h"

#include <fstream>
#include <sstream>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace arena_test;

namespace {

std::string field(const std::string &line, int index)
{
    std::istringstream in(line);
    std::string word;
    for (int i = 0; i <= index; ++i)
        in >> word;
    return word;
}

void writeIdFile(const std::string &text, mode_t mode)
{
    std::ofstream(idFile()) << text;
    chmod(idFile().c_str(), mode);
}

} // namespace

class ArenaLifecycle : public ArenaTest {};

TEST_F(ArenaLifecycle, AttachFromAnotherProcessSharesInfoAndBlocks)
{
    Helper creator({kCreate, "put:alpha:one", "put:beta:two", "wait", "exit"});
    ASSERT_EQ(field(creator.line(), 1), "0");
    const std::string info = creator.line();
    const std::string alpha = field(creator.line(), 2);
    creator.line();

    Helper reader({"attach", "get:beta", "get:alpha", "get:gamma"});
    EXPECT_EQ(reader.line(), "attach 0");
    EXPECT_EQ(reader.line(), info);
    EXPECT_EQ(field(reader.line(), 3), "two");
    EXPECT_EQ(reader.line(), "get alpha " + alpha + " one");
    EXPECT_EQ(reader.line(), "get gamma null");
    EXPECT_EQ(reader.finish(), 0);

    creator.send("go\n");
    EXPECT_EQ(creator.line(), "exit 0");
    EXPECT_EQ(creator.finish(), 0);
    EXPECT_FALSE(exists(idFile()));
    EXPECT_EQ(controlSegment(), -1);
    EXPECT_EQ(dataSegment(), -1);
}

TEST_F(ArenaLifecycle, AttachAtAnotherAddressIsRefusedInsteadOfFollowingForeignPointers)
{
    Helper creator({kCreate, "put:alpha:one", "wait", "exit"});
    ASSERT_EQ(field(creator.line(), 1), "0");
    creator.line();
    creator.line();

    setenv("LX_SHMSTADDR", "310000000000", 1);
    Helper stranger({"attach", "get:alpha"});
    setenv("LX_SHMSTADDR", "300000000000", 1);
    EXPECT_EQ(stranger.line(), "attach 3");
    EXPECT_EQ(stranger.line(), "get alpha null");
    EXPECT_EQ(stranger.finish(), 0);

    Helper reader({"attach", "get:alpha"});
    EXPECT_EQ(reader.line(), "attach 0");
    reader.line(); // the info pointer
    EXPECT_EQ(field(reader.line(), 3), "one");
    EXPECT_EQ(reader.finish(), 0);

    creator.send("go\n");
    EXPECT_EQ(creator.line(), "exit 0");
    EXPECT_EQ(creator.finish(), 0);
}

TEST_F(ArenaLifecycle, AttachAfterTheCreatorDiedRemovesLeftovers)
{
    Helper creator({kCreate, "put:alpha:one"});
    ASSERT_EQ(creator.finish(), 0);
    ASSERT_TRUE(exists(idFile()));
    ASSERT_NE(controlSegment(), -1);
    ASSERT_NE(dataSegment(), -1);

    Helper late({"attach"});
    EXPECT_EQ(late.line(), "attach 3");
    EXPECT_EQ(late.finish(), 0);
    EXPECT_NE(late.errors().find("Existing shared memory segment appears invalid.\n"), std::string::npos);
    EXPECT_FALSE(exists(idFile()));
    EXPECT_EQ(controlSegment(), -1);
    EXPECT_EQ(dataSegment(), -1);

    Helper again({"attach"}); // no id file any more: a quiet 3
    EXPECT_EQ(again.line(), "attach 3");
    again.finish();
    EXPECT_EQ(again.errors(), "");
}

TEST_F(ArenaLifecycle, NewArenaAfterACrashIsNotMistakenForLeftovers)
{
    Helper crashed({kCreate});
    ASSERT_EQ(crashed.finish(), 0);
    Helper creator({kCreate, "put:alpha:fresh", "wait", "exit"});
    ASSERT_EQ(field(creator.line(), 1), "0");
    creator.line();
    creator.line();

    Helper reader({"attach", "get:alpha"});
    EXPECT_EQ(reader.line(), "attach 0");
    reader.line();
    EXPECT_EQ(field(reader.line(), 3), "fresh");
    creator.send("go\n");
    EXPECT_EQ(creator.line(), "exit 0");
}

TEST_F(ArenaLifecycle, OnlyTheCreatorMayRemoveTheArena)
{
    Helper creator({kCreate, "put:alpha:one", "wait", "exit"});
    ASSERT_EQ(field(creator.line(), 1), "0");
    creator.line();
    creator.line();

    Helper other({"attach", "exit", "destroy", "get:alpha", "detach"});
    EXPECT_EQ(other.line(), "attach 0");
    other.line();
    EXPECT_EQ(other.line(), "exit 4");
    EXPECT_EQ(other.line(), "destroy 4");
    EXPECT_EQ(field(other.line(), 3), "one");
    EXPECT_EQ(other.line(), "detach 0");
    EXPECT_EQ(other.finish(), 0);
    EXPECT_TRUE(exists(idFile()));
    EXPECT_NE(controlSegment(), -1);

    Helper third({"attach"});
    EXPECT_EQ(third.line(), "attach 0");
    creator.send("go\n");
    EXPECT_EQ(creator.finish(), 0);
}

TEST_F(ArenaLifecycle, SyncByteIsSharedThroughTheControlBlock)
{
    Helper creator({kCreate, "sync-get", "wait", "sync-get", "exit"});
    creator.line();
    creator.line();
    EXPECT_EQ(creator.line(), "sync-get 1");

    Helper other({"attach", "sync-get", "sync:7", "realloc-null"});
    EXPECT_EQ(other.line(), "attach 0");
    other.line();
    EXPECT_EQ(other.line(), "sync-get 1");
    EXPECT_EQ(other.line(), "sync 7");
    EXPECT_EQ(other.line(), "realloc-null null");
    creator.send("go\n");
    EXPECT_EQ(creator.line(), "sync-get 7");
}

TEST_F(ArenaLifecycle, SecondCreateInOneProcessIsRefusedAndClearsTheHandle)
{
    Helper creator({kCreate, kCreate, "exit"});
    EXPECT_EQ(field(creator.line(), 1), "0");
    creator.line();
    EXPECT_EQ(creator.line(), "create 1 null");
    EXPECT_EQ(creator.finish(), 0);
}

TEST_F(ArenaLifecycle, FileArenaIsSharedAndItsFileRemovedOnExit)
{
    const std::string file = "/tmp/arena-test-" + std::to_string(getpid()) + ".map";
    Helper creator({std::string(kCreate) + ":" + file, "put:alpha:mapped", "wait", "exit"});
    ASSERT_EQ(field(creator.line(), 1), "0");
    creator.line();
    creator.line();
    EXPECT_TRUE(exists(file));
    EXPECT_EQ(dataSegment(), -1);

    Helper reader({"attach", "get:alpha"});
    EXPECT_EQ(reader.line(), "attach 0");
    reader.line();
    EXPECT_EQ(field(reader.line(), 3), "mapped");
    creator.send("go\n");
    EXPECT_EQ(creator.line(), "exit 0");
    creator.finish();
    EXPECT_FALSE(exists(file));
    unlink(file.c_str());
}

TEST_F(ArenaLifecycle, TraceNamesEveryOperationAndTheProcess)
{
    Helper creator({"trace", kCreate, "exit"});
    creator.finish();
    const std::string pid = std::to_string(creator.pid());
    for (const char *operation : {"SMCreateArena", "smAllocateControl", "smWriteCtlId", "smAttachControl",
                                  "smGetCtlId", "SMExit", "SMDestroyArena"})
        EXPECT_NE(creator.errors().find(std::string("sm-lib : ") + operation + ", pid=" + pid + "\n"),
                  std::string::npos)
            << operation;
}

TEST_F(ArenaLifecycle, NamesFollowUserAndLognameElseTheLoginName)
{
    Helper named({kCreate, "put:a:v", "wait", "exit"}, {"USER=lxnamecheck", "LOGNAME=lxnamecheck"});
    EXPECT_EQ(named.line().substr(0, 8), "create 0");
    EXPECT_TRUE(exists("/tmp/lxnamecheck.api_shmid"));
    EXPECT_FALSE(exists(idFile()));
    named.send("go\n");
    named.finish();
    EXPECT_FALSE(exists("/tmp/lxnamecheck.api_shmid"));
    EXPECT_TRUE(exists("/dev/shm/sem.IWConfigSem_lxnamecheck"));
    unlink("/dev/shm/sem.IWConfigSem_lxnamecheck");

    Helper unnamed({kCreate, "put:a:v", "wait", "exit"}, {"USER", "LOGNAME"});
    EXPECT_EQ(unnamed.line().substr(0, 8), "create 0");
    EXPECT_TRUE(exists(idFile()));
    unnamed.line();
    unnamed.line();
    EXPECT_TRUE(exists("/dev/shm/sem" + semaphoreName().replace(0, 1, ".")));
    unnamed.send("go\n");
}

// Other users share /tmp: nothing found there is trusted or removed unless it is ours.
class TmpAttacks : public ArenaTest {
protected:
    void expectRefused(const std::string &why)
    {
        Helper attacher({"attach"});
        EXPECT_EQ(attacher.line(), "attach 3");
        attacher.finish();
        EXPECT_NE(attacher.errors().find(why), std::string::npos) << attacher.errors();
    }
};

TEST_F(TmpAttacks, SymbolicLinkOfAnotherUserIsNeitherFollowedNorReplaced)
{
    const std::string target = "/tmp/arena-test-target-" + std::to_string(getpid());
    std::ofstream(target) << "precious\n";
    ASSERT_EQ(std::system(("setpriv --reuid=nobody --regid=nogroup --clear-groups ln -s " + target + " " +
                           idFile()).c_str()),
              0);

    expectRefused("is a symbolic link");
    Helper creator({kCreate});
    EXPECT_EQ(creator.line(), "create 2 null");
    creator.finish();
    EXPECT_NE(creator.errors().find("belongs to another user"), std::string::npos);

    struct stat st {};
    EXPECT_EQ(lstat(idFile().c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(readFile(target), "precious\n");
    EXPECT_EQ(controlSegment(), -1);
    unlink(target.c_str());
}

TEST_F(TmpAttacks, IdFileOfAnotherUserOrWritableByOthersIsIgnoredAndKept)
{
    Helper creator({kCreate, "wait", "exit"});
    ASSERT_EQ(field(creator.line(), 1), "0");
    creator.line();
    const int control = controlSegment();

    ASSERT_EQ(chown(idFile().c_str(), 65534, 65534), 0);
    expectRefused("belongs to another user");
    ASSERT_EQ(chown(idFile().c_str(), getuid(), getgid()), 0);
    ASSERT_EQ(chmod(idFile().c_str(), 0664), 0);
    expectRefused("writable by group or others");
    EXPECT_TRUE(exists(idFile()));
    EXPECT_EQ(controlSegment(), control);

    ASSERT_EQ(chmod(idFile().c_str(), 0644), 0);
    Helper reader({"attach"});
    EXPECT_EQ(reader.line(), "attach 0");
    creator.send("go\n");
    EXPECT_EQ(creator.line(), "exit 0");
}

TEST_F(TmpAttacks, ControlSegmentOfAnotherUserIsNotUsedOrRemoved)
{
    const char *home = std::getenv("HOME");
    const int planted = shmget(SG_key(home != nullptr ? home : "", 'F'), 4168, IPC_CREAT | 0666);
    ASSERT_GE(planted, 0);
    shmid_ds info {};
    ASSERT_EQ(shmctl(planted, IPC_STAT, &info), 0);
    info.shm_perm.uid = 65534;
    ASSERT_EQ(shmctl(planted, IPC_SET, &info), 0);
    writeIdFile(std::to_string(planted) + "\n", 0644);

    expectRefused("belongs to user id 65534");
    EXPECT_EQ(controlSegment(), planted);
    EXPECT_TRUE(exists(idFile()));
}

TEST_F(TmpAttacks, IdFileThatIsNoFileOrHoldsNoIdIsRefused)
{
    writeIdFile("hello\n", 0644);
    expectRefused("does not hold a segment id");
    unlink(idFile().c_str());
    ASSERT_EQ(mkfifo(idFile().c_str(), 0600), 0); // must not hang the reader
    expectRefused("is not a regular file");
}

TEST_F(TmpAttacks, CleanUpAfterACrashLeavesADataSegmentOfAnotherUser)
{
    Helper crashed({kCreate});
    ASSERT_EQ(crashed.finish(), 0);
    shmid_ds info {};
    ASSERT_EQ(shmctl(dataSegment(), IPC_STAT, &info), 0);
    info.shm_perm.uid = 65534;
    ASSERT_EQ(shmctl(dataSegment(), IPC_SET, &info), 0);

    expectRefused("Existing shared memory segment appears invalid.\n");
    EXPECT_EQ(controlSegment(), -1);
    EXPECT_FALSE(exists(idFile()));
    EXPECT_NE(dataSegment(), -1);
}
