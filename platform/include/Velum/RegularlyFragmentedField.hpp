#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Lumen/StrongPtr.hpp"
#include "Velum/Field.hpp"
#include "Velum/FragmentLayout.hpp"
#include "Velum/MultiIndex.hpp"

namespace Velum {

// A field cut into a regular N-dimensional arrangement of fragments.
template <std::size_t N>
class RegularlyFragmentedField : public Field {
public:
    // A new layout with fresh fragment identities.
    RegularlyFragmentedField(MultiIndex<N> const& fragmentCounts, std::string const& layoutName)
        : layout_(Lumen::makeStrong<FragmentLayout<N>>(fragmentCounts, layoutName)) {}

    explicit RegularlyFragmentedField(Lumen::StrongPtr<FragmentLayout<N>> layout) : layout_(std::move(layout)) {}

    // Copying takes the layout (the same fragment identities), not the data.
    RegularlyFragmentedField(RegularlyFragmentedField const& other) : Field(), layout_(other.layout_) {}

    Lumen::StrongPtr<FragmentLayout<N>> const& layout() const { return layout_; }
    MultiIndex<N> const& getFragmentCounts() const { return layout_->counts(); }
    FragmentPtr getFragmentID(MultiIndex<N> const& index) const { return layout_->fragmentID(index); }

    // The creator of the fragment at an index; assigning to it shares a creator.
    class FragmentSlot {
    public:
        FragmentSlot(RegularlyFragmentedField& field, MultiIndex<N> const& index) : field_(field), index_(index) {}
        FragmentSlot(FragmentSlot const&) = default;
        // Assigning one slot to another shares the creator, as assigning a creator does.
        FragmentSlot& operator=(FragmentSlot const& other) { return *this = CreatorPtr(other); }
        operator CreatorPtr() const { return field_.getCreator(field_.getFragmentID(index_)); }
        FragmentSlot& operator=(CreatorPtr const& creator) {
            field_.setCreator(field_.getFragmentID(index_), creator);
            return *this;
        }

    private:
        RegularlyFragmentedField& field_;
        MultiIndex<N> index_;
    };
    FragmentSlot operator[](MultiIndex<N> const& index) { return FragmentSlot(*this, index); }

    // Fragments with data, in layout order.
    std::vector<FragmentPtr> getFragmentIDs() const override {
        std::vector<FragmentPtr> ids;
        for (auto const& id : layout_->fragmentIDs()->values()) {
            if (getCreator(id)) {
                ids.push_back(id);
            }
        }
        return ids;
    }

private:
    Lumen::StrongPtr<FragmentLayout<N>> layout_;
};

} // namespace Velum
