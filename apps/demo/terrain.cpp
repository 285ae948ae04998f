#include "terrain.hpp"

#include <cmath>

namespace demo {
namespace {

constexpr double lakeLevel = 118.0;

double bump(double u, double v, double cu, double cv, double radius, double peak) {
    double const d2 = ((u - cu) * (u - cu) + (v - cv) * (v - cv)) / (radius * radius);
    return peak * std::exp(-d2);
}

// A cheap, repeatable hash of a point, for scattered dropouts.
std::uint64_t hash(std::uint64_t x, std::uint64_t y) {
    std::uint64_t h = x * 0x9E3779B97F4A7C15ull ^ (y + 0x632BE59BD9B4E019ull) * 0xC2B2AE3D27D4EB4Full;
    h ^= h >> 29;
    h *= 0xBF58476D1CE4E5B9ull;
    return h ^ (h >> 32);
}

float elevation(double u, double v) {
    double const plane = 100.0 + 40.0 * u + 15.0 * v;
    double const hills = bump(u, v, 0.25, 0.3, 0.15, 80.0) + bump(u, v, 0.7, 0.65, 0.2, 120.0) +
                         bump(u, v, 0.8, 0.2, 0.08, 35.0);
    double const valley = -bump(u, v, 0.45, 0.75, 0.12, 45.0);
    double const ripples = 2.0 * std::sin(40.0 * u) * std::cos(33.0 * v);
    return static_cast<float>(plane + hills + valley + ripples);
}

} // namespace

float Terrain::heightAt(std::uint64_t x, std::uint64_t y) const { return elevation(u(x), v(y)); }

unsigned char Terrain::cellTypeAt(std::uint64_t x, std::uint64_t y) const {
    if (u(x) > 0.93 && v(y) < 0.4) {
        return OutsideSurvey;
    }
    if (heightAt(x, y) < lakeLevel) {
        return Water;
    }
    auto const h = hash(x, y) % 1000;
    if (h < 7) {
        return NoReturn;
    }
    if (h < 40) {
        return Interpolated;
    }
    return Ground;
}

} // namespace demo
