#include "Velum/CreativeArrayBase.hpp"

#include <utility>

namespace Velum {

CreativeArrayBase::CreativeArrayBase(Lumen::StrongPtr<MemBase> const& data, Lumen::Cache& cache, std::string name)
    : cache_(cache), key_(cache.store(data)), name_(std::move(name)) {}

CreativeArrayBase::~CreativeArrayBase() { cache_.release(key_); }

Lumen::StrongPtr<MemBase> CreativeArrayBase::getData() const { return cache_.fetch(key_); }

Lumen::StrongPtr<MemBase> CreativeArrayBase::create(bool detach) {
    auto const data = getData();
    return detach && data ? data->clone() : data;
}

} // namespace Velum
