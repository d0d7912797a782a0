// SG_malloc/SG_free against glibc malloc/free and Boost.Interprocess managed_shared_memory:
// alloc-free pairs of fixed sizes, and a random churn that keeps 100,000 blocks live. After the
// runs the ratios to the baselines and the shared heap's overhead are printed.
#include <benchmark/benchmark.h>
#include <lumarix/shm.h>
#include <unistd.h>

#include <boost/interprocess/managed_shared_memory.hpp>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

namespace bip = boost::interprocess;

constexpr uint64_t kArenaBytes = uint64_t{512} << 20;
constexpr size_t kLive = 100'000;
constexpr size_t kChurnOps = 1 << 20; // precomputed operations, cycled

struct SharedHeap {
    static void *alloc(size_t n) { return SG_malloc(nullptr, n); }
    static void release(void *p) { SG_free(nullptr, p); }
    static constexpr const char *name = "SG";
};
struct Glibc {
    static void *alloc(size_t n) { return std::malloc(n); }
    static void release(void *p) { std::free(p); }
    static constexpr const char *name = "glibc";
};
struct Boost {
    static inline bip::managed_shared_memory *segment = nullptr;
    static void *alloc(size_t n) { return segment->allocate(n, std::nothrow); }
    static void release(void *p) { segment->deallocate(p); }
    static constexpr const char *name = "boost";
};

// Sizes of the churn: mostly small, some medium, a few large, as a suite's records and buffers.
struct ChurnPlan {
    std::vector<uint32_t> initial_sizes;
    std::vector<uint32_t> slots;
    std::vector<uint32_t> sizes;
};

const ChurnPlan &plan()
{
    static const ChurnPlan p = [] {
        ChurnPlan c;
        std::mt19937 rng(20261122);
        auto size = [&] {
            unsigned kind = rng() % 100;
            return static_cast<uint32_t>(kind < 60   ? 16 + rng() % 113
                                         : kind < 92 ? 128 + rng() % 897
                                                     : 1024 + rng() % 7169);
        };
        for (size_t i = 0; i < kLive; ++i)
            c.initial_sizes.push_back(size());
        for (size_t i = 0; i < kChurnOps; ++i) {
            c.slots.push_back(static_cast<uint32_t>(rng() % kLive));
            c.sizes.push_back(size());
        }
        return c;
    }();
    return p;
}

template <typename A>
void Pairs(benchmark::State &state)
{
    const auto n = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        void *p = A::alloc(n);
        benchmark::DoNotOptimize(p);
        A::release(p);
    }
    state.SetItemsProcessed(state.iterations());
}

template <typename A>
void Churn(benchmark::State &state)
{
    const ChurnPlan &c = plan();
    std::vector<void *> live(kLive);
    for (size_t i = 0; i < kLive; ++i)
        live[i] = A::alloc(c.initial_sizes[i]);
    size_t k = 0;
    for (auto _ : state) {
        uint32_t slot = c.slots[k];
        A::release(live[slot]);
        live[slot] = A::alloc(c.sizes[k]);
        benchmark::DoNotOptimize(live[slot]);
        if (++k == kChurnOps)
            k = 0;
    }
    state.SetItemsProcessed(state.iterations());
    if constexpr (std::is_same_v<A, SharedHeap>) {
        SGHeapStats s{};
        SG_heap_stats(&s);
        state.counters["overhead_pct"] =
            100.0 * (static_cast<double>(s.system_bytes) / static_cast<double>(s.in_use_bytes) - 1.0);
    }
    for (void *p : live)
        A::release(p);
}

// Keeps each run's CPU time per operation, to print the ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &r : runs) {
            if (r.error_occurred)
                continue;
            // With --benchmark_repetitions the median is kept; otherwise the single run.
            bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
            if (r.run_type != Run::RT_Iteration && !median)
                continue;
            std::string name = r.run_name.str();
            name = name.substr(0, name.find("/iterations"));
            name = name.substr(0, name.find("/repeats"));
            if (!median && from_median.count(name))
                continue;
            if (median)
                from_median.insert(name);
            // CPU time: the machine is shared, and waiting for a core is not the allocator's cost.
            ns_per_op[name] = r.GetAdjustedCPUTime();
            auto it = r.counters.find("overhead_pct");
            if (it != r.counters.end() && (median || r.repetitions <= 1))
                overhead_pct = it->second.value;
        }
    }
    std::set<std::string> from_median;
    std::map<std::string, double> ns_per_op;
    double overhead_pct = -1;
};

void print_ratios(const RatioReporter &rep)
{
    auto t = [&](const std::string &name) {
        auto it = rep.ns_per_op.find(name);
        return it == rep.ns_per_op.end() ? 0.0 : it->second;
    };
    std::printf("\nThroughput of SG_malloc/SG_free as a multiple of the baseline (higher is better):\n");
    auto pairs = [&](const char *allocator, int size) {
        char name[64];
        std::snprintf(name, sizeof name, "Pairs<%s>/%d", allocator, size);
        return t(name);
    };
    for (int size : {16, 64, 256, 1024, 4096}) {
        double sg = pairs("SharedHeap", size);
        std::printf("  pairs %5d bytes: %.2fx glibc (target >= 0.8), %.2fx boost\n", size, pairs("Glibc", size) / sg,
                    pairs("Boost", size) / sg);
    }
    std::printf("  churn, %zu live:  %.2fx glibc (target >= 0.5), %.2fx boost (target >= 3)\n", kLive,
                t("Churn<Glibc>") / t("Churn<SharedHeap>"), t("Churn<Boost>") / t("Churn<SharedHeap>"));
    std::printf("  heap overhead on the churn (system bytes / in use bytes - 1): %.1f%% (target < 15%%)\n",
                rep.overhead_pct);
}

} // namespace

BENCHMARK_TEMPLATE(Pairs, SharedHeap)->RangeMultiplier(4)->Range(16, 4096);
BENCHMARK_TEMPLATE(Pairs, Glibc)->RangeMultiplier(4)->Range(16, 4096);
BENCHMARK_TEMPLATE(Pairs, Boost)->RangeMultiplier(4)->Range(16, 4096);
BENCHMARK_TEMPLATE(Churn, SharedHeap)->Iterations(2'000'000);
BENCHMARK_TEMPLATE(Churn, Glibc)->Iterations(2'000'000);
BENCHMARK_TEMPLATE(Churn, Boost)->Iterations(2'000'000);

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    char file[64], boost_name[64];
    std::snprintf(file, sizeof file, "/dev/shm/lx-shm-heap-bench-%d", static_cast<int>(getpid()));
    std::snprintf(boost_name, sizeof boost_name, "lx-shm-heap-bench-boost-%d", static_cast<int>(getpid()));
    unsetenv("LX_SHMSTADDR");
    void *start = SG_create(file, kArenaBytes);
    if (start == nullptr)
        return 1;
    bip::shared_memory_object::remove(boost_name);
    auto boost_segment = std::make_unique<bip::managed_shared_memory>(bip::create_only, boost_name, kArenaBytes);
    Boost::segment = boost_segment.get();
    plan();

    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    print_ratios(reporter);

    SG_detach(start);
    SG_destroy(start);
    boost_segment.reset();
    bip::shared_memory_object::remove(boost_name);
    benchmark::Shutdown();
    return 0;
}
