#include "Rastrum.hpp"

#include "binary/binary_mask.hpp"
#include "frame/cell_types.hpp"
#include "frame/team_split.hpp"
#include "frame/vertex_field_operation.hpp"

namespace Rastrum {
namespace {

CellTypeTables const cellTypes;

// Cells handed to a thread at least: a 256 x 256 fragment splits in four.
constexpr std::uint64_t CELLS_PER_GRAIN = 16384;

constexpr frame::OperationNames names{
    .resultField = "Binary",
    .creationFailure = "can not create binary field:",
    .progressText = "Binary: Fragment # ",
};

} // namespace

std::string binaryOperator(Velum::BundlePtr& bundle, std::string const& cellTypeFieldName,
                           Lumen::StrongPtr<Lumen::LoaderProgress, Lumen::InterfaceBase> const& progress,
                           std::string const& gridName, double const& time) {
    frame::WalkRequest const request{cellTypeFieldName, gridName, time, progress};
    return frame::runVertexFieldOperation<unsigned char, float>(
        bundle, request, names, [](Velum::MemArray<3, unsigned char> const& codes, Velum::MemArray<3, float>& mask) {
            frame::splitAcrossTeam(codes.count(), CELLS_PER_GRAIN, [&](std::uint64_t begin, std::uint64_t end) {
                binaryMask(codes.values().subspan(begin, end - begin), mask.values().subspan(begin, end - begin),
                           cellTypes.DATA_CELL_TYPES);
            });
        });
}

} // namespace Rastrum
