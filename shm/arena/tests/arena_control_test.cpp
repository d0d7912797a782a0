// Arena control across real processes: finding the arena, removing a crashed suite's
// leftovers, who may remove it, and an id file or control segment planted in /tmp.
#include "arena_process.h"

#include "lumarix/shm.h"

#include <cstring>
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
    lxtest::writeFile(idFile(), text);
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

    creator.send("go");
    EXPECT_EQ(creator.line(), "exit 0");
    EXPECT_EQ(creator.finish(), 0);
    EXPECT_FALSE(exists(idFile()));
    EXPECT_EQ(controlSegment(), -1);
    EXPECT_EQ(dataSegment(), -1);
}

// Another address would follow foreign pointers; a PID namespace hides the creator, which is no
// proof that it is gone.
TEST_F(ArenaLifecycle, AttachIsRefusedAtAnotherAddressAndKeepsAnUnseenCreatorsArena)
{
    auto creator = creatorOf("one");
    EXPECT_EQ(alphaSeenBy({"LX_SHMSTADDR=310000000000"}), "3 null");
    if (std::system("unshare --pid --fork true 2>/dev/null") == 0) {
        EXPECT_EQ(alphaSeenBy({}, {"unshare", "--pid", "--fork"}), "0 one");
    }
    EXPECT_EQ(alphaSeenBy(), "0 one");
    EXPECT_NE(controlSegment(), -1);
    creator->send("go");
    EXPECT_EQ(creator->line(), "exit 0");
}

TEST_F(ArenaLifecycle, AttachAfterTheCreatorDiedRemovesLeftoversAndANewArenaIsNotMistakenForThem)
{
    Helper crashed({kCreate, "put:alpha:one"});
    ASSERT_EQ(crashed.finish(), 0);
    ASSERT_TRUE(exists(idFile()));
    ASSERT_NE(dataSegment(), -1);

    Helper late({"attach"});
    EXPECT_EQ(late.finish(), 0);
    EXPECT_EQ(late.output(), "attach 3\n");
    EXPECT_NE(late.errors().find("Existing shared memory segment appears invalid.\n"), std::string::npos);
    EXPECT_FALSE(exists(idFile()));
    EXPECT_EQ(controlSegment(), -1);
    EXPECT_EQ(dataSegment(), -1);
    Helper again({"attach"}); // no id file any more: a quiet 3
    again.finish();
    EXPECT_EQ(again.output() + again.errors(), "attach 3\n");

    Helper crashedAgain({kCreate});
    ASSERT_EQ(crashedAgain.finish(), 0);
    auto creator = creatorOf("fresh");
    EXPECT_EQ(alphaSeenBy(), "0 fresh");
    creator->send("go");
    EXPECT_EQ(creator->line(), "exit 0");
}

// Who may remove the arena is what the control block records, not what a process remembers.
TEST_F(ArenaLifecycle, OnlyTheRecordedCreatorMayRemoveTheArena)
{
    auto creator = creatorOf("one");
    Helper other({"attach", "exit", "destroy", "get:alpha", "detach"});
    other.finish();
    EXPECT_NE(other.output().find("exit 4\ndestroy 4\nget alpha 0x"), std::string::npos) << other.output();
    EXPECT_NE(other.output().find(" one\ndetach 0\n"), std::string::npos) << other.output();
    EXPECT_TRUE(exists(idFile()));
    EXPECT_EQ(alphaSeenBy(), "0 one");

    Helper heir({"attach", "wait", "exit"});
    ASSERT_EQ(heir.line(), "attach 0");
    void *block = shmat(controlSegment(), nullptr, 0);
    ASSERT_NE(block, reinterpret_cast<void *>(-1));
    const int32_t pid = heir.pid();
    std::memcpy(static_cast<char *>(block) + 4100, &pid, sizeof pid);
    shmdt(block);
    heir.send("go");
    EXPECT_EQ(heir.lineStarting("exit"), "exit 0");
    EXPECT_EQ(controlSegment(), -1);
    creator->send("go");
    EXPECT_EQ(creator->line(), "exit 4");
}

// One arena per user id: a second creator is refused whatever USER says, and names the first.
TEST_F(ArenaLifecycle, SecondCreatorIsRefusedWhateverItsUserAndTouchesNothing)
{
    auto creator = creatorOf("one");
    const int control = controlSegment();
    Helper second({kCreate, "exit"}, {"USER=lxsomeoneelse", "LOGNAME=lxsomeoneelse"});
    EXPECT_EQ(second.line(), "create 1 null");
    second.finish();
    EXPECT_NE(second.errors().find("belongs to the running process " + std::to_string(creator->pid())),
              std::string::npos)
        << second.errors();
    EXPECT_FALSE(exists("/tmp/lxsomeoneelse.api_shmid"));
    EXPECT_EQ(controlSegment(), control);
    EXPECT_EQ(alphaSeenBy(), "0 one");
    creator->send("go");
    EXPECT_EQ(creator->line(), "exit 0");
}

// A file arena is shared like a segment and removed on exit; an existing file of ours is reused
// without a word, and a failed create never reports "Success".
TEST_F(ArenaLifecycle, FileArenaIsSharedReusedAndRemovedOnExit)
{
    const std::string file = "/tmp/arena-test-" + std::to_string(getpid()) + ".map";
    lxtest::writeFile(file, "old");
    chmod(file.c_str(), 0600);
    auto creator = creatorOf("mapped", std::string(kCreate) + ":" + file);
    EXPECT_EQ(dataSegment(), -1);
    EXPECT_EQ(alphaSeenBy(), "0 mapped");
    creator->send("go");
    EXPECT_EQ(creator->line(), "exit 0");
    EXPECT_EQ(creator->finish(), 0);
    EXPECT_EQ(creator->errors(), "");
    EXPECT_FALSE(exists(file));

    Helper tiny({"create:100", "exit"});
    EXPECT_EQ(tiny.line(), "create 0 null");
    tiny.finish();
    EXPECT_NE(tiny.errors().find("cannot be mapped"), std::string::npos) << tiny.errors();
    EXPECT_EQ(tiny.errors().find("Success"), std::string::npos) << tiny.errors();
}

TEST_F(ArenaLifecycle, NamesFollowUserAndLognameElseTheLoginName)
{
    auto named = creatorOf("v", kCreate, {"USER=lxnamecheck", "LOGNAME=lxnamecheck"});
    EXPECT_TRUE(exists("/tmp/lxnamecheck.api_shmid"));
    EXPECT_FALSE(exists(idFile()));
    named->send("go");
    named->finish();
    EXPECT_FALSE(exists("/tmp/lxnamecheck.api_shmid"));
    EXPECT_TRUE(exists("/dev/shm/sem.IWConfigSem_lxnamecheck"));

    auto unnamed = creatorOf("v", kCreate, {"-USER", "-LOGNAME"});
    EXPECT_TRUE(exists(idFile()));
    EXPECT_TRUE(exists("/dev/shm/sem" + semaphoreName().replace(0, 1, ".")));
    unnamed->send("go");
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
    ASSERT_EQ(
        std::system(("setpriv --reuid=nobody --regid=nogroup --clear-groups ln -s " + target + " " + idFile()).c_str()),
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
    shmid_ds info{};
    ASSERT_EQ(shmctl(planted, IPC_STAT, &info), 0);
    info.shm_perm.uid = 65534;
    ASSERT_EQ(shmctl(planted, IPC_SET, &info), 0);
    writeIdFile(std::to_string(planted) + "\n", 0644);

    expectRefused("belongs to user id 65534");
    EXPECT_EQ(controlSegment(), planted);
    EXPECT_TRUE(exists(idFile()));
}

// The arena file is made 0600 whatever the umask; a planted one, a link or one others may write
// is refused with the reason and left alone.
TEST_F(TmpAttacks, ArenaFileIsOursAloneOrRefused)
{
    const std::string file = "/tmp/arena-test-" + std::to_string(getpid()) + ".map";
    const mode_t mask = umask(0);
    {
        Helper creator({std::string(kCreate) + ":" + file, "wait", "exit"});
        ASSERT_EQ(field(creator.line(), 1), "0");
        struct stat st {};
        EXPECT_EQ(stat(file.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u);
        creator.send("go\n");
    }
    umask(mask);
    const std::string nobody = "setpriv --reuid=nobody --regid=nogroup --clear-groups ";
    const struct {
        std::string plant, why;
    } cases[] = {{nobody + "touch " + file, "it belongs to another user"},
                 {nobody + "ln -s /etc/hostname " + file, "it is a symbolic link"},
                 {"touch " + file + " && chmod 666 " + file, "it is writable by group or others"}};
    for (const auto &c : cases) {
        unlink(file.c_str());
        ASSERT_EQ(std::system(c.plant.c_str()), 0) << c.plant;
        Helper creator({std::string(kCreate) + ":" + file, "exit"});
        EXPECT_EQ(creator.lineStarting("create"), "create 0 null") << c.plant;
        creator.finish();
        EXPECT_NE(creator.errors().find("SG_create: refusing " + file + ": " + c.why), std::string::npos)
            << creator.errors();
        EXPECT_TRUE(exists(file));
    }
    unlink(file.c_str());
}

// A semaphore planted under our name by another user is refused with one message naming it.
TEST_F(TmpAttacks, SemaphoreOfAnotherUserIsRefusedOnceAndOursIsPrivate)
{
    Helper first({kCreate, "put:a:1", "exit"});
    first.finish();
    const std::string file = "/dev/shm/sem." + semaphoreName().substr(1);
    struct stat st {};
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
    Helper victim({kCreate, "put:a:1", "put:b:2", "get:a", "free:a", "exit"});
    victim.finish();
    const std::string errors = victim.errors();
    const std::string message = "Config Protection Semaphore " + semaphoreName() + " (" + file;
    EXPECT_NE(errors.find(message), std::string::npos) << errors;
    EXPECT_EQ(errors.find(message), errors.rfind(message)) << errors;
    EXPECT_NE(errors.find("it belongs to another user"), std::string::npos) << errors;
    EXPECT_EQ(errors.find("could not be acquired"), std::string::npos) << errors;
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
    shmid_ds info{};
    ASSERT_EQ(shmctl(dataSegment(), IPC_STAT, &info), 0);
    info.shm_perm.uid = 65534;
    ASSERT_EQ(shmctl(dataSegment(), IPC_SET, &info), 0);

    expectRefused("Existing shared memory segment appears invalid.\n");
    EXPECT_EQ(controlSegment(), -1);
    EXPECT_FALSE(exists(idFile()));
    EXPECT_NE(dataSegment(), -1);
}
