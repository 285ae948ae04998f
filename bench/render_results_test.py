#!/usr/bin/python3
"""Checks that render_results.py pairs rows through their labels, reads
repeated runs through their median and decides the targets from the figures.

    /usr/bin/python3 bench/render_results_test.py
"""
import json
import os
import subprocess
import sys
import tempfile
import unittest

RENDERER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "render_results.py")
SUFFIX = "/min_time:0.200/repeats:3/real_time"


def repeated(name, median, cv=0.05, label=""):
    """The aggregate rows Google Benchmark writes for a repeated benchmark."""
    rows = []
    for aggregate, rate in (("mean", median * 1.5), ("median", median), ("stddev", median * cv), ("cv", cv)):
        rows.append({"name": f"{name}{SUFFIX}_{aggregate}", "run_name": name + SUFFIX, "run_type": "aggregate",
                     "aggregate_name": aggregate, "items_per_second": rate, "threads_used": 2,
                     "bytes_per_cell": 5, "label": label})
    return rows


def measured(name, median, peer, bound):
    return repeated(name, median, label=f"peer={peer};bound={bound}")


def run_file(directory, stem, rows, date="2026-01-01T00:00:00+00:00", load=0.1):
    path = os.path.join(directory, stem + ".json")
    context = {"date": date, "load_avg": [load, 0, 0], "num_cpus": 2, "cpu_model": "Test CPU", "omp_threads": "2",
               "raster_fragment": "256"}
    with open(path, "w") as f:
        json.dump({"context": context, "benchmarks": rows}, f)
    return path


PEER = "Peer/inRange+convertTo/size:4096/threads:2"
BOUND = "Bound/memcpy/bytes:5/cells:16777216/threads:2"
WHOLE = "Operation/binaryOperator/size:4096/fragment:whole"
TILED = "Operation/binaryOperator/size:4096/fragment:256"


class RenderResults(unittest.TestCase):
    def render(self, rows, baseline_rows=None, **context):
        with tempfile.TemporaryDirectory() as directory:
            args = [sys.executable, RENDERER, run_file(directory, "run", rows, **context),
                    os.path.join(directory, "out.md")]
            if baseline_rows is not None:
                args += ["--baseline", run_file(directory, "base", baseline_rows, date="2025-12-01T00:00:00+00:00")]
            subprocess.run(args, check=True)
            with open(os.path.join(directory, "out.md")) as f:
                return f.read().splitlines()

    def line(self, lines, *parts):
        found = [line for line in lines if all(part in line for part in parts)]
        self.assertEqual(len(found), 1, f"{parts} in {found}")
        return [cell.strip() for cell in found[0].strip("|").split("|")]

    def test_target_against_the_bound_uses_the_medians(self):
        rows = (repeated(PEER, 4e9) + repeated(BOUND, 2e9) + measured(WHOLE, 0.9e9, PEER, BOUND)
                + measured(TILED, 1.3e9, PEER, BOUND))
        lines = self.render(rows)
        self.assertEqual(self.line(lines, "binaryOperator ≥ 0.6", "one fragment")[2:],
                         ["900 M", "2 G", "0.45", "not met"])
        self.assertEqual(self.line(lines, "binaryOperator ≥ 0.6", "fragments of 256")[2:],
                         ["1.3 G", "2 G", "0.65", "met"])
        self.assertEqual(self.line(lines, "sobelOperator", "one fragment")[-1], "not measured")

    def test_operation_rows_pair_peer_and_bound_from_the_label(self):
        lines = self.render(repeated(PEER, 4e9) + repeated(BOUND, 2e9) + measured(WHOLE, 1e9, PEER, BOUND))
        self.assertEqual(self.line(lines, "| 4096 | one fragment")[2:],
                         ["1 G ±5 %", "inRange+convertTo", "4 G", "0.25", "2 G", "0.50", "—", "—"])
        self.assertIn("### binaryOperator (2 threads, 5 bytes per cell)", lines)
        self.assertFalse(any("Preliminary" in line for line in lines))

    def test_before_and_after_side_by_side_and_failures_listed(self):
        failed = {"name": TILED + SUFFIX, "run_name": TILED + SUFFIX, "run_type": "iteration",
                  "error_occurred": True, "error_message": "Found no cell type field:CellType"}
        lines = self.render(measured(WHOLE, 1.5e9, PEER, BOUND) + [failed],
                            baseline_rows=measured(WHOLE, 0.5e9, PEER, BOUND), load=3.0)
        self.assertEqual(self.line(lines, "| 4096 | one fragment")[-2:], ["500 M", "3.00"])
        self.assertEqual(self.line(lines, "binaryOperator ≥ 0.6", "fragments of 256")[-1], "failed")
        self.assertIn(f"- `{TILED}`: Found no cell type field:CellType", lines)
        self.assertTrue(any("Preliminary" in line for line in lines))


if __name__ == "__main__":
    unittest.main()
