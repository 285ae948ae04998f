#pragma once

#include <gdal.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// Test rasters on disk, the rastrum binary as a subprocess, and results read
// back with GDAL.
namespace cli_testing {

// A fresh folder, removed with everything in it.
class TempFolder {
public:
    TempFolder();
    TempFolder(TempFolder const&) = delete;
    TempFolder& operator=(TempFolder const&) = delete;
    ~TempFolder();
    std::filesystem::path const& path() const { return path_; }
    std::string operator/(std::string const& name) const { return (path_ / name).string(); }
    // Names of the entries, hidden ones included, sorted.
    std::vector<std::string> entries() const;

private:
    std::filesystem::path path_;
};

// A raster on disk: band values in file order (row 0 north).
struct RasterOnDisk {
    int width = 0;
    int height = 0;
    int bands = 1;
    GDALDataType type = GDT_Float32;
    std::vector<double> values;
    std::optional<std::array<double, 6>> transform;
    std::string crsWkt;
    std::optional<double> nodata;
};
// A raster of one value everywhere, without georeferencing.
RasterOnDisk uniform(int width, int height, int bands, GDALDataType type, double value);

inline std::array<double, 6> const TestTransform{477000.0, 2.0, 0.0, 4412000.0, 0.0, -2.0};
inline double constexpr Nodata = -9999.0;
// Rolling Float32 heights with a rough texture, in a projected CRS; nodata on
// a diagonal pattern and in a block, as a survey with dropouts and a gap.
RasterOnDisk terrain(int width, int height, double tilt = 0.0);
void writeRaster(std::string const& path, RasterOnDisk const& raster, char const* driver = "GTiff");

// Everything GDAL tells about a raster: size, georeferencing, nodata (of band 1), values.
using RasterRead = RasterOnDisk;
RasterRead readRaster(std::string const& path);

bool sameCrs(std::string const& a, std::string const& b);
std::string epsgWkt(int code);
inline std::string utmWkt() { return epsgWkt(32613); }

struct Run {
    int status = -1;
    std::string out;
    std::string err;
};
// The rastrum binary with these arguments, quoted for the shell.
std::string commandLine(std::vector<std::string> const& arguments);
// Runs the rastrum binary with these arguments, in the shell text `around`
// where {} stands for the command with its output captured.
Run rastrum(std::vector<std::string> const& arguments, std::string const& around = "{}");
// Expects status 2 and every text of `said` in the message, which names no staging folder.
void expectRefused(std::vector<std::string> const& arguments, std::vector<std::string> const& said,
                   std::string const& around = "{}");

// The shared elevation samples (.asc files), sorted; none where they are missing.
std::vector<std::string> elevationSamples();

std::string contents(std::filesystem::path const& path);

// Equal, counting NaN as equal to NaN.
inline bool sameValue(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }
// Expects the same values bit for bit (any NaN matching any NaN); the first few mismatches are listed.
void expectSameValues(std::vector<double> const& actual, std::vector<double> const& expected,
                      std::string const& what = "");

} // namespace cli_testing
