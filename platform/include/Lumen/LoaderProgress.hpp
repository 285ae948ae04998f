#pragma once

#include <cstdint>
#include <string>

#include "Lumen/InterfaceBase.hpp"

namespace Lumen {

// Progress sink of long operations: one report per unit of work, with a text,
// the number of the current unit (from 0) and the number of units.
class LoaderProgress : public InterfaceBase {
public:
    virtual void report(std::string const& text, std::uint32_t current, std::uint32_t total) = 0;
};

} // namespace Lumen
