#include "demo/demo_terrain.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace rastrum_host {
namespace {

constexpr double spacing = 2.0;
constexpr double relief = 12.0; // amplitude of the first octave, metres
constexpr double reliefBound = relief * 1.9375; // five octaves of gain 0.5
constexpr double valleyBelowPlain = 26.0;
// The valley floor lies below anything the relief reaches, so the river is the
// lowest line across the valley.
static_assert(valleyBelowPlain > reliefBound);
constexpr double channelDepth = 2.0;

// Our own hash rather than a standard distribution: those differ between
// standard libraries, and the terrain must not.
std::uint64_t mix(std::uint64_t x) {
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

std::uint64_t hash(std::uint64_t seed, std::uint64_t salt, std::uint64_t x, std::uint64_t y) {
    return mix(seed ^ mix(salt ^ mix(x ^ mix(y))));
}

// Uniform in [0, 1).
double unit(std::uint64_t h) { return static_cast<double>(h >> 11) * 0x1p-53; }

// Value noise: random heights in [-1, 1] at integer points, smoothly interpolated.
double valueNoise(std::uint64_t seed, std::uint64_t octave, double x, double y) {
    double const x0 = std::floor(x);
    double const y0 = std::floor(y);
    auto const ix = static_cast<std::uint64_t>(x0);
    auto const iy = static_cast<std::uint64_t>(y0);
    auto smooth = [](double t) { return t * t * (3.0 - 2.0 * t); };
    double const sx = smooth(x - x0);
    double const sy = smooth(y - y0);
    auto corner = [&](std::uint64_t dx, std::uint64_t dy) { return 2.0 * unit(hash(seed, octave, ix + dx, iy + dy)) - 1.0; };
    double const top = std::lerp(corner(0, 0), corner(1, 0), sx);
    double const bottom = std::lerp(corner(0, 1), corner(1, 1), sx);
    return std::lerp(top, bottom, sy);
}

// Fractal relief in metres, within +-reliefBound.
double fractalRelief(std::uint64_t seed, double column, double row, double scale) {
    double sum = 0.0;
    double amplitude = relief;
    double cell = scale;
    for (std::uint64_t octave = 0; octave < 5; ++octave) {
        sum += amplitude * valueNoise(seed, octave, column / cell, row / cell);
        amplitude *= 0.5;
        cell *= 0.5;
    }
    return sum;
}

double smoothStep(double edge0, double edge1, double x) {
    double const t = std::clamp((x - edge0) / (edge1 - edge0), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

// The river's meander: two sine waves of seeded phase.
struct River {
    double width; // grid width in cells
    double height;
    double phase1, phase2;

    double centre(double row) const {
        double const v = row / height;
        return width * (0.5 + 0.08 * std::sin(2.0 * std::numbers::pi * v + phase1) +
                        0.03 * std::sin(2.0 * std::numbers::pi * 2.3 * v + phase2));
    }
    // Change of the centre column per row.
    double slope(double row) const {
        double const v = row / height;
        return width / height * 2.0 * std::numbers::pi *
               (0.08 * std::cos(2.0 * std::numbers::pi * v + phase1) +
                0.03 * 2.3 * std::cos(2.0 * std::numbers::pi * 2.3 * v + phase2));
    }
    // Signed distance across the river, in cells, positive to the east.
    double across(double column, double row) const {
        return (column - centre(row)) / std::sqrt(1.0 + slope(row) * slope(row));
    }
};

double plainLevel(double v) { return 220.0 + 50.0 * (1.0 - v); }

double firstSurvey(River const& river, std::uint64_t seed, double halfWidth, double scale, double column, double row) {
    double const v = row / river.height;
    double const d = river.across(column, row) / halfWidth;
    double const valley = std::exp(-(d / 3.0) * (d / 3.0));
    double const noise = fractalRelief(seed, column, row, scale);
    double const floorLevel = plainLevel(v) - valleyBelowPlain + 0.1 * noise - channelDepth * std::max(0.0, 1.0 - d * d);
    return (1.0 - valley) * (plainLevel(v) + noise) + valley * floorLevel;
}

// Height change from the first to the second survey.
double change(River const& river, double halfWidth, double column, double row) {
    double const v = row / river.height;
    double const d = std::abs(river.across(column, row)) / halfWidth;
    double const bank = (d - 1.2) / 0.5;
    double const erosion = -1.5 * std::exp(-bank * bank) * (1.0 - smoothStep(0.6, 0.7, v));

    double const scarRow = 0.5 * river.height;
    double const scarRadius = std::max(3.0, 2.5 * halfWidth);
    double const sx = (column - (river.centre(scarRow) + 4.0 * halfWidth)) / scarRadius;
    double const sy = (row - scarRow) / (0.6 * scarRadius);
    double const scar = -3.0 * std::max(0.0, 1.0 - sx * sx - sy * sy);

    double const apexRow = 0.8 * river.height;
    double const fanRadius = 0.12 * std::min(river.width, river.height);
    double const fx = (column - river.centre(apexRow)) / fanRadius;
    double const fy = (row - apexRow) / fanRadius;
    double const fan = row >= apexRow ? 2.5 * std::max(0.0, 1.0 - fx * fx - fy * fy) : 0.0;

    return erosion + scar + fan;
}

bool isHole(River const& river, std::uint64_t seed, double halfWidth, double column, double row) {
    double const u = column / river.width;
    double const v = row / river.height;
    if (u > 0.94 && v < 0.3) {
        return true;
    }
    double const lakeRow = 0.3 * river.height;
    double const lx = (column - river.centre(lakeRow)) / std::max(3.0 * halfWidth, 0.06 * river.width);
    double const ly = (row - lakeRow) / (0.05 * river.height);
    if (lx * lx + ly * ly < 1.0) {
        return true;
    }
    return unit(hash(seed, 99, static_cast<std::uint64_t>(column), static_cast<std::uint64_t>(row))) < 0.005;
}

} // namespace

DemoTerrain generateDemoTerrain(std::uint32_t width, std::uint32_t height, std::uint64_t seed) {
    if (width < 16 || height < 16) {
        throw std::invalid_argument("generateDemoTerrain: the grid must be at least 16 x 16");
    }
    River const river{static_cast<double>(width), static_cast<double>(height),
                      2.0 * std::numbers::pi * unit(hash(seed, 1, 0, 0)),
                      2.0 * std::numbers::pi * unit(hash(seed, 2, 0, 0))};
    double const halfWidth = std::max(2.0, river.width / 60.0);
    double const scale = 0.25 * std::max(river.width, river.height);

    std::size_t const cells = std::size_t{width} * height;
    DemoTerrain terrain{width, height, 477000.0, 4412000.0 + spacing * height, spacing, {}, {}, {}, {}};
    terrain.before.resize(cells);
    terrain.after.resize(cells);
    terrain.holes.resize(cells);
    terrain.channelColumn.resize(height);
    for (std::uint32_t row = 0; row < height; ++row) {
        terrain.channelColumn[row] = river.centre(row);
        for (std::uint32_t column = 0; column < width; ++column) {
            std::size_t const i = std::size_t{row} * width + column;
            double const first = firstSurvey(river, seed, halfWidth, scale, column, row);
            terrain.before[i] = static_cast<float>(first);
            terrain.after[i] = static_cast<float>(first + change(river, halfWidth, column, row));
            terrain.holes[i] = isHole(river, seed, halfWidth, column, row) ? 1 : 0;
        }
    }
    return terrain;
}

std::vector<std::uint16_t> depositionMarkers(DemoTerrain const& terrain, std::uint32_t layers, float layerThickness) {
    std::size_t const cells = terrain.before.size();
    std::vector<std::uint16_t> markers(cells * layers, 0);
    for (std::size_t i = 0; i < cells; ++i) {
        if (terrain.holes[i] != 0) {
            continue;
        }
        float const deposit = terrain.after[i] - terrain.before[i];
        for (std::uint32_t k = 0; k < layers && deposit >= static_cast<float>(k + 1) * layerThickness; ++k) {
            markers[k * cells + i] = 1;
        }
    }
    return markers;
}

} // namespace rastrum_host
