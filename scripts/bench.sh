#!/usr/bin/env bash
# Builds the benchmarks (Release), runs them and renders the results.
# Usage:
#   scripts/bench.sh                  full run -> bench/RESULTS.md, before/after
#                                     against bench/baseline.json when it exists
#   scripts/bench.sh --baseline       full run, also saved as bench/baseline.json
#   scripts/bench.sh --filter REGEX   only the matching benchmarks (Google Benchmark
#                                     --benchmark_filter) -> build/bench/RESULTS.md
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n '3,8p' "$0" | sed 's/^# \{0,1\}//' >&2; exit 2; }
baseline=false
filter=""
while [ $# -gt 0 ]; do
  case "$1" in
    --baseline) baseline=true; shift ;;
    --filter) [ $# -ge 2 ] || usage; filter="$2"; shift 2 ;;
    *) usage ;;
  esac
done
if $baseline && [ -n "$filter" ]; then
  echo "bench.sh: a baseline is a full run; drop --filter" >&2
  exit 2
fi

scripts/install-deps.sh
/usr/bin/python3 bench/render_results_test.py --quiet
cmake --preset bench
cmake --build --preset bench -j2

out=build/bench
results="$out/results.json"
report=bench/RESULTS.md
args=(--benchmark_out="$results" --benchmark_out_format=json)
if [ -n "$filter" ]; then
  args+=(--benchmark_filter="$filter")
  report="$out/RESULTS.md"
fi
"$out/bench/rastrum-bench" "${args[@]}"

if $baseline; then
  cp "$results" bench/baseline.json
fi
compare=()
[ -f bench/baseline.json ] && compare=(--baseline bench/baseline.json)
/usr/bin/python3 bench/render_results.py "$results" "$report" "${compare[@]}"
echo "Results: $report"
