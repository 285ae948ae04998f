#include <span>
#include <vector>

#include "benchmarks.hpp"
#include "bilateral/smoothing_filters.hpp"
#include "binary/binary_mask.hpp"
#include "datasets.hpp"
#include "frame/cell_types.hpp"
#include "gauss/marker_density.hpp"
#include "overwrite/range_mask.hpp"
#include "raster/raster_kernels.hpp"
#include "registry.hpp"
#include "settings.hpp"
#include "sobel/sobel_kernel.hpp"
#include "triangulate/triangulate_fragment.hpp"

namespace bench {
namespace {

Rastrum::CellTypeTables const tables;

std::string kernelName(char const* kernel, std::uint64_t n) {
    return std::string("Kernel/") + kernel + "/size:" + std::to_string(n);
}

Comparison onOneThread(std::string peer, std::uint64_t cells, unsigned bytes) {
    return {std::move(peer), memcpyBound(cells, bytes, 1), 1, bytes};
}

} // namespace

void registerRasterKernels(std::uint64_t n) {
    auto const cells = n * n;
    Rastrum::FragmentShape const shape{n, n, 1};

    addMeasured(kernelName("sobelMagnitude", n), cells, onOneThread(scharrPeer(n, 1), cells, traffic::SMOOTHING),
                [n, cells](benchmark::State& state) {
                    auto const& survey = surveys(n).later;
                    std::vector<float> magnitude(cells);
                    for (auto _ : state) {
                        Rastrum::sobelMagnitude(survey.height.data(), survey.codes.data(), n, n, 1,
                                                tables.HOLE_CELL_TYPES, magnitude.data());
                        benchmark::ClobberMemory();
                    }
                });

    addMeasured(kernelName("gaussianFilter<float>", n), cells,
                onOneThread(gaussianPeer(n, 1), cells, traffic::SMOOTHING),
                [n, cells, shape](benchmark::State& state) {
                    auto const& survey = surveys(n).later;
                    std::vector<float> result(cells);
                    for (auto _ : state) {
                        Rastrum::gaussianFilter(survey.height.data(), survey.codes.data(), shape, WINDOW,
                                                SIGMA_SPATIAL, tables.HOLE_CELL_TYPES, result.data());
                        benchmark::ClobberMemory();
                    }
                });

    addMeasured(kernelName("bilateralFilter<float>", n), cells,
                onOneThread(bilateralPeer(n, 1), cells, traffic::SMOOTHING),
                [n, cells, shape](benchmark::State& state) {
                    auto const& survey = surveys(n).later;
                    std::vector<float> result(cells);
                    for (auto _ : state) {
                        Rastrum::bilateralFilter(survey.height.data(), survey.codes.data(), shape, WINDOW,
                                                 SIGMA_SPATIAL, SIGMA_RANGE, tables.HOLE_CELL_TYPES, result.data());
                        benchmark::ClobberMemory();
                    }
                });

    addMeasured(kernelName("binaryMask", n), cells, onOneThread(maskPeer(n, 1), cells, traffic::MASK),
                [n, cells](benchmark::State& state) {
                    auto const& survey = surveys(n).later;
                    std::vector<float> mask(cells);
                    for (auto _ : state) {
                        Rastrum::binaryMask(survey.codes, mask, tables.DATA_CELL_TYPES);
                        benchmark::ClobberMemory();
                    }
                });

    // The two kernels as the operation runs them: merge the codes, then subtract.
    addMeasured(kernelName("mergeCellTypes+combineRasters<float>", n), cells,
                onOneThread(differencePeer(n, 1), cells, traffic::DIFFERENCE),
                [n, cells](benchmark::State& state) {
                    auto const& pair = surveys(n);
                    std::vector<unsigned char> mask(cells);
                    std::vector<float> difference(cells);
                    for (auto _ : state) {
                        Rastrum::mergeCellTypes(pair.later.codes.data(), pair.earlier.codes.data(), mask.data(),
                                                cells, tables.DATA_CELL_TYPES);
                        Rastrum::combineRasters<float>(Rastrum::Operandi::Subtract, pair.later.height.data(),
                                                       pair.earlier.height.data(), mask.data(), difference.data(),
                                                       cells, tables.HOLE_CELL_TYPES);
                        benchmark::ClobberMemory();
                    }
                });

    addMeasured(kernelName("overwriteByRanges", n), cells, onOneThread("", cells, traffic::OVERWRITE_KERNEL),
                [n, cells](benchmark::State& state) {
                    auto const& survey = surveys(n).later;
                    std::vector<double> const values(survey.height.begin(), survey.height.end());
                    std::vector<unsigned char> mask(cells);
                    auto const bands = heightBands();
                    for (auto _ : state) {
                        Rastrum::overwriteByRanges(values.data(), mask.data(), cells, bands, false, 7);
                        benchmark::ClobberMemory();
                    }
                });

    addMeasured(kernelName("triangulateFragment", n), cells, onOneThread("", cells, traffic::TRIANGLES),
                [n](benchmark::State& state) {
                    auto const& survey = surveys(n).later;
                    for (auto _ : state) {
                        Velum::ArrayStorage<Tensa::PhysicalSpace::point> vertices;
                        Velum::ArrayStorage<Velum::Triangle> triangles;
                        Rastrum::triangulateFragment(survey.height.data(), survey.codes.data(), n, n, 1,
                                                     {0.0, 0.0, 1.0, 1.0}, tables.HOLE_CELL_TYPES, vertices,
                                                     triangles);
                        benchmark::DoNotOptimize(triangles.data());
                    }
                });
}

void registerVolumeKernels(std::uint64_t n) {
    auto const cells = n * n * n;
    addMeasured(kernelName("markerDensity", n), cells, onOneThread("", cells, traffic::DENSITY),
                [n, cells](benchmark::State& state) {
                    auto const& raw = markers(n);
                    std::vector<float> density(cells);
                    for (auto _ : state) {
                        Rastrum::markerDensity(raw.data(), n, n, n, density.data());
                        benchmark::ClobberMemory();
                    }
                });
}

} // namespace bench
