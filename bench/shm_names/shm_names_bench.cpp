// IWRtNamedSHMAdd hit and miss among 10, 200 and 2,000 named blocks, an allocate-and-free
// cycle of a named block, and an uncontended sem_timedwait + sem_post as the floor that every
// list operation pays.
#include "lumarix/shm.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pwd.h>
#include <semaphore.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::vector<void *> gBlocks;

std::string settingName(size_t i) { return "LX_SETTING_" + std::to_string(i); }

// Makes the list hold exactly n blocks named LX_SETTING_0 .. LX_SETTING_<n-1>, oldest first.
void listOf(size_t n)
{
    while (gBlocks.size() > n) {
        IWFreeNamedSHM(gBlocks.back());
        gBlocks.pop_back();
    }
    while (gBlocks.size() < n) {
        const std::string value = "/usr/local/lumarix/value/" + std::to_string(gBlocks.size());
        void *block = IWAlcNamedSHM(1, value.size() + 1, settingName(gBlocks.size()).c_str());
        std::memcpy(block, value.c_str(), value.size() + 1);
        gBlocks.push_back(block);
    }
}

// Hit on the newest name: the whole list is walked.
void HitLast(benchmark::State &state)
{
    listOf(static_cast<size_t>(state.range(0)));
    const std::string name = settingName(gBlocks.size() - 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(IWRtNamedSHMAdd(name.c_str()));
}

// Hit on the middle name: half the list, the average over all names.
void HitMiddle(benchmark::State &state)
{
    listOf(static_cast<size_t>(state.range(0)));
    const std::string name = settingName(gBlocks.size() / 2);
    for (auto _ : state)
        benchmark::DoNotOptimize(IWRtNamedSHMAdd(name.c_str()));
}

void Miss(benchmark::State &state)
{
    listOf(static_cast<size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(IWRtNamedSHMAdd("LX_NOT_A_SETTING"));
}

// What SetSetting does per value: a block for the new value appended, then freed.
void AllocateAndFree(benchmark::State &state)
{
    listOf(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        void *block = IWAlcNamedSHM(1, 48, "LX_CYCLE");
        IWFreeNamedSHM(block);
    }
}

void SemaphoreFloor(benchmark::State &state)
{
    const char *login = std::getenv("LOGNAME");
    sem_t *sem =
        sem_open(("/IWConfigSem_" + std::string(login != nullptr ? login : getpwuid(getuid())->pw_name)).c_str(), 0);
    for (auto _ : state) {
        timespec deadline{};
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += 5;
        sem_timedwait(sem, &deadline);
        sem_post(sem);
    }
    sem_close(sem);
}

BENCHMARK(HitLast)->Arg(10)->Arg(200)->Arg(2000);
BENCHMARK(HitMiddle)->Arg(10)->Arg(200)->Arg(2000);
BENCHMARK(Miss)->Arg(10)->Arg(200)->Arg(2000);
BENCHMARK(AllocateAndFree)->Arg(10)->Arg(200)->Arg(2000);
BENCHMARK(SemaphoreFloor);

} // namespace

int main(int argc, char **argv)
{
    if (SMCreateArena(&IW_arena, 64u << 20, nullptr) != SM_OK || IW_arena.word[0] == 0) {
        std::fprintf(stderr, "shm_names_bench: could not create the arena\n");
        return 1;
    }
    IW_arena_ptr = &IW_arena;
    IW_iwl_ptr = SMCalloc(&IW_arena, 1, sizeof(IWSharedGlobals));
    SMPutInfo(&IW_arena, IW_iwl_ptr);
    IWOpenConfigSem();

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    listOf(0);
    IWRemoveConfigSem();
    SMExit(&IW_arena, 1);
    return 0;
}
