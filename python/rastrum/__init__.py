"""Rastrum's operations on height rasters held as NumPy arrays.

Every function cuts the raster into fragments of ``fragment_size`` points that
share ``overlap`` points (by default what the operation's stencil needs, so the
result equals a one-fragment run), runs the library and stitches the result:
the same code, defaults and results as the ``rastrum`` command line.

Holes are NaN cells, cells equal to ``nodata``, cells where the boolean
``mask`` is true, or the hole codes (1 to 3) of an explicit ``uint8``
``cell_types`` array; holes are NaN in floating-point results. ``transform``
is GDAL's six geotransform numbers or an affine transform. The library's
console lines go to the logger ``rastrum`` at debug level. Invalid input
raises ValueError (TypeError for an element type the operation does not
take); a failure inside the library raises ``LibraryError`` with its message.

``mask`` and ``sobel`` also take a time series, a 3-D array (steps, rows,
columns; ``mask`` and ``cell_types`` then 3-D too): the steps become the
slices of one bundle at times 0, 1, 2 ..., and ``time``, a step's position,
asks the library for that slice alone (the result is then that step's raster).
"""

import math
import numbers

from . import _core
from ._core import LibraryError

__all__ = ["mask", "smooth", "sobel", "calc", "overwrite", "iso", "mesh", "LibraryError"]


def _number(name, value):
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        raise TypeError(f"{name}: expected a number, not {value!r}")
    return float(value)


def _integer(name, value, least, most=None):
    """`value` as an int from `least` to `most`; TypeError for a non-integer, ValueError out of range."""
    if isinstance(value, bool) or not isinstance(value, numbers.Integral):
        raise TypeError(f"{name}: expected an integer, not {value!r}")
    if value < least or (most is not None and value > most):
        bounds = f"from {least} to {most}" if most is not None else f"at least {least}"
        raise ValueError(f"{name}: must be an integer {bounds}, not {value}")
    return int(value)


def _tiling(fragment_size, overlap):
    return _integer("fragment_size", fragment_size, 1), None if overlap is None else _integer("overlap", overlap, 0)


def _sigma(name, value):
    """The command line's bounds: beyond them the weights exp(-d²/2σ²) are not representable in double precision."""
    value = _number(name, value)
    if not (math.isfinite(value) and value > 0):
        raise ValueError(f"{name}: must be a positive number, not {value!r}")
    if not 1e-150 <= value <= 1e150:
        raise ValueError(f"{name}: must be from 1e-150 to 1e150, not {value!r}: the smoothing weights "
                         "exp(-d²/2σ²) underflow or overflow in double precision")
    return value


def _ranges(ranges):
    checked = []
    for interval in ranges:
        try:
            lo, hi = (_number("ranges", v) for v in interval)
        except (TypeError, ValueError):
            raise TypeError(f"ranges: {interval!r}: expected (lo, hi), two numbers with lo <= hi") from None
        if not lo <= hi:
            raise ValueError(f"ranges: {interval!r}: expected (lo, hi), two numbers with lo <= hi")
        checked.append((lo, hi))
    return checked


def _series(heights, common):
    """The steps of a series and the hole keywords of each."""
    steps = list(heights)
    per_step = [{**common, **{k: common[k][i] for k in ("mask", "cell_types") if common.get(k) is not None}}
                for i in range(len(steps))]
    return steps, [_common(**c) for c in per_step]


def _over_time(run_series, run_one, heights, time, common):
    if getattr(heights, "ndim", 2) != 3:
        if time is not None:
            raise ValueError("time: only a series (a 3-D array of steps) has times to pick from")
        return run_one()
    if time is not None:
        time = _integer("time", time, 0, len(heights) - 1)
    result = run_series(*_series(heights, common), time)
    return result if time is None else result[0]


def _common(nodata=None, mask=None, cell_types=None, transform=None, fragment_size=256, overlap=None):
    nodata = None if nodata is None else _number("nodata", nodata)
    fragment_size, overlap = _tiling(fragment_size, overlap)
    return _core.Common(nodata, mask, cell_types, transform, fragment_size, overlap)


def mask(heights, time=None, **common):
    """1.0 at data cells, 0.0 at holes (float32). Any numeric type the library smooths."""
    return _over_time(_core.mask_series, lambda: _core.mask(heights, _common(**common)), heights, time, common)


def smooth(heights, gaussian=False, window=5, sigma_spatial=1.0, sigma_range=2.0, keep_partial=False, **common):
    """Edge-preserving bilateral smoothing, or the normalised Gaussian with ``gaussian=True``.

    ``window`` is made odd and at least 3; ``sigma_spatial`` is in cells,
    ``sigma_range`` in height units (bilateral only). Takes float32, float64,
    uint8, uint16, uint32, uint64 and int32 and returns the same type; the
    integer types keep the library's per-step rounding. As on the command
    line, the band of (window - 1) / 2 cells along the raster's edge is NaN in
    floating-point results (the integer types keep the library's values there);
    ``keep_partial=True`` keeps the library's values there too.
    """
    window = _integer("window", window, 1, 255)
    sigma_spatial, sigma_range = _sigma("sigma_spatial", sigma_spatial), _sigma("sigma_range", sigma_range)
    return _core.smooth(heights, gaussian, window, sigma_spatial, sigma_range, keep_partial, _common(**common))


def sobel(heights, slope=45.0, keep_partial=False, time=None, **common):
    """Gradient magnitude of float32 heights, unnormalised (a plane rising h per cell gives 32 h).

    NaN at holes, and, as on the command line, where the 3 x 3 stencil touched
    a hole or left the raster; ``keep_partial=True`` keeps the library's own
    values there (0 along the edge, sums over the cut stencil beside holes).
    ``slope`` (degrees) only sets the threshold aid the library logs.
    """
    return _over_time(lambda steps, commons, t: _core.sobel_series(steps, commons, t, slope, keep_partial),
                      lambda: _core.sobel(heights, slope, keep_partial, _common(**common)), heights, time, common)


def calc(op, a, b, b_holes=None, **common):
    """``a op b`` cell by cell, op one of subtract, add, divide, multiply.

    The hole keywords apply to both rasters unless ``b_holes`` (a dict of
    ``nodata``, ``mask``, ``cell_types``) gives those of ``b``.
    Both rasters share the element type: float32 and float64 give the same
    type with NaN at holes, the integer types give int32 with 0 at holes. An
    integer division by zero at a data cell raises ValueError.
    """
    second = common if b_holes is None else {**common, "nodata": None, "mask": None, "cell_types": None, **b_holes}
    return _core.calc(op, a, b, _common(**common), _common(**second))


def overwrite(heights, codes=None, ranges=(), invert=False, value=1, **common):
    """The cell-type codes with ``value`` (low 8 bits) written where the height lies in a range.

    ``codes`` (uint8, the cell types) defaults to 0 at data cells and 1 at
    holes; ``ranges`` are closed intervals ``(lo, hi)``; ``invert`` writes
    outside them. Heights of uint8, float32, uint16, uint32 or float64.
    """
    return _core.overwrite(heights, codes, _ranges(ranges), invert, value, _common(**common))


def iso(volume, transform=None, fragment_size=256, overlap=None):
    """Marker density of a uint16 volume (layers, rows, columns), float32 of the same shape.

    Every fragment is scaled to its own peak of 1, so the result depends on the
    fragment size (and on Dask, on the chunking) and shows steps where
    fragments meet; a fragment as large as the volume avoids them.
    """
    fragment_size, overlap = _tiling(fragment_size, overlap)
    return _core.iso(volume, transform, fragment_size, overlap)


def mesh(heights, transform=None, max_error=None, crs=None, **common):
    """Triangle surface of the data cells: ``(vertices, triangles)``.

    Vertices are float64 (x, y, height) in the transform's coordinates;
    triangles are uint32 vertex indices, three per row, counter-clockwise seen
    from above. At full resolution every data cell in a square of four is one
    vertex, welded across fragments; with ``max_error`` the surface is an
    adaptive one within that many height units of every data cell, as
    ``rastrum mesh --max-error`` writes it. With a geographic ``crs`` (WKT or
    anything with ``to_wkt()``) a UserWarning says the surface mixes degrees
    with heights and names the UTM zone to reproject to.
    """
    return _core.mesh(heights, transform, crs, max_error, _common(**common))


from . import accessor  # noqa: E402,F401  registers DataArray.rastrum
