#include <memory>
#include <string>
#include <vector>

#include "Rastrum.hpp"
#include "benchmarks.hpp"
#include "datasets.hpp"
#include "registry.hpp"
#include "settings.hpp"
#include "stdout_silencer.hpp"

namespace bench {
namespace {

std::string operationName(char const* operation, std::uint64_t n, std::uint64_t fragment) {
    return std::string("Operation/") + operation + "/size:" + std::to_string(n) +
           "/fragment:" + (fragment == 0 ? std::string("whole") : std::to_string(fragment));
}

// Ends the run with the operation's message when it failed.
bool failed(benchmark::State& state, std::string const& message) {
    if (message.empty()) {
        return false;
    }
    state.SkipWithError(message.c_str());
    return true;
}

void registerLayout(std::uint64_t n, std::uint64_t fragment, int team) {
    auto const cells = n * n;
    auto const parallel = [cells, team](std::string peer, unsigned bytes) {
        return Comparison{std::move(peer), memcpyBound(cells, bytes, team), team, bytes};
    };
    auto const serial = [cells](std::string peer, unsigned bytes) {
        return Comparison{std::move(peer), memcpyBound(cells, bytes, 1), 1, bytes};
    };

    // Sobel and the mask replace their result field on every call.
    addMeasured(operationName("sobelOperator", n, fragment), cells,
                parallel(scharrPeer(n, team), traffic::SMOOTHING), [n, fragment](benchmark::State& state) {
                    auto bundle = surveyGrids(n, fragment).bundle;
                    std::string height = "Height";
                    for (auto _ : state) {
                        if (failed(state, Rastrum::sobelOperator(bundle, height, nullptr, "", 0.0, 45.0,
                                                                 "CellType"))) {
                            break;
                        }
                    }
                });

    addMeasured(operationName("binaryOperator", n, fragment), cells, parallel(maskPeer(n, team), traffic::MASK),
                [n, fragment](benchmark::State& state) {
                    auto bundle = surveyGrids(n, fragment).bundle;
                    for (auto _ : state) {
                        if (failed(state, Rastrum::binaryOperator(bundle, "CellType", nullptr, "", 0.0))) {
                            break;
                        }
                    }
                });

    // Smoothing writes every fragment of its output field anew; the wide
    // window only at the largest size, where it is compared.
    struct Smoothing {
        char const* name;
        std::string peer;
        bool gaussianOnly;
        unsigned window;
        double sigmaSpatial;
    };
    std::vector<Smoothing> smoothings{
        {"bilateralSmoothing[bilateral]", bilateralPeer(n, team), false, WINDOW, SIGMA_SPATIAL},
        {"bilateralSmoothing[gaussian]", gaussianPeer(n, team), true, WINDOW, SIGMA_SPATIAL}};
    if (n == RASTER_SIZES.back()) {
        smoothings.push_back({"bilateralSmoothing[bilateral,window31]", wideBilateralPeer(n, team), false,
                              WIDE_WINDOW, WIDE_SIGMA_SPATIAL});
    }
    for (auto const& s : smoothings) {
        addMeasured(operationName(s.name, n, fragment), cells, parallel(s.peer, traffic::SMOOTHING),
                    [n, fragment, s](benchmark::State& state) {
                        auto& grid = *surveyGrids(n, fragment).later.grid();
                        std::string const output = s.gaussianOnly ? "Height_Gaussian" : "Height_Bilateral";
                        for (auto _ : state) {
                            if (failed(state, Rastrum::bilateralSmoothing(grid, "Height", output, s.window,
                                                                          s.sigmaSpatial, SIGMA_RANGE, 0,
                                                                          s.gaussianOnly, nullptr))) {
                                break;
                            }
                        }
                    });
    }

    // The result grid and target bundle are made fresh, and the previous ones
    // freed, outside the timing.
    addMeasured(operationName("rasterOperator", n, fragment), cells,
                parallel(differencePeer(n, team), traffic::DIFFERENCE), [n, fragment](benchmark::State& state) {
                    auto const& grids = surveyGrids(n, fragment);
                    std::unique_ptr<Velum::Grid> result;
                    bool hasData = false;
                    for (auto _ : state) {
                        state.PauseTiming();
                        result = std::make_unique<Velum::Grid>();
                        state.ResumeTiming();
                        if (failed(state, Rastrum::rasterOperator(*grids.later.grid(), *grids.earlier.grid(),
                                                                  *result, "Height", "Height",
                                                                  Rastrum::Operandi{Rastrum::Operandi::Subtract},
                                                                  hasData, nullptr))) {
                            break;
                        }
                    }
                });

    addMeasured(operationName("raster3DtoTri", n, fragment), cells, parallel("", traffic::TRIANGLES),
                [n, fragment](benchmark::State& state) {
                    auto source = surveyGrids(n, fragment).bundle;
                    std::string height = "Height";
                    std::string surface = "Surface";
                    Velum::BundlePtr target;
                    for (auto _ : state) {
                        state.PauseTiming();
                        target = Velum::BundlePtr::create();
                        state.ResumeTiming();
                        if (failed(state, Rastrum::raster3DtoTri(source, target, height, surface, nullptr, "", 0.0))) {
                            break;
                        }
                    }
                });

    // Overwriting the mask in place does the same work every time.
    addMeasured(operationName("overwriteFieldValuesViaOtherField", n, fragment), cells,
                serial("", traffic::OVERWRITE), [n, fragment](benchmark::State& state) {
                    auto const& grid = surveyGrids(n, fragment).later.grid();
                    auto const bands = heightBands();
                    StdoutSilencer const silence;
                    for (auto _ : state) {
                        if (!Rastrum::overwriteFieldValuesViaOtherField(grid, false, "Height", bands, "Mask", 7)) {
                            state.SkipWithError("overwriteFieldValuesViaOtherField refused the grid");
                            break;
                        }
                    }
                });
}

} // namespace

void registerRasterOperations(std::uint64_t n, int team) {
    registerLayout(n, 0, team);
    registerLayout(n, RASTER_FRAGMENT, team);
}

void registerVolumeOperations(std::uint64_t n, int team) {
    auto const cells = n * n * n;
    for (std::uint64_t const fragment : {std::uint64_t{0}, VOLUME_FRAGMENT}) {
        addMeasured(operationName("gausSmoothingUniform3D", n, fragment), cells,
                    {"", memcpyBound(cells, traffic::DENSITY, team), team, traffic::DENSITY},
                    [n, fragment](benchmark::State& state) {
                        auto bundle = markerBundle(n, fragment);
                        for (auto _ : state) {
                            std::string name = "Markers";
                            if (failed(state, Rastrum::gausSmoothingUniform3D(bundle, name, nullptr))) {
                                break;
                            }
                        }
                    });
    }
}

} // namespace bench
