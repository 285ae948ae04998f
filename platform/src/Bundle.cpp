#include "Velum/Bundle.hpp"

#include <cmath>

namespace Velum {

Lumen::StrongPtr<Slice> Bundle::operator[](double time) {
    if (std::isnan(time)) {
        return {};
    }
    auto& slice = slices_[time];
    if (!slice) {
        slice = Lumen::makeStrong<Slice>();
    }
    return slice;
}

bool Bundle::iterate(EvolutionIterator<Slice>& iterator, ParameterList const& parameters) {
    for (auto const& [time, slice] : slices_) {
        if (!slice) {
            continue;
        }
        slice->accessSlice();
        if (!iterator.apply(time, slice, parameters)) {
            return false;
        }
    }
    return true;
}

bool Bundle::setSlice(double time, Lumen::StrongPtr<Slice> const& slice) {
    if (std::isnan(time)) {
        return false;
    }
    slices_[time] = slice;
    return true;
}

} // namespace Velum
