// The block scans, included once per instruction set inside a region built
// for it and a namespace of its own, after Width (doubles a vector holds) and
// the lane tables: vector comparisons are built for the target of the
// function they are written in, before any inlining, so the kernel's text
// must lie inside that region. No include guard, for that reason.

template <std::size_t W>
struct Lanes {
    typedef double Doubles __attribute__((vector_size(8 * W)));
    typedef std::int64_t Masks __attribute__((vector_size(8 * W)));
    typedef float Floats __attribute__((vector_size(4 * W)));
};

template <class V, class T>
[[gnu::always_inline]] inline void load(V& v, T const* from) {
    std::memcpy(&v, from, sizeof v);
}

// A face scanned over a block's 16 cells, row by row, in N vectors of W
// lanes. The helpers are inlined into functions built for one instruction
// set each, and pass vectors by reference. Edge areas are whole numbers
// below 2^31 for faces within BlockScanReach, so doubles hold them exactly.
template <std::size_t W>
struct BlockFace {
    using Doubles = typename Lanes<W>::Doubles;
    using Masks = typename Lanes<W>::Masks;
    static constexpr std::size_t N = 16 / W;

    // Per edge and vector: twice the signed area the edge makes with the
    // lane's cell, less that with the block's first cell; the sum is not
    // negative inside the face.
    std::array<std::array<Doubles, N>, 3> steps;
    std::array<GridPoint, 3> corners;
    double xFrom, xTo; // the columns looked at
    bool clipped;      // whether those leave out some of the face's columns
    std::int32_t bxFrom, bxTo, byFrom, byTo;

    [[gnu::always_inline]] void setUp(ScanGrid const& grid, std::array<GridPoint, 3> const& c) {
        corners = c;
        for (std::size_t j = 0; j < N; ++j) {
            Doubles x, y;
            load(x, LaneX.data() + j * W);
            load(y, LaneY.data() + j * W);
            for (std::size_t k = 0; k < 3; ++k) {
                GridPoint const a = c[k], b = c[(k + 1) % 3];
                steps[k][j] = static_cast<double>(b.x - a.x) * y - static_cast<double>(b.y - a.y) * x;
            }
        }
        auto const [left, right] = extentOf(c[0].x, c[1].x, c[2].x);
        std::int32_t const from = std::max(left, grid.scanFrom), to = std::min(right, grid.scanTo);
        xFrom = from;
        xTo = to;
        clipped = from != left || to != right;
        bxFrom = from >> 2;
        bxTo = to >> 2;
        auto const [bottom, top] = extentOf(c[0].y, c[1].y, c[2].y);
        byFrom = bottom >> 2;
        byTo = top >> 2;
    }

    // Each edge's area with the first cell of the block at (x0, y0).
    [[gnu::always_inline]] void firstAreas(std::array<double, 3>& first, std::int32_t x0, std::int32_t y0) const {
        for (std::size_t k = 0; k < 3; ++k) {
            GridPoint const a = corners[k], b = corners[(k + 1) % 3];
            first[k] = static_cast<double>((b.x - a.x) * (y0 - a.y) - (b.y - a.y) * (x0 - a.x));
        }
    }

    // All ones in the lanes of vector j of the block at column x0 whose
    // cells lie inside the face or on its edges, within the columns looked
    // at when Clip (without, all the face's columns are).
    template <bool Clip>
    [[gnu::always_inline]] void inside(Masks& in, std::array<double, 3> const& first, std::int32_t x0,
                                       std::size_t j) const {
        in = (first[0] + steps[0][j] >= 0.0) & (first[1] + steps[1][j] >= 0.0) & (first[2] + steps[2][j] >= 0.0);
        if constexpr (Clip) {
            Doubles xs;
            load(xs, LaneX.data() + j * W);
            xs += static_cast<double>(x0);
            in &= (xs >= xFrom) & (xs <= xTo);
        }
    }

    // The heights of vector j of the block at (bx, by) and each lane's
    // distance to the plane, evaluated as the row scans do: the row's base
    // first, then along the row.
    [[gnu::always_inline]] void errors(Doubles& heights, Doubles& error, ScanGrid const& grid, FacePlane const& p,
                                       std::int32_t bx, std::int32_t by, std::size_t j) const {
        float const* const cells =
            grid.cells + static_cast<std::size_t>(by) * grid.rowOfBlocks + static_cast<std::size_t>(bx) * 16 + j * W;
        if constexpr (W == 8) {
            // One conversion of all eight lanes: GCC splits the generic one in two halves.
            __m512d const wide = _mm512_maskz_cvtps_pd(0xFF, _mm256_loadu_ps(cells));
            std::memcpy(&heights, &wide, sizeof heights);
        } else {
            typename Lanes<W>::Floats block;
            load(block, cells);
            heights = __builtin_convertvector(block, Doubles);
        }
        Doubles x, y;
        load(x, LaneX.data() + j * W);
        load(y, LaneY.data() + j * W);
        Doubles const base = p.h0 + p.slopeY * (static_cast<double>(4 * by - corners[0].y) + y);
        Doubles const gap = heights - (base + p.slopeX * (static_cast<double>(4 * bx - corners[0].x) + x));
        Masks bits;
        std::memcpy(&bits, &gap, sizeof bits);
        bits &= std::numeric_limits<std::int64_t>::max(); // the absolute value
        std::memcpy(&error, &bits, sizeof error);
    }
};

// v with each lane replaced by fold of it and the lane Shift further on,
// then with Shift halved, until every lane holds the fold over all W lanes.
enum class Fold { Max, Min, Or };
template <Fold F, std::size_t Shift, class V, std::size_t... L>
[[gnu::always_inline]] inline void foldLanes(V& v, std::index_sequence<L...> lanes) {
    if constexpr (Shift > 0) {
        V const other = __builtin_shufflevector(v, v, ((L + Shift) % sizeof...(L))...);
        if constexpr (F == Fold::Max) {
            v = other > v ? other : v;
        } else if constexpr (F == Fold::Min) {
            v = other < v ? other : v;
        } else {
            v |= other;
        }
        foldLanes<F, Shift / 2>(v, lanes);
    }
}

// The blocks' lanes folded into the per-lane best errors and their cells'
// keys, and the lanes that met a hole.
template <std::size_t W, bool Clip>
[[gnu::always_inline]] inline void worstCellBlocks(BlockFace<W> const& face, ScanGrid const& grid, FacePlane const& plane,
                                                   std::array<typename BlockFace<W>::Masks, 3> const& cornerKeys,
                                                   std::array<typename BlockFace<W>::Doubles, BlockFace<W>::N>& best,
                                                   std::array<typename BlockFace<W>::Masks, BlockFace<W>::N>& bestKey,
                                                   typename BlockFace<W>::Masks& holes) {
    using Face = BlockFace<W>;
    using Doubles = typename Face::Doubles;
    using Masks = typename Face::Masks;
    std::array<double, 3> first{};
    // One loop over the blocks, row by row: fewer hard-to-predict loop ends.
    std::int32_t const blocks = (face.bxTo - face.bxFrom + 1) * (face.byTo - face.byFrom + 1);
    for (std::int32_t n = 0, bx = face.bxFrom, by = face.byFrom; n < blocks; ++n) {
        face.firstAreas(first, 4 * bx, 4 * by);
        for (std::size_t j = 0; j < Face::N; ++j) {
            Masks in, key;
            Doubles heights, error;
            face.template inside<Clip>(in, first, 4 * bx, j);
            face.errors(heights, error, grid, plane, bx, by, j);
            Masks const data = heights == heights;
            holes |= in & ~data;
            load(key, LaneKey.data() + j * W);
            key += keyOf(4 * bx, 4 * by);
            // Compares only: a negated mask went through the general registers.
            in &= data & (key != cornerKeys[0]) & (key != cornerKeys[1]) & (key != cornerKeys[2]);
            error = in ? error : Doubles{} - 1.0;
            Masks const better = error > best[j]; // the first of equals in row order stays
            best[j] = better ? error : best[j];
            bestKey[j] = better ? key : bestKey[j];
        }
        bool const wrap = bx == face.bxTo;
        by += wrap ? 1 : 0;
        bx = wrap ? face.bxFrom : bx + 1;
    }
}

template <std::size_t W>
[[gnu::always_inline]] inline void worstCellKernel(ScanGrid const& grid, std::array<GridPoint, 3> const& c,
                                                   FacePlane const& plane, FaceFinding& found) {
    using Face = BlockFace<W>;
    using Doubles = typename Face::Doubles;
    using Masks = typename Face::Masks;
    Face face;
    face.setUp(grid, c);
    std::array<Masks, 3> cornerKeys;
    for (std::size_t k = 0; k < 3; ++k) {
        cornerKeys[k] = Masks{} + keyOf(c[k].x, c[k].y);
    }
    std::array<Doubles, Face::N> best;
    std::array<Masks, Face::N> bestKey;
    for (std::size_t j = 0; j < Face::N; ++j) {
        best[j] = Doubles{} - 1.0;
        bestKey[j] = Masks{} + std::numeric_limits<std::int64_t>::max();
    }
    Masks holes{};
    if (face.clipped) {
        worstCellBlocks<W, true>(face, grid, plane, cornerKeys, best, bestKey, holes);
    } else {
        worstCellBlocks<W, false>(face, grid, plane, cornerKeys, best, bestKey, holes);
    }
    // The largest error, then the first cell in row order that has it,
    // without branches (which lane wins is hard to predict) and within the
    // registers: lanes taken out one by one went through the stack.
    Doubles top = best[0];
    for (std::size_t j = 1; j < Face::N; ++j) {
        top = best[j] > top ? best[j] : top;
    }
    Doubles largest = top;
    foldLanes<Fold::Max, W / 2>(largest, std::make_index_sequence<W>{});
    Masks earliest = Masks{} + std::numeric_limits<std::int64_t>::max();
    for (std::size_t j = 0; j < Face::N; ++j) {
        Masks const keyIfLargest = best[j] == largest ? bestKey[j] : earliest;
        earliest = keyIfLargest < earliest ? keyIfLargest : earliest;
    }
    foldLanes<Fold::Min, W / 2>(earliest, std::make_index_sequence<W>{});
    foldLanes<Fold::Or, W / 2>(holes, std::make_index_sequence<W>{});
    std::int64_t const key = earliest[0], hole = holes[0];
    found.coversHole = hole != 0;
    found.error = largest[0];
    if (found.error >= 0.0) {
        found.worst = {static_cast<std::int32_t>(key % RowKey), static_cast<std::int32_t>(key / RowKey)};
    }
}

template <std::size_t W, bool Clip>
[[gnu::always_inline]] inline bool withinErrorBlocks(BlockFace<W> const& face, ScanGrid const& grid,
                                                     FacePlane const& plane) {
    using Face = BlockFace<W>;
    std::array<double, 3> first{};
    for (std::int32_t by = face.byFrom; by <= face.byTo; ++by) {
        typename Face::Masks outside{};
        for (std::int32_t bx = face.bxFrom; bx <= face.bxTo; ++bx) {
            face.firstAreas(first, 4 * bx, 4 * by);
            for (std::size_t j = 0; j < Face::N; ++j) {
                typename Face::Masks in;
                typename Face::Doubles heights, error;
                face.template inside<Clip>(in, first, 4 * bx, j);
                face.errors(heights, error, grid, plane, bx, by, j);
                outside |= in & !(error <= plane.threshold); // NaN at a hole fails
            }
        }
        foldLanes<Fold::Or, W / 2>(outside, std::make_index_sequence<W>{});
        if (outside[0] != 0) {
            return false;
        }
    }
    return true;
}

template <std::size_t W>
[[gnu::always_inline]] inline bool withinErrorKernel(ScanGrid const& grid, std::array<GridPoint, 3> const& c,
                                                     FacePlane const& plane) {
    BlockFace<W> face;
    face.setUp(grid, c);
    return face.clipped ? withinErrorBlocks<W, true>(face, grid, plane) : withinErrorBlocks<W, false>(face, grid, plane);
}

void worstCell(ScanGrid const& grid, std::array<GridPoint, 3> const& c, FacePlane const& plane, FaceFinding& found) {
    worstCellKernel<Width>(grid, c, plane, found);
}

bool withinError(ScanGrid const& grid, std::array<GridPoint, 3> const& c, FacePlane const& plane) {
    return withinErrorKernel<Width>(grid, c, plane);
}
