#include "mesh/simplified_surface.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory_resource>
#include <numeric>
#include <future>
#include <span>
#include <utility>
#include <vector>

#include <omp.h>

#include "core/errors.hpp"
#include "mesh/face_scan.hpp"
#include "mesh/grid_triangulation.hpp"
#include "mesh/outline.hpp"
#include "mesh/surface_input.hpp"
#include "tiling/tiled_grid.hpp"

namespace rastrum_host {
namespace {

// A queue entry: the face's error rounded to float, whose bits order as the
// numbers do, over the face; stale once the face is scanned anew to another.
// A face changed since its last scan waits to be scanned under an entry with
// the sign bit set, which no error has.
using Candidate = std::uint64_t;
constexpr Candidate Unscanned = Candidate{1} << 63;
// A face that waits for nothing holds NoCandidate, which no error rounds to,
// or HolesOnly when it covers holes and no data cell but its corners.
constexpr Candidate NoCandidate = std::numeric_limits<Candidate>::max();
constexpr Candidate HolesOnly = NoCandidate - 1;

Candidate candidateOf(double error, std::uint32_t face) {
    return std::uint64_t{std::bit_cast<std::uint32_t>(static_cast<float>(error))} << 32 | face;
}

// Candidates by octave of their error, the largest octave first and the
// latest candidate first within one: close to worst first, and faces queued
// together, which lie side by side, come out together while their cells are
// still cached.
class OctaveQueue {
public:
    bool empty() {
        while (top_ > 0 && octaves_[top_].empty()) {
            --top_;
        }
        return octaves_[top_].empty();
    }
    static std::size_t octave(Candidate c) { return c >> 55 & 255; } // the float's exponent
    Candidate pop() {
        Candidate const c = octaves_[top_].back();
        octaves_[top_].pop_back();
        return c;
    }
    void push(Candidate c) {
        octaves_[octave(c)].push_back(c);
        top_ = std::max(top_, octave(c));
    }

private:
    std::array<std::vector<Candidate>, 256> octaves_;
    std::size_t top_ = 0;
};

// A part's surviving faces off holes over its own vertices, numbered in the
// order its faces first use them. Normals are unit but on the seam, where the
// other part's faces add to them: there they are the sums of the area normals
// of this part's faces, which `seamShares` lists in the order of the faces.
struct PartSurface {
    std::vector<MeshPoint> positions;
    std::vector<MeshPoint> normals;
    std::vector<std::int32_t> seamRows; // per vertex: its row when it lies on the seam, else -1
    std::vector<std::array<std::uint32_t, 3>> triangles;
    std::vector<std::pair<std::int32_t, MeshPoint>> seamShares; // seam row, area normal of a face there
};

// The parts' faces over vertices numbered once: a seam cell both parts hold
// is one vertex. Numbers, positions and normals are those of taking the
// parts' faces one after the other: the second part's faces add to a seam
// vertex's normal after the first part's.
SurfaceCounts emitJoined(std::span<PartSurface const> parts, std::int32_t rows, MeshSink& sink) {
    auto const none = GridTriangulation::None;
    std::vector<std::uint32_t> seamNumbers(static_cast<std::size_t>(rows), none);
    std::vector<MeshPoint> seamNormals(static_cast<std::size_t>(rows), {0.0, 0.0, 0.0});
    std::vector<std::vector<std::uint32_t>> numbers(parts.size());
    std::vector<std::uint32_t> firstNew(parts.size(), 0); // the first number each part gives
    std::uint32_t count = 0;
    for (std::size_t k = 0; k < parts.size(); ++k) {
        firstNew[k] = count;
        for (std::int32_t const row : parts[k].seamRows) {
            if (row < 0) {
                numbers[k].push_back(count++);
                continue;
            }
            std::uint32_t& seamNumber = seamNumbers[static_cast<std::size_t>(row)];
            if (seamNumber == none) {
                seamNumber = count++;
            }
            numbers[k].push_back(seamNumber);
        }
        for (auto const& [row, share] : parts[k].seamShares) {
            addTo(seamNormals[static_cast<std::size_t>(row)], share);
        }
    }
    for (std::size_t k = 0; k < parts.size(); ++k) {
        PartSurface const& part = parts[k];
        for (std::size_t v = 0; v < part.positions.size(); ++v) {
            std::int32_t const row = part.seamRows[v];
            if (numbers[k][v] >= firstNew[k]) {
                sink.vertex(part.positions[v], row >= 0 ? unitNormal(seamNormals[static_cast<std::size_t>(row)]) : part.normals[v]);
            }
        }
    }
    std::size_t triangles = 0;
    for (std::size_t k = 0; k < parts.size(); ++k) {
        for (auto const& [a, b, c] : parts[k].triangles) {
            // counter-clockwise in grid coordinates, whose axes point east and north
            sink.triangle(numbers[k][a], numbers[k][b], numbers[k][c]);
        }
        triangles += parts[k].triangles.size();
    }
    return {count, triangles};
}

// Refinement starts from a lattice of data cells this far apart.
constexpr std::int32_t SeedSpacing = 16;

class Refiner {
public:
    // Refines the part of the grid inside the convex polygon `hull` whose
    // columns the grid's scans look at; seam cells lie on its outline and are
    // corners of the result, not cells to scan.
    Refiner(ScanGrid const& grid, double maxError, std::vector<GridPoint> const& hull,
            std::vector<GridPoint> const& seam, std::size_t expected)
        // Sized once for the vertices expected, in one block: growing would
        // copy the arrays into fresh pages again and again.
        : grid_(grid), maxError_(maxError), memory_(BytesPerVertex * (hull.size() + seam.size() + expected) + Slack),
          triangulation_(hull, hull.size() + seam.size() + expected, &memory_), state_(&memory_), inserted_(&memory_) {
        state_.reserve(triangulation_.capacity());
        inserted_.reserve(expected);
        // Seam corners lie on the outline, south to north: each walk from the
        // last one's face is short.
        std::vector<std::uint32_t> changed;
        std::uint32_t face = 0;
        for (GridPoint p : seam) {
            changed.clear();
            triangulation_.insert(p, locate(p, face), changed);
            face = changed.front();
        }
        // A coarse lattice of data cells first: refinement would otherwise scan
        // the large faces it starts from again and again.
        for (std::int32_t y = SeedSpacing / 2; y < grid_.rows; y += SeedSpacing) {
            for (std::int32_t x = grid_.scanFrom + SeedSpacing / 2; x < grid_.scanTo; x += SeedSpacing) {
                std::uint32_t const t = locate({x, y}, face);
                if (t == GridTriangulation::None || !grid_.isData({x, y})) {
                    continue;
                }
                auto const corners = cornersOf(t);
                if (std::ranges::find(corners, GridPoint{x, y}) == corners.end()) {
                    changed.clear();
                    inserted_.push_back(triangulation_.vertices());
                    triangulation_.insert({x, y}, t, changed);
                    face = changed.front();
                }
            }
        }
    }

    void simplify() {
        refine();
        decimate(); // some two fifths fewer triangles than refinement alone
    }

    // The surviving faces off holes, their vertices and normals; `seam` is the
    // column shared with another part, or -1.
    PartSurface surface(std::int32_t seam) const {
        PartSurface part;
        part.positions.reserve(triangulation_.vertices());
        part.seamRows.reserve(triangulation_.vertices());
        part.triangles.reserve(triangulation_.triangles());
        std::vector<std::uint32_t> numbers(triangulation_.vertices(), GridTriangulation::None);
        auto const& placement = grid_.placement;
        for (std::uint32_t t = 0; t < triangulation_.triangles(); ++t) {
            if (!triangulation_.alive(t) || state_[t].coversHole()) {
                continue;
            }
            std::array<std::uint32_t, 3> triangle{};
            for (std::uint32_t k = 0; k < 3; ++k) {
                std::uint32_t const v = triangulation_.corner(3 * t + k);
                if (numbers[v] == GridTriangulation::None) {
                    GridPoint const c = triangulation_.point(v);
                    numbers[v] = static_cast<std::uint32_t>(part.positions.size());
                    part.positions.push_back({placement.origin[0] + static_cast<double>(c.x) * placement.spacing[0],
                                              placement.origin[1] + static_cast<double>(c.y) * placement.spacing[1],
                                              grid_.height(c)});
                    part.seamRows.push_back(c.x == seam ? c.y : -1);
                }
                triangle[k] = numbers[v];
            }
            part.triangles.push_back(triangle);
        }
        part.normals.assign(part.positions.size(), {0.0, 0.0, 0.0});
        for (auto const& [a, b, c] : part.triangles) {
            MeshPoint const n = areaNormal(part.positions[a], part.positions[b], part.positions[c]);
            for (auto const v : {a, b, c}) {
                addTo(part.normals[v], n);
                if (part.seamRows[v] >= 0) {
                    part.seamShares.emplace_back(part.seamRows[v], n);
                }
            }
        }
        for (std::size_t v = 0; v < part.positions.size(); ++v) {
            if (part.seamRows[v] < 0) {
                part.normals[v] = unitNormal(part.normals[v]);
            }
        }
        return part;
    }

private:
    // Greedy refinement: the data cell farthest from its face's plane, among
    // the faces whose error is of the largest octave, goes in next, until
    // every face is close enough and off holes.
    void refine() {
        for (std::uint32_t t = 0; t < triangulation_.triangles(); ++t) {
            scan(t);
        }
        std::vector<std::uint32_t> changed;
        while (!queue_.empty()) {
            Candidate const worst = queue_.pop();
            auto const face = static_cast<std::uint32_t>(worst);
            FaceState& popped = state_[face];
            if (popped.queued != worst) {
                continue; // the face changed since
            }
            if ((worst & Unscanned) != 0) {
                scan(face);
                continue;
            }
            if (std::bit_cast<float>(static_cast<std::uint32_t>(worst >> 32)) <= 2.0 * maxError_ && settledByFlip(face)) {
                continue;
            }
            changed.clear();
            inserted_.push_back(triangulation_.vertices());
            triangulation_.insert(popped.worst, face, changed);
            Candidate const guess = guessBelow(worst);
            for (std::uint32_t t : changed) {
                FaceState& state = stateOf(t);
                if (state.queued != (guess | t)) {
                    state.queued = guess | t;
                    queue_.push(state.queued);
                }
            }
        }
    }

    // Whether turning the face's edge nearest its worst cell into the other
    // diagonal of the quadrilateral it makes with its neighbour leaves both
    // new faces within the error and off holes; turns it when so, and the
    // cell need not go in. Tried on faces within twice the error, where it
    // spares about one insertion in six for fewer triangles in the end; the
    // turned edge need not be Delaunay, and an insertion that changes either
    // face later scans it again. Other edges, or larger errors, settle too
    // seldom for the scans their tries cost.
    bool settledByFlip(std::uint32_t face) {
        GridPoint const worst = state_[face].worst;
        std::uint32_t h = 3 * face; // every edge's area with the face's third corner is the same
        std::int64_t least = std::numeric_limits<std::int64_t>::max();
        for (std::uint32_t e = 3 * face; e < 3 * face + 3; ++e) {
            if (std::int64_t const area = orientation(cornerPoint(e), cornerPoint(GridTriangulation::next(e)), worst);
                area < least) {
                least = area;
                h = e;
            }
        }
        std::uint32_t const g = triangulation_.twin(h);
        if (g == GridTriangulation::None) {
            return false;
        }
        GridPoint const i = cornerPoint(h), j = cornerPoint(GridTriangulation::next(h));
        GridPoint const p = cornerPoint(GridTriangulation::prev(h)), q = cornerPoint(GridTriangulation::prev(g));
        if (orientation(p, q, j) <= 0 || orientation(q, p, i) <= 0) {
            return false; // not convex
        }
        std::array const towardJ{p, q, j}, towardI{q, p, i};
        // The worst cell first: it fails there in some two fifths of the tries.
        if (cellExcess(grid_, orientation(p, q, worst) >= 0 ? towardJ : towardI, worst, maxError_) > 0.0 ||
            !withinError(grid_, towardJ, maxError_) || !withinError(grid_, towardI, maxError_)) {
            return false;
        }
        triangulation_.flip(h);
        state_[face] = {};
        state_[g / 3] = {};
        return true;
    }

    GridPoint cornerPoint(std::uint32_t h) const { return triangulation_.point(triangulation_.corner(h)); }

    // Where a face an insertion changed waits to be scanned: two octaves
    // below the face it split, as the smaller faces mostly lie closer to the
    // cells. Many are replaced again by a neighbour's insertion before their
    // turn and are then never scanned (on the benchmark terrain, some 30 %;
    // waiting one octave below spares fewer, three or four no more).
    static Candidate guessBelow(Candidate worst) {
        std::size_t const octave = OctaveQueue::octave(worst);
        return Unscanned | static_cast<Candidate>(octave > 2 ? octave - 2 : 1) << 55;
    }

    // Removes refinement vertices that the bound no longer needs: a vertex
    // moves onto the neighbour nearest it in height, or failing that the
    // second nearest, when every face of the resulting fan keeps its
    // orientation, its cells within the error and no hole. Trying the second
    // only when the first fails leaves some 2 % fewer triangles than choosing
    // between the two beforehand, in the same time; trying every neighbour
    // leaves a sixth fewer for about a tenth more time in all.
    // The more neighbours a vertex has, the more and longer the faces of its
    // fan and the less often it moves (on the benchmark terrain about half
    // of those with four, a quarter with six, one in seven with seven, under
    // one in ten beyond): a vertex with five tries only the nearest, one with
    // more stays. Against trying six as well (the nearest only) that takes
    // some 8 % off the whole at E = 5 on the benchmark tile, for 7 % more
    // triangles there and a fifth more at E = 50.
    void decimate() {
        triangulation_.indexVertices();
        std::vector<std::uint32_t> star;
        std::vector<GridPoint> ring;
        for (std::uint32_t v : inserted_) {
            triangulation_.star(v, star);
            if (star.empty() || star.size() > MostNeighbours ||
                std::ranges::any_of(star, [&](std::uint32_t h) { return state_[h / 3].coversHole(); })) {
                continue;
            }
            ring.clear();
            for (std::uint32_t h : star) {
                ring.push_back(triangulation_.point(triangulation_.corner(GridTriangulation::next(h))));
            }
            GridPoint const cell = triangulation_.point(v);
            auto const [first, second] = nearestInHeight(ring, grid_.height(cell));
            std::array const candidates{first, second};
            std::size_t const tries = star.size() < MostNeighbours ? 2 : 1;
            for (std::size_t const onto : std::span(candidates).first(tries)) {
                if (vertexExcess(ring, cell, onto) <= 0.0 && fanWithinError(ring, onto)) {
                    triangulation_.collapse(star, onto);
                    break;
                }
            }
        }
    }

    // The two cells of the ring nearest the height, nearest first.
    std::pair<std::size_t, std::size_t> nearestInHeight(std::vector<GridPoint> const& ring, double height) const {
        std::array<std::size_t, 2> nearest{0, 0};
        std::array<double, 2> gaps{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
        for (std::size_t j = 0; j < ring.size(); ++j) {
            double const gap = std::abs(grid_.height(ring[j]) - height);
            if (gap < gaps[0]) {
                nearest = {j, nearest[0]};
                gaps = {gap, gaps[0]};
            } else if (gap < gaps[1]) {
                nearest[1] = j;
                gaps[1] = gap;
            }
        }
        return {nearest[0], nearest[1]};
    }

    struct FaceState {
        GridPoint worst{};
        Candidate queued = NoCandidate; // the face's entry in the queue, 16 bytes in all
        // Once refinement ends no face waits, and any face over a hole then
        // holds no data cell to insert.
        bool coversHole() const { return queued == HolesOnly; }
    };

    // A vertex's share of the triangulation (its point, two triangles' corners,
    // twins and states, its star edge) and of the insertion order.
    static constexpr std::size_t BytesPerVertex = sizeof(GridPoint) + 2 * (24 + sizeof(FaceState)) + 4 + 4;
    static constexpr std::size_t Slack = 4096; // for the arrays' alignment
    static constexpr std::size_t MostNeighbours = 5; // of a vertex the thinning tries to move

    // The face that holds p, walking there from face t; None when p lies off the hull.
    std::uint32_t locate(GridPoint p, std::uint32_t t) const {
        for (std::uint32_t k = 0; k < 3;) {
            std::uint32_t const h = 3 * t + k;
            if (orientation(triangulation_.point(triangulation_.corner(h)),
                            triangulation_.point(triangulation_.corner(GridTriangulation::next(h))), p) >= 0) {
                ++k;
                continue;
            }
            if (triangulation_.twin(h) == GridTriangulation::None) {
                return GridTriangulation::None;
            }
            t = triangulation_.twin(h) / 3;
            k = 0;
        }
        return t;
    }

    std::array<GridPoint, 3> cornersOf(std::uint32_t t) const {
        return {triangulation_.point(triangulation_.corner(3 * t)), triangulation_.point(triangulation_.corner(3 * t + 1)),
                triangulation_.point(triangulation_.corner(3 * t + 2))};
    }

    FaceState& stateOf(std::uint32_t t) {
        if (state_.size() <= t) {
            state_.resize(triangulation_.triangles()); // within the reservation, or doubled
        }
        return state_[t];
    }

    // Finds the face's data cell farthest from its plane and queues the face
    // when that cell is too far, or when the face covers a hole.
    void scan(std::uint32_t t) {
        auto const corners = cornersOf(t);
        FaceState& state = stateOf(t);
        if (orientation(corners[0], corners[1], corners[2]) == 1) {
            state = {}; // of twice area 1: no cell but its corners, which are data
            return;
        }
        FaceFinding const found = worstCell(grid_, corners, maxError_);
        state = {found.worst, found.coversHole ? HolesOnly : NoCandidate};
        if (found.error >= 0.0 && (found.coversHole || found.error > found.threshold)) {
            state.queued = candidateOf(found.coversHole ? std::numeric_limits<double>::infinity() : found.error, t);
            queue_.push(state.queued);
        }
    }

    // Face i of the fan that moving a vertex onto ring[j] leaves, for the
    // ring of its neighbours in the order of its star.
    static std::array<GridPoint, 3> fanFace(std::vector<GridPoint> const& ring, std::size_t j, std::size_t i) {
        std::size_t const k = ring.size();
        std::size_t const at = j + i < k ? j + i : j + i - k;
        return {ring[j], ring[at], ring[at + 1 < k ? at + 1 : 0]};
    }

    // By how much the vertex's own cell misses the error bound over the fan
    // faces that get it once the vertex moves onto ring[j]; infinite when a
    // face of that fan would turn clockwise or flat.
    double vertexExcess(std::vector<GridPoint> const& ring, GridPoint v, std::size_t j) const {
        double excess = -std::numeric_limits<double>::infinity();
        for (std::size_t i = 1; i + 1 < ring.size(); ++i) {
            auto const c = fanFace(ring, j, i);
            if (orientation(c[0], c[1], c[2]) <= 0) {
                return std::numeric_limits<double>::infinity();
            }
            bool const holdsVertex =
                orientation(c[0], c[1], v) >= 0 && orientation(c[1], c[2], v) >= 0 && orientation(c[2], c[0], v) >= 0;
            if (holdsVertex) {
                excess = std::max(excess, cellExcess(grid_, c, v, maxError_));
            }
        }
        return excess;
    }

    // Whether every face of that fan keeps its cells within the error and off holes.
    bool fanWithinError(std::vector<GridPoint> const& ring, std::size_t j) const {
        for (std::size_t i = 1; i + 1 < ring.size(); ++i) {
            if (!withinError(grid_, fanFace(ring, j, i), maxError_)) {
                return false;
            }
        }
        return true;
    }

    ScanGrid grid_;
    double maxError_;
    std::pmr::monotonic_buffer_resource memory_; // for the arrays sized by the vertices
    GridTriangulation triangulation_;
    std::pmr::vector<FaceState> state_;
    OctaveQueue queue_;
    std::pmr::vector<std::uint32_t> inserted_; // refinement's vertices in the order of insertion
};

// Seeds, simplifies and extracts both parts, the second on a thread of its
// own unless the worker count is held to one; the first part lies west of the seam.
std::vector<PartSurface> simplifyBoth(ScanGrid const& westGrid, ScanGrid const& eastGrid, double maxError,
                                      std::array<std::vector<GridPoint>, 2> const& hulls,
                                      std::vector<GridPoint> const& seam, std::array<std::size_t, 2> expected) {
    std::vector<PartSurface> parts(2);
    auto const simplifyEast = [&] {
        Refiner east(eastGrid, maxError, hulls[1], seam, expected[1]);
        east.simplify();
        parts[1] = east.surface(eastGrid.scanFrom - 1);
    };
    std::future<void> other;
    if (omp_get_max_threads() > 1) {
        other = std::async(std::launch::async, simplifyEast);
    }
    Refiner west(westGrid, maxError, hulls[0], seam, expected[0]);
    west.simplify(); // should it throw, the future waits for the other part as it goes
    parts[0] = west.surface(westGrid.scanTo + 1);
    if (other.valid()) {
        other.get();
    } else {
        simplifyEast();
    }
    return parts;
}

bool allData(ScanGrid const& grid, std::int32_t column) {
    for (std::int32_t y = 0; y < grid.rows; ++y) {
        if (!grid.isData({column, y})) {
            return false;
        }
    }
    return true;
}

// About how many vertices per cell a refinement within the error needs around
// cell c: one per square of the largest side s (a power of two up to the seed
// spacing) over which the heights, taken s cells either side in both
// directions, bend by at most twice the error, the most a plane spanning
// them may miss the middle by.
double vertexDensity(ScanGrid const& grid, GridPoint c, double maxError) {
    double const h = grid.height(c);
    auto const bendsLittle = [&](GridPoint a, GridPoint b) { // false beside a hole (NaN)
        return std::abs(grid.height(a) - 2.0 * h + grid.height(b)) <= 2.0 * maxError;
    };
    std::int32_t side = 1;
    for (std::int32_t s = 1; s <= SeedSpacing; s *= 2) {
        bool const across = c.x < s || c.x + s >= grid.columns || bendsLittle({c.x - s, c.y}, {c.x + s, c.y});
        bool const along = c.y < s || c.y + s >= grid.rows || bendsLittle({c.x, c.y - s}, {c.x, c.y + s});
        if (!across || !along) {
            break;
        }
        side = s;
    }
    return 1.0 / (static_cast<double>(side) * side);
}

// The refinement's work per column, judged on every eighth row and fourth
// column (the column to split at is what must be found finely): the vertices
// it inserts, and the scans every cell gets whatever the error (the seed
// lattice's faces, the thinning's fans), which cost a cell about a sixteenth
// of an insertion.
struct ColumnWork {
    // Cells a sample stands for, halved: the vertex density counts about
    // twice the vertices the refinement inserts.
    static constexpr double VerticesPerSample = 16.0;
    std::vector<double> work;
    std::vector<double> vertices; // per column, in samples
};

ColumnWork columnWork(ScanGrid const& grid, double maxError) {
    constexpr double ScanShare = 1.0 / 16.0;
    ColumnWork found{std::vector<double>(static_cast<std::size_t>(grid.columns), 0.0),
                     std::vector<double>(static_cast<std::size_t>(grid.columns), 0.0)};
    for (std::int32_t y = 4; y < grid.rows; y += 8) {
        for (std::int32_t x = 2; x < grid.columns; x += 4) {
            if (grid.isData({x, y})) {
                double const density = vertexDensity(grid, {x, y}, maxError);
                found.work[static_cast<std::size_t>(x)] += density + ScanShare;
                found.vertices[static_cast<std::size_t>(x)] += density;
            }
        }
    }
    return found;
}

// About how many vertices the refinement inserts in columns from to to.
std::size_t expectedVertices(ColumnWork const& found, std::int32_t from, std::int32_t to) {
    auto const first = found.vertices.begin();
    return static_cast<std::size_t>(std::accumulate(first + from, first + to + 1, 0.0) * ColumnWork::VerticesPerSample);
}

// The column that splits the work about evenly, kept to the middle half.
std::int32_t balancedSeam(ColumnWork const& found) {
    auto const& work = found.work;
    auto const columns = static_cast<std::int32_t>(work.size());
    double const half = std::accumulate(work.begin(), work.end(), 0.0) / 2.0;
    if (!(half > 0.0)) {
        return columns / 2; // no data cell sampled
    }
    std::int32_t seam = 0;
    for (double sum = 0.0; seam < columns && sum < half; ++seam) {
        sum += work[static_cast<std::size_t>(seam)];
    }
    return std::clamp(seam, columns / 4, 3 * columns / 4);
}

} // namespace

SurfaceCounts streamSimplifiedSurface(HeightInput const& input, double maxError, MeshSink& sink) {
    requireMeshableHeights(input);
    GridPlacement const placement = placementOf(input.georef, input.heights.height, input.source);
    auto const columns = static_cast<std::int32_t>(input.heights.width);
    auto const rows = static_cast<std::int32_t>(input.heights.height);
    CellBlocks const blocks(input.heights.values.data(), input.cellTypes.data(), columns, rows, placement.northUp);
    ScanGrid const grid{blocks.cells(), blocks.rowOfBlocks(), columns, rows, placement, 0, columns - 1};
    // Two halves refined at once along a column of data cells, which splits
    // their work about evenly or else lies in the middle: its profile,
    // simplified first, gives both halves the same corners there.
    ColumnWork const work = columnWork(grid, maxError);
    std::int32_t const balanced = balancedSeam(work);
    std::int32_t const seam = allData(grid, balanced) ? balanced : columns / 2;
    if (columns >= 16 && allData(grid, seam)) {
        auto const west = hullCorners(grid, 0, seam), east = hullCorners(grid, seam, columns - 1);
        if (west.size() >= 3 && east.size() >= 3) {
            auto const corners = seamCorners(grid, seam, maxError);
            ScanGrid westGrid = grid, eastGrid = grid;
            westGrid.scanTo = seam - 1;
            eastGrid.scanFrom = seam + 1;
            std::array const expected{expectedVertices(work, 0, seam - 1), expectedVertices(work, seam + 1, columns - 1)};
            return emitJoined(simplifyBoth(westGrid, eastGrid, maxError, {west, east}, corners, expected), rows, sink);
        }
    }
    auto const hull = hullCorners(grid, 0, columns - 1);
    if (hull.size() < 3) {
        throw InputError(input.source + ": the data cells span no area to make a surface of");
    }
    Refiner whole(grid, maxError, hull, {}, expectedVertices(work, 0, columns - 1));
    whole.simplify();
    PartSurface const surface = whole.surface(-1);
    // Every triangle of the hull may span a hole, as on a checkerboard of holes.
    if (surface.triangles.empty()) {
        throw InputError(input.source + ": no triangle of data cells clear of holes to make a surface of");
    }
    return emitJoined({&surface, 1}, rows, sink);
}

} // namespace rastrum_host
