import os
import pathlib

import numpy as np
import pytest
import rasterio
from rasterio.transform import from_origin

BUILD = pathlib.Path(__file__).resolve().parents[2] / "build" / "dev"
CLI = os.environ.get("RASTRUM_CLI", str(BUILD / "apps" / "rastrum" / "rastrum"))
TRANSFORM = from_origin(500000.0, 4000000.0, 2.0, 2.0)


def terrain(rows=130, columns=150, seed=0):
    """Rough relief around 500 m with nodata (-9999) patches."""
    rng = np.random.default_rng(seed)
    y, x = np.mgrid[0:rows, 0:columns]
    h = (500 + 20 * np.sin(x / 9.0) * np.cos(y / 7.0) + rng.normal(0, 2, (rows, columns))).astype(np.float32)
    h[rng.random((rows, columns)) < 0.03] = -9999
    h[40:50, 60:75] = -9999
    return h


def write_tif(path, bands, dtype="float32", nodata=-9999):
    bands = np.atleast_3d(bands.T).T if bands.ndim == 2 else bands
    with rasterio.open(path, "w", driver="GTiff", width=bands.shape[2], height=bands.shape[1], count=bands.shape[0],
                       dtype=dtype, nodata=nodata, transform=TRANSFORM, crs="EPSG:32613") as f:
        f.write(bands)
    return str(path)


@pytest.fixture(scope="session")
def dem(tmp_path_factory):
    h = terrain()
    return write_tif(tmp_path_factory.mktemp("dem") / "dem.tif", h), h
