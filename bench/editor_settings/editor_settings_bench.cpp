// GetSetting answered from a named shared block, from the cache, and (a first lookup's cost)
// from the user settings file; ReadDescriptionFile of a 200-variable file; getenv as the floor.
#include "lumarix/editor.h"
#include "lumarix/settings.h"
#include "lumarix/shm.h"
#include "lumarix/suite.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

const std::filesystem::path kScratch = std::filesystem::temp_directory_path() / "lumarix-settings-bench";

// Runs a benchmark body with the arena hidden, so that the lookup skips the shared blocks.
struct WithoutArena {
    SMArena *saved = IW_arena_ptr;
    WithoutArena() { IW_arena_ptr = nullptr; }
    ~WithoutArena() { IW_arena_ptr = saved; }
};

void BM_GetSettingFromNamedBlock(benchmark::State &state)
{
    if (!IW_arena_ptr) {
        state.SkipWithError("no arena");
        return;
    }
    SetSetting("BENCH_LIVE", "/data/live");
    for (auto _ : state)
        benchmark::DoNotOptimize(GetSetting("BENCH_LIVE"));
}
BENCHMARK(BM_GetSettingFromNamedBlock);

void BM_GetSettingFromCache(benchmark::State &state)
{
    WithoutArena hidden;
    for (int i = 0; i < 50; ++i) // a realistic cache: earlier look-ups before this one
        CacheSetting(("BENCH_OTHER_" + std::to_string(i)).c_str(), "x");
    CacheSetting("BENCH_CACHED", "value");
    for (auto _ : state)
        benchmark::DoNotOptimize(GetSetting("BENCH_CACHED"));
}
BENCHMARK(BM_GetSettingFromCache);

void BM_UserSettingsFileRead(benchmark::State &state)
{
    const char *path = UserSettingsFile();
    if (!path) {
        state.SkipWithError("no user settings file");
        return;
    }
    for (auto _ : state) {
        FILE *file = std::fopen(path, "r");
        char *value = ReadSettingFromFile(file, "BENCH_FILE_20");
        benchmark::DoNotOptimize(value);
        std::free(value);
        std::fclose(file);
    }
}
BENCHMARK(BM_UserSettingsFileRead);

void BM_GetenvFloor(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(std::getenv("BENCH_ENV"));
}
BENCHMARK(BM_GetenvFloor);

void writeDescription(const std::filesystem::path &path)
{
    std::ofstream out(path);
    out << "TITLE: Benchmark installation\n";
    for (int i = 0; i < 200; ++i) {
        out << "VARIABLE: LX_VAR_" << i << "\nSHORTDESC: Variable number " << i << "\n";
        switch (i % 4) {
        case 0: out << "TYPE: SIMPLE\nCHECKREAD:\n"; break;
        case 1: out << "TYPE: BOOLEAN\nyes\nno\n"; break;
        case 2: out << "TYPE: ONEOFMANY 4\nred\ngreen\nblue\nwhite\n"; break;
        default: out << "TYPE: MULTIVALUE $LX_VAR_" << i - 3 << "\n"; break;
        }
        out << "MUSTBESET:\nHELP: What variable " << i << " does.\nIt has a few lines of help,\n"
            << "as the installation's real ones do.\n%%\n\n";
    }
}

void BM_ReadDescriptionFile200(benchmark::State &state)
{
    const auto path = kScratch / "bench.vars";
    writeDescription(path);
    std::snprintf(gDescriptionFile, sizeof gDescriptionFile, "%s", path.c_str());
    for (auto _ : state)
        if (!ReadDescriptionFile() || gNumVars != 200)
            state.SkipWithError("parse failed");
    state.SetItemsProcessed(state.iterations() * 200);
}
BENCHMARK(BM_ReadDescriptionFile200);

void prepareFiles()
{
    std::filesystem::create_directories(kScratch / "config");
    std::ofstream(kScratch / "config/system.lxrc") << "";
    setenv("HOME", kScratch.c_str(), 1);
    setenv("LX_BASE", kScratch.c_str(), 1);
    setenv("BENCH_ENV", "value", 1);
    const char *dir = UserSettingsDir();
    std::ofstream user(std::string(dir ? dir : kScratch.c_str()) + "/user.lxrc");
    for (int i = 0; i < 40; ++i)
        user << "BENCH_FILE_" << i << " value number " << i << "\n";
}

} // namespace

int main(int argc, char **argv)
{
    prepareFiles();
    setenv("LX_SIZE", "30", 0);
    setenv("LX_SHMSTADDR", "0x600000000000", 0);
    const bool arena = IWInitSHM(0, 0, 1280, 1024) == 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (arena)
        IWStop();
    std::filesystem::remove_all(kScratch);
    return 0;
}
