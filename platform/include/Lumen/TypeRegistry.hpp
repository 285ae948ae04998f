#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <typeindex>
#include <vector>

namespace Lumen {

// Name of a type as the registry knows it; specialised next to each type.
template <class T>
struct TypeName;

template <> struct TypeName<double> { static std::string name() { return "double"; } };
template <> struct TypeName<float> { static std::string name() { return "float"; } };
template <> struct TypeName<unsigned char> { static std::string name() { return "unsigned char"; } };
template <> struct TypeName<int> { static std::string name() { return "int"; } };
template <> struct TypeName<unsigned int> { static std::string name() { return "unsigned int"; } };
template <> struct TypeName<unsigned short> { static std::string name() { return "unsigned short"; } };
template <> struct TypeName<unsigned long long> { static std::string name() { return "unsigned long long"; } };

// The process-wide registry of the data types that libraries create, so that a
// host can tell which array types it may meet. A name is registered once.
class TypeRegistry {
public:
    static TypeRegistry& instance();

    // Returns false when the name was registered before.
    bool add(std::string const& name, std::type_index type);
    bool contains(std::string const& name) const;
    std::vector<std::string> names() const;
    std::size_t size() const;

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::type_index> types_;
};

template <class T>
bool registerType() {
    return TypeRegistry::instance().add(TypeName<T>::name(), typeid(T));
}

} // namespace Lumen
