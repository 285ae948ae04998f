#!/usr/bin/python3
"""Costs of the Python package, written to bench/PYTHON.md.

1. Every operation on 4096² float32 heights (about 5 % holes): the Python call
   against the same host path timed from C++ (rastrum-host-timing, no file
   I/O), best of five rounds that alternate the two. Target: at most 1.1x.
2. sobel and smooth on a 16384² raster in 2048² chunks on a LocalCluster of 1
   and 2 single-threaded worker processes, next to the same pipeline with
   scipy.ndimage (Sobel) and OpenCV (bilateral) per chunk. Target: 2 workers
   at least 1.6x faster than 1; the peak resident memory of a worker is
   reported.

Usage: /work/bin/bench-lock bench/python.py [BUILD_DIR]  (default build/dev); with --render, only
bench/PYTHON.md is written again from the figures of the last run (bench/python_timings.json) and the
notes in bench/python_notes.md.
"""
import ctypes
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = pathlib.Path(next((a for a in sys.argv[1:] if not a.startswith("--")), ROOT / "build" / "dev")).resolve()
sys.path.insert(0, str(BUILD / "python"))

import cv2  # noqa: E402
import dask.array as dsa  # noqa: E402
import numpy as np  # noqa: E402
import psutil  # noqa: E402
import scipy.ndimage as ndi  # noqa: E402
from dask.distributed import Client, LocalCluster  # noqa: E402

import rastrum  # noqa: E402

REPEATS = 5
SIDE, BIG, CHUNK = 4096, 16384, 2048


def terrain(rows, columns, row0=0, column0=0):
    """Relief around 500 m with ripples and about 5 % holes.

    Built from products of waves along one axis (sin(a + b) expanded), a few
    passes over the raster, so that making a chunk costs far less than any
    operation on it and does not hide the operations.
    """
    y = np.arange(row0, row0 + rows, dtype=np.float32)[:, None]
    x = np.arange(column0, column0 + columns, dtype=np.float32)[None, :]
    h = (40 * np.sin(x / 97)) * np.cos(y / 71)
    h += (2 * np.sin(1.7 * y)) * np.cos(2.3 * x)
    h += (2 * np.cos(1.7 * y)) * np.sin(2.3 * x)
    h += 500
    phase = [(k * np.arange(start, start + n) % 19).astype(np.uint8) for k, start, n in ((7, row0, rows), (13, column0, columns))]
    phase = phase[0][:, None] + phase[1][None, :]
    h[(phase == 0) | (phase == 19)] = np.nan  # holes where 7 row + 13 column is a multiple of 19
    return h


def seconds(call):
    start = time.perf_counter()
    call()
    return time.perf_counter() - start


def per_operation():
    h = terrain(SIDE, SIDE)
    volume = (np.random.default_rng(1).random((3, SIDE, SIDE)) < 0.02).astype(np.uint16)
    calls = {
        "mask": lambda: rastrum.mask(h),
        "smooth": lambda: rastrum.smooth(h),
        "gaussian": lambda: rastrum.smooth(h, gaussian=True),
        "sobel": lambda: rastrum.sobel(h),
        "calc": lambda: rastrum.calc("subtract", h, h),
        "overwrite": lambda: rastrum.overwrite(h, ranges=[(480, 500)]),
        "iso": lambda: rastrum.iso(volume),
        "mesh": lambda: rastrum.mesh(h),
    }
    rows = []
    with tempfile.TemporaryDirectory() as folder:
        heights, markers = pathlib.Path(folder, "h.raw"), pathlib.Path(folder, "m.raw")
        h.tofile(heights)
        volume.tofile(markers)
        for name, call in calls.items():
            raw = markers if name == "iso" else heights
            driver = [BUILD / "python" / "rastrum-host-timing", name, raw, str(SIDE), str(SIDE), "2"]
            # Rounds alternate between the two sides so that a busy moment of the machine hits both alike;
            # each round of the driver is the better of a warm-up run and a run on the warm heap.
            ours, reference = [], []
            for _ in range(REPEATS):
                ours.append(seconds(call))
                reference.append(float(subprocess.run(driver, check=True, capture_output=True, text=True).stdout))
            rows.append((name, min(ours), min(reference)))
            print(f"{name}: python {min(ours):.3f} s, C++ {min(reference):.3f} s", flush=True)
    return rows


def chunk_terrain(block_info=None):
    (r0, r1), (c0, c1) = block_info[None]["array-location"]
    return terrain(r1 - r0, c1 - c0, r0, c0)


def peer_sobel(b):
    return np.hypot(ndi.sobel(b, 0), ndi.sobel(b, 1)).astype(np.float32)


PIPELINES = {
    ("sobel", "rastrum"): lambda d: d.map_overlap(rastrum.sobel, depth=1, boundary="none", dtype=np.float32),
    ("sobel", "scipy.ndimage"): lambda d: d.map_overlap(peer_sobel, depth=1, boundary="none", dtype=np.float32),
    ("smooth", "rastrum"): lambda d: d.map_overlap(rastrum.smooth, depth=2, boundary="none", dtype=np.float32),
    ("smooth", "OpenCV"): lambda d: d.map_overlap(lambda b: cv2.bilateralFilter(b, 5, 2.0, 1.0), depth=2,
                                                  boundary="none", dtype=np.float32),
}


def resident():
    return psutil.Process().memory_info().rss / 2**20


def reset_peak():
    """Starts the kernel's high-water mark of resident memory afresh at the current size."""
    pathlib.Path("/proc/self/clear_refs").write_text("5")


def peak_resident():
    """The high-water mark of resident memory since reset_peak, in MiB (the kernel's own, no sampling)."""
    status = pathlib.Path("/proc/self/status").read_text()
    return int(next(line for line in status.splitlines() if line.startswith("VmHWM:")).split()[1]) / 2**10


def library_threads():
    """Threads the library's parallel loops may use in this process (its OpenMP runtime's limit)."""
    return ctypes.CDLL("libgomp.so.1").omp_get_max_threads()


def worker_cpu_seconds():
    times = psutil.Process().cpu_times()
    return times.user + times.system


def on_cluster():
    os.environ["OMP_NUM_THREADS"] = "1"  # one core per worker process, for ours and the peers alike
    rows, threads = [], set()
    pipelines = {("terrain only", "-"): lambda d: d, **PIPELINES}
    for workers in (1, 2):
        for (operation, tool), pipeline in pipelines.items():
            # A fresh cluster per run, so that each worker's high-water mark is this run's.
            with LocalCluster(n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=None,
                              memory_limit=0) as cluster, Client(cluster) as client:
                client.run(lambda: __import__("rastrum"))
                threads |= set(client.run(library_threads).values())
                idle = max(client.run(resident).values())
                client.run(reset_peak)
                data = dsa.map_blocks(chunk_terrain, chunks=((CHUNK,) * (BIG // CHUNK),) * 2, dtype=np.float32)
                total = pipeline(data).sum()
                cpu, own = client.run(worker_cpu_seconds), worker_cpu_seconds()
                start = time.perf_counter()
                total.compute()
                seconds = time.perf_counter() - start
                own = worker_cpu_seconds() - own  # the client and the scheduler, which share this process
                busy = sum(client.run(worker_cpu_seconds)[w] - cpu[w] for w in cpu)
                peak = max(client.run(peak_resident).values()) - idle
            rows.append((operation, tool, workers, seconds, peak, busy, own))
            print(f"{operation} {tool} {workers} worker(s): {seconds:.1f} s, workers busy {busy:.1f} s, "
                  f"peak {peak:.0f} MiB", flush=True)
    return rows, threads


# Read from the figures of a run; kept up to date by hand when they change.
NOTES = (ROOT / "bench" / "python_notes.md").read_text().splitlines() if (ROOT / "bench" / "python_notes.md").exists() else []


def report(single, cluster, load):
    lines = ["# Python package: costs", "",
             "Written by `bench/python.py` (one run under the heavy-run lock, which keeps builds and other "
             "benchmarks off the machine). Lower is better. The 5-minute load average, which also counts the minutes before the run"
             f": {load[0]:.1f} at the start, {load[1]:.1f} at the end, on {os.cpu_count()} cores.", "",
             f"## Python call against the same host path from C++ ({SIDE}² float32, best of {REPEATS})", "",
             "Target: the Python call costs at most 1.1x the C++ call (cutting into fragments, library run, "
             "stitching; the Python side also turns NaN into cell types and wraps the result).", "",
             "| Operation | Python s | C++ s | Ratio | Target met |", "|---|---:|---:|---:|---|"]
    for name, ours, reference in single:
        ratio = ours / reference
        lines.append(f"| {name} | {ours:.3f} | {reference:.3f} | {ratio:.2f}x | {'yes' if ratio <= 1.1 else 'no'} |")
    rows, threads = cluster
    cell_mb = CHUNK * CHUNK * 4 / 2**20
    lines += ["", f"## Dask: {BIG}² float32 in {CHUNK}² chunks on a LocalCluster", "",
              f"Worker processes of one thread each; the library's OpenMP limit inside a worker was "
              f"{', '.join(map(str, sorted(threads)))} thread(s). The terrain is generated per chunk inside the graph "
              f"(the first row times that alone) and the result summed, so no file I/O. A chunk is {cell_mb:.0f} MiB, "
              f"{(BIG // CHUNK) ** 2} chunks. Target: 2 workers at least 1.6x faster than 1. "
              "Busy is the CPU time of the workers together, client is that of the process holding the client and "
              "the scheduler; with 2 workers they share the 2 cores. Peak is a worker's high-water mark of resident "
              "memory less its size before the run.", "",
              "| Operation | Per chunk | 1 worker s | 2 workers s | Speed-up | Target met | Busy s (1 / 2) | "
              "Client s (1 / 2) | Peak MiB per worker (1 / 2) | Peak in chunks (1 / 2) |",
              "|---|---|---:|---:|---:|---|---|---|---|---|"]
    for operation, tool in [("terrain only", "-"), *PIPELINES]:
        one = next(r for r in rows if r[:3] == (operation, tool, 1))
        two = next(r for r in rows if r[:3] == (operation, tool, 2))
        speedup = one[3] / two[3]
        met = ("yes" if speedup >= 1.6 else "no") if tool == "rastrum" else "(peer)" if tool != "-" else ""
        lines.append(f"| {operation} | {tool} | {one[3]:.1f} | {two[3]:.1f} | {speedup:.2f}x | {met} | "
                     f"{one[5]:.1f} / {two[5]:.1f} | {one[6]:.1f} / {two[6]:.1f} | {one[4]:.0f} / {two[4]:.0f} | "
                     f"{one[4] / cell_mb:.0f} / {two[4] / cell_mb:.0f} |")
    lines += ["", *NOTES]
    (ROOT / "bench" / "PYTHON.md").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    figures = ROOT / "bench" / "python_timings.json"
    if "--render" in sys.argv:  # again from the last run's figures, after the notes changed
        single, cluster, load = json.loads(figures.read_text())
        cluster = ([tuple(r) for r in cluster[0]], set(cluster[1]))
    else:
        start_load = os.getloadavg()[1]
        single, cluster = per_operation(), on_cluster()
        load = (start_load, os.getloadavg()[1])
        figures.write_text(json.dumps([single, [cluster[0], sorted(cluster[1])], load]) + "\n")
    report(single, cluster, load)
