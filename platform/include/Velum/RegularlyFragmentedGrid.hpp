#pragma once

#include <cstddef>

#include "Lumen/StrongPtr.hpp"
#include "Velum/FragmentLayout.hpp"
#include "Velum/Grid.hpp"
#include "Velum/MultiIndex.hpp"
#include "Velum/RegularlyFragmentedField.hpp"

namespace Velum {

// View of a grid whose vertices are cut into a regular arrangement of fragments.
template <std::size_t N>
class RegularlyFragmentedGrid {
public:
    using IdentityArray = typename FragmentLayout<N>::IdentityArray;

    // Makes the positions field's layout the grid's fragmentation.
    static bool create(Grid& grid, Lumen::StrongPtr<RegularlyFragmentedField<N>> const& positions) {
        if (!positions) {
            return false;
        }
        grid.setBaseSpace(positions->layout());
        return true;
    }

    // Takes the grid's fragmentation; false when the grid has none.
    bool assign(Lumen::StrongPtr<Grid> const& grid) {
        layout_ = grid ? Lumen::StrongPtr<FragmentLayout<N>>(grid->baseSpace()) : nullptr;
        identities_ = layout_ ? layout_->fragmentIDs() : nullptr;
        return layout_.valid();
    }

    // The grid's fragment layout, kept even when a composed view failed.
    Lumen::StrongPtr<FragmentLayout<N>> const& fragmentLayout() const { return layout_; }

    // The index -> identity array; empty when assign failed.
    Lumen::StrongPtr<IdentityArray> const& fragmentIDs() const { return identities_; }
    Lumen::StrongPtr<FragmentID> getFragmentID(MultiIndex<N> const& index) const {
        return identities_ ? layout_->fragmentID(index) : nullptr;
    }

protected:
    void clearFragmentIDs() { identities_.reset(); }

private:
    Lumen::StrongPtr<FragmentLayout<N>> layout_;
    Lumen::StrongPtr<IdentityArray> identities_;
};

} // namespace Velum
