#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <utility>
#include <vector>
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

// The bands of a run within `settings`' memory. InputError, before any work,
// when even a band of one fragment row does not fit in the memory available.
std::vector<Band> planStream(StreamShape const& shape, Tiling const& tiling, StreamSettings const& settings,
                             std::string const& source);

// One count over a whole run, labelled: per band one unit for reading, one
// per fragment computed and one for writing. Reports may come from the
// reading, computing and writing threads at once; they reach the target one
// at a time and in order.
class BandProgress {
public:
    BandProgress(RunContext const& context, std::string label, std::vector<Band> const& bands);
    ~BandProgress();
    BandProgress(BandProgress const&) = delete;
    BandProgress& operator=(BandProgress const&) = delete;

    RunContext const& context() const { return context_; } // for the library's per-fragment reports
    void unit();
    // Counts the fragments of `band` the library did not report itself.
    void computed(Band const& band);

private:
    class Counter;
    Lumen::StrongPtr<Counter> counter_;
    RunContext context_;
};

// What a reader's call operator returns: the input, of the type of its spare.
template <class>
struct ReadResult;
template <class Reader, class Input, class... Arguments>
struct ReadResult<Input (Reader::*)(Arguments...) const> {
    using type = Input;
};

// Runs every band through read(band, spare), compute(input, tiling, context)
// and write(result, band). The next band is read, and the previous one
// written, while the current one is computed: at most two inputs and two
// results are in memory at once (StreamShape::cellBytes counts them). Their
// buffers are recycled, an input's as read's `spare` two bands later, a
// result's through the tiling's spares, so that each band fills pages already
// mapped. Bands are written in order.
template <class Read, class Compute, class Write>
void streamBands(StreamShape const& shape, Tiling const& tiling, StreamSettings const& settings,
                 RunContext const& context, std::string const& label, std::string const& source, Read const& read,
                 Compute const& compute, Write const& write) {
    auto const bands = planStream(shape, tiling, settings, source);
    BandProgress progress(context, label, bands);
    using Input = typename ReadResult<decltype(&Read::operator())>::type;
    auto const reading = [&](std::size_t i, Input spare) {
        return std::async(std::launch::async, [&, i, spare = std::move(spare)]() mutable {
            Input input = read(bands[i], std::move(spare));
            progress.unit();
            return input;
        });
    };
    auto const spares = std::make_shared<SpareBuffers>();
    RunContext computing = progress.context();
    computing.spares = spares;
    Tiling banded = tiling;
    Input spare{};
    std::future<Input> next = reading(0, Input{});
    std::future<void> writing;
    for (std::size_t i = 0; i < bands.size(); ++i) {
        Input input = next.get();
        if (i + 1 < bands.size()) {
            next = reading(i + 1, std::move(spare));
        }
        banded.band = bands[i].window;
        auto result = compute(std::as_const(input), std::as_const(banded), std::as_const(computing));
        spare = std::move(input);
        progress.computed(bands[i]);
        if (writing.valid()) {
            writing.get();
        }
        writing = std::async(std::launch::async, [&, i, result = std::move(result)]() mutable {
            write(std::as_const(result), bands[i]);
            spares->give(std::move(result.values));
            progress.unit();
        });
    }
    writing.get();
}

// Bytes the process may still take: the lesser of the memory the system
// has available and what the address-space limit (ulimit -v) leaves.
std::uint64_t availableMemory();

} // namespace rastrum_host
