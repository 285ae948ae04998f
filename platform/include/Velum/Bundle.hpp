#pragma once

#include <map>

#include "Lumen/InterfaceBase.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Velum/EvolutionIterator.hpp"
#include "Velum/Slice.hpp"

namespace Velum {

// A time series of slices, ascending by time. Entries may be empty: a time
// step that is announced but holds no slice.
class Bundle : public Lumen::InterfaceBase {
public:
    using Slices = std::map<double, Lumen::StrongPtr<Slice>>;

    Slices const& slices() const { return slices_; }

    // The slice at a time, created when absent. A NaN time has no slice.
    Lumen::StrongPtr<Slice> operator[](double time);

    // Puts a slice (or an empty entry) at a time; NaN times are refused.
    bool setSlice(double time, Lumen::StrongPtr<Slice> const& slice);

    // Hands every slice, in ascending time, to the iterator (after
    // accessSlice). Stops at the first slice it fails on and returns false.
    bool iterate(EvolutionIterator<Slice>& iterator, ParameterList const& parameters);

    bool isBound() const { return bound_; }
    // Detaches the bundle from its host; operations refuse unbound bundles.
    void unbind() { bound_ = false; }

private:
    Slices slices_;
    bool bound_ = true;
};

// The handle by which operations receive a bundle.
class BundlePtr : public Lumen::StrongPtr<Bundle> {
public:
    using Lumen::StrongPtr<Bundle>::StrongPtr;
    BundlePtr(Lumen::StrongPtr<Bundle> const& bundle) : Lumen::StrongPtr<Bundle>(bundle) {}

    static BundlePtr create() { return Lumen::makeStrong<Bundle>(); }

    bool isBound() const { return valid() && (*this)->isBound(); }
};

} // namespace Velum
