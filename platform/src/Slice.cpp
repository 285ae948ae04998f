#include "Velum/Slice.hpp"

#include <utility>

namespace Velum {

void Slice::accessSlice() {
    if (loader_) {
        auto const load = std::move(loader_);
        loader_ = nullptr;
        load(*this);
    }
}

Lumen::StrongPtr<Grid> Slice::newGrid(std::string const& name) {
    auto grid = Lumen::makeStrong<Grid>();
    grids_[name] = grid;
    return grid;
}

} // namespace Velum
