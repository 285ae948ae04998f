#include "bilateral/bilateral_lanes.hpp"

#include <algorithm>
#include <cstddef>
#include <span>
#include <type_traits>
#include <utility>

#include "bilateral/group_blocks.hpp"
#include "frame/team_split.hpp"
#include "simd/exp_lanes.hpp"
#include "simd/lanes.hpp"

namespace Rastrum {
namespace {

// A window offset: di along x, dj along y.
struct Offset {
    std::int64_t di;
    std::int64_t dj;
};

// The weight of neighbour q for centre p depends on the pair only through
// their distance and (c_p - c_q)², so when both are data cells of layer 0 it
// is also the weight of p for centre q. Layer 0 therefore weighs each pair
// once, at the centre whose offset points forward (a later row, or later in
// the same row), and the centre at the other end looks it up.
// Rows handed to a thread at least.
constexpr std::uint64_t ROWS_PER_GRAIN = 16;

bool pointsForward(Offset o) { return o.dj > 0 || (o.dj == 0 && o.di > 0); }

template <class T>
struct Fragment {
    T const* input;
    unsigned char const* cellTypes;
    std::int64_t nx;
    std::int64_t ny;
    std::int64_t nz;
    T* result;
};

struct Weighting {
    std::int64_t half;
    std::vector<double> const& spatial;
    double rangeScale; // 0.5 / σr²
    simd::CodeSet const& excluded;
};

// One window neighbour as a row of the filter reads it: for the centre at
// buffer position u, its weight is weight[u], its value value[u] and its
// exclusion mask hole[u].
struct Neighbour {
    double const* weight;
    double const* value;
    long long const* hole;
};

// The filter of one fragment, row by row within column strips. Rows of layer 0
// are kept widened to double in a ring of 2 half + 1 buffers, padded so that
// whole groups of lanes can be read past both ends; the weights of a row are
// computed for the whole strip first (exponent, then exp over the array), then
// groups of W centres are summed lane by lane in the neighbour order of the
// scalar filter, rounding the sum to T after every step as it does.
template <class T, int W, std::size_t G>
class BilateralRows {
    using Doubles = typename simd::Lanes<W>::Doubles;
    using Masks = typename simd::Lanes<W>::Masks;
    using Floats = typename simd::Lanes<W>::Floats;
    static constexpr std::int64_t LANES = W;

public:
    BilateralRows(Fragment<T> const& fragment, Weighting const& weighting)
        : f_(fragment), w_(weighting), width_(2 * w_.half + 1), pad_(2 * w_.half + LANES),
          ringRows_(static_cast<std::size_t>(width_)) {
        for (std::int64_t di = -w_.half; di <= w_.half; ++di) {
            for (std::int64_t dj = -w_.half; dj <= w_.half; ++dj) {
                Offset const o{di, dj};
                forwardIndex_.push_back(pointsForward(o) ? forwardCount_++ : 0);
                window_.push_back(o);
            }
        }
        // Layer 0 keeps half + 1 rows of pair weights (forward offsets and the
        // centre); other layers one row with every offset.
        arraysPerRow_ = k0Arrays();
        auto const arrays = std::max(static_cast<std::size_t>(w_.half + 1) * k0Arrays(), window_.size());
        // Strips narrow enough for the weights to stay in the second-level cache.
        constexpr std::int64_t CACHED_DOUBLES = 48 * 1024;
        auto const fitting = CACHED_DOUBLES / static_cast<std::int64_t>(arrays) - 2 * pad_ - LANES;
        strip_ = std::max<std::int64_t>(8 * LANES, fitting);
        strip_ -= strip_ % LANES;
        strip_ = std::min(strip_, f_.nx);
        length_ = 2 * pad_ + strip_ + 2 * LANES;
        auto const row = static_cast<std::size_t>(length_);
        values_.resize((ringRows_ + 1) * row);
        if constexpr (std::is_same_v<T, float>) {
            floats_.resize((ringRows_ + 1) * row);
        }
        holes_.resize((ringRows_ + 1) * row);
        holed_.resize(ringRows_ + 1);
        weights_.resize(arrays * row);
        neighbours_.resize(window_.size());
    }

    // The centres of rows [first, end) of every layer, in column strips.
    [[gnu::always_inline]] void run(std::int64_t first, std::int64_t end) {
        for (std::int64_t x0 = 0; x0 < f_.nx;) {
            std::int64_t x1 = std::min(f_.nx, x0 + strip_);
            if (f_.nx - x1 < LANES) {
                x1 = f_.nx;
            }
            for (std::int64_t k = 0; k < f_.nz; ++k) {
                runStrip(k, x0, x1 - x0, first, end);
            }
            x0 = x1;
        }
    }

private:
    std::size_t k0Arrays() const { return forwardCount_ + 1; }
    std::size_t ringSlot(std::int64_t y) const { return static_cast<std::size_t>(y % width_); }
    std::size_t centreSlot(std::int64_t k, std::int64_t j) const { return k == 0 ? ringSlot(j) : ringRows_; }
    double* values(std::size_t slot) { return values_.data() + slot * static_cast<std::size_t>(length_); }
    float* floats(std::size_t slot) { return floats_.data() + slot * static_cast<std::size_t>(length_); }
    long long* holes(std::size_t slot) { return holes_.data() + slot * static_cast<std::size_t>(length_); }
    double* weights(std::int64_t k, std::int64_t y, std::size_t array) {
        auto const rowStart = k == 0 ? static_cast<std::size_t>(y % (w_.half + 1)) * arraysPerRow_ : 0;
        return weights_.data() + (rowStart + array) * static_cast<std::size_t>(length_);
    }

    // Layer 0 weighs each pair at one end only, so rows up to half a window
    // above the first are weighed too, for the pairs they share with it.
    [[gnu::always_inline]] void runStrip(std::int64_t k, std::int64_t x0, std::int64_t columns, std::int64_t first,
                                         std::int64_t end) {
        std::int64_t const start = k == 0 ? std::max<std::int64_t>(0, first - w_.half) : first;
        for (std::int64_t y = std::max<std::int64_t>(0, start - w_.half); y < std::min(start + w_.half, f_.ny); ++y) {
            fillRow(ringSlot(y), 0, y, x0);
        }
        for (std::int64_t j = start; j < end; ++j) {
            if (j + w_.half < f_.ny) {
                fillRow(ringSlot(j + w_.half), 0, j + w_.half, x0);
            }
            if (k > 0) {
                fillRow(ringRows_, k, j, x0);
            }
            if (windowHoled(k, j)) {
                weighRow<true>(k, j, x0, columns);
                if (j >= first) {
                    smoothRow<true>(k, j, x0, columns);
                }
            } else {
                weighRow<false>(k, j, x0, columns);
                if (j >= first) {
                    smoothRow<false>(k, j, x0, columns);
                }
            }
        }
    }

    // Whether a row within half a window of row j, or the centre row, has an
    // excluded cell in the strip: most windows have none, and their rows are
    // weighed and summed without the exclusion masks.
    bool windowHoled(std::int64_t k, std::int64_t j) const {
        if (holed_[centreSlot(k, j)]) {
            return true;
        }
        for (std::int64_t y = std::max<std::int64_t>(0, j - w_.half); y <= std::min(j + w_.half, f_.ny - 1); ++y) {
            if (holed_[ringSlot(y)]) {
                return true;
            }
        }
        return false;
    }

    // Buffer position b holds column x0 - pad + b; columns outside the
    // fragment hold zeros, which the sums take with weight 0.
    [[gnu::always_inline]] void fillRow(std::size_t slot, std::int64_t k, std::int64_t y, std::int64_t x0) {
        std::int64_t const first = x0 - pad_;
        std::int64_t const lo = std::clamp<std::int64_t>(-first, 0, length_);
        std::int64_t const hi = std::clamp<std::int64_t>(f_.nx - first, lo, length_);
        double* v = values(slot);
        long long* h = holes(slot);
        std::fill(v, v + lo, 0.0);
        std::fill(h, h + lo, 0LL);
        std::fill(v + hi, v + length_, 0.0);
        std::fill(h + hi, h + length_, 0LL);
        auto const at = static_cast<std::size_t>((k * f_.ny + y) * f_.nx + first + lo);
        T const* from = f_.input + at;
        double* to = v + lo;
        std::int64_t const count = hi - lo;
        std::int64_t b = 0;
        if constexpr (std::is_same_v<T, float>) {
            for (; b + LANES <= count; b += LANES) {
                Floats narrow;
                simd::load(narrow, from + b);
                Doubles wide;
                simd::widen(wide, narrow);
                simd::store(to + b, wide);
            }
        }
        std::copy(from + b, from + count, to + b);
        if constexpr (std::is_same_v<T, float>) {
            float* f = floats(slot);
            std::fill(f, f + lo, 0.0f);
            std::copy(from, from + count, f + lo);
            std::fill(f + hi, f + length_, 0.0f);
        }
        holed_[slot] = simd::markMembers<W>(w_.excluded, f_.cellTypes + at, static_cast<std::uint64_t>(hi - lo), h + lo);
    }

    // The weights of row j for the columns of the strip, and in layer 0 for
    // half a window beyond, where the pair weights of the strip's centres
    // lie too.
    template <bool HOLES>
    [[gnu::always_inline]] void weighRow(std::int64_t k, std::int64_t j, std::int64_t x0, std::int64_t columns) {
        std::int64_t const reach = k == 0 ? w_.half : 0;
        std::int64_t const from = pad_ - reach;
        std::int64_t count = columns + 2 * reach;
        count += (LANES - count % LANES) % LANES;
        std::size_t const centre = centreSlot(k, j);
        for (std::size_t e = 0; e < window_.size(); ++e) {
            Offset const o = window_[e];
            std::int64_t const y = j + o.dj;
            if (y < 0 || y >= f_.ny || (k == 0 && !pointsForward(o))) {
                continue;
            }
            double* out = weights(k, j, k == 0 ? forwardIndex_[e] : e) + from;
            exponents<HOLES>(out, centre, ringSlot(y), from, o.di, count, w_.spatial[e]);
            // Pairs with a cell outside the fragment take exp(0) first: the
            // difference to the padding's zeros would underflow, and an
            // underflowing exponential costs the processor a slow assist.
            zeroOutside(out, x0 - reach, count, o.di);
            simd::expInPlace<W>(out, static_cast<std::size_t>(count));
            zeroOutside(out, x0 - reach, count, o.di);
        }
        if (k == 0) {
            centreWeights(weights(k, j, forwardCount_) + from, values(centre) + from, count,
                          w_.spatial[window_.size() / 2]);
        }
    }

    // -0.5 (dx² + dy²) / σs² - d² 0.5 / σr², with d = c - v in T's arithmetic,
    // v the neighbour's value or c when it is excluded. Where the centre is
    // the excluded one, d = v - v: what the pair's other centre uses.
    template <bool HOLES>
    [[gnu::always_inline]] void exponents(double* out, std::size_t centre, std::size_t neighbour, std::int64_t from,
                                          std::int64_t di, std::int64_t count, double spatial) {
        double const* cv = values(centre) + from;
        long long const* ch = holes(centre) + from;
        double const* nv = values(neighbour) + from + di;
        long long const* nh = holes(neighbour) + from + di;
        double const q = w_.rangeScale;
        for (std::int64_t u = 0; u < count; u += LANES) {
            Doubles d;
            if constexpr (std::is_same_v<T, float> && !HOLES) {
                // Float lanes give the float difference itself, without the round trip below.
                Floats cp;
                Floats cq;
                simd::load(cp, floats(centre) + from + u);
                simd::load(cq, floats(neighbour) + from + di + u);
                simd::widen(d, Floats(cp - cq));
            } else {
                Doubles cp;
                Doubles cq;
                simd::load(cp, cv + u);
                simd::load(cq, nv + u);
                d = cp - cq;
                if constexpr (HOLES) {
                    Masks ph;
                    Masks qh;
                    simd::load(ph, ch + u);
                    simd::load(qh, nh + u);
                    Doubles const a = ph ? cq : cp;
                    d = a - (qh ? a : cq);
                }
                if constexpr (std::is_same_v<T, float>) {
                    // The float difference: rounding the exact double one is the same.
                    simd::roundToFloat<W>(d);
                }
            }
            simd::store(out + u, spatial - d * d * q);
        }
    }

    // Zeroes the entries of pairs with a cell outside the fragment (an
    // exponent, or a weight so that the sums skip them): weights[b] pairs
    // column x + b with column x + b + di.
    void zeroOutside(double* weights, std::int64_t x, std::int64_t count, std::int64_t di) const {
        auto const outside = [&](std::int64_t b) {
            return std::min(x + b, x + b + di) < 0 || std::max(x + b, x + b + di) >= f_.nx;
        };
        for (std::int64_t b = 0; b < count && outside(b); ++b) {
            weights[b] = 0.0;
        }
        for (std::int64_t b = count - 1; b >= 0 && outside(b); --b) {
            weights[b] = 0.0;
        }
    }

    // The centre's own weight exp(s - (c - c)² q) with s = -0 and c - c = 0
    // is 1; where s or (c - c)² q is NaN, so is the weight.
    [[gnu::always_inline]] void centreWeights(double* out, double const* cv, std::int64_t count, double spatial) {
        double const q = w_.rangeScale;
        for (std::int64_t u = 0; u < count; u += LANES) {
            Doubles c;
            simd::load(c, cv + u);
            Doubles const d = c - c;
            simd::store(out + u, (1.0 + d * d * q) + spatial);
        }
    }

    template <bool HOLES>
    [[gnu::always_inline]] void smoothRow(std::int64_t k, std::int64_t j, std::int64_t x0, std::int64_t columns) {
        // Filled in place: the row's neighbours are set once per row of every strip.
        Neighbour* next = neighbours_.data();
        auto const last = window_.size() - 1;
        for (std::size_t e = 0; e < window_.size(); ++e) {
            Offset const o = window_[e];
            std::int64_t const y = j + o.dj;
            if (y < 0 || y >= f_.ny) {
                continue;
            }
            double const* weight = nullptr;
            if (k > 0) {
                weight = weights(k, j, e);
            } else if (o.di == 0 && o.dj == 0) {
                weight = weights(k, j, forwardCount_);
            } else if (pointsForward(o)) {
                weight = weights(k, j, forwardIndex_[e]);
            } else {
                weight = weights(k, y, forwardIndex_[last - e]) + o.di;
            }
            auto const slot = ringSlot(y);
            *next++ = {weight, values(slot) + o.di, holes(slot) + o.di};
        }
        neighboursEnd_ = next;
        Row<HOLES> const row{values(centreSlot(k, j)), holes(centreSlot(k, j)),
                      f_.result + static_cast<std::size_t>((k * f_.ny + j) * f_.nx + x0)};
        std::int64_t const end = pad_ + columns;
        smoothInBlocks<G>(*this, row, pad_, end, static_cast<std::int64_t>(LANES));
    }

public:
    template <bool HOLES>
    struct Row {
        double const* centre;
        long long const* hole;
        T* result; // at column x0
    };

    // N groups of W centres from buffer position u, side by side so that
    // their rounding chains overlap.
    template <std::size_t N, bool HOLES>
    [[gnu::always_inline]] void smoothGroups(Row<HOLES> const& row, std::int64_t u) {
        Doubles centre[N];
        Doubles sum[N] = {};
        Doubles total[N] = {};
#pragma GCC unroll 8
        for (std::size_t g = 0; g < N; ++g) {
            simd::load(centre[g], row.centre + u + static_cast<std::int64_t>(g) * LANES);
        }
        for (Neighbour const& n : std::span<Neighbour const>(neighbours_.data(), neighboursEnd_)) {
#pragma GCC unroll 8
            for (std::size_t g = 0; g < N; ++g) {
                auto const at = u + static_cast<std::int64_t>(g) * LANES;
                Doubles w;
                Doubles v;
                simd::load(w, n.weight + at);
                simd::load(v, n.value + at);
                if constexpr (HOLES) {
                    Masks hole;
                    simd::load(hole, n.hole + at);
                    v = hole ? centre[g] : v;
                }
                Doubles next = sum[g] + v * w;
                if constexpr (std::is_same_v<T, float>) {
                    simd::roundToFloat<W>(next);
                }
                sum[g] = next;
                total[g] = total[g] + w;
            }
        }
#pragma GCC unroll 8
        for (std::size_t g = 0; g < N; ++g) {
            auto const at = u + static_cast<std::int64_t>(g) * LANES;
            Doubles kept = sum[g] / total[g];
            if constexpr (HOLES) {
                Masks hole;
                simd::load(hole, row.hole + at);
                kept = hole ? centre[g] : kept;
            }
            simd::storeAs<T, W>(row.result + (at - pad_), kept);
        }
    }

private:
    Fragment<T> const& f_;
    Weighting const& w_;
    std::int64_t width_;
    std::int64_t pad_;
    std::size_t ringRows_;
    std::vector<Offset> window_;
    std::vector<std::size_t> forwardIndex_;
    std::size_t forwardCount_ = 0;
    std::size_t arraysPerRow_ = 0;
    std::int64_t strip_ = 0;
    std::int64_t length_ = 0;
    std::vector<double> values_;
    std::vector<float> floats_; // the same rows as floats, for float fragments
    std::vector<long long> holes_;
    std::vector<char> holed_; // per ring slot: an excluded cell in the strip
    std::vector<double> weights_;
    std::vector<Neighbour> neighbours_; // one per window offset
    Neighbour const* neighboursEnd_ = nullptr; // past those of the current row
};

// The filter of the centres in rows [first, end) of a fragment at least a
// lane group wide.
template <class T>
using FragmentFilter = void (*)(Fragment<T> const&, Weighting const&, std::int64_t, std::int64_t);

template <class T>
[[gnu::target("avx512f")]] void filterAvx512(Fragment<T> const& fragment, Weighting const& weighting,
                                             std::int64_t first, std::int64_t end) {
    BilateralRows<T, 8, 8>(fragment, weighting).run(first, end);
}
template <class T>
[[gnu::target("avx2")]] void filterAvx2(Fragment<T> const& fragment, Weighting const& weighting, std::int64_t first,
                                        std::int64_t end) {
    BilateralRows<T, 4, 4>(fragment, weighting).run(first, end);
}
template <class T>
void filterBaseline(Fragment<T> const& fragment, Weighting const& weighting, std::int64_t first, std::int64_t end) {
    BilateralRows<T, 2, 4>(fragment, weighting).run(first, end);
}

} // namespace

template <class T>
bool bilateralLanes(T const* input, unsigned char const* cellTypes, FragmentShape shape, std::int64_t half,
                    std::vector<double> const& spatial, double sigmaRange, CellTypeTable const& excluded, T* result) {
    auto const [filter, lanes] = []() -> std::pair<FragmentFilter<T>, std::uint64_t> {
        switch (simd::instructionSet()) {
        case simd::InstructionSet::Avx512:
            return {&filterAvx512<T>, 8};
        case simd::InstructionSet::Avx2:
            return {&filterAvx2<T>, 4};
        case simd::InstructionSet::Baseline:
            break;
        }
        return {&filterBaseline<T>, 2};
    }();
    if (shape.nx < lanes) {
        return false;
    }
    simd::CodeSet const codes(excluded);
    Fragment<T> const fragment{input,
                               cellTypes,
                               static_cast<std::int64_t>(shape.nx),
                               static_cast<std::int64_t>(shape.ny),
                               static_cast<std::int64_t>(shape.nz),
                               result};
    Weighting const weighting{half, spatial, 0.5 / (sigmaRange * sigmaRange), codes};
    // Blocks of rows go to the threads of the team: whole rows keep the
    // strips wide, where column blocks of a small fragment would weigh half a
    // window beyond each block's edges in every row.
    frame::splitAcrossTeam(shape.ny, ROWS_PER_GRAIN, [&](std::uint64_t begin, std::uint64_t end) {
        filter(fragment, weighting, static_cast<std::int64_t>(begin), static_cast<std::int64_t>(end));
    });
    return true;
}

template bool bilateralLanes<float>(float const*, unsigned char const*, FragmentShape, std::int64_t,
                                    std::vector<double> const&, double, CellTypeTable const&, float*);
template bool bilateralLanes<double>(double const*, unsigned char const*, FragmentShape, std::int64_t,
                                     std::vector<double> const&, double, CellTypeTable const&, double*);

} // namespace Rastrum
