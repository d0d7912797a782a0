// Arena control: its services in this process, and across real processes finding the arena,
// removing a crashed suite's leftovers, who may remove it, and what other users plant in /tmp.
#include "arena_process.h"

#include "lumarix/shm.h"

#include <cstring>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace arena_test;

class ArenaServices : public ArenaTest {};

// The trace names every operation, internal steps included, only while it is on.
TEST_F(ArenaServices, EachCallWorksAndIsTraced)
{
    SMArena arena{};
    SMSetTrace(1);
    testing::internal::CaptureStderr();
    ASSERT_EQ(SMCreateArena(&arena, 16 << 20, nullptr), SM_OK);
    void *block = SMRecalloc(&arena, SMRealloc(&arena, SMMalloc(&arena, 8), 16), 2, 16);
    EXPECT_EQ(SMRealloc(&arena, nullptr, 16), nullptr) << "a null block allocates nothing";
    SMFree(&arena, block);
    void *info = SMCalloc(&arena, 1, 8);
    SMPutInfo(&arena, info);
    EXPECT_EQ(SMGetInfo(&arena), info);
    EXPECT_EQ(SMSetSyncState(2), 2);
    EXPECT_EQ(SMGetSyncState(), 2);
    EXPECT_EQ(SMGetError(), SM_OK);
    EXPECT_STREQ(SMGetMethod(), "API Tallowmere manager");
    uint64_t current = 0, maximum = 0;
    EXPECT_EQ(SMGetRLimit(&current, &maximum), 0);
    EXPECT_EQ(SMSetRLimit(current, maximum), 0);
    EXPECT_GT(SMGetSpaceFree("/tmp"), 0);
    EXPECT_EQ(SMDetachFromArena(&arena), SM_OK);
    EXPECT_EQ(SMDestroyArena(&arena), SM_OK);
    SMSetTrace(0);
    EXPECT_STREQ(SMGetMethod(), "API Tallowmere manager");
    std::string expected;
    for (const char *op : {"SMCreateArena",  "smAllocateControl", "smAttachControl",   "smGetIdFileName",
                           "smWriteCtlId",   "smGetIdFileName",   "SMMalloc",          "SMRealloc",
                           "SMRecalloc",     "SMRealloc",         "SMMalloc",          "SMFree",
                           "SMCalloc",       "SMPutInfo",         "SMGetInfo",         "SMSetSyncState",
                           "SMGetSyncState", "SMGetError",        "SMGetMethod",       "SMGetRLimit",
                           "SMSetRLimit",    "SMGetSpaceFree",    "SMDetachFromArena", "SMDestroyArena"})
        expected += std::string("sm-lib : ") + op + ", pid=" + std::to_string(getpid()) + "\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
    EXPECT_EQ(controlSegment(), -1);
    EXPECT_EQ(dataSegment(), -1);
}

// Attach clears handle words 0 and 2 (word 1 is the caller's); a second create clears word 0.
TEST_F(ArenaServices, HandlesAreClearedWhenNoArenaIsGiven)
{
    SMArena arena{{1, 2, 3}}, again{{1, 2, 3}};
    EXPECT_EQ(SMAttachToArena(&arena), SM_NO_ARENA);
    EXPECT_EQ(std::vector<uint64_t>(arena.word, arena.word + 3), (std::vector<uint64_t>{0, 2, 0}));
    ASSERT_EQ(SMCreateArena(&arena, 16 << 20, nullptr), SM_OK);
    EXPECT_EQ(SMCreateArena(&again, 16 << 20, nullptr), SM_CONTROL_HELD);
    EXPECT_EQ(again.word[0], 0u);
    EXPECT_EQ(SMMalloc(nullptr, 8), nullptr);
    EXPECT_EQ(SMGetInfo(nullptr), nullptr);
    EXPECT_EQ(SMGetSpaceFree("/no/such/folder"), -1);
    SMExit(&arena, 1);
}

class ArenaLifecycle : public ArenaTest {};

TEST_F(ArenaLifecycle, AttachFromAnotherProcessSharesInfoAndBlocks)
{
    Helper creator({kCreate, "put:alpha:one", "put:beta:two", "wait", "exit"});
    ASSERT_EQ(creator.line(), "create 0 0x300000000000");
    const std::string info = creator.line(), alpha = creator.line();
    creator.line();
    Helper reader({"attach", "get:beta", "get:alpha", "get:gamma"});
    reader.finish();
    const std::string out = reader.output();
    EXPECT_EQ(out.substr(0, out.find("get beta 0x")), "attach 0\n" + info + "\n");
    EXPECT_NE(out.find(" two\nget alpha " + alpha.substr(10) + " one\nget gamma null\n"), std::string::npos) << out;
    creator.send("go");
    EXPECT_EQ(creator.line(), "exit 0");
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
    EXPECT_EQ(alphaSeenBy({}, {"unshare", "--pid", "--fork"}), "0 one");
    EXPECT_EQ(alphaSeenBy(), "0 one");
}

TEST_F(ArenaLifecycle, AttachAfterTheCreatorDiedRemovesLeftoversAndANewArenaIsNotMistakenForThem)
{
    Helper crashed({kCreate, "put:alpha:one"});
    ASSERT_EQ(crashed.finish(), 0);
    ASSERT_TRUE(exists(idFile()) && dataSegment() != -1);
    Helper late({"attach"});
    late.finish();
    EXPECT_EQ(late.output() + late.errors(), "attach 3\nExisting shared memory segment appears invalid.\n");
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
}

// Who may remove the arena is what the control block records, not what a process remembers.
TEST_F(ArenaLifecycle, OnlyTheRecordedCreatorMayRemoveTheArena)
{
    auto creator = creatorOf("one");
    Helper other({"attach", "exit", "destroy", "get:alpha", "detach"});
    other.finish();
    EXPECT_NE(other.output().find("exit 4\ndestroy 4\nget alpha 0x"), std::string::npos) << other.output();
    EXPECT_NE(other.output().find(" one\ndetach 0\n"), std::string::npos) << other.output();
    EXPECT_EQ(alphaSeenBy(), "0 one");
    Helper heir({"attach", "wait", "exit"});
    ASSERT_EQ(heir.line(), "attach 0");
    void *block = shmat(controlSegment(), nullptr, 0);
    const int32_t pid = heir.pid();
    std::memcpy(static_cast<char *>(block) + 4100, &pid, sizeof pid);
    shmdt(block);
    heir.send("go");
    EXPECT_EQ(heir.lineStarting("exit"), "exit 0");
    EXPECT_EQ(controlSegment(), -1);
    creator->send("go");
    EXPECT_EQ(creator->line(), "exit 4");
}

// One arena per user id: a second creator is refused whatever USER says, names the first and
// touches nothing; a failed create never reports "Success".
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
    creator->finish();
    Helper tiny({"create:100", "exit"});
    EXPECT_EQ(tiny.line(), "create 0 null");
    tiny.finish();
    EXPECT_NE(tiny.errors().find("SMCreateArena() -- mm_create(): the arena segment could not be made\n"),
              std::string::npos)
        << tiny.errors();
}

// A file arena is shared like a segment and removed on exit; an existing file of ours is reused.
TEST_F(ArenaLifecycle, FileArenaIsSharedReusedAndRemovedOnExit)
{
    const std::string file = "/tmp/arena-test.map";
    lxtest::writeFile(file, "old");
    chmod(file.c_str(), 0600);
    auto creator = creatorOf("mapped", std::string(kCreate) + ":" + file);
    EXPECT_EQ(dataSegment(), -1);
    EXPECT_EQ(alphaSeenBy(), "0 mapped");
    creator->send("go");
    EXPECT_EQ(creator->finish(), 0);
    EXPECT_EQ(creator->errors(), "");
    EXPECT_FALSE(exists(file));
}

TEST_F(ArenaLifecycle, NamesFollowUserAndLognameElseTheLoginName)
{
    auto named = creatorOf("v", kCreate, {"USER=lxname", "LOGNAME=lxname"});
    EXPECT_TRUE(exists("/tmp/lxname.api_shmid") && !exists(idFile()));
    EXPECT_TRUE(exists("/dev/shm/sem.IWConfigSem_lxname"));
    named->send("go");
    named->finish();
    EXPECT_FALSE(exists("/tmp/lxname.api_shmid"));
    auto unnamed = creatorOf("v", kCreate, {"-USER", "-LOGNAME"});
    EXPECT_TRUE(exists(idFile()));
    EXPECT_TRUE(exists("/dev/shm/sem" + semaphoreName().replace(0, 1, ".")));
}

// Other users share /tmp: nothing found there is trusted or removed unless it is ours.
class TmpAttacks : public ArenaTest {
protected:
    void expectRefused(const std::string &why)
    {
        Helper attacher({"attach"});
        EXPECT_EQ(attacher.finish(), 0);
        EXPECT_EQ(attacher.output(), "attach 3\n");
        EXPECT_NE(attacher.errors().find(why), std::string::npos) << attacher.errors();
    }
    const std::string nobody = "setpriv --reuid=nobody --regid=nogroup --clear-groups ";
};

// An id file is read only when it is a regular file of ours, not writable by others, holding an
// id; it is left where it is. A link planted by another user is not replaced by a create either.
TEST_F(TmpAttacks, IdFileThatIsNotOursOrHoldsNoIdIsRefusedAndKept)
{
    const std::string id = idFile(), target = "/tmp/arena-test-target";
    lxtest::writeFile(target, "precious\n");
    const struct {
        std::string plant, why;
    } cases[] = {{"echo 5 > " + id + " && chown nobody " + id, "it belongs to another user"},
                 {"echo 5 > " + id + " && chmod 664 " + id, "it is writable by group or others"},
                 {"echo hello > " + id, "it does not hold a segment id"},
                 {"mkfifo " + id, "it is not a regular file"}, // must not hang the reader
                 {nobody + "ln -s " + target + " " + id, "it is a symbolic link"}};
    for (const auto &c : cases) {
        unlink(id.c_str());
        ASSERT_EQ(std::system(c.plant.c_str()), 0) << c.plant;
        expectRefused("sm-lib: ignoring id file " + id + ": " + c.why);
        EXPECT_TRUE(exists(id));
    }
    Helper creator({kCreate});
    EXPECT_EQ(creator.line(), "create 2 null");
    creator.finish();
    EXPECT_NE(creator.errors().find("belongs to another user and is left alone"), std::string::npos);
    EXPECT_EQ(lxtest::readFile(id), "precious\n");
    EXPECT_EQ(controlSegment(), -1);
    unlink(target.c_str());
}

TEST_F(TmpAttacks, ControlSegmentOfAnotherUserIsNotUsedOrRemoved)
{
    const int planted = shmget(SG_key(nullptr, 'F'), 4168, IPC_CREAT | 0666);
    shmid_ds info{};
    ASSERT_EQ(shmctl(planted, IPC_STAT, &info), 0);
    info.shm_perm.uid = 65534;
    ASSERT_EQ(shmctl(planted, IPC_SET, &info), 0);
    lxtest::writeFile(idFile(), std::to_string(planted) + "\n");
    expectRefused("sm-lib: ignoring control segment " + std::to_string(planted) + ": it belongs to user id 65534");
    EXPECT_EQ(controlSegment(), planted);
    EXPECT_TRUE(exists(idFile()));
}

// The arena file is made 0600 whatever the umask; a planted one, a link or one others may write
// is refused with the reason and left alone.
TEST_F(TmpAttacks, ArenaFileIsOursAloneOrRefused)
{
    const std::string file = "/tmp/arena-test.map", create = std::string(kCreate) + ":" + file;
    const mode_t mask = umask(0);
    Helper made({create, "wait", "exit"});
    made.line();
    struct stat st {};
    EXPECT_TRUE(stat(file.c_str(), &st) == 0 && (st.st_mode & 0777) == 0600);
    made.finish();
    umask(mask);
    const struct {
        std::string plant, why;
    } cases[] = {{nobody + "touch " + file, "it belongs to another user"},
                 {nobody + "ln -s /etc/hostname " + file, "it is a symbolic link"},
                 {"touch " + file + " && chmod 666 " + file, "it is writable by group or others"}};
    for (const auto &c : cases) {
        unlink(file.c_str());
        ASSERT_EQ(std::system(c.plant.c_str()), 0) << c.plant;
        Helper creator({create, "exit"});
        EXPECT_EQ(creator.lineStarting("create"), "create 0 null") << c.plant;
        creator.finish();
        EXPECT_NE(creator.errors().find("SG_create: refusing " + file + ": " + c.why), std::string::npos)
            << creator.errors();
        EXPECT_TRUE(exists(file));
    }
    unlink(file.c_str());
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
