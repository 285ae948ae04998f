#pragma once

#include "Lumen/StrongPtr.hpp"
#include "Velum/CreativeArrayBase.hpp"
#include "Velum/FragmentID.hpp"

namespace Velum {

// Per-fragment operation of a field iteration (Field::iterate).
class FragmentIterator {
public:
    FragmentIterator() = default;
    FragmentIterator(FragmentIterator const&) = delete;
    FragmentIterator& operator=(FragmentIterator const&) = delete;
    virtual ~FragmentIterator() = default;

    // Works on one fragment; false reports a failure.
    virtual bool apply(Lumen::StrongPtr<FragmentID> const& fragment,
                       Lumen::StrongPtr<CreativeArrayBase> const& creator) = 0;
};

} // namespace Velum
