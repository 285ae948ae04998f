#pragma once

namespace Lumen {

// Common base of the framework's polymorphic objects; handles and lookups
// "taken as X" rely on the virtual destructor for their checked casts.
class InterfaceBase {
public:
    InterfaceBase() = default;
    InterfaceBase(InterfaceBase const&) = default;
    InterfaceBase& operator=(InterfaceBase const&) = default;
    virtual ~InterfaceBase() = default;
};

} // namespace Lumen
