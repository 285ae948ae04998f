#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "core/raster.hpp"
#include "tiling/tiled_grid.hpp"

// NumPy arrays in and out of the host layer: the caller's values are handed
// over as views, results are handed back without a copy.
namespace rastrum_python {

namespace py = pybind11;
template <class T>
using CArray = py::array_t<T, py::array::c_style>;

// How the caller marks holes: NaN always, plus any of a nodata value, a
// boolean mask (true at holes) or explicit cell-type codes.
struct Holes {
    std::optional<double> nodata;
    py::object mask = py::none();
    py::object cellTypes = py::none();
};

// One height raster taken from NumPy. prepare() does the per-cell work and
// touches no Python object, so it runs without the GIL.
template <class T>
class Heights {
public:
    Heights(CArray<T> values, Holes const& holes, rastrum_host::Georeference georef, std::string source);
    rastrum_host::HeightView<T> prepare();
    py::ssize_t rows() const { return values_.shape(0); }
    py::ssize_t columns() const { return values_.shape(1); }

private:
    CArray<T> values_;
    std::optional<double> nodata_;
    std::optional<CArray<bool>> mask_;
    std::optional<CArray<std::uint8_t>> codes_;
    rastrum_host::Georeference georef_;
    std::string source_;
    std::vector<T> withNaN_; // the heights with NaN at holes the caller marked otherwise
    std::vector<std::uint8_t> derivedCodes_;
};

// An array of `shape` owning `values`.
template <class T>
py::array_t<T> arrayOwning(std::vector<T>&& values, std::vector<py::ssize_t> shape) {
    auto* owner = new std::vector<T>(std::move(values));
    py::capsule const free(owner, [](void* p) { delete static_cast<std::vector<T>*>(p); });
    return py::array_t<T>(std::move(shape), owner->data(), free);
}

template <class T>
py::array_t<T> arrayOf(rastrum_host::Raster<T>&& raster) {
    std::vector<py::ssize_t> shape{raster.height, raster.width};
    if (raster.bands != 1) {
        shape.insert(shape.begin(), raster.bands);
    }
    return arrayOwning(std::move(raster.values), std::move(shape));
}

// The rasters of a series, one after another along a first axis.
template <class T>
py::array_t<T> arrayOf(std::vector<rastrum_host::Raster<T>>&& steps) {
    std::vector<T> values;
    values.reserve(steps.size() * steps.front().values.size());
    for (auto& step : steps) {
        values.insert(values.end(), step.values.begin(), step.values.end());
        step.values = {};
    }
    return arrayOwning(std::move(values), {static_cast<py::ssize_t>(steps.size()), steps.front().height, steps.front().width});
}

// The array as a C-ordered 2-D array of T (copied only when it is not
// C-ordered); ValueError naming `what` for another shape.
template <class T>
CArray<T> rasterArray(py::handle array, char const* what, py::ssize_t dimensions = 2);

// The GDAL geotransform of `transform` (None, six numbers, or an affine
// transform with to_gdal()).
rastrum_host::Georeference georeferenceOf(py::handle transform);
rastrum_host::Tiling tilingOf(std::uint64_t fragmentSize, std::optional<std::uint64_t> overlap);

// Calls run(std::type_identity<T>{}) for the element type of `array` among
// the types of the tuple; TypeError naming the handled types otherwise.
template <class... T, class Run>
py::object dispatch(std::tuple<T...> const*, py::handle array, char const* operation, Run&& run) {
    py::object result;
    bool const found = ((py::isinstance<py::array_t<T>>(array) && (result = run(std::type_identity<T>{}), true)) ||
                        ...);
    if (!found) {
        std::string names;
        ((names += (names.empty() ? "" : ", ") + std::string(py::str(py::dtype::of<T>()))), ...);
        auto const given = py::isinstance<py::array>(array) ? std::string(py::str(array.attr("dtype")))
                                                            : std::string(py::str(py::type::of(array)));
        throw py::type_error(std::string(operation) + ": elements of " + given + " are not handled; " + operation +
                             " takes " + names);
    }
    return result;
}

} // namespace rastrum_python
