// Named shared blocks across real processes: the list's rules, its debug output, and a process
// that died holding the Config Protection Semaphore.
#include "arena_process.h"

#include <csignal>

using namespace arena_test;

class NamedBlocks : public ArenaTest {};

// A second block of a name is appended; look-up finds the older one until it is freed. Setting
// replaces the value of the oldest record in place. Zero counts and sizes list nothing; a null
// name is listed but never found; freeing an unlisted block leaves the list alone. A full heap
// is reported and the semaphore released; a freed block's room is used again.
TEST_F(NamedBlocks, TheListsRules)
{
    const std::string out = outputOf(
        words("create:16777216 put:a:first put:a:second get:a free:a get:a free:a get:a check set:a:one set:b:two "
              "set:a:three get:a check put-count:0:8:z put-count:1:0:z put:-:anonymous get:(NONE) free-unlisted check "
              "dump put-count:1:20000000:big put:small:v check put-count:1:8000000:c free:c put-count:1:8000000:d"));
    EXPECT_EQ(lxtest::missingInOrder(
                  out, {" first\nfree a ok\nget a 0x", " second\nfree a ok\nget a (nil)\ncheck ok 0\n",
                        " three\ncheck ok 2\nput-count z (nil)\nput-count z (nil)\nput - 0x",
                        "get (NONE) (nil)\nfree-unlisted done\ncheck ok 3\nSHM Block 0\nprev:\t\t(nil)\nnext:\t\t0x",
                        "\nsize:\t\t6\nfreed:\t\t0\naddr:\t\t0x", "name:\t\ta\nSHM Block 1\nprev:\t\t0x",
                        "name:\t\t(null)\nnumber of blocks should have been 3\nSMCalloc failed: Not enough SHM 1 "
                        "20000000!!!\nput-count big (nil)\nput small 0x",
                        "check ok 4\n", "put-count d 0x"}),
              "")
        << out;
}

TEST_F(NamedBlocks, WithoutAnArenaOrSemaphoreNothingIsAllocated)
{
    EXPECT_EQ(outputOf({"set:a:v", "put:a:v", "get:a"}), "set a (nil)\nput a (nil)\nget a (nil)\n");
    EXPECT_EQ(sem_open(semaphoreName().c_str(), 0), SEM_FAILED) << "made without need";
    const std::string failed = "Failed to create Config Protection Semaphore:\nInvalid argument\n";
    const std::string out = outputOf({kCreate, "put:a:v", "get:a"}, {"LOGNAME=a/b"});
    EXPECT_NE(out.find("put a (nil)\nget a (nil)\n" + failed + failed), std::string::npos) << out;
}

// Every DEBUG_SHM line of the list operations, in order.
TEST_F(NamedBlocks, DebugOutputFollowsEachListOperation)
{
    Helper h({kCreate, "put:a:1", "put:b:2", "get:b", "get:zz", "free:b", "free-unlisted"}, {"DEBUG_SHM=1"});
    const lxtest::Result r = h.finish();
    const std::string pid = std::to_string(h.pid()), out = r.out;
    EXPECT_EQ(r.err, "Creating Config Protection Semaphore\n");
    // In order, with % for the process id.
    std::istringstream lines(
        "IWAlcNamedSHM: Proc % Allocating 1 of 2 for a\n|IWAlcSHM: Allocating 1 of 2. Arena pointer is "
        "0x300000000000\n|"
        "IWAlcSHM: Pointer is 0x|IWAlcSHM: Allocating 1 of 40. Arena|IWAlcSHM: Allocating 2 of 1. Arena|"
        "Before adding blocks, num blocks = 0\n|Added block a at position 0, new num blocks 1\n|IWAlcNamedSHM: Pointer "
        "is 0x|Before adding blocks, num blocks = 1\n|Added block b at position 1, new num blocks 2\n|IWRtNamedSHMAdd: "
        "Arena pointer is 0x300000000000\n|IWRtNamedSHMAdd: Proc % Finding SHM block named: b...\n|IWRtNamedSHMAdd: "
        "Process % found config variable at 0x|IWRtNamedSHMAdd: Process % did NOT find config variable\n|"
        "IWFreeNamedSHM: Proc % Freeing memory at ptr 0x|DeleteFromSharedMemNamedList: Removing a block from Named "
        "SHM list|Deleted block 1, named b. New num blocks 1\n|Now freeing it's shared memory parts name 0x|IWFreeSHM: "
        "Arena pointer is 0x300000000000\nIWFreeSHM: Freeing 0x|free b ok\n|FAILED TO FIND block pointed to by 0x");
    size_t at = 0;
    for (std::string line; std::getline(lines, line, '|');) {
        for (size_t p; (p = line.find('%')) != std::string::npos;)
            line.replace(p, 1, pid);
        ASSERT_NE(at = out.find(line, at), std::string::npos) << line << "\n" << out;
    }
}

TEST_F(NamedBlocks, StuckSemaphoreHolderMakesEveryListOperationTimeOut)
{
    Helper owner({kCreate, "put:victim:intact", "wait"});
    const std::string put = owner.lineStarting("put"), victim = put.substr(put.rfind(' ') + 1);
    Helper holder({"hold-sem"});
    ASSERT_EQ(holder.line(), "holding");
    holder.signal(SIGKILL);
    const auto started = std::chrono::steady_clock::now();
    Helper adder({"attach", "put:x:1"}), finder({"attach", "get:victim"}), freer({"attach", "free-addr:" + victim}),
        setter({"attach", "set:victim:new"});
    const std::string tail = ": Config Protection Semaphore could not be acquired:\nConnection timed out\n";
    EXPECT_EQ(adder.finish().err + finder.finish().err + freer.finish().err + setter.finish().err,
              "IWAlcNamedSHM" + tail + "IWRtNamedSHMAdd" + tail + "IWFreeNamedSHM" + tail + "IWSetNamedSHM" + tail);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(4900));
    sem_unlink(semaphoreName().c_str()); // what the suite's start-up does with a stuck semaphore
    const std::string after = outputOf({"attach", "get:victim", "check"});
    EXPECT_NE(after.find(victim + " intact\ncheck ok 1\n"), std::string::npos)
        << "nothing added, freed or set: " << after;
}
