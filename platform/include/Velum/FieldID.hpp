#pragma once

#include <string>
#include <utility>

namespace Velum {

// Identity of a field within its representation.
class FieldID {
public:
    explicit FieldID(std::string name) : name_(std::move(name)) {}
    std::string const& Name() const { return name_; }
    friend bool operator==(FieldID const&, FieldID const&) = default;

private:
    std::string name_;
};

} // namespace Velum
