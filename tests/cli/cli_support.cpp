#include "cli_support.hpp"

#include <gtest/gtest.h>

#include <cpl_conv.h>
#include <ogr_srs_api.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace cli_testing {
namespace fs = std::filesystem;

namespace {

std::string quoted(std::string const& argument) {
    std::string text = "'";
    for (char c : argument) {
        text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return text + "'";
}

} // namespace

std::string contents(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void expectSameValues(std::vector<double> const& actual, std::vector<double> const& expected, std::string const& what) {
    ASSERT_EQ(actual.size(), expected.size()) << what;
    int mismatches = 0;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        bool const same = std::isnan(expected[i]) ? std::isnan(actual[i])
                                                  : std::bit_cast<std::uint64_t>(actual[i]) ==
                                                        std::bit_cast<std::uint64_t>(expected[i]);
        if (!same && ++mismatches <= 3) {
            ADD_FAILURE() << what << ": cell " << i << " is " << actual[i] << ", expected " << expected[i];
        }
    }
    EXPECT_EQ(mismatches, 0) << what;
}

std::vector<std::string> elevationSamples() {
    std::vector<std::string> found;
    std::error_code missing;
    for (auto const& entry : fs::directory_iterator(RASTRUM_DATA, missing)) {
        if (entry.path().extension() == ".asc") {
            found.push_back(entry.path().string());
        }
    }
    std::ranges::sort(found);
    return found;
}

TempFolder::TempFolder() {
    std::string name = (fs::temp_directory_path() / "rastrum-cli-test-XXXXXX").string();
    path_ = ::mkdtemp(name.data());
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::vector<std::string> TempFolder::entries() const {
    std::vector<std::string> names;
    for (auto const& entry : fs::directory_iterator(path_)) {
        names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
}

RasterOnDisk uniform(int width, int height, int bands, GDALDataType type, double value) {
    return {width, height, bands, type, std::vector<double>(static_cast<std::size_t>(width * height * bands), value), {},
            {}, {}};
}

RasterOnDisk terrain(int width, int height, double tilt) {
    auto raster = uniform(width, height, 1, GDT_Float32, 0.0);
    raster.transform = TestTransform;
    raster.crsWkt = utmWkt();
    raster.nodata = Nodata;
    for (int row = 0; row < height; ++row) {
        for (int x = 0; x < width; ++x) {
            bool const hole = (x * 7 + row * 13) % 29 == 0 || (x >= 5 && x < 9 && row >= 3 && row < 6);
            double const h = 1500.0 + 20.0 * std::sin(0.3 * x) + (0.8 + tilt) * row + ((x * 31 + row * 17) % 11) * 0.37;
            raster.values[static_cast<std::size_t>(x + width * row)] = hole ? Nodata : static_cast<float>(h);
        }
    }
    return raster;
}

void writeRaster(std::string const& path, RasterOnDisk const& raster, char const* driver) {
    GDALAllRegister();
    GDALDatasetH const memory =
        GDALCreate(GDALGetDriverByName("MEM"), "", raster.width, raster.height, raster.bands, raster.type, nullptr);
    if (GDALDatasetRasterIO(memory, GF_Write, 0, 0, raster.width, raster.height, const_cast<double*>(raster.values.data()),
                            raster.width, raster.height, GDT_Float64, raster.bands, nullptr, 0, 0, 0) != CE_None) {
        throw std::runtime_error("cannot fill a test raster");
    }
    for (int band = 1; raster.nodata && band <= raster.bands; ++band) {
        GDALSetRasterNoDataValue(GDALGetRasterBand(memory, band), *raster.nodata);
    }
    if (raster.transform) {
        auto transform = *raster.transform;
        GDALSetGeoTransform(memory, transform.data());
    }
    GDALSetProjection(memory, raster.crsWkt.c_str());
    GDALDatasetH const written =
        GDALCreateCopy(GDALGetDriverByName(driver), path.c_str(), memory, FALSE, nullptr, nullptr, nullptr);
    if (!written) {
        throw std::runtime_error("cannot write the test raster " + path);
    }
    GDALClose(written);
    GDALClose(memory);
}

RasterRead readRaster(std::string const& path) {
    GDALAllRegister();
    GDALDatasetH const dataset = GDALOpen(path.c_str(), GA_ReadOnly);
    if (!dataset) {
        throw std::runtime_error("GDAL cannot open " + path);
    }
    RasterRead read;
    read.width = GDALGetRasterXSize(dataset);
    read.height = GDALGetRasterYSize(dataset);
    read.bands = GDALGetRasterCount(dataset);
    read.type = GDALGetRasterDataType(GDALGetRasterBand(dataset, 1));
    std::array<double, 6> transform{};
    read.transform = GDALGetGeoTransform(dataset, transform.data()) == CE_None ? std::optional(transform) : std::nullopt;
    read.crsWkt = GDALGetProjectionRef(dataset);
    int hasNodata = 0;
    double const nodata = GDALGetRasterNoDataValue(GDALGetRasterBand(dataset, 1), &hasNodata);
    read.nodata = hasNodata ? std::optional(nodata) : std::nullopt;
    read.values.resize(static_cast<std::size_t>(read.width) * static_cast<std::size_t>(read.height * read.bands));
    if (GDALDatasetRasterIO(dataset, GF_Read, 0, 0, read.width, read.height, read.values.data(), read.width,
                            read.height, GDT_Float64, read.bands, nullptr, 0, 0, 0) != CE_None) {
        throw std::runtime_error("cannot read " + path);
    }
    GDALClose(dataset);
    return read;
}

bool sameCrs(std::string const& a, std::string const& b) {
    OGRSpatialReferenceH const first = OSRNewSpatialReference(a.c_str());
    OGRSpatialReferenceH const second = OSRNewSpatialReference(b.c_str());
    bool const same = first && second && OSRIsSame(first, second);
    OSRDestroySpatialReference(first);
    OSRDestroySpatialReference(second);
    return same;
}

std::string epsgWkt(int code) {
    OGRSpatialReferenceH const srs = OSRNewSpatialReference(nullptr);
    OSRImportFromEPSG(srs, code);
    char* wkt = nullptr;
    OSRExportToWkt(srs, &wkt);
    std::string text = wkt;
    CPLFree(wkt);
    OSRDestroySpatialReference(srs);
    return text;
}

std::string commandLine(std::vector<std::string> const& arguments) {
    std::string command = quoted(RASTRUM_CLI);
    for (auto const& argument : arguments) {
        command += " " + quoted(argument);
    }
    return command;
}

Run rastrum(std::vector<std::string> const& arguments, std::string const& around) {
    TempFolder streams;
    std::string command = around;
    command.replace(command.find("{}"), 2,
                    commandLine(arguments) + " >" + quoted(streams / "out") + " 2>" + quoted(streams / "err"));
    int const status = std::system(command.c_str());
    Run run;
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = contents(streams.path() / "out");
    run.err = contents(streams.path() / "err");
    return run;
}

void expectRefused(std::vector<std::string> const& arguments, std::vector<std::string> const& said,
                   std::string const& around) {
    auto const run = rastrum(arguments, around);
    EXPECT_EQ(run.status, 2) << run.err;
    for (auto const& text : said) {
        EXPECT_NE(run.err.find(text), std::string::npos) << "'" << text << "' not in: " << run.err;
    }
    EXPECT_EQ(run.err.find(".rastrum-"), std::string::npos) << "names a staging folder: " << run.err;
}

} // namespace cli_testing
