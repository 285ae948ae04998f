"""The accessor: metadata and holes, time series, and Dask results equal to in-memory ones."""
import subprocess

import dask
import numpy as np
import pytest
import rasterio
import rioxarray
import xarray as xr

import rastrum  # noqa: F401  registers DataArray.rastrum
from conftest import CLI, terrain, write_tif

OPTIONS = dict(fragment_size=48)
OPERATIONS = {
    "mask": lambda da: da.rastrum.mask(**OPTIONS),
    "bilateral": lambda da: da.rastrum.smooth(window=7, sigma_range=5, **OPTIONS),
    "gaussian": lambda da: da.rastrum.smooth(gaussian=True, window=6, **OPTIONS),
    "sobel": lambda da: da.rastrum.sobel(**OPTIONS),
    "calc": lambda da: da.rastrum.calc("subtract", da + np.float32(1.5), **OPTIONS),
    "overwrite": lambda da: da.rastrum.overwrite([(480, 500)], value=2, **OPTIONS),
}


@pytest.fixture(scope="module")
def dem(tmp_path_factory):
    path = write_tif(tmp_path_factory.mktemp("xr") / "dem.tif", terrain())
    return path, rioxarray.open_rasterio(path).squeeze("band", drop=True).load()


def test_results_keep_coordinates_crs_and_take_holes_from_nodata(dem):
    _, da = dem
    da = da.assign_attrs(units="m", survey="lidar", STATISTICS_MEAN=500.0)
    result = da.rastrum.sobel()
    assert result.rio.crs == da.rio.crs and result.rio.transform() == da.rio.transform()
    assert result.attrs["survey"] == "lidar" and np.isnan(result.rio.nodata)
    assert "units" not in result.attrs and "STATISTICS_MEAN" not in result.attrs
    assert da.rastrum.smooth().attrs["units"] == "m" and da.rastrum.calc("subtract", da).attrs["units"] == "m"
    xr.testing.assert_equal(result.x, da.x)
    np.testing.assert_array_equal(result, rastrum.sobel(da.values, nodata=-9999))
    assert np.isnan(result.values[da.values == -9999]).all()


def test_scaled_integer_heights_are_computed_in_their_declared_units(tmp_path):
    raw = np.where(terrain() == -9999, -32768, np.round((terrain() - 400) * 10)).astype(np.int16)
    path = write_tif(tmp_path / "int16.tif", raw, dtype="int16", nodata=-32768)
    with rasterio.open(path, "r+") as f:
        f.scales, f.offsets = (0.1,), (400.0,)
    heights = np.where(raw == -32768, np.nan, raw * 0.1 + 400.0).astype(np.float32)
    da = rioxarray.open_rasterio(path).squeeze("band", drop=True)
    for data in (da.load(), da.chunk({"x": 61, "y": 47})):
        result = data.rastrum.smooth()
        assert "scale_factor" not in result.attrs and np.isnan(result.rio.nodata)
        np.testing.assert_array_equal(result.values, rastrum.smooth(heights))


@pytest.mark.parametrize("dtype, nodata", [("uint16", 0), ("int32", -32768), ("float64", -9999)])
def test_integer_and_float64_dems_give_the_command_lines_results(tmp_path, dtype, nodata):
    a, b = (np.where(terrain(seed=s) == -9999, nodata, np.round(terrain(seed=s)) // (s + 1)).astype(dtype) for s in (0, 2))
    paths = [write_tif(tmp_path / f"{i}.tif", h, dtype, nodata) for i, h in enumerate((a, b))]
    da, db = (rioxarray.open_rasterio(p).squeeze("band", drop=True) for p in paths)
    for args, result in [(["smooth", paths[0]], da.rastrum.smooth()), (["sobel", paths[0]], da.rastrum.sobel()),
                         (["calc", "divide", *paths], da.rastrum.calc("divide", db))]:
        subprocess.run([CLI, *args, tmp_path / "out.tif", "-q", "--overwrite"], check=True)
        with rasterio.open(tmp_path / "out.tif") as f:
            np.testing.assert_array_equal(result.values, f.read(1), err_msg=args[0])  # NaN at holes in both


def test_integer_heights_mesh_as_their_float32_values(tmp_path):
    raw = np.where(terrain() == -9999, -32768, np.round(terrain())).astype(np.int16)
    da = rioxarray.open_rasterio(write_tif(tmp_path / "i.tif", raw, "int16", -32768)).squeeze("band", drop=True)
    ours = da.rastrum.mesh(max_error=2)
    expected = rastrum.mesh(raw.astype(np.float32), da.rio.transform(), max_error=2, nodata=-32768)
    for got, want in zip(ours, expected):
        np.testing.assert_array_equal(got, want)


def test_a_time_series_equals_its_steps_run_one_by_one(dem):
    _, da = dem
    years = xr.DataArray([2019, 2021, 2024], dims="time", name="time")
    series = xr.concat([da, (da + np.float32(7)).where(da.x < da.x[70], -9999), da * np.float32(1.01)], dim=years)
    calls = {"sobel": rastrum.sobel, "mask": rastrum.mask, "smooth": rastrum.smooth}
    for name, call in calls.items():
        for data in (series, series.chunk({"time": 2, "x": 61, "y": 47})):
            result = getattr(data.rastrum, name)(fragment_size=48).compute()
            for year in years.values:
                step = call(series.sel(time=year).values, nodata=-9999, fragment_size=48)
                np.testing.assert_array_equal(result.sel(time=year), step, err_msg=f"{name} {year}")
        if name != "smooth":
            for data in (series, series.chunk({"x": 61})):
                picked = getattr(data.rastrum, name)(time=2021).compute()
                assert picked.time == 2021
                np.testing.assert_array_equal(picked, call(series.sel(time=2021).values, nodata=-9999))
    with pytest.raises(ValueError, match="pick one step"):
        series.rastrum.mesh()
    vertices, _ = series.rastrum.mesh(time=2024)
    assert vertices[:, 0].min() == pytest.approx(da.x.min())


@pytest.mark.parametrize("chunks", [(20, 20), (47, 61), (100, 35), (130, 150)])
@pytest.mark.parametrize("operation", OPERATIONS)
def test_dask_equals_in_memory_for_any_chunking(dem, operation, chunks):
    _, da = dem
    lazy = OPERATIONS[operation](da.chunk(dict(zip(da.dims, chunks))))
    assert isinstance(lazy.data, dask.array.Array)
    np.testing.assert_array_equal(lazy.compute(), OPERATIONS[operation](da), strict=True)


def test_local_cluster_of_two_processes_writes_what_one_process_computes(dem, tmp_path):
    from dask.distributed import Client, LocalCluster, Lock

    path, da = dem
    volume = (np.random.default_rng(3).random((4, 130, 150)) < 0.05).astype(np.uint16)
    markers = write_tif(tmp_path / "markers.tif", volume, "uint16", None)
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, Client(cluster):
        lazy = rioxarray.open_rasterio(path, chunks={"x": 64, "y": 64}).squeeze("band", drop=True)
        lazy_markers = rioxarray.open_rasterio(markers, chunks={"x": 150, "y": 130})
        results = {name: run(lazy) for name, run in OPERATIONS.items()}
        results["iso"] = lazy_markers.rastrum.iso()
        for name, result in results.items():
            result.rio.to_raster(tmp_path / f"{name}.tif", lock=Lock("rio"), compute=True)
    for name, run in OPERATIONS.items():
        written = rioxarray.open_rasterio(tmp_path / f"{name}.tif", masked=False).squeeze("band", drop=True)
        np.testing.assert_array_equal(written, run(da), err_msg=name)
    iso = rioxarray.open_rasterio(tmp_path / "iso.tif")
    np.testing.assert_array_equal(iso, rastrum.iso(volume))
