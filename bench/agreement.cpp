#include "agreement.hpp"

#include <cmath>
#include <string>
#include <vector>

#include "bilateral/smoothing_filters.hpp"
#include "binary/binary_mask.hpp"
#include "datasets.hpp"
#include "frame/cell_types.hpp"
#include "peers.hpp"
#include "raster/raster_kernels.hpp"
#include "settings.hpp"
#include "sobel/sobel_kernel.hpp"

namespace bench {
namespace {

Rastrum::CellTypeTables const tables;

// Whether the square of half-width `reach` around (x, y) lies inside the
// raster and holds data cells only.
bool clearAround(Survey const& survey, std::uint64_t x, std::uint64_t y, std::uint64_t reach) {
    if (x < reach || y < reach || x + reach >= survey.n || y + reach >= survey.n) {
        return false;
    }
    for (auto j = y - reach; j <= y + reach; ++j) {
        for (auto i = x - reach; i <= x + reach; ++i) {
            if (!tables.DATA_CELL_TYPES[survey.codes[i + survey.n * j]]) {
                return false;
            }
        }
    }
    return true;
}

// Compares ours with the peer's image at every cell `compared` accepts;
// counts the cells farther apart than `tolerance`.
template <class T, class Compared>
bool agree(char const* what, std::vector<T> const& ours, cv::Mat const& peer, std::uint64_t n, double tolerance,
           Compared compared, std::ostream& log) {
    std::uint64_t checked = 0;
    std::uint64_t off = 0;
    for (std::uint64_t y = 0; y < n; ++y) {
        for (std::uint64_t x = 0; x < n; ++x) {
            if (!compared(x, y)) {
                continue;
            }
            ++checked;
            auto const theirs = peer.at<T>(static_cast<int>(y), static_cast<int>(x));
            if (std::abs(static_cast<double>(ours[x + n * y]) - static_cast<double>(theirs)) > tolerance) {
                ++off;
            }
        }
    }
    if (checked == 0 || off > 0) {
        log << what << ": " << off << " of " << checked << " compared cells differ from the peer\n";
        return false;
    }
    return true;
}

} // namespace

bool peersAgree(std::uint64_t n, std::ostream& log) {
    auto const& pair = surveys(n);
    auto const& survey = pair.later;
    auto const cells = survey.cells();
    auto const everywhere = [](std::uint64_t, std::uint64_t) { return true; };
    bool all = true;

    std::vector<float> magnitude(cells);
    Rastrum::sobelMagnitude(survey.height.data(), survey.codes.data(), n, n, 1, tables.HOLE_CELL_TYPES,
                            magnitude.data());
    ScharrMagnitude scharr;
    scharr(heightImage(survey));
    all &= agree("sobelMagnitude", magnitude, scharr.magnitude, n, 1e-2,
                 [&](std::uint64_t x, std::uint64_t y) { return clearAround(survey, x, y, 1); }, log);

    std::vector<float> smoothed(cells);
    Rastrum::gaussianFilter(survey.height.data(), survey.codes.data(), {n, n, 1}, WINDOW, SIGMA_SPATIAL,
                            tables.HOLE_CELL_TYPES, smoothed.data());
    GaussianFilter2D filter;
    filter(heightImage(survey));
    auto const half = (Rastrum::effectiveWindowSize(WINDOW) - 1) / 2;
    all &= agree("gaussianFilter", smoothed, filter.result, n, 2e-3,
                 [&](std::uint64_t x, std::uint64_t y) { return clearAround(survey, x, y, half); }, log);

    std::vector<float> mask(cells);
    Rastrum::binaryMask(survey.codes, mask, tables.DATA_CELL_TYPES);
    DataMask dataMask;
    dataMask(codeImage(survey));
    // The peer's conversion scales by a float 1/255: its zeros are off by 6e-8.
    all &= agree("binaryMask", mask, dataMask.mask, n, 1e-6, everywhere, log);

    std::vector<unsigned char> holes(cells);
    std::vector<float> difference(cells);
    Rastrum::mergeCellTypes(survey.codes.data(), pair.earlier.codes.data(), holes.data(), cells,
                            tables.DATA_CELL_TYPES);
    Rastrum::combineRasters<float>(Rastrum::Operandi::Subtract, survey.height.data(), pair.earlier.height.data(),
                                   holes.data(), difference.data(), cells, tables.HOLE_CELL_TYPES);
    Difference peerDifference;
    peerDifference(heightImage(survey), heightImage(pair.earlier), codeImage(survey), codeImage(pair.earlier));
    all &= agree("combineRasters", difference, peerDifference.difference, n, 0.0, everywhere, log);
    return all;
}

} // namespace bench
