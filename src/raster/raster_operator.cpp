#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>
#include <vector>
#include <string>

#include "Lumen/Cache.hpp"
#include "Rastrum.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/RegularlyFragmentedField.hpp"
#include "Velum/RegularlyFragmentedGrid.hpp"
#include "frame/bundle_walk.hpp"
#include "frame/cell_types.hpp"
#include "frame/fragment_loop.hpp"
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

// One fragment whose inputs are all there: what its computation left to
// store. An empty height means the positions are dropped.
struct Job {
    Index index;
    Lumen::StrongPtr<Codes> firstCodes;
    Lumen::StrongPtr<Codes> secondCodes;
    Lumen::StrongPtr<Velum::MemBase> first;
    Lumen::StrongPtr<Velum::MemBase> second;
    Lumen::StrongPtr<Codes> mask;
    Lumen::StrongPtr<Velum::MemBase> height;
    bool taken = false;
    std::exception_ptr failure;
};

// Combines the inputs if both hold element type In with equal extents
// matching the mask; false when this kernel does not take them.
template <class In>
bool tryCombine(Operandi::Operation operation, Job& job) {
    auto const* first = dynamic_cast<Velum::MemArray<3, In> const*>(&*job.first);
    auto const* second = dynamic_cast<Velum::MemArray<3, In> const*>(&*job.second);
    if (!first || !second || !sameRank3Size(*job.first, *job.second) || first->count() != job.mask->count()) {
        return false;
    }
    auto out = Lumen::makeStrong<Velum::MemArray<3, RasterResult<In>>>(first->Size(), Velum::uninitialised);
    auto const& mask = *job.mask;
    if (anyBlock(out->count(), [&](std::uint64_t begin, std::uint64_t end) {
            return combineRasters<In>(operation, first->data() + begin, second->data() + begin, mask.data() + begin,
                                      out->data() + begin, end - begin, cellTypes.HOLE_CELL_TYPES);
        })) {
        job.height = out;
    }
    return true;
}

// The merged mask and the combination of one fragment; no framework calls.
void compute(Operandi::Operation operation, Job& job) {
    // The mask is handed to the result as it is, unless no cell holds data.
    auto const mask = Lumen::makeStrong<Codes>(job.firstCodes->Size(), Velum::uninitialised);
    if (!anyBlock(mask->count(), [&](std::uint64_t begin, std::uint64_t end) {
            return mergeCellTypes(job.firstCodes->data() + begin, job.secondCodes->data() + begin,
                                  mask->data() + begin, end - begin, cellTypes.DATA_CELL_TYPES);
        })) {
        return;
    }
    job.mask = mask;
    // Floating types first, then the integer types; int is tried last.
    job.taken = tryCombine<float>(operation, job) || tryCombine<double>(operation, job) ||
                tryCombine<unsigned char>(operation, job) || tryCombine<unsigned short>(operation, job) ||
                tryCombine<unsigned int>(operation, job) || tryCombine<unsigned long long>(operation, job) ||
                tryCombine<int>(operation, job);
}

// The inputs of one fragment, or, where some are missing, its positions
// dropped at once; false when there is nothing to compute.
bool gather(FieldPtr const& a, FieldPtr const& b, FieldPtr const& ca, FieldPtr const& cb,
            ResultFields const& result, Index const& index, std::vector<Job>& jobs) {
    // The identity test pairs the second data field with the first grid's cell types.
    if (!b->getFragmentID(index) || !ca->getFragmentID(index)) {
        return false;
    }
    Job job;
    job.index = index;
    job.firstCodes = dataAt(ca, index);
    job.secondCodes = dataAt(cb, index);
    // Cell types that do not cover each other count as missing.
    if (job.firstCodes && job.secondCodes && job.secondCodes->count() == job.firstCodes->count()) {
        job.first = dataAt(a, index);
        job.second = dataAt(b, index);
        if (job.first && job.second) {
            jobs.push_back(std::move(job));
            return true;
        }
    }
    result.positions->setPersistentData(nullptr, result.positions->getFragmentID(index), Lumen::Cache::MemCache());
    return false;
}

// What the computation of one fragment leaves in the result.
void store(Job const& job, ResultFields const& result, bool& hasData) {
    if (job.failure) {
        std::rethrow_exception(job.failure);
    }
    auto const fragment = result.positions->getFragmentID(job.index);
    auto& cache = Lumen::Cache::MemCache();
    if (!job.mask || (job.taken && !job.height)) {
        result.positions->setPersistentData(nullptr, fragment, cache);
    } else if (job.height) {
        result.height->setPersistentData(job.height, fragment, cache);
        result.cellTypes->setPersistentData(job.mask, fragment, cache);
        hasData = true;
    }
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

    // Framework calls on this thread; the fragments' arithmetic shared among
    // the team, fragments or, with fewer than threads, their cells.
    std::vector<Job> jobs;
    for (auto const& index : fragments) {
        gather(a, b, ca, cb, fields, index, jobs);
    }
    frame::forEachFragment(static_cast<std::uint32_t>(jobs.size()), [&](std::uint32_t i) {
        try {
            compute(operation.operation, jobs[i]);
        } catch (...) {
            jobs[i].failure = std::current_exception();
        }
    });
    for (auto const& job : jobs) {
        store(job, fields, hasData);
    }
    return "";
}

} // namespace Rastrum
