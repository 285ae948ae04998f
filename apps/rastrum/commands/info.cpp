#include "commands/info.hpp"

#include <ogr_srs_api.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

#include "io/gdal_dataset.hpp"

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
    }
}

} // namespace

std::string describeRaster(std::string const& path, ReadOptions const& options, Tiling const& tiling) {
    std::ostringstream out;
    out.precision(10);
    describeFile(out, path, options.terrainRgb ? 1 : options.band);

    auto const input = readHeights(path, options);
    auto const& heights = input.heights.values;
    std::size_t holes = 0;
    std::size_t used = 0;
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    double sum = 0.0;
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
    out << "Holes:       " << holes << " of " << heights.size() << " cells\n";
    out << "Heights:     ";
    if (low <= high) {
        out << "min " << low << ", max " << high << ", mean " << sum / static_cast<double>(used) << " (data cells"
            << (options.terrainRgb ? ", decoded from terrain-RGB)\n" : ")\n");
    } else {
        out << "no data cells\n";
    }

    auto const overlap = tiling.overlap.value_or(0);
    TiledGrid const plan({input.heights.width, input.heights.height, 1u}, GridPlacement{}, tiling.fragmentSize, overlap);
    auto const& counts = plan.fragmentCounts();
    out << "Fragments:   " << counts[0] << " x " << counts[1] << " = " << counts.product() << " of up to "
        << tiling.fragmentSize << " x " << tiling.fragmentSize << " points, overlap " << overlap << '\n';
    return out.str();
}

} // namespace rastrum_host
