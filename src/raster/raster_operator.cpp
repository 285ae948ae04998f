#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>

#include "Lumen/Cache.hpp"
#include "Rastrum.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/RegularlyFragmentedField.hpp"
#include "Velum/RegularlyFragmentedGrid.hpp"
#include "frame/bundle_walk.hpp"
#include "frame/cell_types.hpp"
#include "frame/team_split.hpp"
#include "raster/raster_kernels.hpp"

namespace Rastrum {
namespace {

CellTypeTables const cellTypes;

using Index = Velum::MultiIndex<3>;
using FieldPtr = Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>;
using Codes = Velum::MemArray<3, unsigned char>;

// The fields of the new result grid.
struct ResultFields {
    FieldPtr positions;
    FieldPtr cellTypes;
    FieldPtr height;
};

// Cells handed to a thread at least: a 256 x 256 fragment splits in four.
constexpr std::uint64_t CELLS_PER_GRAIN = 16384;

// Whether kernel(begin, end) is true for some block of [0, count), the blocks
// shared among the team.
template <class Kernel>
bool anyBlock(std::uint64_t count, Kernel const& kernel) {
    std::atomic<bool> any{false};
    frame::splitAcrossTeam(count, CELLS_PER_GRAIN, [&](std::uint64_t begin, std::uint64_t end) {
        if (kernel(begin, end)) {
            any.store(true, std::memory_order_relaxed);
        }
    });
    return any.load(std::memory_order_relaxed);
}

Lumen::StrongPtr<Velum::MemBase> dataAt(FieldPtr const& field, Index const& index) {
    return field->getData(field->getFragmentID(index));
}

bool sameRank3Size(Velum::MemBase const& a, Velum::MemBase const& b) {
    auto const size = Velum::getSize(a);
    return size.size() == 3 && size == Velum::getSize(b);
}

// Combines one fragment if both inputs hold element type In with equal
// extents matching the mask; false when this kernel does not take them.
template <class In>
bool tryCombine(Operandi::Operation operation, Velum::MemBase const& a, Velum::MemBase const& b,
                Lumen::StrongPtr<Codes> const& mask,
                ResultFields const& result, Index const& index, bool& hasData) {
    auto const* first = dynamic_cast<Velum::MemArray<3, In> const*>(&a);
    auto const* second = dynamic_cast<Velum::MemArray<3, In> const*>(&b);
    if (!first || !second || !sameRank3Size(a, b) || first->count() != mask->count()) {
        return false;
    }
    auto out = Lumen::makeStrong<Velum::MemArray<3, RasterResult<In>>>(first->Size(), Velum::uninitialised);
    bool const nonZero = anyBlock(out->count(), [&](std::uint64_t begin, std::uint64_t end) {
        return combineRasters<In>(operation, first->data() + begin, second->data() + begin, mask->data() + begin,
                                  out->data() + begin, end - begin, cellTypes.HOLE_CELL_TYPES);
    });
    auto const fragment = result.positions->getFragmentID(index);
    auto& cache = Lumen::Cache::MemCache();
    if (!nonZero) {
        result.positions->setPersistentData(nullptr, fragment, cache);
        return true;
    }
    result.height->setPersistentData(out, fragment, cache);
    result.cellTypes->setPersistentData(mask, fragment, cache);
    hasData = true;
    return true;
}

void combineFragment(FieldPtr const& a, FieldPtr const& b, FieldPtr const& ca, FieldPtr const& cb,
                     Operandi::Operation operation, ResultFields const& result, Index const& index, bool& hasData) {
    // The identity test pairs the second data field with the first grid's cell types.
    if (!b->getFragmentID(index) || !ca->getFragmentID(index)) {
        return;
    }
    auto& cache = Lumen::Cache::MemCache();
    auto const dropPositions = [&] {
        result.positions->setPersistentData(nullptr, result.positions->getFragmentID(index), cache);
    };

    Lumen::StrongPtr<Codes> const firstCodes = dataAt(ca, index);
    Lumen::StrongPtr<Codes> const secondCodes = dataAt(cb, index);
    // Cell types that do not cover each other count as missing.
    if (!firstCodes || !secondCodes || secondCodes->count() != firstCodes->count()) {
        return dropPositions();
    }
    auto const first = dataAt(a, index);
    auto const second = dataAt(b, index);
    if (!first || !second) {
        return dropPositions();
    }
    // The mask is handed to the result as it is, unless no cell holds data.
    auto const mask = Lumen::makeStrong<Codes>(firstCodes->Size(), Velum::uninitialised);
    if (!anyBlock(mask->count(), [&](std::uint64_t begin, std::uint64_t end) {
            return mergeCellTypes(firstCodes->data() + begin, secondCodes->data() + begin, mask->data() + begin,
                                  end - begin, cellTypes.DATA_CELL_TYPES);
        })) {
        return dropPositions();
    }
    // Floating types first, then the integer types; int is tried last.
    (void)(tryCombine<float>(operation, *first, *second, mask, result, index, hasData) ||
           tryCombine<double>(operation, *first, *second, mask, result, index, hasData) ||
           tryCombine<unsigned char>(operation, *first, *second, mask, result, index, hasData) ||
           tryCombine<unsigned short>(operation, *first, *second, mask, result, index, hasData) ||
           tryCombine<unsigned int>(operation, *first, *second, mask, result, index, hasData) ||
           tryCombine<unsigned long long>(operation, *first, *second, mask, result, index, hasData) ||
           tryCombine<int>(operation, *first, *second, mask, result, index, hasData));
}

} // namespace

std::string rasterOperator(Velum::Grid const& first, Velum::Grid const& second, Velum::Grid& result,
                           std::string const& firstField, std::string const& secondField, Operandi const& operation,
                           bool& hasData, Lumen::StrongPtr<Lumen::LoaderProgress> const&) {
    hasData = false;
    FieldPtr const a = first(firstField, "");
    if (!a) {
        return "a Have no field=" + firstField;
    }
    FieldPtr const pa = first("Positions", "");
    if (!pa) {
        return "apos Have no field-positions=" + firstField;
    }
    FieldPtr const b = second(secondField, "");
    if (!b) {
        return "b Have no field=" + secondField;
    }
    FieldPtr const ca = first("CellType", "");
    if (!ca) {
        return "ca No celltype for=" + firstField;
    }
    FieldPtr const cb = second("CellType", "");
    if (!cb) {
        return "cb No celltype for=" + secondField;
    }

    auto const counts = a->getFragmentCounts();
    auto representation = result.makeCartesianRepresentation(3, "");
    auto const positions = Lumen::makeStrong<Velum::RegularlyFragmentedField<3>>(counts, "RegularFragment");
    (*representation)["Positions"] = positions;
    auto const fragments = frame::fragmentList(counts);
    for (auto const& index : fragments) {
        (*positions)[index] = (*pa)[index];
    }
    Velum::RegularlyFragmentedGrid<3>::create(result, positions);
    ResultFields const fields{positions, Lumen::makeStrong<Velum::RegularlyFragmentedField<3>>(*positions),
                              Lumen::makeStrong<Velum::RegularlyFragmentedField<3>>(*positions)};
    (*representation)["CellType"] = fields.cellTypes;
    (*representation)["Height"] = fields.height;

    for (auto const& index : fragments) {
        combineFragment(a, b, ca, cb, operation.operation, fields, index, hasData);
    }
    return "";
}

} // namespace Rastrum
