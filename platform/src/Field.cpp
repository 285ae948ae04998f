#include "Velum/Field.hpp"

#include <algorithm>

namespace Velum {

Field::CreatorPtr Field::getCreator(FragmentPtr const& fragment) const {
    std::lock_guard const lock(mutex_);
    if (!fragment) {
        return whole_;
    }
    auto const found = fragments_.find(fragment.getPointer());
    return found == fragments_.end() ? nullptr : found->second.creator;
}

Lumen::StrongPtr<MemBase> Field::getData(FragmentPtr const& fragment) const {
    auto const creator = getCreator(fragment);
    return creator ? creator->getData() : nullptr;
}

Field::CreatorPtr Field::getFirstCreator() const {
    auto const ids = getFragmentIDs();
    return getCreator(ids.empty() ? nullptr : ids.front());
}

std::vector<Field::FragmentPtr> Field::getFragmentIDs() const {
    std::lock_guard const lock(mutex_);
    std::vector<Entry const*> entries;
    entries.reserve(fragments_.size());
    for (auto const& [key, entry] : fragments_) {
        entries.push_back(&entry);
    }
    std::ranges::sort(entries, {}, &Entry::order);
    std::vector<FragmentPtr> ids;
    ids.reserve(entries.size());
    for (auto const* entry : entries) {
        ids.push_back(entry->fragment);
    }
    return ids;
}

bool Field::iterate(FragmentIterator& iterator) const {
    bool all = true;
    for (auto const& fragment : getFragmentIDs()) {
        if (auto const creator = getCreator(fragment)) {
            all = iterator.apply(fragment, creator) && all;
        }
    }
    return all;
}

void Field::setPersistentData(Lumen::StrongPtr<MemBase> const& data, FragmentPtr const& fragment, Lumen::Cache& cache,
                              std::string const& name) {
    setCreator(fragment, data ? Lumen::makeStrong<CreativeArrayBase>(data, cache, name) : nullptr);
}

void Field::setCreator(FragmentPtr const& fragment, CreatorPtr const& creator) {
    std::lock_guard const lock(mutex_);
    if (!fragment) {
        whole_ = creator;
        return;
    }
    if (!creator) {
        fragments_.erase(fragment.getPointer());
        return;
    }
    auto [entry, added] = fragments_.try_emplace(fragment.getPointer(), Entry{nextOrder_, fragment, creator});
    if (added) {
        ++nextOrder_;
    } else {
        entry->second.creator = creator;
    }
}

} // namespace Velum
