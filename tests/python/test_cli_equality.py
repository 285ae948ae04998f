"""Every operation from Python equals the command line's output bit for bit."""
import subprocess

import numpy as np
import pytest
import rasterio

import rastrum
from conftest import CLI, TRANSFORM, terrain, write_tif

TILING = dict(nodata=-9999, fragment_size=48)
CASES = [
    (["mask"], lambda h, b: rastrum.mask(h, **TILING)),
    (["smooth", "--window", "7", "--sigma-range", "5"], lambda h, b: rastrum.smooth(h, window=7, sigma_range=5, **TILING)),
    (["smooth", "--gaussian", "--sigma-spatial", "1.5"], lambda h, b: rastrum.smooth(h, True, sigma_spatial=1.5, **TILING)),
    (["sobel"], lambda h, b: rastrum.sobel(h, **TILING)),
    (["sobel", "--keep-partial"], lambda h, b: rastrum.sobel(h, keep_partial=True, **TILING)),
    (["smooth", "--keep-partial"], lambda h, b: rastrum.smooth(h, keep_partial=True, **TILING)),
    (["calc", "subtract"], lambda h, b: rastrum.calc("subtract", h, b, **TILING)),
    (["calc", "divide"], lambda h, b: rastrum.calc("divide", h, b, **TILING)),
    (["overwrite", "--range", "480:500", "--range", "510:515", "--value", "3"],
     lambda h, b: rastrum.overwrite(h, ranges=[(480, 500), (510, 515)], value=3, **TILING)),
    (["overwrite", "--range", "480:500", "--invert"], lambda h, b: rastrum.overwrite(h, ranges=[(480, 500)], invert=True, **TILING)),
]


def run_cli(*args):
    subprocess.run([CLI, *map(str, args), "-q", "--fragment-size", "48"], check=True)


@pytest.mark.parametrize("args, call", CASES, ids=lambda c: " ".join(c) if isinstance(c, list) else "")
def test_operation_equals_command_line(tmp_path, dem, args, call):
    path, h = dem
    second = terrain(seed=1)
    inputs = [path] + ([write_tif(tmp_path / "b.tif", second)] if args[0] == "calc" else [])
    run_cli(*args[:2 if args[0] == "calc" else 1], *inputs, tmp_path / "out.tif", *args[2 if args[0] == "calc" else 1:])
    with rasterio.open(tmp_path / "out.tif") as f:
        expected = f.read(1)
    if args[0] == "mask":
        expected = expected.astype(np.float32)  # the file stores the 0/1 mask as Byte
    np.testing.assert_array_equal(call(h, second), expected, strict=True)


def test_iso_equals_command_line(tmp_path):
    volume = (np.random.default_rng(2).random((4, 70, 90)) < 0.05).astype(np.uint16)
    run_cli("iso", write_tif(tmp_path / "v.tif", volume, "uint16", None), tmp_path / "iso.tif")
    with rasterio.open(tmp_path / "iso.tif") as f:
        np.testing.assert_array_equal(rastrum.iso(volume, fragment_size=48), f.read(), strict=True)


@pytest.mark.parametrize("max_error", [None, 1.5])
def test_mesh_equals_command_line_to_file_precision(tmp_path, dem, max_error):
    path, h = dem
    run_cli("mesh", path, tmp_path / "m.obj", *(["--max-error", str(max_error)] if max_error else []))
    lines = (tmp_path / "m.obj").read_text().splitlines()
    origin = np.array(lines[0].split()[2:], float)
    east, up, south = np.array([line.split()[1:] for line in lines if line.startswith("v ")], float).T
    vertices = np.stack([east, -south, up], axis=1) + origin  # the file's axes: x east, y up, z south
    faces = np.array([[int(c.split("/")[0]) - 1 for c in line.split()[1:]] for line in lines if line.startswith("f")])
    ours, triangles = rastrum.mesh(h, TRANSFORM.to_gdal(), max_error, **TILING)
    np.testing.assert_allclose(canonical(ours, triangles), canonical(vertices, faces), rtol=0, atol=1e-3)


def canonical(vertices, triangles):
    """Triangles as corner coordinates, in an order that ignores indexing and winding."""
    corners = sorted(sorted(map(tuple, vertices[t])) for t in triangles)
    return np.array(corners)
