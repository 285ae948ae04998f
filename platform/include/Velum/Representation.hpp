#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "Lumen/InterfaceBase.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Velum/Field.hpp"
#include "Velum/FieldID.hpp"
#include "Velum/Ownable.hpp"

namespace Velum {

class Representation;

// What Representation::operator[] yields: a named slot that reads as the
// field of that name and attaches a field when assigned to.
class FieldProxy {
public:
    FieldProxy(Representation& representation, std::string name)
        : representation_(representation), name_(std::move(name)) {}
    FieldProxy& operator=(Lumen::StrongPtr<Field> const& field);
    operator Lumen::StrongPtr<Field>() const;

private:
    Representation& representation_;
    std::string name_;
};

// The fields of a grid in one chart, by name. Iteration runs in name order.
class Representation : public Ownable<Field>::Container {
public:
    explicit Representation(unsigned dimension) : dimension_(dimension) {}

    unsigned dimension() const { return dimension_; }

    Lumen::StrongPtr<Field> findField(std::string const& name) const;
    Lumen::StrongPtr<Field> Positions() const { return findField("Positions"); }

    std::optional<FieldID> findFieldID(std::string const& name) const;
    Lumen::StrongPtr<Field> findField(FieldID const& id) const { return findField(id.Name()); }

    // Calls visit(FieldID const&, Field const&) for each field in name order
    // until it returns false; returns whether every field was visited.
    template <class Visit>
    bool iterate(Visit&& visit) const {
        for (auto const& [name, field] : fields_) {
            if (!visit(FieldID(name), *field)) {
                return false;
            }
        }
        return true;
    }

    // Replaces any field of that name; an empty handle removes it.
    void setField(std::string const& name, Lumen::StrongPtr<Field> const& field);
    FieldProxy operator[](std::string const& name) { return FieldProxy(*this, name); }

    std::map<std::string, Lumen::StrongPtr<Field>> const& fields() const { return fields_; }

private:
    unsigned dimension_;
    std::map<std::string, Lumen::StrongPtr<Field>> fields_;
};

} // namespace Velum
