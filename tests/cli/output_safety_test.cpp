#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <gdal.h>

#include "cli_support.hpp"
#include "io/atomic_output.hpp"

using namespace cli_testing;
namespace fs = std::filesystem;

namespace {

class OutputSafety : public testing::Test {
protected:
    TempFolder folder;
    std::string dem = folder / "dem.tif";
    void SetUp() override { writeRaster(dem, terrain(40, 30)); }
};

} // namespace

// Side files already there are refused in refusals_test.cpp.
TEST_F(OutputSafety, SideFilesNameTheFinalPath) {
    EXPECT_EQ(rastrum({"mask", dem, folder / "g2.bil", "-of", "ENVI"}).status, 0);
    EXPECT_NE(contents(folder / "g2.hdr").find("{\n" + folder / "g2.bil}"), std::string::npos);
}

// Stale statistics or overviews beside an overwritten raster would be read as the new one's.
TEST_F(OutputSafety, AnOverwrittenRasterLosesTheOldOnesSideFiles) {
    auto const out = folder / "out.tif";
    ASSERT_EQ(rastrum({"sobel", dem, out, "-q"}).status, 0);
    GDALDatasetH const old = GDALOpen(out.c_str(), GA_ReadOnly);
    int const factor = 2;
    ASSERT_EQ(GDALBuildOverviews(old, "NEAREST", 1, &factor, 0, nullptr, nullptr, nullptr), CE_None);
    double statistics[4];
    GDALComputeRasterStatistics(GDALGetRasterBand(old, 1), FALSE, statistics, statistics + 1, statistics + 2,
                                statistics + 3, nullptr, nullptr);
    GDALClose(old);
    std::ofstream(folder / "out.txt") << "not a side file\n";
    ASSERT_EQ(folder.entries(), (std::vector<std::string>{"dem.tif", "out.tif", "out.tif.aux.xml", "out.tif.ovr",
                                                          "out.txt"}));
    ASSERT_EQ(rastrum({"mask", dem, out, "-q", "--overwrite"}).status, 0);
    EXPECT_EQ(folder.entries(), (std::vector<std::string>{"dem.tif", "out.tif", "out.txt"}));
}

TEST_F(OutputSafety, LeftOverStagingFoldersAreRemovedAndLiveOnesKept) {
    rastrum_host::AtomicOutput const live(folder / "live.tif", false); // held by this process
    for (auto const* name : {".rastrum-1-0", ".rastrum-Ab3dE9"}) {
        fs::create_directory(folder.path() / name);
        std::ofstream(folder.path() / name / "out.tif") << "half written\n";
    }
    EXPECT_EQ(rastrum({"sobel", dem, folder / "out.tif", "-q"}).status, 0);
    EXPECT_EQ(folder.entries(),
              (std::vector<std::string>{live.tmpPath().parent_path().filename().string(), "dem.tif", "out.tif"}));
}

TEST_F(OutputSafety, TwoRunsWritingOneNewOutputNeverBothSucceed) {
    auto const one = "(" + commandLine({"mask", dem, folder / "same.asc", "-q"}) + " 2>/dev/null; echo $? >>" +
                     folder / "statuses" + ")";
    auto const pairs = "for i in $(seq 12); do rm -f " + folder / "same.*" + "; " + one + " & " + one + "; wait; done";
    ASSERT_EQ(std::system(pairs.c_str()), 0);
    auto const statuses = contents(folder / "statuses");
    EXPECT_EQ(std::ranges::count(statuses, '0'), 12) << statuses;
    EXPECT_EQ(std::ranges::count(statuses, '2'), 12) << statuses;
}

TEST_F(OutputSafety, SignalsRemoveTheStagingFolderOnceACommitIsDone) {
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
        for (bool const committing : {false, true}) {
            pid_t const child = ::fork();
            if (child == 0) {
                rastrum_host::removeStagingOnSignals();
                rastrum_host::AtomicOutput output(folder / "out.tif", false);
                std::ofstream(output.tmpPath()) << "half written\n";
                std::optional<rastrum_host::CommitWindow> window;
                if (committing) {
                    window.emplace();
                }
                std::raise(signal); // held while the window is open
                std::ofstream(folder / "held") << "yes\n";
                window.reset();
                ::_exit(0);
            }
            int status = 0;
            ::waitpid(child, &status, 0);
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal;
            EXPECT_EQ(fs::remove(folder / "held"), committing) << signal;
            EXPECT_EQ(folder.entries(), std::vector<std::string>{"dem.tif"}) << signal;
        }
    }
}
