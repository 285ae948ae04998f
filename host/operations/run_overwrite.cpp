#include <iostream>
#include <sstream>

#include "Tensa/MultiRange.hpp"
#include "tiling/operation_support.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {
namespace {

// The overwrite prints a progress line per fragment on standard output, which
// belongs to the host's results; this keeps it off while alive.
class StandardOutputMuted {
public:
    StandardOutputMuted() : previous_(std::cout.rdbuf(sink_.rdbuf())) {}
    StandardOutputMuted(StandardOutputMuted const&) = delete;
    StandardOutputMuted& operator=(StandardOutputMuted const&) = delete;
    ~StandardOutputMuted() { std::cout.rdbuf(previous_); }

private:
    std::ostringstream sink_;
    std::streambuf* previous_;
};

} // namespace

template <class T>
Raster<std::uint8_t> runOverwrite(HeightView<T> const& input, OverwriteOptions const& options, Tiling const& tiling,
                                  RunContext const& context) {
    auto const tiled = tileHeights(input, tiling, 0);
    Tensa::MultiRange<double> range;
    for (auto const& [lo, hi] : options.ranges) {
        range.add(lo, hi);
    }
    bool done = false;
    {
        StandardOutputMuted const muted;
        done = Rastrum::overwriteFieldValuesViaOtherField(tiled.grid(), options.invert, HeightField, range,
                                                          CellTypeField, options.value);
    }
    expectSuccess(done ? "" : "the grid lacks a field", "overwriteFieldValuesViaOtherField");
    std::uint8_t constexpr unchanged = 0;
    auto codes = tiled.stitch(*resultField(*tiled.grid(), CellTypeField), unchanged, context.spares.get());
    if (options.invert && !options.includeHoles) {
        for (std::size_t i = 0; i < codes.size(); ++i) {
            codes[i] = isHole(input.cellTypes[i]) ? input.cellTypes[i] : codes[i];
        }
    }
    return {.width = input.width, .height = input.height, .bands = 1, .values = std::move(codes)};
}

#define RASTRUM_RUN_OVERWRITE(T)                                                                                   \
    template Raster<std::uint8_t> runOverwrite(HeightView<T> const&, OverwriteOptions const&, Tiling const&,     \
                                               RunContext const&);
RASTRUM_RUN_OVERWRITE(std::uint8_t)
RASTRUM_RUN_OVERWRITE(float)
RASTRUM_RUN_OVERWRITE(std::uint16_t)
RASTRUM_RUN_OVERWRITE(std::uint32_t)
RASTRUM_RUN_OVERWRITE(double)

} // namespace rastrum_host
