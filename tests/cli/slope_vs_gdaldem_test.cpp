#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "cli_support.hpp"

using namespace cli_testing;

// On every elevation sample, `rastrum slope` leaves nodata at exactly the cells
// `gdaldem slope` does (a 3 x 3 window touching nodata or the edge), and its
// slope, from stencil weights 3-10-3 rather than 1-2-1, differs little.
TEST(SlopeVsGdaldem, SameNodataAndAMedianDifferenceBelowAQuarterDegree) {
    if (!std::filesystem::is_directory(RASTRUM_DATA)) {
        GTEST_SKIP() << "no sample folder " << RASTRUM_DATA;
    }
    if (std::system("command -v gdaldem > /dev/null") != 0) {
        GTEST_SKIP() << "gdaldem (Debian's gdal-bin) is not installed";
    }
    TempFolder const folder;
    for (auto const& [name, scale] : {std::pair{"pre_runout_DEM", "1"}, {"hugo_site", "1"}, {"west_bijou_gully", "1"},
                                      {"zSW3", "1"}, {"srtm_boulder_240x144", "111120"}}) {
        std::string const dem = std::string(RASTRUM_DATA) + "/" + name + ".asc";
        auto const ours = rastrum({"slope", dem, folder / "ours.tif", "-s", scale, "--overwrite", "-q"});
        ASSERT_EQ(ours.status, 0) << ours.err;
        std::string const command = "rm -f " + (folder / "gdal.tif") + "; gdaldem slope -q -s " + std::string(scale) + " " + dem + " " + (folder / "gdal.tif");
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
        auto const a = readRaster(folder / "ours.tif");
        auto const b = readRaster(folder / "gdal.tif");
        ASSERT_EQ(a.values.size(), b.values.size());
        std::vector<double> differences;
        std::size_t mismatched = 0;
        for (std::size_t i = 0; i < a.values.size(); ++i) {
            bool const gdalNodata = b.nodata && b.values[i] == *b.nodata;
            mismatched += std::isnan(a.values[i]) != gdalNodata ? 1u : 0u;
            if (!std::isnan(a.values[i]) && !gdalNodata) {
                differences.push_back(std::abs(a.values[i] - b.values[i]));
            }
        }
        ASSERT_FALSE(differences.empty()) << name;
        std::ranges::nth_element(differences, differences.begin() + static_cast<long>(differences.size() / 2));
        double const median = differences[differences.size() / 2];
        // Reported with the test's results (--gtest_output=xml and the console).
        RecordProperty(std::string(name) + "_median_degrees", std::to_string(median));
        std::printf("%s: median difference to gdaldem slope %.4f degrees over %zu cells\n", name, median,
                    differences.size());
        EXPECT_EQ(mismatched, 0u) << name;
        EXPECT_LT(median, 0.25) << name << " over " << differences.size() << " cells";
    }
}
