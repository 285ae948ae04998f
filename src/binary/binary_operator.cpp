#include "Rastrum.hpp"

#include "binary/binary_mask.hpp"
#include "frame/cell_types.hpp"
#include "frame/vertex_field_operation.hpp"

namespace Rastrum {
namespace {

CellTypeTables const cellTypes;

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
            binaryMask(codes.values(), mask.values(), cellTypes.DATA_CELL_TYPES);
        });
}

} // namespace Rastrum
