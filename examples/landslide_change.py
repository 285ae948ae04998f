#!/usr/bin/python3
"""Change of a landslide runout: DEM of difference, smoothing and gradient on a Dask cluster.

The pair in ../shared/data is the DEM before the runout and the DEM of
difference (after - before, nodata where nothing changed). The example rebuilds the DEM after the runout,
takes the difference again with rastrum, smooths it with the bilateral filter
and computes the gradient of both DEMs, all lazily in chunks on a
LocalCluster of two worker processes, and saves a figure.

Usage: PYTHONPATH=build/dev/python examples/landslide_change.py [DATA_DIR] [FIGURE]
"""
import pathlib
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402
import rioxarray  # noqa: E402
from dask.distributed import Client, LocalCluster  # noqa: E402

import rastrum  # noqa: E402,F401  registers DataArray.rastrum

ROOT = pathlib.Path(__file__).resolve().parents[1]
DATA = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT.parent / "shared" / "data"
FIGURE = pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 else pathlib.Path("landslide_change.png")


def dem(name):
    """A DEM read lazily in chunks, NaN at nodata."""
    return rioxarray.open_rasterio(DATA / name, masked=True, chunks={"x": 48, "y": 48}).squeeze("band", drop=True)


def main():
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, Client(cluster):
        before = dem("pre_runout_DEM.asc")
        after = before + dem("DEM_of_Difference.asc").fillna(0)  # no difference given: no change
        difference = after.rastrum.calc("subtract", before)
        smoothed = difference.rastrum.smooth(window=5, sigma_spatial=1.5, sigma_range=2.0)
        slope_before, slope_after = before.rastrum.sobel(), after.rastrum.sobel()
        before, difference, smoothed, slope_before, slope_after = (
            a.compute() for a in (before, difference, smoothed, slope_before, slope_after))

    given = dem("DEM_of_Difference.asc").compute()
    print(f"largest departure from the given difference: {float(np.nanmax(abs(difference - given))):.2e} m")
    print(f"volume change: {float(smoothed.sum()) * abs(np.prod(before.rio.resolution())):.0f} m³")

    limit = float(np.nanpercentile(abs(difference.where(difference != 0)), 98))
    panels = [
        (before, "DEM before the runout (m)", "terrain", {}),
        (difference, "DEM of difference (m)", "RdBu", dict(vmin=-limit, vmax=limit)),
        (smoothed, "Difference, bilateral smoothing (m)", "RdBu", dict(vmin=-limit, vmax=limit)),
        (slope_after - slope_before, "Change of Sobel gradient", "PuOr", {}),
    ]
    figure, axes = plt.subplots(1, 4, figsize=(16, 6), constrained_layout=True)
    for axis, (data, title, colours, scale) in zip(axes, panels):
        data.plot.imshow(ax=axis, cmap=colours, cbar_kwargs=dict(shrink=0.6, label=""), **scale)
        axis.set_title(title)
        axis.set_aspect("equal")
        axis.set_xlabel("")
        axis.set_ylabel("")
    figure.savefig(FIGURE, dpi=120)
    print(f"figure written to {FIGURE}")


if __name__ == "__main__":
    main()
