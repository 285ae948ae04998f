#include "arrays.hpp"

#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace rastrum_python {
namespace {

template <class T>
bool isNaN(T value) {
    if constexpr (std::is_floating_point_v<T>) {
        return value != value; // std::isnan, in a form that vectorises
    } else {
        return false;
    }
}

template <class T>
bool sameShape(py::array const& a, py::array const& b) {
    return a.ndim() == b.ndim() && std::equal(a.shape(), a.shape() + a.ndim(), b.shape());
}

} // namespace

template <class T>
CArray<T> rasterArray(py::handle array, char const* what, py::ssize_t dimensions) {
    auto values = CArray<T>::ensure(array);
    if (!values || values.ndim() != dimensions || values.size() == 0) {
        throw py::value_error(std::string(what) + ": expected a non-empty " + std::to_string(dimensions) +
                              "-D array");
    }
    for (py::ssize_t axis = 0; axis < dimensions; ++axis) {
        if (values.shape(axis) > std::numeric_limits<std::uint32_t>::max()) {
            throw py::value_error(std::string(what) + ": more than 2^32 - 1 cells along an axis");
        }
    }
    return values;
}

template <class T>
Heights<T>::Heights(CArray<T> values, Holes const& holes, rastrum_host::Georeference georef, std::string source)
    : values_(std::move(values)), nodata_(holes.nodata), georef_(std::move(georef)), source_(std::move(source)) {
    auto const take = [&]<class U>(py::object const& given, char const* name, std::type_identity<U>) {
        if (!py::isinstance<py::array_t<U>>(given)) {
            throw py::type_error(std::string(name) + ": expected an array of " + std::string(py::str(py::dtype::of<U>())));
        }
        auto array = rasterArray<U>(given, name);
        if (!sameShape<U>(array, values_)) {
            throw py::value_error(std::string(name) + ": its shape differs from the heights'");
        }
        return array;
    };
    if (!holes.mask.is_none()) {
        mask_ = take(holes.mask, "mask", std::type_identity<bool>{});
    }
    if (!holes.cellTypes.is_none()) {
        codes_ = take(holes.cellTypes, "cell_types", std::type_identity<std::uint8_t>{});
        std::uint8_t const* const codes = codes_->data();
        auto const count = static_cast<std::size_t>(codes_->size());
        // An unknown code would be a hole to some operations and data to others.
        if (auto const at = static_cast<std::size_t>(std::find_if(codes, codes + count, [](std::uint8_t code) {
                                                         return code > rastrum_host::LastCellType;
                                                     }) - codes);
            at != count) {
            auto const width = static_cast<std::size_t>(columns());
            throw py::value_error("cell_types: cell " + std::to_string(at % width) + ", " + std::to_string(at / width) +
                                  " holds code " + std::to_string(codes[at]) +
                                  "; codes are 0 and 4 (data) and 1 to 3 (holes)");
        }
    }
}

template <class T>
rastrum_host::HeightView<T> Heights<T>::prepare() {
    auto const count = static_cast<std::size_t>(values_.size());
    T const* values = values_.data();
    bool const* mask = mask_ ? mask_->data() : nullptr;
    // Cells the caller marked as holes other than by NaN.
    auto const marked = [&](std::size_t i) {
        return (mask != nullptr && mask[i]) || (nodata_ && static_cast<double>(values[i]) == *nodata_);
    };
    std::span<T const> heights(values, count);
    if constexpr (std::is_floating_point_v<T>) {
        if (mask != nullptr || (nodata_ && !std::isnan(*nodata_))) {
            withNaN_.assign(values, values + count);
            for (std::size_t i = 0; i < count; ++i) {
                if (marked(i)) {
                    withNaN_[i] = std::numeric_limits<T>::quiet_NaN();
                }
            }
            heights = withNaN_;
        }
    }
    std::span<std::uint8_t const> codes;
    if (codes_) {
        codes = {codes_->data(), count};
    } else {
        static_assert(rastrum_host::DataCell == 0 && rastrum_host::NodataCell == 1);
        derivedCodes_.resize(count);
        std::uint8_t* out = derivedCodes_.data();
        if (mask == nullptr && !nodata_) {
            for (std::size_t i = 0; i < count; ++i) { // NaN alone: a loop the compiler vectorises
                out[i] = static_cast<std::uint8_t>(isNaN(values[i]));
            }
        } else {
            for (std::size_t i = 0; i < count; ++i) {
                out[i] = static_cast<std::uint8_t>(isNaN(values[i]) || marked(i));
            }
        }
        codes = derivedCodes_;
    }
    return {.source = source_, .width = static_cast<std::uint32_t>(columns()),
            .height = static_cast<std::uint32_t>(rows()), .heights = heights, .cellTypes = codes, .georef = georef_};
}

rastrum_host::Georeference georeferenceOf(py::handle transform) {
    rastrum_host::Georeference georef;
    if (transform.is_none()) {
        return georef;
    }
    auto const gdal = py::hasattr(transform, "to_gdal") ? transform.attr("to_gdal")() : py::reinterpret_borrow<py::object>(transform);
    auto const numbers = gdal.cast<std::vector<double>>();
    if (numbers.size() != 6) {
        throw py::value_error("transform: expected GDAL's six geotransform numbers or an affine transform");
    }
    std::copy(numbers.begin(), numbers.end(), georef.transform.begin());
    georef.hasTransform = true;
    return georef;
}

rastrum_host::Tiling tilingOf(std::uint64_t fragmentSize, std::optional<std::uint64_t> overlap) {
    rastrum_host::Tiling tiling;
    tiling.fragmentSize = fragmentSize;
    tiling.overlap = overlap;
    return tiling;
}

#define RASTRUM_PYTHON_HEIGHTS(T)                                                                                  \
    template class Heights<T>;                                                                                     \
    template CArray<T> rasterArray<T>(py::handle, char const*, py::ssize_t);
RASTRUM_PYTHON_HEIGHTS(float)
RASTRUM_PYTHON_HEIGHTS(double)
RASTRUM_PYTHON_HEIGHTS(std::uint8_t)
RASTRUM_PYTHON_HEIGHTS(std::uint16_t)
RASTRUM_PYTHON_HEIGHTS(std::uint32_t)
RASTRUM_PYTHON_HEIGHTS(unsigned long long)
RASTRUM_PYTHON_HEIGHTS(int)

} // namespace rastrum_python
