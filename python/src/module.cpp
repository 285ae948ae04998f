#include <pybind11/stl.h>

#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>

#include "Lumen/Console.hpp"
#include "arrays.hpp"
#include "core/errors.hpp"
#include "mesh/surface.hpp"
#include "mesh/surface_input.hpp"
#include "operations/operations.hpp"

namespace rastrum_python {
namespace {

namespace host = rastrum_host;
using namespace pybind11::literals;

host::RunContext const context;

// The keywords every raster operation shares, as the command line's options.
struct Common {
    Holes holes;
    py::object transform;
    std::uint64_t fragmentSize;
    std::optional<std::uint64_t> overlap;
};

template <class T>
Heights<T> heightsOf(py::handle array, Common const& common, char const* name = "heights") {
    return Heights<T>(rasterArray<T>(array, name), common.holes, georeferenceOf(common.transform), name);
}

// Runs `run` on the prepared heights with the GIL released.
template <class T, class Run>
auto released(Heights<T>& heights, Run&& run) {
    py::gil_scoped_release const release;
    return run(heights.prepare());
}

// The steps of a series (2-D arrays of one type), each with its own hole
// keywords, run together as the slices of one bundle by run(views).
template <class Types, class Run>
py::object series(char const* operation, py::list const& steps, std::vector<Common> const& commons, Run&& run) {
    if (steps.empty() || steps.size() != commons.size()) {
        throw py::value_error(std::string(operation) + ": a series needs at least one step");
    }
    return dispatch(static_cast<Types const*>(nullptr), steps[0], operation, [&]<class T>(std::type_identity<T>) {
        std::vector<Heights<T>> inputs;
        for (std::size_t i = 0; i < steps.size(); ++i) {
            inputs.push_back(heightsOf<T>(steps[i], commons[i]));
        }
        py::gil_scoped_release release;
        std::vector<host::HeightView<T>> views;
        for (auto& input : inputs) {
            views.push_back(input.prepare());
        }
        auto results = run(std::span<host::HeightView<T> const>(views));
        py::gil_scoped_acquire const acquire;
        return py::object(arrayOf(std::move(results)));
    });
}

py::object maskSeries(py::list const& steps, std::vector<Common> const& commons, host::SeriesStep step) {
    return series<host::SmoothTypes>("mask", steps, commons, [&]<class T>(std::span<host::HeightView<T> const> views) {
        return host::runMask(views, step, tilingOf(commons[0].fragmentSize, commons[0].overlap), context);
    });
}

py::object sobelSeries(py::list const& steps, std::vector<Common> const& commons, host::SeriesStep step, double slope,
                       bool keepPartial) {
    return series<std::tuple<float>>("sobel", steps, commons, [&](std::span<host::HeightView<float> const> views) {
        return host::runSobel(views, step, slope, tilingOf(commons[0].fragmentSize, commons[0].overlap), context,
                              keepPartial);
    });
}

py::object mask(py::handle heights, Common const& c) {
    return dispatch(static_cast<host::SmoothTypes const*>(nullptr), heights, "mask", [&]<class T>(std::type_identity<T>) {
        auto input = heightsOf<T>(heights, c);
        return arrayOf(released(input, [&](auto const& view) { return host::runMask(view, tilingOf(c.fragmentSize, c.overlap), context); }));
    });
}

py::object smooth(py::handle heights, bool gaussian, unsigned window, double sigmaSpatial, double sigmaRange,
                  bool keepPartial, Common const& c) {
    host::SmoothOptions const options{.gaussian = gaussian, .window = window, .sigmaSpatial = sigmaSpatial,
                                      .sigmaRange = sigmaRange, .keepPartial = keepPartial};
    return dispatch(static_cast<host::SmoothTypes const*>(nullptr), heights, "smooth", [&]<class T>(std::type_identity<T>) {
        auto input = heightsOf<T>(heights, c);
        return arrayOf(released(input, [&](auto const& view) {
            return host::runSmooth(view, options, tilingOf(c.fragmentSize, c.overlap), context);
        }));
    });
}

py::object sobel(py::handle heights, double slope, bool keepPartial, Common const& c) {
    using Float = std::tuple<float>;
    return dispatch(static_cast<Float const*>(nullptr), heights, "sobel", [&]<class T>(std::type_identity<T>) {
        auto input = heightsOf<T>(heights, c);
        return arrayOf(released(input, [&](auto const& view) {
            return host::runSobel(view, slope, tilingOf(c.fragmentSize, c.overlap), context, keepPartial);
        }));
    });
}

py::object calc(std::string const& name, py::handle a, py::handle b, Common const& c, Common const& cb) {
    auto const operation = host::arithmeticNamed(name); // an unknown name never reaches the library
    return dispatch(static_cast<host::CalcTypes const*>(nullptr), a, "calc", [&]<class T>(std::type_identity<T>) {
        if (!py::isinstance<py::array_t<T>>(b)) {
            throw py::type_error("calc: both rasters must have the same element type, here " +
                                 std::string(py::str(py::dtype::of<T>())));
        }
        auto first = heightsOf<T>(a, c, "a");
        auto second = heightsOf<T>(b, cb, "b");
        py::gil_scoped_release const release;
        auto result = host::runCalc(operation, first.prepare(), second.prepare(), tilingOf(c.fragmentSize, c.overlap), context);
        py::gil_scoped_acquire const acquire;
        return py::object(arrayOf(std::move(result)));
    });
}

py::object overwrite(py::handle heights, py::object codes, std::vector<std::pair<double, double>> ranges, bool invert,
                     int value, Common c) {
    if (value < 0 || value > 255) {
        throw py::value_error("overwrite: value " + std::to_string(value) + " is not a cell-type code from 0 to 255");
    }
    host::OverwriteOptions const options{.ranges = std::move(ranges), .invert = invert, .value = value};
    if (!codes.is_none()) {
        c.holes.cellTypes = std::move(codes);
    }
    return dispatch(static_cast<host::OverwriteTypes const*>(nullptr), heights, "overwrite", [&]<class T>(std::type_identity<T>) {
        auto input = heightsOf<T>(heights, c);
        return arrayOf(released(input, [&](auto const& view) {
            return host::runOverwrite(view, options, tilingOf(c.fragmentSize, c.overlap), context);
        }));
    });
}

py::object iso(py::handle volume, py::handle transform, std::uint64_t fragmentSize, std::optional<std::uint64_t> overlap) {
    using Markers = std::tuple<std::uint16_t>;
    return dispatch(static_cast<Markers const*>(nullptr), volume, "iso", [&]<class T>(std::type_identity<T>) {
        auto const markers = rasterArray<T>(volume, "volume", 3);
        if (markers.shape(0) < 3 || markers.shape(1) < 3 || markers.shape(2) < 3) {
            throw py::value_error("volume: the 3 x 3 x 3 density needs at least 3 points on every axis");
        }
        host::MarkerVolume input{.source = "volume", .markers = {}, .georef = georeferenceOf(transform)};
        py::gil_scoped_release const release;
        // The host keeps a volume in a raster of its own: the one copy the bundle's fragments are made from.
        input.markers = {.width = static_cast<std::uint32_t>(markers.shape(2)),
                         .height = static_cast<std::uint32_t>(markers.shape(1)),
                         .bands = static_cast<std::uint32_t>(markers.shape(0)),
                         .values = std::vector<T>(markers.data(), markers.data() + markers.size())};
        auto result = host::runIso(input, tilingOf(fragmentSize, overlap), context);
        py::gil_scoped_acquire const acquire;
        return py::object(arrayOf(std::move(result)));
    });
}

// A surface of a raster in a geographic CRS has degrees beside heights in
// metres: the host's note on it, as a UserWarning.
void warnIfGeographic(py::handle crs, py::handle transform, py::ssize_t columns, py::ssize_t rows) {
    if (crs.is_none()) {
        return;
    }
    host::HeightInput raster;
    raster.source = "mesh";
    raster.heights.width = static_cast<std::uint32_t>(columns);
    raster.heights.height = static_cast<std::uint32_t>(rows);
    raster.georef = georeferenceOf(transform);
    raster.georef.crsWkt = py::str(py::hasattr(crs, "to_wkt") ? crs.attr("to_wkt")() : crs);
    auto const note = host::geographicNote(raster);
    if (!note.empty() && PyErr_WarnEx(PyExc_UserWarning, note.c_str(), 2) != 0) {
        throw py::error_already_set(); // warnings made errors
    }
}

py::object mesh(py::handle heights, py::handle transform, py::handle crs, std::optional<double> maxError, Common c) {
    if (maxError && !(*maxError >= 0.0 && std::isfinite(*maxError))) {
        throw py::value_error("mesh: max_error must be a height difference >= 0, not " + std::to_string(*maxError));
    }
    c.transform = py::reinterpret_borrow<py::object>(transform);
    using Float = std::tuple<float>;
    return dispatch(static_cast<Float const*>(nullptr), heights, "mesh", [&]<class T>(std::type_identity<T>) {
        auto input = heightsOf<T>(heights, c);
        auto surface = released(input, [&](auto const& view) {
            // The surface is built from a raster of its own: the one copy the welding reads from.
            host::HeightInput const copy{
                .source = std::string(view.source),
                .heights = {.width = view.width, .height = view.height, .bands = 1,
                            .values = std::vector<float>(view.heights.begin(), view.heights.end())},
                .cellTypes = std::vector<std::uint8_t>(view.cellTypes.begin(), view.cellTypes.end()),
                .georef = view.georef};
            return maxError ? host::computeSimplifiedSurface(copy, *maxError)
                            : host::computeSurface(copy, tilingOf(c.fragmentSize, c.overlap), context);
        });
        warnIfGeographic(crs, c.transform, input.columns(), input.rows());
        // The arrays share the surface the host made, as rows of three.
        static_assert(sizeof(surface.vertices[0]) == 3 * sizeof(double));
        static_assert(sizeof(surface.triangles[0]) == 3 * sizeof(std::uint32_t));
        auto const vertices = static_cast<py::ssize_t>(surface.vertices.size());
        auto const triangles = static_cast<py::ssize_t>(surface.triangles.size());
        auto* owner = new host::SurfaceMesh(std::move(surface));
        py::capsule const free(owner, [](void* p) { delete static_cast<host::SurfaceMesh*>(p); });
        return py::object(py::make_tuple(
            py::array_t<double>({vertices, py::ssize_t{3}}, owner->vertices.front().data(), free),
            py::array_t<std::uint32_t>({triangles, py::ssize_t{3}}, owner->triangles.front().data(), free)));
    });
}

// The library's console lines go to the logger "rastrum" (debug level).
void routeConsoleToLogging() {
    Lumen::Console::setSink([](std::string const& line) {
        if (Py_IsInitialized() == 0) {
            return;
        }
        py::gil_scoped_acquire const acquire;
        py::module_::import("logging").attr("getLogger")("rastrum").attr("debug")(line);
    });
}

} // namespace

PYBIND11_MODULE(_core, m) {
    m.doc() = "The host layer's operations on NumPy arrays; see the package rastrum.";
    static py::exception<std::logic_error> const libraryError(m, "LibraryError", PyExc_RuntimeError);
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) {
                std::rethrow_exception(p);
            }
        } catch (host::InputError const& e) {
            PyErr_SetString(PyExc_ValueError, e.what());
        } catch (std::logic_error const& e) {
            PyErr_SetString(libraryError.ptr(), e.what());
        }
    });
    routeConsoleToLogging();

    auto common = [](py::handle nodata, py::object mask, py::object cellTypes, py::object transform,
                     std::uint64_t fragmentSize, std::optional<std::uint64_t> overlap) {
        Holes holes{.nodata = std::nullopt, .mask = std::move(mask), .cellTypes = std::move(cellTypes)};
        if (!nodata.is_none()) {
            holes.nodata = nodata.cast<double>();
        }
        return Common{.holes = std::move(holes), .transform = std::move(transform), .fragmentSize = fragmentSize,
                      .overlap = overlap};
    };
    py::class_<Common>(m, "Common").def(py::init(common), "nodata"_a = py::none(), "mask"_a = py::none(),
                                        "cell_types"_a = py::none(), "transform"_a = py::none(),
                                        "fragment_size"_a = 256, "overlap"_a = py::none());
    m.def("mask", &mask);
    m.def("mask_series", &maskSeries);
    m.def("sobel_series", &sobelSeries);
    m.def("smooth", &smooth);
    m.def("sobel", &sobel);
    m.def("calc", &calc);
    m.def("overwrite", &overwrite);
    m.def("iso", &iso);
    m.def("mesh", &mesh);
    m.attr("SOBEL_OVERLAP") = host::SobelOverlap;
}

} // namespace rastrum_python
