#include "mesh/simplified_surface.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <queue>
#include <vector>

#include "core/errors.hpp"
#include "mesh/face_scan.hpp"
#include "mesh/grid_triangulation.hpp"
#include "mesh/surface_input.hpp"
#include "tiling/tiled_grid.hpp"

namespace rastrum_host {
namespace {

// A queue entry, small for the heap's sake; stale once its face is scanned anew.
struct Candidate {
    double error; // infinite for a face that covers a hole
    std::uint32_t face;
    std::uint32_t stamp;
    bool operator<(Candidate const& other) const { return error < other.error; }
};

class Refiner {
public:
    Refiner(HeightInput const& input, double maxError)
        : input_(input), grid_(gridOf(input)), maxError_(maxError), triangulation_(hull()) {}

    // Greedy refinement: the data cell farthest from its face's plane goes in
    // next, until every face is close enough and off holes.
    void refine() {
        for (std::uint32_t t = 0; t < triangulation_.triangles(); ++t) {
            scan(t);
        }
        std::vector<std::uint32_t> changed;
        while (!queue_.empty()) {
            Candidate const worst = queue_.top();
            queue_.pop();
            if (state_[worst.face].stamp != worst.stamp) {
                continue; // the face changed since
            }
            changed.clear();
            inserted_.push_back(triangulation_.vertices());
            triangulation_.insert(state_[worst.face].worst, worst.face, changed);
            std::ranges::sort(changed);
            auto const [end, last] = std::ranges::unique(changed);
            changed.erase(end, last);
            for (std::uint32_t t : changed) {
                scan(t);
            }
        }
    }

    // Removes refinement vertices that the bound no longer needs: a vertex
    // moves onto a neighbour when every face of the resulting fan keeps its
    // orientation, its cells within the error and no hole.
    void decimate() {
        triangulation_.indexVertices();
        std::vector<std::uint32_t> star;
        for (std::uint32_t v : inserted_) {
            triangulation_.star(v, star);
            bool const nearHole = std::ranges::any_of(star, [&](std::uint32_t h) { return state_[h / 3].coversHole; });
            if (star.empty() || nearHole) {
                continue;
            }
            for (std::size_t j = 0; j < star.size(); ++j) {
                if (fanFits(star, j)) {
                    triangulation_.collapse(star, j);
                    break;
                }
            }
        }
    }

    SurfaceCounts emit(MeshSink& sink) const {
        std::vector<std::uint32_t> numbers(triangulation_.vertices(), GridTriangulation::None);
        std::vector<MeshPoint> positions;
        std::vector<std::array<std::uint32_t, 3>> triangles;
        for (std::uint32_t t = 0; t < triangulation_.triangles(); ++t) {
            if (!triangulation_.alive(t) || state_[t].coversHole) {
                continue;
            }
            std::array<std::uint32_t, 3> triangle{};
            for (std::uint32_t k = 0; k < 3; ++k) {
                std::uint32_t const v = triangulation_.corner(3 * t + k);
                if (numbers[v] == GridTriangulation::None) {
                    numbers[v] = static_cast<std::uint32_t>(positions.size());
                    positions.push_back(worldOf(triangulation_.point(v)));
                }
                triangle[k] = numbers[v];
            }
            triangles.push_back(triangle);
        }
        std::vector<MeshPoint> normals(positions.size(), {0.0, 0.0, 0.0});
        for (auto const& [a, b, c] : triangles) {
            MeshPoint const n = areaNormal(positions[a], positions[b], positions[c]);
            for (auto const v : {a, b, c}) {
                addTo(normals[v], n);
            }
        }
        for (std::size_t v = 0; v < positions.size(); ++v) {
            sink.vertex(positions[v], unitNormal(normals[v]));
        }
        for (auto const& [a, b, c] : triangles) {
            sink.triangle(a, b, c); // counter-clockwise in grid coordinates, whose axes point east and north
        }
        return {positions.size(), triangles.size()};
    }

private:
    struct FaceState {
        GridPoint worst{};
        bool coversHole = false;
        std::uint32_t stamp = 0; // which scan the face's queue entry belongs to
    };

    static ScanGrid gridOf(HeightInput const& input) {
        GridPlacement const placement = placementOf(input.georef, input.heights.height, input.source);
        return {input.heights.values.data(), input.cellTypes.data(), static_cast<std::int32_t>(input.heights.width),
                static_cast<std::int32_t>(input.heights.height), placement.northUp, placement};
    }

    MeshPoint worldOf(GridPoint c) const {
        auto const& placement = grid_.placement;
        return {placement.origin[0] + static_cast<double>(c.x) * placement.spacing[0],
                placement.origin[1] + static_cast<double>(c.y) * placement.spacing[1], grid_.height(c)};
    }

    // The corners of the convex hull of the data cells, counter-clockwise
    // (the monotone chain over each row's westernmost and easternmost data cell).
    std::vector<GridPoint> hull() const {
        std::vector<GridPoint> ends;
        for (std::int32_t y = 0; y < grid_.rows; ++y) {
            std::int32_t west = 0;
            while (west < grid_.columns && !grid_.isData({west, y})) {
                ++west;
            }
            std::int32_t east = grid_.columns - 1;
            while (east > west && !grid_.isData({east, y})) {
                --east;
            }
            if (west < grid_.columns) {
                ends.push_back({west, y});
                ends.push_back({east, y});
            }
        }
        std::ranges::sort(ends, [](GridPoint a, GridPoint b) { return a.x != b.x ? a.x < b.x : a.y < b.y; });
        std::vector<GridPoint> corners;
        for (int pass = 0; pass < 2; ++pass) {
            std::size_t const start = corners.size();
            for (GridPoint p : ends) {
                while (corners.size() >= start + 2 && orientation(corners[corners.size() - 2], corners.back(), p) <= 0) {
                    corners.pop_back();
                }
                corners.push_back(p);
            }
            corners.pop_back(); // the first point of the other chain
            std::ranges::reverse(ends);
        }
        if (corners.size() < 3) {
            throw InputError(input_.source + ": the data cells span no area to make a surface of");
        }
        return corners;
    }

    std::array<GridPoint, 3> cornersOf(std::uint32_t t) const {
        return {triangulation_.point(triangulation_.corner(3 * t)), triangulation_.point(triangulation_.corner(3 * t + 1)),
                triangulation_.point(triangulation_.corner(3 * t + 2))};
    }

    // Finds the face's data cell farthest from its plane and queues the face
    // when that cell is too far, or when the face covers a hole.
    void scan(std::uint32_t t) {
        if (state_.size() <= t) {
            state_.resize(std::max<std::size_t>(t + 1, 2 * state_.size()));
        }
        FaceFinding const found = worstCell(grid_, cornersOf(t), maxError_);
        FaceState& state = state_[t];
        state = {found.worst, found.coversHole, ++stamps_};
        if (found.error >= 0.0 && (found.coversHole || found.error > found.threshold)) {
            queue_.push({found.coversHole ? std::numeric_limits<double>::infinity() : found.error, t, stamps_});
        }
    }

    // Whether moving the star's vertex onto the end of star edge j leaves every
    // face of the fan counter-clockwise, within the error and off holes.
    bool fanFits(std::vector<std::uint32_t> const& star, std::size_t j) const {
        std::size_t const k = star.size();
        GridPoint const u = triangulation_.point(triangulation_.corner(GridTriangulation::next(star[j])));
        auto const fanFace = [&](std::size_t i) {
            std::uint32_t const h = star[(j + i) % k];
            return std::array{u, triangulation_.point(triangulation_.corner(GridTriangulation::next(h))),
                              triangulation_.point(triangulation_.corner(GridTriangulation::prev(h)))};
        };
        // The face that gets the vertex's own cell, first checked there: most moves fail on it.
        GridPoint const v = triangulation_.point(triangulation_.corner(star[0]));
        for (std::size_t i = 1; i + 1 < k; ++i) {
            auto const c = fanFace(i);
            if (orientation(c[0], c[1], c[2]) <= 0) {
                return false;
            }
            bool const holdsVertex =
                orientation(c[0], c[1], v) >= 0 && orientation(c[1], c[2], v) >= 0 && orientation(c[2], c[0], v) >= 0;
            if (holdsVertex && !cellWithinError(grid_, c, v, maxError_)) {
                return false;
            }
        }
        for (std::size_t i = 1; i + 1 < k; ++i) {
            if (!withinError(grid_, fanFace(i), maxError_)) {
                return false;
            }
        }
        return true;
    }

    HeightInput const& input_;
    ScanGrid grid_;
    double maxError_;
    GridTriangulation triangulation_;
    std::vector<FaceState> state_;
    std::priority_queue<Candidate> queue_;
    std::uint32_t stamps_ = 0;
    std::vector<std::uint32_t> inserted_; // refinement's vertices in the order of insertion
};

} // namespace

SurfaceCounts streamSimplifiedSurface(HeightInput const& input, double maxError, MeshSink& sink) {
    requireMeshableHeights(input);
    Refiner refiner(input, maxError);
    refiner.refine();
    refiner.decimate(); // some two fifths fewer triangles than refinement alone
    return refiner.emit(sink);
}

} // namespace rastrum_host
