#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <string>

// Registration helpers that give every benchmark of the suite the same
// settings and tie each measured row to the rows it is compared with.
namespace bench {

using Body = std::function<void(benchmark::State&)>;

// Registers a benchmark timed in wall-clock time (the operations run
// threads of their own), repeated three times for at least 0.2 s or one
// iteration each; the median, mean, deviation and variation are reported.
void add(std::string const& name, Body body);

// Registers `name` unless it already is.
void addOnce(std::string const& name, Body const& body);

// The memcpy bound for `cells` cells of an operation that reads and writes
// `traffic` bytes per cell: a copy of traffic / 2 bytes per cell (reading
// and writing as many bytes as the operation), split over `threads`
// threads. Registered on first use; returns its name.
std::string memcpyBound(std::uint64_t cells, unsigned traffic, int threads);

// What a measured row is compared with.
struct Comparison {
    std::string peer; // empty when there is no peer
    std::string bound;
    int threads;
    unsigned traffic;
};

// Registers a measured benchmark whose body runs the timing loop over
// `cells` cells on the comparison's thread count; it reports cells per second, the compared rows in its label
// ("peer=...;bound=..."), its thread count and its bytes per cell.
void addMeasured(std::string const& name, std::uint64_t cells, Comparison const& comparison, Body body);

// Counts `cells` cells per iteration and records the thread count and the
// bytes per cell of a finished benchmark.
void countCells(benchmark::State& state, std::uint64_t cells, int threads, unsigned traffic);

} // namespace bench
