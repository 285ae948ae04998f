#pragma once

#include <cstddef>
#include <string>

#include "Lumen/InterfaceBase.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Velum/FragmentID.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/MultiIndex.hpp"

namespace Velum {

// The regular arrangement of a grid's fragments: counts per axis and the
// identity of the fragment at each index. Shared by a grid and its fields.
template <std::size_t N>
class FragmentLayout : public Lumen::InterfaceBase {
public:
    using IdentityArray = MemArray<N, Lumen::StrongPtr<FragmentID>>;

    FragmentLayout(MultiIndex<N> const& counts, std::string const& name)
        : name_(name), ids_(Lumen::makeStrong<IdentityArray>(counts)) {
        if (counts.product() == 0) {
            return;
        }
        MultiIndex<N> index;
        do {
            (*ids_)[index] = Lumen::makeStrong<FragmentID>(fragmentName(index));
        } while (index.inc(counts));
    }

    std::string const& name() const { return name_; }
    MultiIndex<N> const& counts() const { return ids_->Size(); }
    Lumen::StrongPtr<IdentityArray> const& fragmentIDs() const { return ids_; }

    Lumen::StrongPtr<FragmentID> fragmentID(MultiIndex<N> const& index) const {
        for (std::size_t axis = 0; axis < N; ++axis) {
            if (index[axis] >= counts()[axis]) {
                return {};
            }
        }
        return (*ids_)[index];
    }

private:
    std::string fragmentName(MultiIndex<N> const& index) const {
        std::string text = name_ + "(";
        for (std::size_t axis = 0; axis < N; ++axis) {
            text += (axis ? "," : "") + std::to_string(index[axis]);
        }
        return text + ")";
    }

    std::string name_;
    Lumen::StrongPtr<IdentityArray> ids_;
};

} // namespace Velum
