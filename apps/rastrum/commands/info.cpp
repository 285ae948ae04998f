#include "commands/info.hpp"

#include <ogr_srs_api.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

#include "io/gdal_dataset.hpp"
#include "io/raster_reader.hpp"
#include "tiling/tiled_grid.hpp"

namespace rastrum_host {
namespace {

std::string crsName(std::string const& wkt) {
    if (wkt.empty()) {
        return "none";
    }
    OGRSpatialReferenceH const srs = OSRNewSpatialReference(wkt.c_str());
    char const* name = srs ? OSRGetName(srs) : nullptr;
    std::string const result = name ? name : "unnamed";
    OSRDestroySpatialReference(srs);
    return result;
}

void describeFile(std::ostream& out, std::string const& path, int band) {
    auto const dataset = openRaster(path);
    GDALDatasetH const ds = dataset.get();
    out << "File:        " << path << " (" << GDALGetDriverShortName(GDALGetDatasetDriver(ds)) << ")\n";
    out << "Size:        " << GDALGetRasterXSize(ds) << " x " << GDALGetRasterYSize(ds) << " cells, "
        << GDALGetRasterCount(ds) << " band(s)\n";
    out << "Band types: ";
    for (int b = 1; b <= GDALGetRasterCount(ds); ++b) {
        out << ' ' << GDALGetDataTypeName(GDALGetRasterDataType(GDALGetRasterBand(ds, b)));
    }
    out << '\n';
    auto const georef = georeferenceOf(ds);
    auto const& t = georef.transform;
    if (georef.hasTransform) {
        out << "Origin:      " << t[0] << ", " << t[3] << " (corner of the first cell)\n";
        out << "Cell size:   " << t[1] << " x " << t[5];
        if (t[2] != 0.0 || t[4] != 0.0) {
            out << ", rotated by " << t[2] << ", " << t[4];
        }
        out << '\n';
    } else {
        out << "Origin:      none (no georeferencing)\n";
    }
    out << "CRS:         " << crsName(georef.crsWkt) << '\n';
    if (band >= 1 && band <= GDALGetRasterCount(ds)) {
        int hasNodata = 0;
        double const nodata = GDALGetRasterNoDataValue(GDALGetRasterBand(ds, band), &hasNodata);
        out << "Nodata:      ";
        if (hasNodata) {
            out << nodata << '\n';
        } else {
            out << "none\n";
        }
        if (auto const scaling = scalingOf(GDALGetRasterBand(ds, band))) {
            out << "Scale:       " << scaling->scale << ", offset " << scaling->offset
                << " (heights = stored value x scale + offset)\n";
        }
    }
}

} // namespace

std::string describeRaster(std::string const& path, ReadOptions const& options, Tiling const& tiling) {
    std::ostringstream out;
    out.precision(10);
    describeFile(out, path, options.terrainRgb ? 1 : options.band);

    // Statistics a few hundred rows at a time, so that any size fits in memory.
    HeightReader const reader(path, options);
    std::size_t holes = 0;
    std::size_t used = 0;
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    double sum = 0.0;
    std::uint32_t const chunk = 256;
    for (std::uint32_t first = 0; first < reader.height(); first += chunk) {
        auto const input = reader.read(first, std::min(chunk, reader.height() - first));
        auto const& heights = input.heights.values;
        for (std::size_t i = 0; i < heights.size(); ++i) {
            if (isHole(input.cellTypes[i])) {
                ++holes;
                continue;
            }
            if (std::isnan(heights[i])) {
                continue;
            }
            ++used;
            low = std::min(low, double{heights[i]});
            high = std::max(high, double{heights[i]});
            sum += heights[i];
        }
    }
    std::uint64_t const cells = std::uint64_t{reader.width()} * reader.height();
    out << "Holes:       " << holes << " of " << cells << " cells\n";
    out << "Heights:     ";
    if (low <= high) {
        out << "min " << low << ", max " << high << ", mean " << sum / static_cast<double>(used) << " (data cells"
            << (options.terrainRgb ? ", decoded from terrain-RGB)\n" : ")\n");
    } else {
        out << "no data cells\n";
    }

    auto const overlap = tiling.overlap.value_or(0);
    checkTiling(tiling.fragmentSize, overlap);
    auto const columns = fragmentsAlong(reader.width(), tiling.fragmentSize, overlap);
    auto const rows = fragmentsAlong(reader.height(), tiling.fragmentSize, overlap);
    out << "Fragments:   " << columns << " x " << rows << " = " << columns * rows << " of up to "
        << tiling.fragmentSize << " x " << tiling.fragmentSize << " points, overlap " << overlap << '\n';
    return out.str();
}

} // namespace rastrum_host
