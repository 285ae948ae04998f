#include "registry.hpp"

#include <omp.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <set>
#include <vector>

namespace bench {
namespace {

struct Usage {
    double wall;
    double system;
    double minorFaults;
};

Usage usageNow() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto const wall = std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    return {wall, static_cast<double>(usage.ru_stime.tv_sec) + 1e-6 * static_cast<double>(usage.ru_stime.tv_usec),
            static_cast<double>(usage.ru_minflt)};
}

} // namespace

void add(std::string const& name, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), [body = std::move(body)](benchmark::State& state) { body(state); })
        ->UseRealTime()
        // Measures the steady state: blocks kept from earlier calls, pages
        // mapped; the first call's page faults come once per process.
        ->MinWarmUpTime(0.1)
        ->MinTime(0.2)
        ->Repetitions(3)
        ->ReportAggregatesOnly(true)
        ->Unit(benchmark::kMillisecond);
}

void addOnce(std::string const& name, Body const& body) {
    static std::set<std::string> registered;
    if (registered.insert(name).second) {
        add(name, body);
    }
}

std::string memcpyBound(std::uint64_t cells, unsigned traffic, int threads) {
    auto const name = "Bound/memcpy/bytes:" + std::to_string(traffic) +
                      "/cells:" + std::to_string(cells) + "/threads:" + std::to_string(threads);
    addOnce(name, [cells, traffic, threads](benchmark::State& state) {
        auto const bytes = static_cast<std::size_t>((cells * traffic + 1) / 2);
        // Filled, so that every page is mapped before the timing starts.
        std::vector<char> from(bytes, 1);
        std::vector<char> to(bytes, 0);
        auto const chunk = (bytes + static_cast<std::size_t>(threads) - 1) / static_cast<std::size_t>(threads);
        for (auto _ : state) {
#pragma omp parallel for num_threads(threads) schedule(static, 1)
            for (int t = 0; t < threads; ++t) {
                auto const begin = std::min(bytes, static_cast<std::size_t>(t) * chunk);
                auto const end = std::min(bytes, begin + chunk);
                std::memcpy(to.data() + begin, from.data() + begin, end - begin);
            }
            benchmark::ClobberMemory();
        }
        countCells(state, cells, threads, traffic);
    });
    return name;
}

void addMeasured(std::string const& name, std::uint64_t cells, Comparison const& comparison, Body body) {
    add(name, [cells, comparison, body = std::move(body)](benchmark::State& state) {
        // The library's kernels share a fragment among the default team.
        int const before = omp_get_max_threads();
        omp_set_num_threads(comparison.threads);
        auto const start = usageNow();
        body(state);
        auto const end = usageNow();
        omp_set_num_threads(before);
        countCells(state, cells, comparison.threads, comparison.traffic);
        // Kernel time spent for the process (page faults above all), over
        // the whole repetition including its untimed set-up.
        state.counters["system_per_wall"] = (end.system - start.system) / (end.wall - start.wall);
        state.counters["minor_faults_per_iteration"] =
            (end.minorFaults - start.minorFaults) / static_cast<double>(std::max<benchmark::IterationCount>(state.iterations(), 1));
        state.SetLabel("peer=" + comparison.peer + ";bound=" + comparison.bound);
    });
}

void countCells(benchmark::State& state, std::uint64_t cells, int threads, unsigned traffic) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(cells));
    state.counters["threads_used"] = threads;
    state.counters["bytes_per_cell"] = traffic;
}

} // namespace bench
