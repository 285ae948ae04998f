#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Lumen/InterfaceBase.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Velum/CreativeArrayBase.hpp"
#include "Velum/FragmentID.hpp"
#include "Velum/FragmentIterator.hpp"
#include "Velum/MemBase.hpp"

namespace Velum {

// A field maps fragment identities to the creators of their data. The empty
// fragment identity stands for the whole field (for instance the positions of
// a whole uniform grid). The map has its own lock, so fragments may be stored
// and looked up from several threads.
class Field : public Lumen::InterfaceBase {
public:
    using FragmentPtr = Lumen::StrongPtr<FragmentID>;
    using CreatorPtr = Lumen::StrongPtr<CreativeArrayBase>;

    Field() = default;
    Field(Field const&) = delete;
    Field& operator=(Field const&) = delete;

    CreatorPtr getCreator(FragmentPtr const& fragment) const;
    Lumen::StrongPtr<MemBase> getData(FragmentPtr const& fragment = {}) const;

    // The creator of the first fragment in getFragmentIDs() order, else the
    // whole field's creator.
    CreatorPtr getFirstCreator() const;

    // Fragments that have data, in the order their data were first stored.
    virtual std::vector<FragmentPtr> getFragmentIDs() const;

    // Stores data for a fragment under a new creator held by the cache; an
    // empty data handle removes the fragment's data.
    void setPersistentData(Lumen::StrongPtr<MemBase> const& data, FragmentPtr const& fragment, Lumen::Cache& cache,
                           std::string const& name = "");

    // Hands every fragment with data, in getFragmentIDs() order, to the
    // iterator; goes on after a failure and returns whether all succeeded.
    bool iterate(FragmentIterator& iterator) const;

    // Lets a fragment share a creator, and so its data, with another field.
    void setCreator(FragmentPtr const& fragment, CreatorPtr const& creator);

    static Lumen::StrongPtr<Field> NullPtrField() { return {}; }

private:
    struct Entry {
        std::uint64_t order;
        FragmentPtr fragment;
        CreatorPtr creator;
    };

    mutable std::mutex mutex_;
    std::map<FragmentID const*, Entry> fragments_;
    CreatorPtr whole_;
    std::uint64_t nextOrder_ = 0;
};

} // namespace Velum
