#pragma once

#include "Lumen/StrongPtr.hpp"

namespace Velum {

// Options a host hands along a bundle iteration to its iterator.
class ParameterList {};

// Per-slice operation of a bundle iteration (Bundle::iterate).
template <class Item>
class EvolutionIterator {
public:
    EvolutionIterator() = default;
    EvolutionIterator(EvolutionIterator const&) = delete;
    EvolutionIterator& operator=(EvolutionIterator const&) = delete;
    virtual ~EvolutionIterator() = default;

    // Works on the item at one time; false reports a failure.
    virtual bool apply(double time, Lumen::StrongPtr<Item> const& item, ParameterList const& parameters) = 0;
};

} // namespace Velum
