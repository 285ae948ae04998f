#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "Lumen/Cache.hpp"
#include "Lumen/InterfaceBase.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Tensa/BoundingBox.hpp"
#include "Velum/MemBase.hpp"

namespace Velum {

// The creator of one fragment's data. This kit's creators hold stored data: the
// data item lives in a cache for as long as the creator does.
class CreativeArrayBase : public Lumen::InterfaceBase {
public:
    CreativeArrayBase(Lumen::StrongPtr<MemBase> const& data, Lumen::Cache& cache, std::string name = "");
    CreativeArrayBase(CreativeArrayBase const&) = delete;
    CreativeArrayBase& operator=(CreativeArrayBase const&) = delete;
    ~CreativeArrayBase() override;

    Lumen::StrongPtr<MemBase> getData() const;

    // The data for work on it: with detach false the stored data themselves,
    // to be changed in place and announced with touch(); with detach true a
    // private copy.
    Lumen::StrongPtr<MemBase> create(bool detach);
    std::string const& name() const { return name_; }

    // Announces that the data were changed in place.
    void touch() { ++changes_; }
    std::uint64_t changeCount() const { return changes_; }

    // The range of the data's values, kept with the creator; empty until
    // ExpandBBox widens it.
    Lumen::StrongPtr<Tensa::BoundingBox, Lumen::InterfaceBase>& valueRange() { return range_; }

private:
    Lumen::Cache& cache_;
    Lumen::Cache::Key key_;
    std::string name_;
    std::atomic<std::uint64_t> changes_{0};
    Lumen::StrongPtr<Tensa::BoundingBox, Lumen::InterfaceBase> range_;
};

} // namespace Velum
