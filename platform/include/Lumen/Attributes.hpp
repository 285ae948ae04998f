#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Lumen/Chunk.hpp"
#include "Lumen/StrongPtr.hpp"

namespace Lumen {

// Named chunks attached to an object (a grid). Names keep the order in which
// they were first set, which is the order a host writes them out in.
class Attributes {
public:
    // The chunk under that name, or an empty handle.
    StrongPtr<ChunkBase> getAttribute(std::string const& name) const;

    // Sets or replaces a chunk; an empty handle removes the name.
    void setAttribute(std::string const& name, StrongPtr<ChunkBase> const& chunk);

    std::vector<std::string> names() const;

private:
    std::vector<std::pair<std::string, StrongPtr<ChunkBase>>> entries_;
};

} // namespace Lumen
