#pragma once

#include <cstdint>
#include <string>

#include "Lumen/Cache.hpp"
#include "Lumen/LoaderProgress.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Velum/Bundle.hpp"
#include "Velum/FragmentedUniformGrid3D.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/RegularlyFragmentedField.hpp"
#include "frame/bundle_walk.hpp"
#include "frame/fragment_loop.hpp"

namespace Rastrum::frame {

// What an operation names: its result field, the message when that field
// cannot be made, and the text of its progress reports.
struct OperationNames {
    char const* resultField;
    char const* creationFailure;
    char const* progressText;
};

// What one call works on.
struct WalkRequest {
    std::string fieldName;
    std::string gridName;
    double time;
    Lumen::StrongPtr<Lumen::LoaderProgress> progress;
};

// Fills every element of the result array of one fragment from its input array.
template <class Kernel, class In, class Out>
concept FragmentKernel = requires(Kernel kernel, Velum::MemArray<3, In> const& in, Velum::MemArray<3, Out>& out) {
    kernel(in, out);
};

// Computes the fragments of one grid in parallel: input fragments of element
// type In become result fragments of element type Out with the same extents.
// Fragments without identity in the grid (the input may be cut into more
// fragments than its grid), creator or data of type In are skipped. False when
// an exception stopped the loop.
template <class In, class Out, FragmentKernel<In, Out> Kernel>
bool computeFragments(Velum::FragmentedUniformGrid3D const& view, Velum::Field const& input,
                      std::vector<Velum::MultiIndex<3>> const& fragments, Velum::Field& result,
                      WalkRequest const& request, char const* progressText, Kernel const& kernel) {
    auto const count = static_cast<std::uint32_t>(fragments.size());
    return forEachFragment(count, [&](std::uint32_t i) {
        auto const fragment = view.getFragmentID(fragments[i]);
        if (!fragment) {
            return;
        }
        if (request.progress) {
            request.progress->report(progressText, i, count);
        }
        auto const creator = underFrameworkLock([&] { return input.getCreator(fragment); });
        if (!creator) {
            return;
        }
        Lumen::StrongPtr<Velum::MemArray<3, In>> const data = underFrameworkLock([&] { return creator->getData(); });
        if (!data) {
            return;
        }
        auto const out = Lumen::makeStrong<Velum::MemArray<3, Out>>(data->Size(), Velum::uninitialised, creator);
        kernel(*data, *out);
        underFrameworkLock([&] {
            result.setPersistentData(out, fragment, Lumen::Cache::MemCache());
            return true;
        });
    });
}

// The whole walk of a bundle-level operation that turns one vertex field into
// a new one, fragment by fragment.
template <class In, class Out, FragmentKernel<In, Out> Kernel>
std::string runVertexFieldOperation(Velum::BundlePtr const& bundle, WalkRequest const& request,
                                    OperationNames const& names, Kernel const& kernel) {
    if (!bundle.isBound()) {
        return BUNDLE_REFUSED;
    }
    std::string message;
    forEachSliceAt(*bundle, request.time, TimeMatch::Exact, SliceLog::Times, [&](Velum::Slice const& slice) {
        forEachGrid(slice, request.gridName, [&](std::string const& name, Lumen::StrongPtr<Velum::Grid> const& grid) {
            Velum::FragmentedUniformGrid3D view;
            view.assign(grid);
            auto const representation = grid->getCartesianRepresentation("");
            Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const positions =
                representation ? representation->findField("Positions") : nullptr;
            if (!positions) {
                message = "Found no positions field:";
                return false;
            }
            Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const input =
                representation->findField(request.fieldName);
            if (!input) {
                message = "Found no cell type field:" + request.fieldName;
                return false;
            }
            auto const fragments = fragmentList(input->getFragmentCounts());
            auto const result = view.newVertexField(names.resultField);
            if (!result) {
                message = names.creationFailure;
                return false;
            }
            if (!computeFragments<In, Out>(view, *input, fragments, *result, request, names.progressText, kernel)) {
                message = FRAGMENTS_UNFINISHED + name;
                return false;
            }
            return true;
        });
    });
    return message;
}

} // namespace Rastrum::frame
