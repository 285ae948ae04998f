#include "terrain.hpp"

#include <cmath>

namespace bench {
namespace {

// A repeatable hash of a point and an epoch, for noise and dropouts.
std::uint64_t hash(std::uint64_t x, std::uint64_t y, std::uint64_t epoch) {
    std::uint64_t h = x * 0x9E3779B97F4A7C15ull ^ (y + 0x632BE59BD9B4E019ull) * 0xC2B2AE3D27D4EB4Full;
    h ^= (epoch + 1) * 0xD6E8FEB86659FD93ull;
    h ^= h >> 29;
    h *= 0xBF58476D1CE4E5B9ull;
    return h ^ (h >> 32);
}

double unit(std::uint64_t h) { return static_cast<double>(h >> 11) * 0x1.0p-53; }

double bump(double u, double v, double cu, double cv, double radius, double peak) {
    double const d2 = ((u - cu) * (u - cu) + (v - cv) * (v - cv)) / (radius * radius);
    return peak * std::exp(-d2);
}

double relief(double u, double v, unsigned epoch) {
    double const plane = 100.0 + 40.0 * u + 15.0 * v;
    double const hills = bump(u, v, 0.25, 0.3, 0.15, 80.0) + bump(u, v, 0.7, 0.65, 0.2, 120.0) +
                         bump(u, v, 0.8, 0.2, 0.08, 35.0) - bump(u, v, 0.45, 0.75, 0.12, 45.0);
    double const ripples = 2.0 * std::sin(40.0 * u) * std::cos(33.0 * v);
    double const slide = epoch > 0 ? -3.0 * bump(u, v, 0.62, 0.55, 0.05, 1.0) : 0.0;
    return plane + hills + ripples + slide;
}

// Hole patches as discs in unit coordinates; eight of radius 0.035 cover
// about 3 % of the survey.
constexpr unsigned PATCHES = 8;
constexpr double PATCH_RADIUS = 0.035;

unsigned char patchCode(double u, double v, unsigned epoch) {
    for (unsigned i = 0; i < PATCHES; ++i) {
        double const cu = 0.05 + 0.9 * unit(hash(i, 17, epoch));
        double const cv = 0.05 + 0.9 * unit(hash(i, 29, epoch));
        if ((u - cu) * (u - cu) + (v - cv) * (v - cv) < PATCH_RADIUS * PATCH_RADIUS) {
            return i % 2 == 0 ? 3 : 1;
        }
    }
    return 0;
}

unsigned char codeAt(std::uint64_t x, std::uint64_t y, double u, double v, unsigned epoch) {
    if (auto const patch = patchCode(u, v, epoch)) {
        return patch;
    }
    auto const draw = hash(x, y, epoch) % 1000;
    if (draw < 20) {
        return 2;
    }
    return draw < 50 ? 4 : 0;
}

} // namespace

Survey generateSurvey(std::uint64_t n, unsigned epoch) {
    Survey survey{n, std::vector<float>(n * n), std::vector<unsigned char>(n * n)};
    double const step = 1.0 / static_cast<double>(n);
    for (std::uint64_t y = 0; y < n; ++y) {
        double const v = static_cast<double>(y) * step;
        for (std::uint64_t x = 0; x < n; ++x) {
            double const u = static_cast<double>(x) * step;
            double const noise = 0.5 * unit(hash(x, y, epoch + 100)) - 0.25;
            survey.height[x + n * y] = static_cast<float>(relief(u, v, epoch) + noise);
            survey.codes[x + n * y] = codeAt(x, y, u, v, epoch);
        }
    }
    return survey;
}

std::vector<unsigned short> generateMarkers(std::uint64_t n) {
    std::vector<unsigned short> markers(n * n * n);
    double const step = 1.0 / static_cast<double>(n);
    std::uint64_t at = 0;
    for (std::uint64_t z = 0; z < n; ++z) {
        for (std::uint64_t y = 0; y < n; ++y) {
            for (std::uint64_t x = 0; x < n; ++x, ++at) {
                double const u = static_cast<double>(x) * step - 0.4;
                double const v = static_cast<double>(y) * step - 0.45;
                double const w = static_cast<double>(z) * step - 0.5;
                double const ellipsoid = (u - 0.3) * (u - 0.3) / 0.01 + v * v / 0.04 + w * w / 0.0225;
                if (u * u + v * v + w * w < 0.2 * 0.2) {
                    markers[at] = 1;
                } else if (ellipsoid < 1.0) {
                    markers[at] = 2;
                } else if (hash(x, y, z) % 1000 < 5) {
                    markers[at] = 3;
                }
            }
        }
    }
    return markers;
}

} // namespace bench
