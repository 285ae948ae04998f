#pragma once

#include <string>
#include <utility>

#include "Lumen/InterfaceBase.hpp"

namespace Velum {

// Identity of one fragment of a grid. All fields of a grid address their
// fragments by the same identity objects.
class FragmentID : public Lumen::InterfaceBase {
public:
    explicit FragmentID(std::string name) : name_(std::move(name)) {}
    std::string const& Name() const { return name_; }

private:
    std::string name_;
};

} // namespace Velum
