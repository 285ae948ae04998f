#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "Rastrum.hpp"
#include "Velum/TriangularSurface.hpp"
#include "core/errors.hpp"
#include "operations/operations.hpp"
#include "io/raster_reader.hpp"
#include "terrain_fixture.hpp"

using namespace cli_testing;

TEST(Surface, IsTheLibrarysTriangulationInGeoreferencedCoordinatesWithoutGaps) {
    TempFolder folder;
    auto const raster = terrain(40, 30);
    writeRaster(folder / "dem.tif", raster);
    auto const input = rastrum_host::readHeights(folder / "dem.tif", {});
    auto const mesh = rastrum_host::computeSurface(input, {.fragmentSize = 16, .overlap = {}, .band = {}}, {});

    auto const grid = directGrid(raster, 16, 1);
    auto source = Velum::BundlePtr::create();
    auto target = Velum::BundlePtr::create();
    (*source)[0.0]->setGrid("dem", grid.grid());
    std::string height = "Height";
    std::string name = "s";
    ASSERT_EQ(Rastrum::raster3DtoTri(source, target, height, name, nullptr, "", 0.0), "");
    Velum::TriangularSurface surface;
    ASSERT_TRUE(surface.assign(target->slices().at(0.0)->grids().at(name)));
    std::vector<std::array<double, 3>> vertices;
    for (auto const& p : surface.vertices()->values()) {
        vertices.push_back({p[0], p[1], p[2]});
    }
    std::vector<std::array<std::uint32_t, 3>> triangles;
    for (auto const& t : surface.triangles()->values()) {
        triangles.push_back({t[0], t[1], t[2]});
    }
    EXPECT_EQ(mesh.vertices, vertices);
    EXPECT_EQ(mesh.triangles, triangles);

    // The first vertex is the centre of the westernmost data cell of the southern row.
    int west = 0;
    while (raster.values[static_cast<std::size_t>(west + 29 * 40)] == Nodata) {
        ++west;
    }
    EXPECT_EQ(mesh.vertices.front(), (std::array<double, 3>{477001.0 + 2.0 * west, 4412000.0 - 59.0,
                                                            raster.values[static_cast<std::size_t>(west + 29 * 40)]}));

    // Fragments sharing a row and a column cover every square of four data
    // cells exactly once.
    auto const data = [&](int x, int row) { return raster.values[static_cast<std::size_t>(x + 40 * row)] != Nodata; };
    std::size_t squares = 0;
    for (int row = 0; row + 1 < 30; ++row) {
        for (int x = 0; x + 1 < 40; ++x) {
            squares += data(x, row) && data(x + 1, row) && data(x, row + 1) && data(x + 1, row + 1) ? 1u : 0u;
        }
    }
    EXPECT_EQ(mesh.triangles.size(), 2 * squares);
}

TEST(Surface, ARasterWithoutFourAdjacentDataCellsIsRefusedByName) {
    rastrum_host::HeightInput input{.source = "sparse.tif", .heights = {.width = 3, .height = 3, .bands = 1,
                                                                       .values = std::vector<float>(9, 1.0f)},
                                    .cellTypes = {0, 1, 0, 1, 0, 1, 0, 1, 0}, .georef = {}};
    try {
        rastrum_host::computeSurface(input, {}, {});
        FAIL() << "no surface can be made";
    } catch (rastrum_host::InputError const& error) {
        EXPECT_NE(std::string(error.what()).find("sparse.tif"), std::string::npos) << error.what();
    }
}
