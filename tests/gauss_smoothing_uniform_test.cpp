#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "Rastrum.hpp"
#include "Velum/UniformGridBuilder.hpp"
#include "support/capture.hpp"
#include "support/grids.hpp"
#include "support/threads.hpp"
#include "gauss/marker_density.hpp"

using testing_support::ConsoleCapture;
using testing_support::Index;

namespace {

template <class MarkerAt>
Velum::UniformGridBuilder markerGrid(Index points, Index perFragment, std::string const& name, MarkerAt markerAt) {
    Velum::UniformGridBuilder builder(testing_support::layoutOf(points, perFragment));
    builder.addField<unsigned short>(name, [&](Index const& p) { return static_cast<unsigned short>(markerAt(p)); });
    return builder;
}

std::string smooth(Velum::BundlePtr& bundle, std::string name,
                   Lumen::StrongPtr<Lumen::LoaderProgress> const& progress = nullptr) {
    return Rastrum::gausSmoothingUniform3D(bundle, name, progress);
}

std::vector<float> densityOf(Velum::UniformGridBuilder const& grid, std::string const& name) {
    Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const field = (*grid.grid())(name);
    return field ? testing_support::gather(grid, *field, -1.0f) : std::vector<float>{};
}

} // namespace

TEST(GausSmoothingUniform3D, OverlappingBlobsAreSummedAndScaledByTheFragmentPeak) {
    Index const points(6u, 5u, 5u);
    std::set<std::vector<unsigned>> const markers{{2, 2, 2}, {3, 2, 2}, {0, 1, 1}};  // the last lies in the band
    auto const grid = markerGrid(points, points, "Mask", [&](Index const& p) {
        return markers.contains({unsigned(p[0]), unsigned(p[1]), unsigned(p[2])}) ? 1 : 0;
    });
    auto bundle = Velum::BundlePtr::create();
    (*bundle)[0.0]->setGrid("g", grid.grid());
    auto const progress = Lumen::makeStrong<testing_support::ProgressRecorder>();
    EXPECT_EQ(smooth(bundle, "Mask", progress), "");
    std::vector<testing_support::Report> const reports{{"Applying Sobel to current Fragment # ", 0, 1}};
    EXPECT_EQ(progress->reports(), reports);

    // The blobs of the two inner markers, in double precision.
    std::vector<double> sum(150, 0.0);
    for (auto const& m : {std::array{2, 2, 2}, std::array{3, 2, 2}}) {
        for (int dz = -1; dz <= 1; ++dz) {
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    sum[std::size_t(m[0] + dx + 6 * (m[1] + dy) + 30 * (m[2] + dz))] +=
                        std::exp(-0.5 * (dx * dx + dy * dy + dz * dz)) * std::pow(2 * M_PI, -1.5);
                }
            }
        }
    }
    double const peak = *std::max_element(sum.begin(), sum.end());
    auto const density = densityOf(grid, "Mask_Iso");
    for (unsigned p = 0; p < 150; ++p) {
        unsigned const x = p % 6, y = p / 6 % 5, z = p / 30;
        bool const band = x == 0 || y == 0 || z == 0 || x == 5 || y == 4 || z == 4;
        EXPECT_NEAR(density[p], band ? 0.0 : sum[p] / peak, 1e-6) << x << "," << y << "," << z;
    }
}

TEST(GausSmoothingUniform3D, FragmentsWithoutInnerMarkersOrTooThinStayEmpty) {
    // Two fragments of 4 x 4 x 4 and one of 2 points along x; markers only in bands.
    auto const grid = markerGrid(Index(10u, 4u, 4u), Index(4u, 4u, 4u), "Mask",
                                 [](Index const& p) { return p[0] % 4 == 0 || p[0] >= 8 ? 1 : 0; });
    auto bundle = Velum::BundlePtr::create();
    (*bundle)[0.0]->setGrid("g", grid.grid());
    EXPECT_EQ(smooth(bundle, "Mask"), "");
    Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const iso = (*grid.grid())("Mask_Iso");
    ASSERT_TRUE(iso);
    EXPECT_EQ(iso->getFragmentIDs().size(), 2u) << "the thin fragment is skipped";
    auto const density = densityOf(grid, "Mask_Iso");
    EXPECT_EQ(std::count(density.begin(), density.end(), 0.0f), 128);
}

TEST(GausSmoothingUniform3D, MatchingNamesSkipSobelOutputsAndStayForLaterGrids) {
    Index const points(3u, 3u, 3u);
    auto const centre = [](Index const& p) { return p == Index(1u, 1u, 1u) ? 1 : 0; };
    auto const onlySobel = markerGrid(points, points, "Mask_Sobel", centre);
    auto const partial = markerGrid(points, points, "Marks", centre);
    partial.addField<unsigned short>("Marks_Sobel", [&](Index const& p) { return static_cast<unsigned short>(centre(p)); });
    auto const later = markerGrid(points, points, "Marks", centre);
    later.addField<unsigned short>("Mango", [](Index const&) -> unsigned short { return 0; });
    auto bundle = Velum::BundlePtr::create();
    (*bundle)[0.0]->setGrid("a", onlySobel.grid());
    (*bundle)[0.0]->setGrid("b", partial.grid());
    (*bundle)[1.0]->setGrid("c", later.grid());

    EXPECT_EQ(smooth(bundle, "Ma"), "");
    EXPECT_FALSE((*onlySobel.grid())("Mask_Sobel_Iso")) << "a name with Sobel is never smoothed";
    EXPECT_EQ(densityOf(partial, "Marks_Iso")[13], 1.0f);
    EXPECT_EQ(densityOf(later, "Marks_Iso")[13], 1.0f) << "the adopted name carries over to later slices";
    EXPECT_FALSE((*later.grid())("Mango_Iso")) << "\"Ma\" alone would have matched Mango first";
}

TEST(GausSmoothingUniform3D, AThrowingProgressSinkEndsTheCallWithAMessage) {
    Index const points(3u, 3u, 3u);
    auto const grid = markerGrid(points, points, "M", [](Index const&) { return 1; });
    auto bundle = Velum::BundlePtr::create();
    (*bundle)[0.0]->setGrid("g", grid.grid());
    EXPECT_EQ(smooth(bundle, "M", Lumen::makeStrong<testing_support::ThrowingProgress>()), "Fragments left unfinished");
}

TEST(GausSmoothingUniform3D, AMissingInputLeavesAnEmptyOutputAndBreaksTheIteration) {
    Index const points(3u, 3u, 3u);
    auto const grid = markerGrid(points, points, "Other", [](Index const&) { return 0; });
    grid.grid()->getCartesianRepresentation()->setField("Mask", Lumen::makeStrong<Velum::Field>());
    auto bundle = Velum::BundlePtr::create();
    (*bundle)[0.0]->setGrid("g", grid.grid());
    ConsoleCapture console;

    EXPECT_EQ(smooth(bundle, "Mask"), "\nBroken Slice-Iterator");
    EXPECT_EQ(console.lines(), std::vector<std::string>{"Can not find field:Mask"});
    Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const iso = (*grid.grid())("Mask_Iso");
    ASSERT_TRUE(iso);
    EXPECT_TRUE(iso->getFragmentIDs().empty());

    Velum::BundlePtr empty;
    EXPECT_EQ(smooth(empty, "Mask"), "Bundle need to be bound or is NullPtr");
}

TEST(MarkerDensity, EqualsBlobsStampedMarkerByMarkerBitForBitOnAnyTeam) {
    // Dense random markers, so that single-precision sums depend on their
    // order; enough rows for the team to share them.
    std::uint64_t const nx = 41, ny = 37, nz = 23, n = nx * ny * nz;
    std::vector<unsigned short> markers(n);
    for (std::uint64_t p = 0; p < n; ++p) {
        markers[p] = static_cast<unsigned short>((p * 2654435761u >> 7) % 3 == 0 ? 1 + p % 5 : 0);
    }
    // Each marker stamps its blob in marker order; the peak is the largest
    // value any sum reached.
    auto const kernel = Rastrum::markerKernel();
    std::vector<float> sum(n, 0.0f);
    double peak = 0.0;
    auto const at = [&](std::uint64_t x, std::uint64_t y, std::uint64_t z) { return (z * ny + y) * nx + x; };
    for (std::uint64_t z = 0; z + 2 < nz; ++z) {
        for (std::uint64_t y = 0; y + 2 < ny; ++y) {
            for (std::uint64_t x = 0; x + 2 < nx; ++x) {
                for (std::uint64_t o = 0; markers[at(x + 1, y + 1, z + 1)] != 0 && o < 27; ++o) {
                    float& entry = sum[at(x + o % 3, y + o / 3 % 3, z + o / 9)];
                    entry += kernel[o];
                    peak = std::max(peak, static_cast<double>(entry));
                }
            }
        }
    }
    std::vector<float> expected(n, 0.0f);
    for (std::uint64_t p = 0; p < n; ++p) {
        auto const x = p % nx, y = p / nx % ny, z = p / (nx * ny);
        bool const inner = x > 0 && y > 0 && z > 0 && x + 1 < nx && y + 1 < ny && z + 1 < nz;
        expected[p] = inner && sum[p] > 0 ? static_cast<float>(static_cast<double>(sum[p]) * (1.0 / peak)) : 0.0f;
    }
    for (int const threads : {1, 2}) {
        auto const density = testing_support::withThreads(threads, [&] {
            std::vector<float> out(n, -1.0f);
            Rastrum::markerDensity(markers.data(), nx, ny, nz, out.data());
            return out;
        });
        EXPECT_TRUE(density == expected) << threads << " threads";
    }
}
