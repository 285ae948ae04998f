#include "Velum/Representation.hpp"

namespace Velum {

FieldProxy& FieldProxy::operator=(Lumen::StrongPtr<Field> const& field) {
    representation_.setField(name_, field);
    return *this;
}

FieldProxy::operator Lumen::StrongPtr<Field>() const { return representation_.findField(name_); }

Lumen::StrongPtr<Field> Representation::findField(std::string const& name) const {
    auto const found = fields_.find(name);
    return found == fields_.end() ? nullptr : found->second;
}

std::optional<FieldID> Representation::findFieldID(std::string const& name) const {
    return fields_.contains(name) ? std::optional(FieldID(name)) : std::nullopt;
}

void Representation::setField(std::string const& name, Lumen::StrongPtr<Field> const& field) {
    if (field) {
        fields_[name] = field;
    } else {
        fields_.erase(name);
    }
}

} // namespace Velum
