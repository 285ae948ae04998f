#include "Lumen/Attributes.hpp"

#include <algorithm>

namespace Lumen {

StrongPtr<ChunkBase> Attributes::getAttribute(std::string const& name) const {
    auto const found = std::ranges::find(entries_, name, &decltype(entries_)::value_type::first);
    return found == entries_.end() ? nullptr : found->second;
}

void Attributes::setAttribute(std::string const& name, StrongPtr<ChunkBase> const& chunk) {
    auto const found = std::ranges::find(entries_, name, &decltype(entries_)::value_type::first);
    if (!chunk) {
        if (found != entries_.end()) {
            entries_.erase(found);
        }
    } else if (found == entries_.end()) {
        entries_.emplace_back(name, chunk);
    } else {
        found->second = chunk;
    }
}

std::vector<std::string> Attributes::names() const {
    std::vector<std::string> result;
    result.reserve(entries_.size());
    for (auto const& [name, chunk] : entries_) {
        result.push_back(name);
    }
    return result;
}

} // namespace Lumen
