#include "tiling/operation_support.hpp"

#include <stdexcept>

namespace rastrum_host {

Velum::BundlePtr bundleOf(TiledGrid const& tiled) { return bundleOf(std::span(&tiled, 1)); }

Velum::BundlePtr bundleOf(std::span<TiledGrid const> steps) {
    auto bundle = Velum::BundlePtr::create();
    for (std::size_t step = 0; step < steps.size(); ++step) {
        (*bundle)[static_cast<double>(step)]->setGrid("raster", steps[step].grid());
    }
    return bundle;
}

Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> resultField(Velum::Grid const& grid, std::string const& name) {
    Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const field = grid(name);
    if (!field) {
        throw std::logic_error("the library left no field " + name);
    }
    return field;
}

void expectSuccess(std::string const& message, char const* operation) {
    if (!message.empty()) {
        throw std::logic_error(std::string(operation) + " failed: " + message);
    }
}

} // namespace rastrum_host
