#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <random>
#include <set>
#include <tuple>
#include <string>
#include <vector>

#include "cli_support.hpp"
#include "io/raster_reader.hpp"
#include "mesh/face_scan.hpp"
#include "mesh/grid_triangulation.hpp"
#include "mesh/surface.hpp"
#include "support/threads.hpp"

using namespace cli_testing;

namespace {

using Point = std::array<double, 3>;

// The origin a file records, read from its text: "origin x y z" (PLY, OBJ)
// or "origin":[x,y,z] (glTF).
Point recordedOrigin(std::string const& text) {
    auto at = text.find("origin") + 6;
    Point origin{};
    for (double& value : origin) {
        at = text.find_first_of("-0123456789", at);
        std::size_t used = 0;
        value = std::stod(text.substr(at, 40), &used);
        at += used;
    }
    return origin;
}

RasterOnDisk holeFree(int width, int height) {
    auto raster = terrain(width, height);
    for (double& h : raster.values) {
        h = h == Nodata ? 1501.0 : h;
    }
    raster.nodata.reset();
    return raster;
}

// The output's name; "z.obj" is written with --up z.
class MeshFiles : public ::testing::TestWithParam<std::string> {};

// Every format, read back by Assimp: one vertex per cell, at the cell's
// georeferenced position once the recorded origin is added back and the
// format's axes undone; triangles only between neighbouring cells, as many as
// the grid's squares hold, facing up like the normals.
TEST_P(MeshFiles, OnePieceAtTheCellsFacingUp) {
    TempFolder folder;
    auto const raster = holeFree(24, 20);
    writeRaster(folder / "dem.tif", raster);
    auto const out = folder / GetParam();
    bool const zUp = GetParam() == "z.obj" || GetParam().ends_with(".ply");
    std::vector<std::string> arguments{"mesh", folder / "dem.tif", out, "--fragment-size", "8", "-q"};
    if (GetParam() == "z.obj") {
        arguments.insert(arguments.end(), {"--up", "z"}); // the other files take their format's default
    }
    auto const run = rastrum(arguments);
    ASSERT_EQ(run.status, 0) << run.err;

    Assimp::Importer importer;
    aiScene const* scene = importer.ReadFile(out, 0);
    ASSERT_NE(scene, nullptr) << importer.GetErrorString();
    ASSERT_EQ(scene->mNumMeshes, 1u);
    aiMesh const& mesh = *scene->mMeshes[0];
    ASSERT_TRUE(mesh.HasNormals());
    Point const origin = recordedOrigin(contents(out));
    auto const world = [&](aiVector3D const& v) {
        return zUp ? Point{origin[0] + v.x, origin[1] + v.y, origin[2] + v.z}
                              : Point{origin[0] + v.x, origin[1] - v.z, origin[2] + v.y};
    };
    // OBJ importers give each face corner a vertex of its own; cells tell the shared ones.
    bool const perCorner = out.ends_with(".obj");
    EXPECT_EQ(perCorner || mesh.mNumVertices == 24u * 20u, true) << mesh.mNumVertices;
    std::vector<unsigned> cellOf(mesh.mNumVertices);
    int misplaced = 0;
    int down = 0;
    for (unsigned i = 0; i < mesh.mNumVertices; ++i) {
        Point const p = world(mesh.mVertices[i]);
        double const column = (p[0] - 477001.0) / 2.0;
        double const row = (4411999.0 - p[1]) / 2.0;
        cellOf[i] = static_cast<unsigned>(std::lround(column) + 24 * std::lround(row));
        misplaced += std::abs(column - std::round(column)) + std::abs(row - std::round(row)) > 1e-4 ||
                             std::abs(p[2] - raster.values.at(cellOf[i])) > 1e-3
                         ? 1
                         : 0;
        down += world(mesh.mNormals[i])[2] - origin[2] > 0.0 ? 0 : 1;
    }
    EXPECT_EQ(misplaced, 0);
    EXPECT_EQ(down, 0);
    int spread = 0; // triangles over more than one square of cells: connected as the grid is, or torn
    for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
        auto const* k = mesh.mFaces[f].mIndices;
        for (int e = 0; e < 3; ++e) {
            unsigned const p = cellOf[k[e]], q = cellOf[k[(e + 1) % 3]];
            spread += std::abs(int(p % 24) - int(q % 24)) > 1 || std::abs(int(p / 24) - int(q / 24)) > 1 ? 1 : 0;
        }
        Point const a = world(mesh.mVertices[k[0]]), b = world(mesh.mVertices[k[1]]), c = world(mesh.mVertices[k[2]]);
        down += (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]) > 0.0 ? 0 : 1;
    }
    EXPECT_EQ(mesh.mNumFaces, 2u * 23u * 19u);
    EXPECT_EQ(down, 0);
    EXPECT_EQ(spread, 0);
    EXPECT_EQ(std::set<unsigned>(cellOf.begin(), cellOf.end()).size(), 24u * 20u);
    EXPECT_EQ(contents(out).find("extensions"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Mesh, MeshFiles,
                         ::testing::Values("s.ply", "s.obj", "s.gltf", "s.glb", "z.obj"),
                         [](auto const& test) { return std::string(test.param).replace(1, 1, "_"); });

// A geographic raster's surface is written with a note on its proportions
// naming the UTM zone to reproject to; a projected one, or a quiet run, has none.
TEST(MeshFiles, GeographicHeightsComeWithANoteOnProportions) {
    TempFolder folder;
    auto dem = holeFree(40, 30);
    writeRaster(folder / "utm.tif", dem);
    dem.transform = std::array{-105.3, 1e-4, 0.0, -40.1, 0.0, -1e-4};
    dem.crsWkt = epsgWkt(4326);
    writeRaster(folder / "geo.tif", dem);
    for (auto const& [input, quiet, noted] : {std::tuple{"geo.tif", false, true}, {"geo.tif", true, false}, {"utm.tif", false, false}}) {
        auto const run = rastrum({"mesh", folder / input, folder / "m.ply", "--overwrite", "--max-error", "1", quiet ? "-q" : "--threads=2"});
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err.find("geo.tif: x and y are degrees of a geographic CRS") != std::string::npos, noted) << run.err;
        EXPECT_EQ(run.err.find("gdalwarp -t_srs EPSG:32713 ") != std::string::npos, noted) << run.err;
    }
}

// Debian's meshio reads PLY and OBJ: vertices, triangles and the PLY normals'
// upward component.
TEST(MeshFiles, MeshioReadsPlyAndObj) {
    TempFolder folder;
    writeRaster(folder / "dem.tif", holeFree(12, 10));
    for (char const* name : {"s.ply", "s.obj"}) {
        ASSERT_EQ(rastrum({"mesh", folder / "dem.tif", folder / name, "--fragment-size", "4", "-q"}).status, 0);
    }
    std::string const script =
        "import meshio\n"
        "for name in ['s.ply', 's.obj']:\n"
        "    m = meshio.read(name)\n"
        "    up = m.point_data['nz'].min() if name.endswith('ply') else m.point_data['obj:vn'][:, 1].min()\n"
        "    print(len(m.points), sum(len(c.data) for c in m.cells if c.type == 'triangle'), up > 0)\n";
    std::ofstream(folder / "read.py") << script;
    std::string const command = "cd " + folder.path().string() + " && /usr/bin/python3 read.py > out.txt 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << contents(folder / "out.txt");
    EXPECT_EQ(contents(folder / "out.txt"), "120 198 True\n120 198 True\n");
}

// Rasterised back onto the grid, independently of the refinement: every data
// cell lies in a triangle within the error, no hole cell inside one; without
// holes the triangles cover the raster's outline. The command line writes the same mesh.
TEST(MeshSimplified, StaysWithinTheErrorOffHolesAndOnTheOutline) {
    TempFolder folder;
    // Holes cost triangles: the bound is the full grid's count with them, half of it without.
    for (bool const holes : {true, false}) {
        auto const raster = holes ? terrain(40, 30) : holeFree(40, 30);
        double const maxError = holes ? 2.0 : 4.0;
        writeRaster(folder / "dem.tif", raster);
        auto const input = rastrum_host::readHeights(folder / "dem.tif", {});
        auto const mesh = rastrum_host::computeSimplifiedSurface(input, maxError);
        ASSERT_LT(mesh.triangles.size(), (holes ? 2u : 1u) * 39u * 29u);
        // Held to one worker (--threads 1), the parts are refined one after the other into the same mesh.
        auto const alone = testing_support::withThreads(1, [&] { return rastrum_host::computeSimplifiedSurface(input, maxError); });
        EXPECT_EQ(alone.triangles, mesh.triangles);
        EXPECT_EQ(alone.vertices, mesh.vertices);
        std::vector<double> best(raster.values.size(), HUGE_VAL);
        int holesCovered = 0;
        double covered = 0.0;
        for (auto const& t : mesh.triangles) {
            Point const a = mesh.vertices[t[0]], b = mesh.vertices[t[1]], c = mesh.vertices[t[2]];
            double const area = (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
            ASSERT_GT(area, 0.0);
            covered += area / 2.0;
            for (std::size_t cell = 0; cell < raster.values.size(); ++cell) {
                double const x = 477001.0 + 2.0 * static_cast<double>(cell % 40);
                double const y = 4411999.0 - 2.0 * static_cast<double>(cell / 40);
                double const wa = ((b[0] - x) * (c[1] - y) - (b[1] - y) * (c[0] - x)) / area;
                double const wb = ((c[0] - x) * (a[1] - y) - (c[1] - y) * (a[0] - x)) / area;
                double const wc = 1.0 - wa - wb;
                if (std::min({wa, wb, wc}) < -1e-9) {
                    continue;
                }
                if (raster.values[cell] == Nodata) {
                    holesCovered += std::min({wa, wb, wc}) > 1e-9 ? 1 : 0;
                } else {
                    best[cell] = std::min(best[cell], std::abs(wa * a[2] + wb * b[2] + wc * c[2] - raster.values[cell]));
                }
            }
        }
        EXPECT_EQ(holesCovered, 0);
        EXPECT_EQ(std::ranges::count_if(best, [&](double e) { return !(e <= maxError + 1e-6); }),
                  std::ranges::count(raster.values, Nodata));
        if (!holes) {
            EXPECT_DOUBLE_EQ(covered, 39.0 * 2.0 * 29.0 * 2.0);
            // One disc, no vertex inside another face's edge (where parts refined apart meet): Euler's count.
            std::set<std::pair<std::uint32_t, std::uint32_t>> edges;
            for (auto const& t : mesh.triangles) {
                for (std::size_t k = 0; k < 3; ++k) {
                    edges.insert(std::minmax(t[k], t[(k + 1) % 3]));
                }
            }
            EXPECT_EQ(mesh.vertices.size() + mesh.triangles.size(), edges.size() + 1);
        }
        ASSERT_EQ(rastrum({"mesh", folder / "dem.tif", folder / "s.glb", "--max-error", holes ? "2" : "4", "--overwrite",
                           "-q"}).status, 0);
        Assimp::Importer importer;
        aiScene const* scene = importer.ReadFile(folder / "s.glb", 0);
        ASSERT_NE(scene, nullptr) << importer.GetErrorString();
        EXPECT_EQ(scene->mMeshes[0]->mNumFaces, mesh.triangles.size());
    }
}

// Scans by blocks in every instruction set this processor runs find what
// scans row by row find, face by face (whole heights, holes, scans held to a
// window of columns) and for whole simplified surfaces.
TEST(FaceScan, EveryPathFindsWhatRowScansFind) {
    using rastrum_host::GridPoint, rastrum_host::ScanPath;
    std::int32_t const columns = 70, rows = 50;
    std::mt19937 random(7);
    std::vector<float> heights;
    std::vector<std::uint8_t> types;
    for (std::int32_t i = 0; i < columns * rows; ++i) {
        heights.push_back(static_cast<float>(1000 + i % columns / 4 + static_cast<int>(random() % 6))); // many equal errors
        types.push_back(random() % 40 == 0 ? 1 : 0);
    }
    rastrum_host::CellBlocks const blocks(heights.data(), types.data(), columns, rows, false);
    auto const scanAll = [&](ScanPath path) {
        rastrum_host::useScanPath(path);
        std::mt19937 faces(11);
        std::vector<std::tuple<double, double, std::int32_t, std::int32_t, bool, bool, double>> found;
        for (int n = 0; n < 3000; ++n) {
            auto const from = static_cast<std::int32_t>(faces() % 3 == 0 ? faces() % 30 : 0);
            rastrum_host::ScanGrid const grid{blocks.cells(), blocks.rowOfBlocks(), columns, rows, {}, from, columns - 1 - from / 2};
            auto const reach = static_cast<std::int32_t>(faces() % 2 == 0 ? 8 : columns);
            std::array<GridPoint, 3> c{};
            for (auto& p : c) {
                p = {static_cast<std::int32_t>(faces() % static_cast<unsigned>(std::min(reach, columns))),
                     static_cast<std::int32_t>(faces() % static_cast<unsigned>(std::min(reach, rows)))};
            }
            if (rastrum_host::orientation(c[0], c[1], c[2]) < 0) {
                std::swap(c[1], c[2]);
            }
            if (rastrum_host::orientation(c[0], c[1], c[2]) == 0 || !grid.isData(c[0]) || !grid.isData(c[1]) ||
                !grid.isData(c[2])) {
                continue;
            }
            double const maxError = 1.0 + static_cast<double>(faces() % 400) / 100.0;
            auto const f = rastrum_host::worstCell(grid, c, maxError);
            found.emplace_back(f.error, f.threshold, f.worst.x, f.worst.y, f.coversHole,
                               rastrum_host::withinError(grid, c, maxError), rastrum_host::cellExcess(grid, c, c[0], maxError));
        }
        return found;
    };
    TempFolder folder;
    writeRaster(folder / "dem.tif", terrain(40, 30));
    auto const input = rastrum_host::readHeights(folder / "dem.tif", {});
    auto const surface = [&](ScanPath path) {
        rastrum_host::useScanPath(path);
        return rastrum_host::computeSimplifiedSurface(input, 1.0).triangles;
    };
    auto const byRows = scanAll(ScanPath::Rows);
    auto const meshByRows = surface(ScanPath::Rows);
    ASSERT_GT(std::ranges::count_if(byRows, [](auto const& f) { return std::get<5>(f); }), 100);
    ASSERT_GT(std::ranges::count_if(byRows, [](auto const& f) { return std::get<4>(f); }), 100);
    for (auto const path : {ScanPath::Blocks, ScanPath::Avx2Blocks, ScanPath::Avx512Blocks}) {
        if (path <= rastrum_host::widestScanPath()) {
            EXPECT_EQ(scanAll(path), byRows) << static_cast<int>(path);
            EXPECT_EQ(surface(path), meshByRows) << static_cast<int>(path);
        }
    }
    rastrum_host::useScanPath(rastrum_host::widestScanPath());
}

// Every cell of a small grid goes in, most of them on edges and cocircular
// with others: the triangles stay counter-clockwise, tile the rectangle, agree
// on shared edges and keep every vertex out of every circumcircle. They stay
// a tiling when edges are turned against that rule between insertions, as
// refinement does where a turn settles a face.
TEST(GridTriangulation, StaysDelaunayThroughCollinearAndCocircularCells) {
    using rastrum_host::GridPoint, rastrum_host::GridTriangulation, rastrum_host::orientation;
    for (bool const turning : {false, true}) {
        GridTriangulation mesh({{0, 0}, {8, 0}, {8, 6}, {0, 6}});
        auto const cornersOf = [&](std::uint32_t t) {
            return std::array{mesh.point(mesh.corner(3 * t)), mesh.point(mesh.corner(3 * t + 1)), mesh.point(mesh.corner(3 * t + 2))};
        };
        auto const check = [&] {
            std::int64_t area = 0;
            for (std::uint32_t h = 0; h < 3 * mesh.triangles(); ++h) {
                auto const c = cornersOf(h / 3);
                ASSERT_GT(orientation(c[0], c[1], c[2]), 0);
                area += h % 3 == 0 ? orientation(c[0], c[1], c[2]) : 0;
                if (mesh.twin(h) != GridTriangulation::None) {
                    ASSERT_EQ(mesh.twin(mesh.twin(h)), h);
                    ASSERT_EQ(mesh.corner(mesh.twin(h)), mesh.corner(GridTriangulation::next(h)));
                }
                for (std::uint32_t v = 0; !turning && h % 3 == 0 && v < mesh.vertices(); ++v) {
                    ASSERT_FALSE(rastrum_host::inCircle(c[0], c[1], c[2], mesh.point(v)));
                }
            }
            EXPECT_EQ(area, 2 * 8 * 6);
        };
        std::vector<std::uint32_t> changed;
        for (std::int32_t y = 0; y <= 6; ++y) {
            for (std::int32_t x = 0; x <= 8; ++x) {
                GridPoint const p{x, y};
                for (std::uint32_t t = 0; (x % 8 != 0 || y % 6 != 0) && t < mesh.triangles(); ++t) {
                    auto const c = cornersOf(t);
                    if (orientation(c[0], c[1], p) >= 0 && orientation(c[1], c[2], p) >= 0 && orientation(c[2], c[0], p) >= 0) {
                        mesh.insert(p, t, changed);
                        break;
                    }
                }
                // The first edge of a convex quadrilateral turned, new ones first.
                for (std::uint32_t h = 3 * mesh.triangles(); turning && h-- > 0;) {
                    std::uint32_t const g = mesh.twin(h);
                    GridPoint const i = mesh.point(mesh.corner(h)), j = mesh.point(mesh.corner(GridTriangulation::next(h)));
                    GridPoint const a = mesh.point(mesh.corner(GridTriangulation::prev(h)));
                    if (g != GridTriangulation::None && orientation(a, mesh.point(mesh.corner(GridTriangulation::prev(g))), j) > 0 &&
                        orientation(mesh.point(mesh.corner(GridTriangulation::prev(g))), a, i) > 0) {
                        mesh.flip(h);
                        break;
                    }
                }
            }
        }
        ASSERT_EQ(mesh.vertices(), 63u);
        check();
    }
}

} // namespace
