#include "Lumen/TypeRegistry.hpp"

namespace Lumen {

TypeRegistry& TypeRegistry::instance() {
    static TypeRegistry registry;
    return registry;
}

bool TypeRegistry::add(std::string const& name, std::type_index type) {
    std::lock_guard const lock(mutex_);
    return types_.emplace(name, type).second;
}

bool TypeRegistry::contains(std::string const& name) const {
    std::lock_guard const lock(mutex_);
    return types_.contains(name);
}

std::vector<std::string> TypeRegistry::names() const {
    std::lock_guard const lock(mutex_);
    std::vector<std::string> result;
    result.reserve(types_.size());
    for (auto const& [name, type] : types_) {
        result.push_back(name);
    }
    return result;
}

std::size_t TypeRegistry::size() const {
    std::lock_guard const lock(mutex_);
    return types_.size();
}

} // namespace Lumen
