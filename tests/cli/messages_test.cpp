#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli_support.hpp"
#include "terrain_fixture.hpp"

using namespace cli_testing;

TEST(Messages, NameWhatIsWrongAndOnlyTheUsersPaths) {
    TempFolder folder;
    writeRaster(folder / "dem.tif", terrain(400, 300));
    std::string const dem = folder / "dem.tif";
    std::string const fileSizeLimit = "trap '' XFSZ; ulimit -f 64; {}"; // stands in for a full disk
    expectRefused({"smooth", dem, folder / "out.tif", "--fragment-size", "4"},
                  {"--fragment-size 4: not larger than smooth's default --overlap of 4 (window - 1"});
    expectRefused({"sobel", "-in.tif", folder / "out.tif"}, {"-in.tif", "./-in.tif"});
    expectRefused({"info", dem}, {"standard output", "No space left"}, "{} >/dev/full");
    expectRefused({"sobel", dem, folder / "out.tif", "-q"}, {folder / "out.tif", "File too large"}, fileSizeLimit);
    expectRefused({"sobel", dem, folder / "out.asc", "-q"}, {folder / "out.asc", "File too large"}, fileSizeLimit);
}
