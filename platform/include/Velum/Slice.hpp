#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "Lumen/InterfaceBase.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Velum/Grid.hpp"

namespace Velum {

// The grids of one time step, by name. A slice may be filled lazily: its
// loader runs once, on the first accessSlice().
class Slice : public Lumen::InterfaceBase {
public:
    using Grids = std::map<std::string, Lumen::StrongPtr<Grid>>;
    using Loader = std::function<void(Slice&)>;

    Slice() = default;
    explicit Slice(Loader loader) : loader_(std::move(loader)) {}

    // Makes the grid map valid for reading.
    void accessSlice();

    Grids const& grids() const { return grids_; }

    // A new, empty grid under that name, replacing any grid of the same name.
    Lumen::StrongPtr<Grid> newGrid(std::string const& name);

    // Puts a grid under a name; an empty handle leaves a placeholder entry.
    void setGrid(std::string const& name, Lumen::StrongPtr<Grid> const& grid) { grids_[name] = grid; }

private:
    Loader loader_;
    Grids grids_;
};

} // namespace Velum
