"""The NumPy functions: element types, the ways of marking holes, errors and the GIL."""
import threading

import numpy as np
import pytest

import rastrum
from conftest import terrain

SMOOTH_TYPES = ["float32", "float64", "uint8", "uint16", "uint32", "uint64", "int32"]
TYPES = {  # operation: (call, element types taken)
    "mask": (rastrum.mask, SMOOTH_TYPES),
    "smooth": (rastrum.smooth, SMOOTH_TYPES),
    "sobel": (rastrum.sobel, ["float32"]),
    "calc": (lambda h: rastrum.calc("add", h, h), SMOOTH_TYPES),
    "overwrite": (lambda h: rastrum.overwrite(h, ranges=[(0, 10)]), ["uint8", "float32", "uint16", "uint32", "float64"]),
    "mesh": (rastrum.mesh, ["float32"]),
    "iso": (lambda h: rastrum.iso(np.stack([h] * 3)), ["uint16"]),
}


@pytest.mark.parametrize("operation", TYPES)
def test_element_types_taken_and_refused_by_name(operation):
    call, taken = TYPES[operation]
    heights = np.arange(60, dtype=np.uint8).reshape(6, 10) % 7
    for dtype in taken:
        call(heights.astype(dtype))
    for dtype in sorted(set(SMOOTH_TYPES + ["int64", "bool", "int8"]) - set(taken)):
        with pytest.raises(TypeError, match=", ".join(taken)):
            call(heights.astype(dtype))


def test_integer_smoothing_keeps_the_integer_rounding():
    heights = np.full((3, 3), 20, np.uint32)
    heights[1, 1] = 10  # larger neighbours weigh nothing in the unsigned difference
    assert rastrum.smooth(heights, window=3, sigma_range=1000)[1, 1] == 10
    assert rastrum.smooth(heights.astype(np.float32), window=3, sigma_range=1000)[1, 1] == pytest.approx(17.96, abs=0.01)


def test_every_way_of_marking_holes_gives_the_same_result():
    raw = terrain(60, 70)
    holes = raw == -9999
    codes = holes.astype(np.uint8) * 2  # code 2 is a hole too
    expected = rastrum.smooth(np.where(holes, np.nan, raw).astype(np.float32))
    for marked in [dict(nodata=-9999), dict(mask=holes), dict(cell_types=codes)]:
        result = rastrum.smooth(raw, **marked)
        np.testing.assert_array_equal(result, expected, err_msg=str(marked))
    assert np.isnan(expected[holes]).all()


@pytest.mark.parametrize("call, error, message", [
    (lambda: rastrum.calc("power", np.ones((3, 3), np.float32), np.ones((3, 3), np.float32)), ValueError, "unknown operation 'power'"),
    (lambda: rastrum.calc("divide", np.ones((3, 3), np.int32), np.zeros((3, 3), np.int32)), ValueError, "divisor of 0"),
    (lambda: rastrum.calc("add", np.ones((3, 3), np.float32), np.ones((3, 3))), TypeError, "same element type"),
    (lambda: rastrum.calc("add", np.ones((3, 3), np.float32), np.ones((3, 4), np.float32)), ValueError, "differ in size"),
    (lambda: rastrum.sobel(np.ones((3, 3), np.float32), fragment_size=4, overlap=4), ValueError, "smaller than"),
    (lambda: rastrum.sobel(np.ones(9, np.float32)), ValueError, "2-D array"),
    (lambda: rastrum.sobel(np.ones((3, 3), np.float32), mask=np.ones((3, 4), bool)), ValueError, "shape differs"),
    (lambda: rastrum.mesh(np.full((3, 3), np.nan, np.float32)), ValueError, "no square of four data cells"),
    (lambda: rastrum.mesh(np.full((3, 3), np.nan, np.float32), max_error=1), ValueError, "span no area"),
    (lambda: rastrum.mesh(np.ones((3, 3), np.float32), max_error=-1), ValueError, "height difference >= 0"),
    (lambda: rastrum.overwrite(np.ones((3, 3), np.float32), ranges=[(0, 1)], value=300), ValueError, "0 to 255"),
    (lambda: rastrum.overwrite(np.ones((3, 3), np.float32), ranges=[(5, 1)]), ValueError, "lo <= hi"),
    (lambda: rastrum.smooth(np.ones((3, 3), np.float32), sigma_range=0), ValueError, "sigma_range: must be a positive number"),
    (lambda: rastrum.smooth(np.ones((3, 3), np.float32), sigma_spatial=1e-200), ValueError, "from 1e-150 to 1e150"),
    (lambda: rastrum.smooth(np.ones((3, 3), np.float32), window=-3), ValueError, "window: must be an integer from 1 to 255"),
    (lambda: rastrum.mask(np.ones((3, 3), np.float32), nodata="x"), TypeError, "nodata: expected a number"),
    (lambda: rastrum.mask(np.ones((3, 3), np.float32), fragment_size=3.5), TypeError, "fragment_size: expected an integer"),
    (lambda: rastrum.sobel(np.ones((2, 3, 3), np.float32), time=-1), ValueError, "time: must be an integer from 0 to 1"),
    (lambda: rastrum.sobel(np.ones((3, 3), np.float32), cell_types=np.full((3, 3), 7, np.uint8)), ValueError, "holds code 7; codes are 0 and 4"),
])
def test_bad_input_raises_with_a_message(call, error, message):
    with pytest.raises(error, match=message):
        call()


def test_the_gil_is_released_while_the_library_runs():
    ticks, done = [0], threading.Event()

    def count():
        while not done.is_set():
            ticks[0] += 1

    thread = threading.Thread(target=count)
    thread.start()
    before = ticks[0]
    rastrum.smooth(np.ones((1000, 1000), np.float32), window=9)
    during = ticks[0] - before
    done.set()
    thread.join()
    assert during > 200000  # a held GIL lets the counter run one switch interval at most


def test_mesh_of_geographic_heights_warns_naming_the_utm_zone(recwarn):
    geographic = (-105.3, 1e-4, 0.0, 40.1, 0.0, -1e-4)
    with pytest.warns(UserWarning, match="degrees of a geographic CRS.*EPSG:32613"):
        rastrum.mesh(terrain(), geographic, max_error=5, crs="EPSG:4326", nodata=-9999)
    recwarn.clear()
    rastrum.mesh(terrain(), (500000.0, 2.0, 0.0, 4000000.0, 0.0, -2.0), max_error=5, crs="EPSG:32613", nodata=-9999)
    assert not [w for w in recwarn if "geographic" in str(w.message)]
