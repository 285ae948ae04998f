#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "Rastrum.hpp"
#include "Velum/TriangularSurface.hpp"
#include "Velum/UniformGridBuilder.hpp"
#include "support/capture.hpp"
#include "support/grids.hpp"
#include "support/threads.hpp"
#include "triangulate/triangulate_fragment.hpp"

using testing_support::Index;
using Point = Tensa::PhysicalSpace::point;
using Velum::Triangle;

namespace {

float heightAt(Index const& p) { return static_cast<float>(p[0]) + 10.0f * static_cast<float>(p[1]) + 0.25f; }

template <class CodeAt>
Velum::UniformGridBuilder heightRaster(Velum::UniformGridLayout const& layout, CodeAt codeAt) {
    Velum::UniformGridBuilder builder(layout);
    builder.addField<float>("H", heightAt);
    builder.addField<unsigned char>("CellType", [&](Index const& p) { return static_cast<unsigned char>(codeAt(p)); });
    return builder;
}

auto const allData = [](Index const&) { return 0; };

struct Triangulation {
    Velum::BundlePtr source = Velum::BundlePtr::create();
    Velum::BundlePtr target = Velum::BundlePtr::create();
    Lumen::StrongPtr<testing_support::ProgressRecorder> progress =
        Lumen::makeStrong<testing_support::ProgressRecorder>();
    std::string field = "H";
    std::string surfaceName = "surface";

    void put(double time, std::string const& name, Velum::UniformGridBuilder const& builder) {
        (*source)[time]->setGrid(name, builder.grid());
    }
    std::string run(double time, std::string const& gridName = "") {
        return Rastrum::raster3DtoTri(source, target, field, surfaceName, progress, gridName, time);
    }
    Velum::TriangularSurface surface(double time) const {
        Velum::TriangularSurface view;
        auto const slice = target->slices().find(time);
        if (slice != target->slices().end() && slice->second->grids().contains(surfaceName)) {
            view.assign(slice->second->grids().at(surfaceName));
        }
        return view;
    }
};

std::vector<Triangle> trianglesOf(Velum::TriangularSurface const& surface) {
    return {surface.triangles()->values().begin(), surface.triangles()->values().end()};
}

} // namespace

TEST(Raster3DtoTri, TwoOverlappingFragmentsWithAHoleGiveTheHandWorkedMesh) {
    // 5 x 3 points at (10 + 2i, 20 + 3j), fragments x 0..2 and 2..4; point (2, 0) is a hole.
    auto const grid = heightRaster({.points = {5u, 3u, 1u},
                                    .pointsPerFragment = {3u, 3u, 1u},
                                    .overlap = {1u, 0u, 0u},
                                    .origin = {10.0, 20.0, 0.0},
                                    .spacing = {2.0, 3.0, 1.0}},
                                   [](Index const& p) { return p[0] == 2 && p[1] == 0 ? 2 : 0; });
    Triangulation call;
    call.put(0.0, "dem", grid);
    EXPECT_EQ(call.run(0.0), "");

    auto const surface = call.surface(0.0);
    ASSERT_TRUE(surface.vertices() && surface.triangles());
    // First fragment: eight vertices, the hole skipped in point order.
    std::vector<Point> expected;
    for (unsigned j = 0; j < 3; ++j) {
        for (unsigned i = 0; i < 3; ++i) {
            if (!(i == 2 && j == 0)) {
                expected.push_back({10.0 + 2 * i, 20.0 + 3 * j, heightAt(Index(i, j, 0u))});
            }
        }
    }
    // Second fragment: starts at global x = 2, the shared column that holds the hole.
    for (unsigned j = 0; j < 3; ++j) {
        for (unsigned i = 0; i < 3; ++i) {
            if (!(i == 0 && j == 0)) {
                expected.push_back({14.0 + 2 * i, 20.0 + 3 * j, heightAt(Index(2 + i, j, 0u))});
            }
        }
    }
    std::vector<Point> const vertices(surface.vertices()->values().begin(), surface.vertices()->values().end());
    EXPECT_EQ(vertices, expected);
    // Squares touching the hole (one per fragment) give nothing; the second
    // fragment's indices start at 8.
    EXPECT_EQ(trianglesOf(surface), (std::vector<Triangle>{{{0, 2, 3}}, {{0, 3, 1}}, {{2, 5, 6}}, {{2, 6, 3}},
                                                            {{3, 6, 7}}, {{3, 7, 4}}, {{8, 11, 12}}, {{8, 12, 9}},
                                                            {{10, 13, 14}}, {{10, 14, 11}}, {{11, 14, 15}},
                                                            {{11, 15, 12}}}));
    auto reports = call.progress->reports();
    EXPECT_EQ(reports, (std::vector<testing_support::Report>{{"Applying Sobel to current Fragment #", 0, 2},
                                                              {"Applying Sobel to current Fragment #", 1, 2}}));
}

TEST(Raster3DtoTri, AThrowingProgressSinkEndsTheCallWithAMessageAndNoSurface) {
    Triangulation call;
    call.put(1.0, "g", heightRaster(testing_support::layoutOf(Index(4u, 4u, 1u), Index(4u, 4u, 1u)), allData));
    auto const cancel = Lumen::makeStrong<testing_support::ThrowingProgress>();
    EXPECT_EQ(Rastrum::raster3DtoTri(call.source, call.target, call.field, call.surfaceName, cancel, "", 1.0),
              "Fragments left unfinished in grid:g");
    EXPECT_FALSE(call.surface(1.0).triangles());
}

TEST(Raster3DtoTri, NothingToTriangulateGivesSizeZeroAndNoGrid) {
    Triangulation call;
    // Fragments one column wide: vertices, but no square.
    call.put(1.0, "columns", heightRaster(testing_support::layoutOf(Index(3u, 4u, 1u), Index(1u, 4u, 1u)), allData));
    EXPECT_EQ(call.run(std::nextafter(1.0, 2.0)), "size of triangulation is zero");
    EXPECT_EQ(call.run(1.0), "size of triangulation is zero");
    EXPECT_TRUE(call.target->slices().empty());

    Velum::BundlePtr unbound = Velum::BundlePtr::create();
    unbound->unbind();
    std::string field = "H";
    std::string name = "s";
    EXPECT_EQ(Rastrum::raster3DtoTri(unbound, call.target, field, name, nullptr, "", 1.0),
              "Bundle need to be bound or is NullPtr");
}

TEST(Raster3DtoTri, IndicesRunOnAcrossGridsAndTheFilterSelectsOne) {
    auto const rows = heightRaster(testing_support::layoutOf(Index(3u, 2u, 1u), Index(3u, 1u, 1u)), allData);
    auto const square = heightRaster(testing_support::layoutOf(Index(2u, 2u, 1u), Index(2u, 2u, 1u)), allData);
    Triangulation call;
    call.put(0.0, "a-rows", rows);
    call.put(0.0, "b-square", square);

    EXPECT_EQ(call.run(0.0), "");
    EXPECT_EQ(call.surface(0.0).vertices()->count(), 10u);
    EXPECT_EQ(trianglesOf(call.surface(0.0)), (std::vector<Triangle>{{{6, 8, 9}}, {{6, 9, 7}}}));

    EXPECT_EQ(call.run(0.0, "b-square"), "");
    EXPECT_EQ(trianglesOf(call.surface(0.0)), (std::vector<Triangle>{{{0, 2, 3}}, {{0, 3, 1}}}));
}

TEST(Raster3DtoTri, AFailingGridKeepsWhatEarlierGridsGaveAndNamesTheProblem) {
    auto const layout = testing_support::layoutOf(Index(2u, 2u, 1u), Index(2u, 2u, 1u));
    auto const noCodes = heightRaster(layout, allData);
    noCodes.grid()->getCartesianRepresentation()->setField("CellType", nullptr);
    auto const noHeight = heightRaster(layout, allData);
    noHeight.grid()->getCartesianRepresentation()->setField("H", nullptr);
    auto const nonUniform = heightRaster(layout, allData);
    nonUniform.positions()->setPersistentData(nullptr, nullptr, Lumen::Cache::MemCache());

    struct Case {
        Velum::UniformGridBuilder const& failing;
        char const* message;
    };
    for (auto const& c : {Case{noCodes, "Found no cell type field:CellType"},
                          Case{noHeight, "Can not find height field:H"},
                          Case{nonUniform, "This is not a uniform grid:b ...Skipping"}}) {
        Triangulation call;
        call.put(0.0, "a", heightRaster(layout, allData));
        call.put(0.0, "b", c.failing);
        call.put(0.0, "c", heightRaster(layout, allData));
        EXPECT_EQ(call.run(0.0), c.message);
        EXPECT_EQ(call.surface(0.0).triangles()->count(), 2u) << "a's triangles stay, c is not visited";
    }
}

TEST(Raster3DtoTri, RowsAndFragmentsSharedAmongThreadsGiveTheOneThreadSurfaceAndReports) {
    // Large enough for the team to share one fragment's rows; then as many
    // fragments as to share them out.
    auto const holes = [](Index const& p) { return (p[0] * 7 + p[1] * 13) % 11 == 0 ? 2 : 0; };
    for (auto const perFragment : {Index(200u, 180u, 1u), Index(64u, 64u, 1u)}) {
        auto const layout = testing_support::layoutOf(Index(200u, 180u, 1u), perFragment);
        auto const runOn = [&](int threads) {
            Triangulation call;
            call.put(0.0, "g", heightRaster(layout, holes));
            EXPECT_EQ(testing_support::withThreads(threads, [&] { return call.run(0.0); }), "");
            auto const surface = call.surface(0.0);
            auto const& points = surface.vertices()->values();
            std::vector<std::array<double, 3>> vertices;
            for (auto const& v : points) {
                vertices.push_back({v[0], v[1], v[2]});
            }
            return std::tuple(vertices, trianglesOf(surface), call.progress->reports());
        };
        auto const [vertices, triangles, reports] = runOn(1);
        EXPECT_GT(triangles.size(), 40000u);
        EXPECT_TRUE(runOn(2) == std::tuple(vertices, triangles, reports)) << perFragment[0];
    }
}

TEST(TriangulateFragment, ListsWrittenPastTheCachesEqualOrdinaryStores) {
    std::uint64_t const nx = 37, ny = 29;
    std::vector<float> heights(nx * ny);
    std::vector<unsigned char> codes(nx * ny);
    for (std::uint64_t p = 0; p < codes.size(); ++p) {
        heights[p] = static_cast<float>(p) * 0.5f;
        codes[p] = static_cast<unsigned char>(p % 7 == 3 || p % 11 == 0 ? 2 : 4);
    }
    Rastrum::SurfaceFragment const fragment{heights.data(), codes.data(), nx, ny, 1, {1.5, -2.0, 0.25, 0.5}};
    auto const flags = Rastrum::vertexFlags(Rastrum::CellTypeTables{}.HOLE_CELL_TYPES);
    std::vector<Rastrum::RowShare> rows(ny);
    Rastrum::countRows(fragment, flags, rows);
    auto const end = Rastrum::startsFrom({0, 0}, rows);
    // Different old contents: each element must be written by both.
    std::vector<Point> ordinary(end.vertices, Point{1, 1, 1}), streamed(end.vertices, Point{2, 2, 2});
    std::vector<Triangle> ordinaryTriangles(end.triangles, Triangle{{1, 1, 1}});
    std::vector<Triangle> streamedTriangles(end.triangles, Triangle{{2, 2, 2}});
    Rastrum::fillRows(fragment, flags, rows, ordinary.data(), ordinaryTriangles.data(), false);
    Rastrum::fillRows(fragment, flags, rows, streamed.data(), streamedTriangles.data(), true);
    EXPECT_EQ(ordinary, streamed);
    EXPECT_EQ(ordinaryTriangles, streamedTriangles);
}
