// Registers the array element types this library creates with the host's type
// registry when the library is loaded.
#include <cstddef>
#include <mutex>
#include <utility>

#include "Lumen/TypeRegistry.hpp"
#include "Tensa/FixedArray.hpp"
#include "Tensa/PhysicalSpace.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/SimplexCell.hpp"

namespace Rastrum {
namespace {

template <std::size_t N>
void registerArraysOfRank() {
    using Edge = Velum::SimplexCell<1, unsigned int, Velum::IJ_CellNamingConvention>;
    using Triangle = Velum::SimplexCell<2, unsigned int, Velum::IJ_CellNamingConvention>;
    Lumen::registerType<Velum::MemArray<N, double>>();
    Lumen::registerType<Velum::MemArray<N, float>>();
    Lumen::registerType<Velum::MemArray<N, unsigned char>>();
    Lumen::registerType<Velum::MemArray<N, int>>();
    Lumen::registerType<Velum::MemArray<N, unsigned int>>();
    Lumen::registerType<Velum::MemArray<N, unsigned short>>();
    Lumen::registerType<Velum::MemArray<N, unsigned long long>>();
    Lumen::registerType<Velum::MemArray<N, Tensa::PhysicalSpace::point>>();
    Lumen::registerType<Velum::MemArray<N, Tensa::FixedArray<double, 3>>>();
    Lumen::registerType<Velum::MemArray<N, Edge>>();
    Lumen::registerType<Velum::MemArray<N, Triangle>>();
}

template <std::size_t... Rank>
void registerArrays(std::index_sequence<Rank...>) {
    (registerArraysOfRank<Rank + 1>(), ...);
}

struct TypeRegistration {
    TypeRegistration() {
        static std::once_flag guard;
        std::call_once(guard, [] { registerArrays(std::make_index_sequence<4>{}); });
    }
};

TypeRegistration const registration;

} // namespace
} // namespace Rastrum
