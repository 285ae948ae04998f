"""``DataArray.rastrum``: the operations on xarray, in memory or on Dask.

The last two dimensions are the raster's rows and columns; a dimension before
them (``time``, ``band``) is a series of rasters. ``mask`` and ``sobel`` run a
series as the slices of one bundle (on Dask, the steps of each chunk), and
their ``time`` keyword picks one step by its label, which the library then
runs alone; the other operations take one raster at a time, step by step.
Holes come from ``rio.nodata`` or ``_FillValue``. As the command line reads
them, integer heights become Float32 with NaN holes (unscaled first by a
``scale_factor`` or ``add_offset``), and ``sobel`` and ``mesh`` take Float64
heights as Float32; ``iso`` keeps its uint16 volume. Results keep the
coordinates (with rioxarray's CRS and transform) and attributes, but not the
input's statistics, nor its ``units`` unless the result is in them (smoothed
heights, sums and differences); float results have NaN as nodata. On a Dask-backed array each chunk is run with a
halo of what the operation's stencil reaches (``map_overlap``), so the result
equals the in-memory call for any chunking, as long as the overlap is left at
its default.
"""

import numpy as np
import xarray as xr

import rastrum

try:
    import rioxarray  # noqa: F401  registers DataArray.rio
except ImportError:  # pragma: no cover - rioxarray is optional
    rioxarray = None


def _window(window):
    window = max(window, 3)
    return window + 1 if window % 2 == 0 else window


def _per_plane(run, dimensions, *blocks):
    """run(plane, ...) on every plane of the last `dimensions` axes."""
    lead = blocks[0].shape[: blocks[0].ndim - dimensions]
    if not lead:
        return run(*blocks)
    out = None
    for index in np.ndindex(lead):
        plane = run(*(b[index] for b in blocks))
        if out is None:
            out = np.empty(lead + plane.shape, plane.dtype)
        out[index] = plane
    return out


def _as_series(run):
    """run(steps) on a block whose leading dimensions are flattened into one series of steps."""
    def over(block):
        if block.ndim == 2:
            return run(block)
        result = run(block.reshape((-1,) + block.shape[-2:]))
        return result.reshape(block.shape[:-2] + result.shape[-2:])
    return over


def _is_dask(data):
    return type(data).__module__.startswith("dask")


def _nodata_of(da):
    """The array's nodata value (rioxarray's, else ``_FillValue``); None for none or NaN."""
    nodata = da.rio.nodata if rioxarray is not None else None
    if nodata is None:
        nodata = da.attrs.get("_FillValue", da.encoding.get("_FillValue"))
    return None if nodata is None or np.isnan(nodata) else float(nodata)


def _heights(da, dtype=None):
    """Heights as the command line reads them: integers (unscaled by their
    ``scale_factor`` and ``add_offset``, as rioxarray leaves them without
    ``mask_and_scale``) as Float32 with NaN holes, floats as they are or as
    `dtype`. Holes are never handed on as real heights."""
    scale, offset = da.attrs.get("scale_factor", 1.0), da.attrs.get("add_offset", 0.0)
    if np.issubdtype(da.dtype, np.floating) and scale == 1.0 and offset == 0.0:
        return da if dtype is None or da.dtype == dtype else da.astype(dtype)
    nodata = _nodata_of(da)
    heights = da.astype(np.float64)
    if nodata is not None:
        heights = heights.where(da != nodata)
    out = (heights * scale + offset).astype(np.float32)
    attrs = {k: v for k, v in da.attrs.items() if k not in ("scale_factor", "add_offset", "_FillValue")}
    out = out.assign_attrs(attrs)
    return out.rio.write_nodata(np.nan, encoded=False) if rioxarray is not None else out


@xr.register_dataarray_accessor("rastrum")
class RastrumAccessor:
    def __init__(self, da, dtype=None):
        self._raw = da
        self._da = _heights(da, dtype)

    def _nodata(self, da=None):
        return _nodata_of(self._da if da is None else da)

    def _apply(self, run, halo, dtype, others=(), dimensions=2, series=False, units=False, source=None):
        da = self._da if source is None else source
        arrays = [da.data] + [o.data if isinstance(o, xr.DataArray) else o for o in others]
        block = _as_series(run) if series else lambda *b: _per_plane(run, dimensions, *b)
        if not _is_dask(da.data):
            data = block(*(np.asarray(a) for a in arrays))
        elif halo == 0:
            import dask.array

            data = dask.array.map_blocks(
                block, *(dask.array.asarray(a).rechunk(da.data.chunks) for a in arrays), dtype=dtype,
            )
        else:
            depth = {da.ndim - 1: halo, da.ndim - 2: halo}
            source = da.data.rechunk({da.ndim - 3: -1}) if dimensions == 3 else da.data
            data = source.map_overlap(
                block, depth=depth, boundary="none", dtype=dtype, meta=np.empty((0,) * da.ndim, dtype),
            )
        return self._wrap(data, units)

    def _wrap(self, data, units=False):
        da = self._da
        dropped = {"_FillValue", "missing_value", "scale_factor", "add_offset"} | (set() if units else {"units"})
        attrs = {k: v for k, v in da.attrs.items() if k not in dropped and not k.startswith("STATISTICS_")}
        out = xr.DataArray(data, coords=da.coords, dims=da.dims, attrs=attrs, name=da.name)
        if rioxarray is not None:
            floating = np.issubdtype(out.dtype, np.floating)
            out = out.rio.write_nodata(np.nan if floating else None, encoded=False)
        return out

    def _at_time(self, time, run, halo):
        """The step labelled `time` of a (time, y, x) series, run as the one slice asked of the library."""
        da = self._da
        if da.dims[:1] != ("time",) or da.ndim != 3:
            raise ValueError(f"time: expected dimensions (time, y, x), not {da.dims}")
        try:
            position = da.get_index("time").get_loc(time)
        except KeyError:
            raise ValueError(f"time: no step is labelled {time!r}") from None
        if not isinstance(position, int):
            raise ValueError(f"time: {time!r} labels more than one step")
        step = da.isel(time=position)
        if _is_dask(da.data):  # a chunk of steps is a bundle of its own: the step's rows alone are handed over
            return step.rastrum._apply(lambda h: run(h, None), halo, np.float32)
        return step.rastrum._wrap(run(np.asarray(da.data), position))

    def _series(self, run, halo, time):
        if time is not None:
            return self._at_time(time, run, halo)
        return self._apply(lambda h: run(h, None), halo, np.float32, series=True)

    def mask(self, time=None, **options):
        """1.0 at data cells, 0.0 at holes; ``time`` picks one step of a series by its label."""
        nodata = self._nodata()
        return self._series(lambda h, t: rastrum.mask(h, time=t, nodata=nodata, **options), 0, time)

    def smooth(self, gaussian=False, window=5, sigma_spatial=1.0, sigma_range=2.0, **options):
        """Bilateral (or Gaussian) smoothing; see rastrum.smooth."""
        nodata = self._nodata()
        return self._apply(
            lambda h: rastrum.smooth(h, gaussian, window, sigma_spatial, sigma_range, nodata=nodata, **options),
            (_window(window) - 1) // 2, self._da.dtype, units=True,
        )

    def sobel(self, slope=45.0, time=None, **options):
        """Gradient magnitude; see rastrum.sobel. ``time`` picks one step of a series by its label."""
        if self._da.dtype != np.float32:  # the gradient is of float32 heights
            return RastrumAccessor(self._da, np.float32).sobel(slope, time, **options)
        nodata = self._nodata()
        return self._series(lambda h, t: rastrum.sobel(h, slope, time=t, nodata=nodata, **options), 1, time)

    def calc(self, op, other, **options):
        """self op other, cell by cell; see rastrum.calc. `other` is a DataArray on the same grid."""
        other = _heights(other)
        if other.shape != self._da.shape:
            raise ValueError(f"calc: shapes differ: {self._da.shape} against {other.shape}")
        one = np.ones((1, 1), self._da.dtype)
        rastrum.calc(op, one, one.astype(other.dtype))  # the name and types are checked before any chunk runs
        nodata, b_nodata = self._nodata(), self._nodata(other)
        return self._apply(
            lambda a, b: rastrum.calc(op, a, b, b_holes={"nodata": b_nodata}, nodata=nodata, **options),
            0, self._da.dtype, others=(other,), units=op in ("add", "subtract"),
        )

    def overwrite(self, ranges, invert=False, value=1, codes=None, **options):
        """The cell-type codes with `value` written where the height lies in `ranges`; see rastrum.overwrite."""
        nodata = self._nodata()
        if codes is None:
            run = lambda h: rastrum.overwrite(h, None, ranges, invert, value, nodata=nodata, **options)  # noqa: E731
            return self._apply(run, 0, np.uint8)
        run = lambda h, c: rastrum.overwrite(h, c, ranges, invert, value, nodata=nodata, **options)  # noqa: E731
        return self._apply(run, 0, np.uint8, others=(codes,))

    def iso(self, **options):
        """Marker density of the volume in the last three dimensions (layers, rows, columns).

        Every fragment is scaled to its own peak, so the result depends on the
        fragment size and, on Dask, on the chunking: each chunk is a volume of
        its own (the layers are never split).
        """
        return self._apply(lambda v: rastrum.iso(v, **options), 1, np.float32, dimensions=3, source=self._raw)

    def mesh(self, max_error=None, **select):
        """(vertices, triangles) of the raster's surface in its coordinates,
        within ``max_error`` height units of every data cell when given.

        A series (time or band) needs one step picked: ``mesh(time="2024-01-01")``
        (by label) or ``mesh(band=1)``.
        """
        da = self._da.sel(select) if select else self._da
        da = da.squeeze() if da.ndim > 2 else da
        if da.ndim != 2:
            raise ValueError(f"mesh: pick one step of {da.dims[:-2]}, e.g. mesh({da.dims[0]}=...)")
        transform, crs = (da.rio.transform(), da.rio.crs) if rioxarray is not None else (None, None)
        # Surfaces are made of float32 heights, as the command line reads any DEM.
        heights = np.asarray(da.data, dtype=np.float32)
        return rastrum.mesh(heights, transform, max_error, crs, nodata=self._nodata(da))
