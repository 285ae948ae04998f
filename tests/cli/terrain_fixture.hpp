#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "Velum/UniformGridBuilder.hpp"
#include "cli_support.hpp"
#include "support/grids.hpp"

// Generated test terrain and the library called on it directly, with the
// grid built here rather than by the host.
namespace cli_testing {

inline std::array<double, 6> const TestTransform{477000.0, 2.0, 0.0, 4412000.0, 0.0, -2.0};
inline double constexpr Nodata = -9999.0;

// Rolling heights with a rough texture; nodata on a diagonal pattern and in a
// block, as a survey with dropouts and a gap.
inline RasterOnDisk terrain(int width, int height, double tilt = 0.0) {
    auto raster = uniform(width, height, 1, GDT_Float32, 0.0);
    raster.values.clear();
    raster.transform = TestTransform;
    raster.crsWkt = utmWkt();
    raster.nodata = Nodata;
    for (int row = 0; row < height; ++row) {
        for (int x = 0; x < width; ++x) {
            bool const hole = (x * 7 + row * 13) % 29 == 0 || (x >= 5 && x < 9 && row >= 3 && row < 6);
            double const h = 1500.0 + 20.0 * std::sin(0.3 * x) + (0.8 + tilt) * row + ((x * 31 + row * 17) % 11) * 0.37;
            raster.values.push_back(hole ? Nodata : static_cast<float>(h));
        }
    }
    return raster;
}

// The grid of a raster as the library expects it: x east, y north (file rows
// reversed), "Height" as float with NaN at nodata and "CellType" 1 there.
inline Velum::UniformGridBuilder directGrid(RasterOnDisk const& raster, std::uint64_t fragment, std::uint64_t overlap = 0) {
    auto const& t = *raster.transform;
    auto const w = static_cast<std::uint64_t>(raster.width);
    auto const h = static_cast<std::uint64_t>(raster.height);
    Velum::UniformGridBuilder builder({.points = {w, h, 1u},
                                       .pointsPerFragment = {fragment, fragment, 1u},
                                       .overlap = {overlap, overlap, 0u},
                                       .origin = {t[0] + t[1] / 2, t[3] + (static_cast<double>(h) - 0.5) * t[5], 0.0},
                                       .spacing = {t[1], -t[5], 1.0}});
    auto const valueAt = [&](testing_support::Index const& p) { return raster.values[p[0] + w * (h - 1 - p[1])]; };
    builder.addField<float>("Height", [&](testing_support::Index const& p) {
        return valueAt(p) == Nodata ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(valueAt(p));
    });
    builder.addField<unsigned char>("CellType", [&](testing_support::Index const& p) {
        return static_cast<unsigned char>(valueAt(p) == Nodata ? 1 : 0);
    });
    return builder;
}

// A field of a direct grid in file order (rows reversed in every layer), as doubles.
template <class T>
std::vector<double> inFileOrder(Velum::UniformGridBuilder const& builder, Velum::RegularlyFragmentedField<3> const& field,
                                T missing) {
    auto const values = testing_support::gather<T>(builder, field, missing);
    testing_support::Index const size =
        Lumen::StrongPtr<Velum::UniformCartesianArray>(builder.positions()->getData())->Size();
    std::vector<double> file(values.size());
    testing_support::Index p;
    do {
        file[p[0] + size[0] * ((size[1] - 1 - p[1]) + size[1] * p[2])] = static_cast<double>(values[p.linear(size)]);
    } while (p.inc(size));
    return file;
}

} // namespace cli_testing
