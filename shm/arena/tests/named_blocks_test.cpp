// Named shared blocks across real processes: the list's rules, its debug output, many writers
// at once, and a process that died holding the Config Protection Semaphore.
#include "arena_process.h"

#include <csignal>
#include <fcntl.h>
#include <map>
#include <semaphore.h>
#include <sstream>

using namespace arena_test;

namespace {

std::vector<std::string> lines(Helper &helper)
{
    helper.finish();
    std::vector<std::string> out;
    std::istringstream in(helper.output());
    for (std::string text; std::getline(in, text);)
        out.push_back(text);
    return out;
}

bool has(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

} // namespace

class NamedBlocks : public ArenaTest {};

TEST_F(NamedBlocks, DuplicateNameFindsTheOlderBlockUntilItIsFreed)
{
    Helper h({kCreate, "put:a:first", "put:a:second", "get:a", "free:a", "get:a", "free:a", "get:a", "check", "exit"});
    const auto out = lines(h);
    ASSERT_EQ(out.size(), 11u) << h.output();
    EXPECT_TRUE(has(out[4], " first"));
    EXPECT_TRUE(has(out[6], " second"));
    EXPECT_EQ(out[8], "get a null");
    EXPECT_EQ(out[9], "check ok 0");
    Helper replaced({kCreate, "set:a:first", "set:a:second", "get:a", "check", "exit"});
    replaced.finish();
    EXPECT_NE(replaced.output().find(" second\ncheck ok 1\n"), std::string::npos) << replaced.output();
}

TEST_F(NamedBlocks, ZeroSizeNullNameAndUnlistedBlocksLeaveTheListIntact)
{
    Helper h({kCreate, "put-count:0:8:z", "put-count:1:0:z", "put-null:anonymous", "put:b:v", "get:(NONE)",
              "free-unlisted", "check", "dump", "exit"});
    const auto out = lines(h);
    ASSERT_GE(out.size(), 9u) << h.output();
    EXPECT_EQ(out[2], "put-count z null");
    EXPECT_EQ(out[3], "put-count z null");
    EXPECT_EQ(out[6], "get (NONE) null");
    EXPECT_EQ(out[8], "check ok 2");
    EXPECT_TRUE(has(h.output(), "name:\t\t(null)\n"));
    EXPECT_TRUE(has(h.output(), "name:\t\tb\n"));
    EXPECT_TRUE(has(h.output(), "number of blocks should have been 2\n"));
    EXPECT_FALSE(has(h.output(), "SMCalloc failed"));
}

TEST_F(NamedBlocks, ExhaustedHeapReportsAndReleasesTheSemaphore)
{
    Helper h({"create:6291456", "put-count:1:4000000:big", "put:small:v", "get:small", "check", "exit"});
    const auto out = lines(h);
    ASSERT_GE(out.size(), 6u) << h.output();
    EXPECT_TRUE(has(h.output(), "SMCalloc failed: Not enough SHM 1 4000000!!!\n"));
    EXPECT_TRUE(has(h.output(), "put-count big null\n"));
    EXPECT_TRUE(has(h.output(), "small 0x"));
    EXPECT_TRUE(has(h.output(), "check ok 1\n"));
    Helper again({kCreate, "put-count:1:8000000:a", "free:a", "put-count:1:8000000:b", "exit"});
    again.finish();
    EXPECT_TRUE(has(again.output(), "put-count b 0x")) << "a freed block's room is used again";
}

TEST_F(NamedBlocks, WithoutAnArenaNothingIsAllocatedAndNoSemaphoreMade)
{
    Helper h({"set:a:v", "put:a:v", "get:a"});
    EXPECT_EQ(h.line(), "set a null");
    EXPECT_EQ(h.line(), "put a null");
    EXPECT_EQ(h.line(), "get a null");
    h.finish();
    EXPECT_EQ(sem_open(semaphoreName().c_str(), 0), SEM_FAILED);
}

TEST_F(NamedBlocks, EightProcessesOnOverlappingNamesKeepListAndContents)
{
    Helper owner({kCreate, "wait", "check", "census", "exit"});
    ASSERT_EQ(owner.line().substr(0, 8), "create 0");
    owner.line();

    std::vector<std::unique_ptr<Helper>> writers;
    for (int i = 0; i < 8; ++i)
        writers.push_back(std::make_unique<Helper>(
            std::vector<std::string>{"attach", "wait", "stress:" + std::to_string(i + 1) + ":2000"}));
    for (auto &w : writers) // all attached first, then all start at once
        ASSERT_EQ(w->line(), "attach 0");
    for (auto &w : writers)
        w->send("go\n");
    std::map<std::string, std::string> survivors; // pid -> "count sum"
    for (auto &w : writers) {
        ASSERT_EQ(w->finish(), 0) << w->output() << w->errors();
        std::istringstream in(w->output().substr(w->output().find("stress done ")));
        std::string s, d, pid, count, sum;
        in >> s >> d >> pid >> count >> sum;
        if (count != "0")
            survivors[pid] = count + " " + sum;
    }

    owner.send("go\n");
    EXPECT_EQ(owner.line().substr(0, 9), "check ok ");
    std::map<std::string, std::string> census;
    for (std::string l = owner.line(); l != "census end" && !l.empty(); l = owner.line()) {
        ASSERT_FALSE(has(l, "bad")) << l;
        std::istringstream in(l);
        std::string c, pid, count, sum;
        in >> c >> pid >> count >> sum;
        census[pid] = count + " " + sum;
    }
    EXPECT_EQ(census, survivors);
}

TEST_F(NamedBlocks, StuckSemaphoreHolderMakesEveryListOperationTimeOut)
{
    Helper owner({kCreate, "put:victim:intact", "wait"});
    owner.line();
    owner.line();
    const std::string put = owner.line();
    const std::string victim = put.substr(put.rfind(' ') + 1);

    Helper holder({"attach", "hold-sem"});
    holder.line();
    holder.line();
    ASSERT_EQ(holder.line(), "holding");
    holder.signal(SIGKILL);

    const auto started = std::chrono::steady_clock::now();
    Helper adder({"attach", "put:x:1"}), finder({"attach", "get:victim"}), freer({"attach", "free-addr:" + victim});
    for (Helper *h : {&adder, &finder, &freer})
        ASSERT_EQ(h->finish(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(4900));
    EXPECT_TRUE(has(adder.output(), "put x null\n"));
    EXPECT_TRUE(has(finder.output(), "get victim null\n"));
    const std::string tail = " Config Protection Semaphore could not be acquired:\nConnection timed out\n";
    EXPECT_EQ(adder.errors(), "IWAlcNamedSHM:" + tail);
    EXPECT_EQ(finder.errors(), "IWRtNamedSHMAdd:" + tail);
    EXPECT_EQ(freer.errors(), "IWFreeNamedSHM:" + tail);

    sem_unlink(semaphoreName().c_str()); // what the suite's start-up does with a stuck semaphore
    Helper after({"attach", "get:victim", "check"});
    after.finish();
    EXPECT_TRUE(has(after.output(), victim + " intact\n")) << after.output();
    EXPECT_TRUE(has(after.output(), "check ok 1\n"));
    owner.send("go\n");
}
