#!/usr/bin/python3
"""Renders a run of rastrum-bench (Google Benchmark JSON) as Markdown.

    render_results.py RESULTS_JSON OUTPUT_MD [--baseline BASELINE_JSON]

Measured rows carry the names of the rows they are compared with in their
label ("peer=...;bound=..."), so the pairing is decided by the benchmarks.
"""
import argparse
import json
import os
import re

# Settings Google Benchmark appends to a registered name.
SETTINGS = re.compile(r"/(min_time:[^/]*|min_warmup_time:[^/]*|iterations:[^/]*|repeats:[^/]*|real_time)")
MEASURED = re.compile(r"(Operation|Kernel)/(?P<what>[^/]+)/size:(?P<size>\d+)(/fragment:(?P<fragment>\w+))?$")

# Operations in the order of the tables, and whether they work on volumes.
OPERATIONS = [
    "sobelOperator",
    "binaryOperator",
    "bilateralSmoothing[bilateral]",
    "bilateralSmoothing[bilateral,window31]",
    "bilateralSmoothing[gaussian]",
    "rasterOperator",
    "raster3DtoTri",
    "overwriteFieldValuesViaOtherField",
    "gausSmoothingUniform3D",
]

# (operation, "peer", "bound" or "roofline", least ratio) at the largest raster size.
TARGETS = [
    ("sobelOperator", "peer", 1.2),
    ("binaryOperator", "bound", 0.6),
    ("rasterOperator", "bound", 0.6),
    ("bilateralSmoothing[bilateral]", "peer", 1.0),
    ("bilateralSmoothing[bilateral,window31]", "peer", 1.0),
    ("bilateralSmoothing[gaussian]", "roofline", 0.8),
    ("bilateralSmoothing[gaussian]", "peer", 0.5),
    ("raster3DtoTri", "bound", 0.1),
]
TARGET_SIZE = 4096

# The Gaussian filter's exact per-tap arithmetic on 8 double lanes (AVX-512):
# per tap and group of 8 centres a blend (hole -> centre value), a multiply, an
# add and the rounding of the sum to float and back (vcvtpd2ps + vcvtps2pd,
# two micro-ops each) make 7 vector micro-ops, and 512-bit micro-ops issue on
# two ports (0 and 5); the two loads per tap fit the two load ports alongside.
GAUSSIAN_UOPS_PER_TAP = 7
VECTOR_PORTS = 2
LANES = 8
TAPS = 25


def gaussian_roofline(context):
    """Cells per second the exact per-tap arithmetic allows on the run's threads."""
    cycles_per_cell = TAPS * GAUSSIAN_UOPS_PER_TAP / (VECTOR_PORTS * LANES)
    mhz = float(context.get("mhz_per_cpu", 0) or 0)
    threads = int(context.get("omp_threads", 1) or 1)
    return mhz * 1e6 * threads / cycles_per_cell if mhz else None


class Run:
    """The rows of one run by name; a repeated benchmark is read through its
    median, its spread through its coefficient of variation."""

    def __init__(self, path):
        with open(path) as f:
            data = json.load(f)
        self.context = data["context"]
        self.rows = {}
        self.spread = {}
        self.errors = {}
        for row in data["benchmarks"]:
            name = SETTINGS.sub("", row.get("run_name", row["name"]))
            if row.get("error_occurred"):
                self.errors[name] = row.get("error_message", "")
            elif row.get("run_type", "iteration") == "iteration" or row.get("aggregate_name") == "median":
                self.rows[name] = row
            elif row.get("aggregate_name") == "cv":
                self.spread[name] = row.get("items_per_second")

    def rate(self, name):
        row = self.rows.get(name)
        return row.get("items_per_second") if row and name not in self.errors else None

    def counter(self, name, key, form):
        value = self.rows[name].get(key)
        return form.format(value) if value is not None else "—"

    def references(self, name):
        label = self.rows[name].get("label", "")
        pairs = dict(part.split("=", 1) for part in label.split(";") if "=" in part)
        return pairs.get("peer", ""), pairs.get("bound", "")

    def measured(self, kind):
        for name in self.rows:
            match = MEASURED.match(name)
            if match and name.startswith(kind + "/"):
                yield name, match

    def cells_with_spread(self, name):
        text = cells(self.rate(name))
        spread = self.spread.get(name)
        return f"{text} ±{100 * spread:.0f} %" if spread is not None and text != "—" else text


def cells(rate):
    if rate is None:
        return "—"
    for scale, unit in ((1e9, "G"), (1e6, "M"), (1e3, "k")):
        if rate >= scale:
            return f"{rate / scale:.3g} {unit}"
    return f"{rate:.3g}"


def ratio(ours, theirs):
    return f"{ours / theirs:.2f}" if ours and theirs else "—"


def peer_label(peer):
    # "Peer/Scharr+magnitude/size:4096/threads:2" -> "Scharr+magnitude"
    return peer.split("/")[1] if peer else "—"


def layout(match):
    fragment = match["fragment"]
    return "one fragment" if fragment == "whole" else f"fragments of {fragment}"


def header(run, baseline):
    c = run.context
    load = c.get("load_avg", [0.0])[0]
    lines = [
        "# Benchmark results",
        "",
        "Rendered by `bench/render_results.py` from a run of `scripts/bench.sh`.",
        "",
        f"- Machine: {c.get('cpu_model', '?')}, {c.get('num_cpus', '?')} cores, "
        f"{c.get('mhz_per_cpu', '?')} MHz; host `{c.get('host_name', '?')}`",
        f"- Date: {c.get('date', '?')}",
        f"- OpenMP threads of the parallel operations: {c.get('omp_threads', '?')}; "
        "every other row runs on one thread unless its table says otherwise",
        f"- Load average (1 min) when the run started: {load:.2f}",
    ]
    if load >= 0.5:
        lines.append("- **Preliminary**: the machine was busy with other work during the run "
                     "(other builds share its cores), so the figures are noisy. The threaded rows and "
                     "their two-thread memcpy bounds suffer most: each parallel region waits until the "
                     "busy second core runs its thread. Rerun on an idle machine for figures to quote.")
    lines += [
        "",
        "## What is measured",
        "",
        "- Throughput is cells (grid points) per second, from wall-clock time "
        "(Google Benchmark `items_per_second`), the median of three repetitions; ± is their "
        "coefficient of variation. Higher is better, so every ratio is ours / other.",
        "- Terrain: generated, square, float heights, smooth relief with noise; "
        f"{c.get('hole_cells', '?')} hole cells (codes 1 to 3, in patches and scattered), "
        "the rest codes 0 or 4. Sizes 512², 2048², 4096²; one fragment, or fragments of "
        f"{c.get('raster_fragment', '?')}².",
        f"- Iso density: cubes of 128³ and 256³ 16-bit markers ({c.get('marker_cells', '?')} non-zero), "
        f"one fragment or fragments of {c.get('volume_fragment', '?')}³.",
        f"- Smoothing: window {c.get('window', '?')}, σ spatial {c.get('sigma_spatial', '?')} grid steps, "
        f"σ range {c.get('sigma_range', '?')} m; the window-31 row (4096² only): σ spatial 5, σ range "
        f"{c.get('sigma_range', '?')} m, against `cv::bilateralFilter` d = 31 (a disc of radius 15).",
        "- Peers (OpenCV, whole raster, same thread count as ours): `cv::Scharr` in x and y + "
        "`cv::magnitude` for Sobel; `cv::filter2D` with the library's normalised Gaussian kernel; "
        "`cv::bilateralFilter` d = 5 with the same sigmas (its window is the disc of radius 2, "
        "13 points, where ours is the full 5 x 5 square, 25 points); for the mask, `cv::inRange` "
        "(a two-sided compare: codes 1 to 3) and a scaling `convertTo` to float; for the "
        "difference, `cv::subtract`, `cv::inRange` on both code rasters, `cv::bitwise_or` and "
        "`setTo(0)` at holes. At start-up the suite checks on the 512² rasters that each peer but "
        "the bilateral one gives our kernel's values away from holes and borders.",
        "- memcpy bound: for an operation that reads R and writes W bytes per cell (its inputs "
        "and outputs, not its scratch), a `memcpy` of (R + W) / 2 bytes per cell, which reads "
        "and writes R + W bytes, split over the same number of threads. Each table heading gives R + W; the "
        "triangulation counts a 24-byte vertex and two 12-byte triangles out per cell.",
        "- System / wall: the process's system time (`getrusage`) over wall time of a whole repetition, "
        "untimed set-up included; minor faults per call: the page faults of a repetition over its calls. "
        "Both the median of the three repetitions.",
    ]
    if baseline:
        same = baseline.context.get("date") == run.context.get("date")
        lines += [
            f"- Before / after: before is `bench/baseline.json` ({baseline.context.get('date', '?')}), "
            "after is this run." + (" This run is the baseline itself." if same else ""),
        ]
    return lines


def wanted_text(run, name, against, least):
    if against == "peer":
        peer = peer_label(run.references(name)[0]) if name in run.rows else "peer"
        return f"≥ {least:g} x {peer}"
    return f"≥ {least:g} x {'memcpy bound' if against == 'bound' else 'roofline'}"


def roofline_lines(run):
    roof = gaussian_roofline(run.context)
    cycles = TAPS * GAUSSIAN_UOPS_PER_TAP / (VECTOR_PORTS * LANES)
    return ["", "## Gaussian roofline", "",
            f"The normalised Gaussian filter keeps the library's arithmetic exactly: every one of the {TAPS} taps "
            "of a window-5 cell adds `v * k` to the running sum in double and rounds the sum to float. On "
            f"{LANES} double lanes (AVX-512) a tap of {LANES} centres costs a blend (hole cells take the centre "
            "value), a multiply, an add and the rounding to float and back (`vcvtpd2ps` + `vcvtps2pd`, two "
            f"micro-ops each): {GAUSSIAN_UOPS_PER_TAP} vector micro-ops on the {VECTOR_PORTS} ports that issue "
            f"512-bit work, so {cycles:.2f} cycles per cell. At {run.context.get('mhz_per_cpu', '?')} MHz on "
            f"{run.context.get('omp_threads', '?')} threads that is **{cells(roof)} cells/s**; the data (9 bytes "
            "per cell) are far below the memory bound. `cv::filter2D` rounds nothing between taps (float "
            "multiply-adds, 16 lanes), which is why it can pass this bound: 0.5x `cv::filter2D` is out of reach "
            "whenever the peer runs faster than twice the roofline."]


def targets(run):
    tiles = run.context.get("raster_fragment", "256")
    lines = ["", f"## Targets ({TARGET_SIZE}², float)", "",
             "| Target | Layout | Ours cells/s | Reference cells/s | Ratio | Met |",
             "|---|---|---:|---:|---:|---|"]
    for operation, against, least in TARGETS:
        for fragment in ("whole", tiles):
            name = f"Operation/{operation}/size:{TARGET_SIZE}/fragment:{fragment}"
            match = MEASURED.match(name)
            wanted = wanted_text(run, name, against, least)
            if name not in run.rows:
                state = "failed" if name in run.errors else "not measured"
                lines.append(f"| {operation} {wanted} | {layout(match)} | — | — | — | {state} |")
                continue
            peer, bound = run.references(name)
            if against == "roofline":
                reference = gaussian_roofline(run.context)
            else:
                reference = run.rate(peer if against == "peer" else bound)
            ours = run.rate(name)
            met = "—" if not (ours and reference) else ("met" if ours >= least * reference else "not met")
            lines.append(f"| {operation} {wanted} | {layout(match)} | {cells(ours)} | {cells(reference)} | "
                         f"{ratio(ours, reference)} | {met} |")
    return lines


# Reasons for targets not met, written after reading a run.
TARGET_NOTES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "target_notes.md")


def note_lines(path=TARGET_NOTES):
    if not os.path.exists(path):
        return []
    with open(path) as f:
        return [""] + f.read().rstrip("\n").splitlines()


def operation_tables(run, baseline):
    lines = ["", "## Operations, end to end", ""]
    names = list(run.measured("Operation"))
    for operation in OPERATIONS:
        rows = [(name, match) for name, match in names if match["what"] == operation]
        if not rows:
            continue
        first = run.rows[rows[0][0]]
        threads = int(first.get("threads_used", 1))
        lines += [f"### {operation} ({threads} thread{'s' if threads > 1 else ''}, "
                  f"{first.get('bytes_per_cell', 0):g} bytes per cell)", ""]
        columns = ["Size", "Layout", "Cells/s", "Peer", "Peer cells/s", "Ours / peer", "memcpy cells/s",
                   "Ours / memcpy", "System / wall", "Minor faults per call"]
        if baseline:
            columns += ["Before cells/s", "After / before"]
        lines += ["| " + " | ".join(columns) + " |", "|---|---|" + "---:|" * (len(columns) - 2)]
        for name, match in rows:
            peer, bound = run.references(name)
            ours = run.rate(name)
            cells_row = [match["size"], layout(match), run.cells_with_spread(name), peer_label(peer), cells(run.rate(peer)),
                         ratio(ours, run.rate(peer)), cells(run.rate(bound)), ratio(ours, run.rate(bound)),
                         run.counter(name, "system_per_wall", "{:.2f}"),
                         run.counter(name, "minor_faults_per_iteration", "{:.0f}")]
            if baseline:
                before = baseline.rate(name)
                cells_row += [cells(before), ratio(ours, before)]
            lines.append("| " + " | ".join(cells_row) + " |")
        lines.append("")
    return lines


def kernel_table(run, baseline):
    lines = ["## Kernels (one thread, whole raster or cube)", ""]
    columns = ["Kernel", "Size", "Bytes per cell", "Cells/s", "Peer", "Peer cells/s", "Ours / peer", "memcpy cells/s",
               "Ours / memcpy"]
    if baseline:
        columns += ["Before cells/s", "After / before"]
    lines += ["| " + " | ".join(columns) + " |", "|---|---|" + "---:|" * (len(columns) - 2)]
    for name, match in run.measured("Kernel"):
        peer, bound = run.references(name)
        ours = run.rate(name)
        row = [match["what"], match["size"], f"{run.rows[name].get('bytes_per_cell', 0):g}", run.cells_with_spread(name), peer_label(peer), cells(run.rate(peer)),
               ratio(ours, run.rate(peer)), cells(run.rate(bound)), ratio(ours, run.rate(bound))]
        if baseline:
            before = baseline.rate(name)
            row += [cells(before), ratio(ours, before)]
        lines.append("| " + " | ".join(row) + " |")
    return lines


def failures(run):
    if not run.errors:
        return []
    return ["", "## Failed benchmarks", ""] + [f"- `{name}`: {message}" for name, message in run.errors.items()]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("results")
    parser.add_argument("output")
    parser.add_argument("--baseline")
    args = parser.parse_args()
    run = Run(args.results)
    baseline = Run(args.baseline) if args.baseline else None
    lines = (header(run, baseline) + targets(run) + note_lines() + roofline_lines(run) + operation_tables(run, baseline) + kernel_table(run, baseline)
             + failures(run))
    with open(args.output, "w") as f:
        f.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
