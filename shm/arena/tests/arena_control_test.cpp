// Arena control: its services in this process, and across real processes finding the arena,
// removing a crashed suite's leftovers, who may remove it, and what other users plant in /tmp.
#include "arena_process.h"

#include <cstring>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace arena_test;

using ArenaServices = ArenaTest;

// Each call in this process, traced: the trace names every operation, internal steps included,
// only while it is on. Attach clears handle words 0 and 2 (word 1 is the caller's); a second
// create clears word 0; SMRealloc of a null block allocates nothing.
TEST_F(ArenaServices, EachCallWorksAndIsTraced)
{
    SMArena arena{{1, 2, 3}}, again{{1, 2, 3}};
    SMSetTrace(1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(SMAttachToArena(&arena), SM_NO_ARENA);
    EXPECT_EQ(std::vector<uint64_t>(arena.word, arena.word + 3), (std::vector<uint64_t>{0, 2, 0}));
    ASSERT_EQ(SMCreateArena(&arena, 16 << 20, nullptr), SM_OK);
    EXPECT_EQ(SMCreateArena(&again, 16 << 20, nullptr), SM_CONTROL_HELD);
    EXPECT_EQ(again.word[0], 0u);
    void *block = SMRecalloc(&arena, SMRealloc(&arena, SMMalloc(&arena, 8), 16), 2, 16);
    EXPECT_EQ(SMRealloc(&arena, nullptr, 16), nullptr);
    SMFree(&arena, block);
    void *info = SMCalloc(&arena, 1, 8);
    SMPutInfo(&arena, info);
    EXPECT_EQ(SMGetInfo(&arena), info);
    EXPECT_EQ(SMSetSyncState(2), 2);
    EXPECT_EQ(SMGetSyncState(), 2);
    EXPECT_EQ(SMGetError(), SM_OK);
    EXPECT_STREQ(SMGetMethod(), "API Tallowmere manager");
    uint64_t current = 0, maximum = 0;
    rlimit limit{};
    EXPECT_TRUE(SMGetRLimit(&current, &maximum) == 0 && getrlimit(RLIMIT_AS, &limit) == 0 && current == limit.rlim_cur);
    EXPECT_EQ(SMSetRLimit(current, maximum), 0);
    EXPECT_GT(SMGetSpaceFree("/tmp"), 0);
    EXPECT_EQ(SMDetachFromArena(&arena), SM_OK);
    EXPECT_EQ(SMDestroyArena(&arena), SM_OK);
    SMExit(nullptr, 0); // the control segment is gone already: said, and accepted
    SMSetTrace(0);
    EXPECT_EQ(SMGetSpaceFree("/no/such/folder"), -1);
    std::string expected, pid = ", pid=" + std::to_string(getpid()) + "\n";
    for (const std::string &op :
         words("SMAttachToArena smAttachControl smGetCtlId smGetIdFileName SMCreateArena "
               "smAllocateControl smAttachControl smGetIdFileName smWriteCtlId smGetIdFileName "
               "SMCreateArena SMMalloc SMRealloc SMRecalloc SMRealloc SMMalloc SMFree SMCalloc "
               "SMPutInfo SMGetInfo SMSetSyncState SMGetSyncState SMGetError SMGetMethod SMGetRLimit "
               "SMSetRLimit SMGetSpaceFree SMDetachFromArena SMDestroyArena SMExit"))
        expected += "sm-lib : " + op + pid;
    expected += "SMExit: Error removing control shared memory: Invalid argumentsm-lib : smGetIdFileName" + pid +
                "statfs: No such file or directory\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
    EXPECT_TRUE(controlSegment() == -1 && dataSegment() == -1 && !exists(idFile())) << "all removed";
}

using ArenaLifecycle = ArenaTest;

// Another process finds the arena and its blocks, but only the creator that the control block
// records may remove it (not the one a process remembers): here an heir the test makes so.
TEST_F(ArenaLifecycle, AttachFromAnotherProcessAndOnlyTheRecordedCreatorRemovesTheArena)
{
    Helper creator({kCreate, "put:alpha:one", "wait", "exit"});
    const std::string info = creator.lineStarting("info"), put = creator.line();
    EXPECT_EQ(outputOf({"attach", "get:alpha", "get:gamma", "exit", "destroy", "detach"}),
              "attach 0\n" + info + "\nget alpha " + put.substr(10) +
                  " one\nget gamma (nil)\nexit 4\ndestroy 4\ndetach 0\n");
    EXPECT_EQ(alphaSeenBy(), "0 one");
    Helper heir({"attach", "wait", "exit"});
    ASSERT_EQ(heir.line(), "attach 0");
    void *block = shmat(controlSegment(), nullptr, 0);
    const int32_t pid = heir.pid();
    std::memcpy(static_cast<char *>(block) + 4100, &pid, sizeof pid);
    shmdt(block);
    heir.send("go");
    EXPECT_EQ(heir.lineStarting("exit"), "exit 0");
    EXPECT_TRUE(controlSegment() == -1 && dataSegment() == -1 && !exists(idFile())) << "all removed";
    creator.send("go");
    EXPECT_EQ(creator.line(), "exit 4");
}

// The owner is the live creator: none, or a crashed one, is 0; one that lives unseen, -1.
TEST_F(ArenaLifecycle, OwnerIsTheLiveCreator)
{
    outputOf({kCreate});
    EXPECT_EQ(outputOf({"owner"}), "owner 0\n");
    TearDown();
    EXPECT_EQ(outputOf({"owner"}), "owner 0\n");
    auto creator = creatorOf("one");
    EXPECT_EQ(outputOf({"owner"}), "owner " + std::to_string(creator->pid()) + "\n");
    creator.reset();
    shmat(shmget(SG_key(nullptr, 'F'), 4168, IPC_CREAT | 0600), nullptr, 0); // no creator recorded in it
    EXPECT_EQ(Helper({"owner"}, {}, {"unshare", "--pid", "--fork"}).finish().out, "owner -1\n");
    EXPECT_EQ(outputOf({"owner"}), "owner " + std::to_string(getpid()) + "\n");
}

// Another address would follow foreign pointers; a PID namespace hides the creator, which is no
// proof that it is gone.
TEST_F(ArenaLifecycle, AttachIsRefusedAtAnotherAddressAndKeepsALiveCreatorsArena)
{
    Helper creator({kCreate, "put:alpha:one", "detach", "wait"}); // detached, but alive: its arena stays
    creator.lineStarting("detach");
    EXPECT_EQ(alphaSeenBy({"LX_SHMSTADDR=310000000000"}), "3 (nil)");
    EXPECT_EQ(alphaSeenBy({}, {"unshare", "--pid", "--fork"}), "0 one");
    EXPECT_EQ(alphaSeenBy(), "0 one");
}

TEST_F(ArenaLifecycle, AttachAfterTheCreatorDiedRemovesLeftoversAndANewArenaIsNotMistakenForThem)
{
    outputOf({kCreate, "put:alpha:one"});
    ASSERT_TRUE(exists(idFile()) && dataSegment() != -1);
    EXPECT_EQ(outputOf({"attach"}), "attach 3\nExisting shared memory segment appears invalid.\n");
    EXPECT_TRUE(controlSegment() == -1 && dataSegment() == -1 && !exists(idFile())) << "all removed";
    EXPECT_EQ(outputOf({"attach"}), "attach 3\n") << "no id file any more: a quiet 3";
    outputOf({kCreate});
    auto creator = creatorOf("fresh");
    EXPECT_EQ(alphaSeenBy(), "0 fresh");
}

// One arena per user id: a second creator is refused whatever USER says, names the first and
// touches nothing; a failed create never reports "Success".
TEST_F(ArenaLifecycle, SecondCreatorIsRefusedWhateverItsUserAndTouchesNothing)
{
    ASSERT_NE(std::getenv("LX_TEST_PRIVATE_NAMESPACES"), nullptr) << "id 0 is taken only in a private namespace";
    shmctl(0, IPC_RMID, nullptr); // a control segment of id 0 is as good as any: the creator's gets it
    lxtest::writeFile("/proc/sys/kernel/shm_next_id", "0");
    auto creator = creatorOf("one");
    ASSERT_EQ(controlSegment(), 0);
    EXPECT_EQ(outputOf({kCreate, "exit"}, {"USER=lxsomeoneelse", "LOGNAME=lxsomeoneelse"}),
              "create 1 (nil)\nexit 0\nsmAllocateControl: the arena of this user belongs to the running process " +
                  std::to_string(creator->pid()) + "\n");
    EXPECT_TRUE(!exists("/tmp/lxsomeoneelse.api_shmid") && controlSegment() == 0);
    EXPECT_EQ(alphaSeenBy(), "0 one");
    creator.reset();
    const std::vector<std::string> capped{"unshare", "--ipc", "sh", "-c",
                                          "echo 4000 >/proc/sys/kernel/shmmax; exec \"$0\" \"$@\""};
    EXPECT_EQ(Helper({kCreate}, {}, capped).finish().err,
              "smAllocateControl: shmget failed\nError: 22 Invalid argument\n\n");
    lxtest::writeFile(kArenaFile, "mine"); // not made by the failed create: exit keeps it
    EXPECT_EQ(
        outputOf({"create:100:" + std::string(kArenaFile), "exit"}),
        "create 0 (nil)\nexit 0\nSG_create: a heap of 100 bytes cannot be mapped (1560 to 2^62)\nSMCreateArena() -- "
        "mm_create(): the arena segment could not be made\n");
    EXPECT_EQ(lxtest::readFile(kArenaFile), "mine");
}

// A file arena is made 0600 whatever the umask, shared like a segment and removed on exit.
TEST_F(ArenaLifecycle, FileArenaIsPrivateSharedAndRemovedOnExit)
{
    const mode_t mask = umask(0);
    auto creator = creatorOf("mapped", std::string(kCreate) + ":" + kArenaFile);
    umask(mask);
    struct stat st {};
    EXPECT_TRUE(stat(kArenaFile, &st) == 0 && (st.st_mode & 0777) == 0600 && dataSegment() == -1);
    EXPECT_EQ(alphaSeenBy(), "0 mapped");
    creator->send("go");
    EXPECT_EQ(creator->finish().err, "");
    EXPECT_FALSE(exists(kArenaFile));
}

TEST_F(ArenaLifecycle, NamesFollowUserAndLognameElseTheLoginName)
{
    outputOf({kCreate, "put:a:v"}, {"USER=lxname", "LOGNAME=lxname"});
    EXPECT_TRUE(exists("/tmp/lxname.api_shmid") && exists("/dev/shm/sem.IWConfigSem_lxname") && !exists(idFile()));
    outputOf({kCreate, "put:a:v"}, {"-USER", "-LOGNAME"});
    EXPECT_TRUE(exists(idFile()) && exists("/dev/shm/sem" + semaphoreName().replace(0, 1, ".")));
}

// Other users share /tmp: nothing found there is trusted or removed unless it is ours.
class TmpAttacks : public ArenaTest {
protected:
    static void giveToNobody(int segment)
    {
        shmid_ds info{};
        ASSERT_EQ(shmctl(segment, IPC_STAT, &info), 0);
        info.shm_perm.uid = 65534;
        ASSERT_EQ(shmctl(segment, IPC_SET, &info), 0);
    }
    const std::string nobody = "setpriv --reuid=nobody --regid=nogroup --clear-groups ";
};

// An id file, or an arena file, is used only when it is a regular file of ours that others may not
// write (and an id file must hold an id); a refused one is left where it is. A link planted by
// another user as the id file is not replaced by a create either.
TEST_F(TmpAttacks, FilesThatAreNotOursAreRefusedAndKept)
{
    const std::string id = idFile(), target = "/tmp/arena-test-target", file = kArenaFile;
    const std::string idWhy = "attach 3\nsm-lib: ignoring id file " + id + ": it ",
                      fileWhy = "create 0 (nil)\nexit 0\nSG_create: refusing " + file + ": it ";
    lxtest::writeFile(target, "precious\n");
    const struct {
        std::string plant, command, said;
    } cases[] = {{"echo 5 > " + id + " && chown nobody " + id, "attach", idWhy + "belongs to another user"},
                 {"echo 5 > " + id + " && chmod 664 " + id, "attach", idWhy + "is writable by group or others"},
                 {"echo hello > " + id, "attach", idWhy + "does not hold a segment id"},
                 {"mkfifo " + id, "attach", idWhy + "is not a regular file"}, // must not hang the reader
                 {nobody + "touch " + file, kCreate + (":" + file), fileWhy + "belongs to another user"},
                 {nobody + "ln -s /etc/hostname " + file, kCreate + (":" + file), fileWhy + "is a symbolic link"},
                 {"touch " + file + " && chmod 666 " + file, kCreate + (":" + file), fileWhy + "is writable by group"},
                 {nobody + "ln -s " + target + " " + id, "attach", idWhy + "is a symbolic link"}};
    for (const auto &c : cases) {
        TearDown();
        ASSERT_EQ(std::system(c.plant.c_str()), 0) << c.plant;
        const bool attach = c.command == "attach";
        const std::string out = outputOf(attach ? words("attach") : std::vector<std::string>{c.command, "exit"});
        EXPECT_NE(out.find(c.said), std::string::npos) << out;
        EXPECT_TRUE(exists(attach ? id : file));
    }
    EXPECT_NE(outputOf({kCreate}).find("create 2 (nil)\nsm-lib: ignoring id file " + id +
                                       ": it belongs to another user and is left alone\n"),
              std::string::npos);
    EXPECT_EQ(lxtest::readFile(id), "precious\n");
    EXPECT_EQ(controlSegment(), -1);
    unlink(target.c_str());
}

// Ours is private; one planted by another user is refused, said once, never waited for.
TEST_F(TmpAttacks, SemaphoreOfAnotherUserIsRefused)
{
    const std::string file = "/dev/shm/sem" + semaphoreName().replace(0, 1, ".");
    outputOf({kCreate, "put:a:1"});
    struct stat st {};
    EXPECT_TRUE(stat(file.c_str(), &st) == 0 && (st.st_mode & 0777) == 0600);
    ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
    const std::string out = outputOf({kCreate, "put:a:1", "get:a"}),
                      said = "Config Protection Semaphore " + semaphoreName() + " (" + file +
                             ", user id 65534, mode 600) is not used: it belongs to another user\n";
    EXPECT_EQ(out.substr(out.find("put a")), "put a (nil)\nget a (nil)\n" + said) << out;
}

TEST_F(TmpAttacks, ControlSegmentOfAnotherUserIsNotUsedOrRemoved)
{
    const int planted = shmget(SG_key(nullptr, 'F'), 4168, IPC_CREAT | 0666);
    giveToNobody(planted);
    lxtest::writeFile(idFile(), std::to_string(planted) + "\n");
    EXPECT_EQ(outputOf({"attach"}), "attach 3\nsm-lib: ignoring control segment " + std::to_string(planted) +
                                        ": it belongs to user id 65534\n");
    EXPECT_EQ(outputOf({kCreate}).rfind("create 1 (nil)\nsm-lib: ignoring control segment", 0), 0u);
    EXPECT_TRUE(controlSegment() == planted && exists(idFile()));
}

TEST_F(TmpAttacks, CleanUpAfterACrashLeavesADataSegmentOfAnotherUser)
{
    lxtest::writeFile(idFile(), "12345\n"); // no such segment: the file goes
    EXPECT_EQ(
        outputOf({"attach"}).rfind("attach 3\nFailed to get shared memory information.\nError: Invalid argument", 0),
        0u);
    EXPECT_FALSE(exists(idFile()));
    outputOf({kCreate});
    giveToNobody(dataSegment());
    EXPECT_EQ(outputOf({"attach"}).rfind("attach 3\nExisting shared memory segment appears invalid.\n", 0), 0u);
    EXPECT_TRUE(controlSegment() == -1 && !exists(idFile()) && dataSegment() != -1) << "the data segment is not ours";
}
