#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "operations/operations.hpp"
#include "streaming/band_plan.hpp"

// Runs an operation a band of fragment rows at a time: each band is read,
// computed as a raster of its own with exactly the fragments of the whole
// raster, and its owned rows written, before the next one is read. Memory
// is bounded by the band, never by the raster's height.
namespace rastrum_host {

struct StreamSettings {
    std::uint64_t memoryBytes = std::uint64_t{256} << 20; // for the band in flight
};

// What a streamed run works on: the raster's size and orientation, the
// overlap its stencil takes and what a cell of a band costs in memory.
struct StreamShape {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool northUp = true;
    std::uint64_t overlap = 0;
    std::uint64_t cellBytes = 0;
};

// Reads, computes and writes one band; calls unitDone after reading and after writing.
using BandStep = std::function<void(Band const& band, Tiling const& tiling, RunContext const& context,
                                    std::function<void()> const& unitDone)>;

// The bands of a run within `settings`' memory. InputError, before any work,
// when even a band of one fragment row does not fit in the memory available.
std::vector<Band> planStream(StreamShape const& shape, Tiling const& tiling, StreamSettings const& settings,
                             std::string const& source);

// Runs `step` on every band. Progress goes to the context's sink as one
// count over the run, labelled `label`: per band one unit for reading, one
// per fragment computed and one for writing.
void streamBands(StreamShape const& shape, Tiling const& tiling, StreamSettings const& settings,
                 RunContext const& context, std::string const& label, std::string const& source, BandStep const& step);

// Bytes the process may still take: the lesser of the memory the system
// has available and what the address-space limit (ulimit -v) leaves.
std::uint64_t availableMemory();

} // namespace rastrum_host
