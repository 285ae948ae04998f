#!/usr/bin/env bash
# Times the command line on a large raster against GDAL's own tools on the
# same file in the same run, and writes bench/CLI.md.
# Usage:
#   scripts/bench-cli.sh               20000 x 20000 Float32 (1.6 GB): sobel, smooth,
#                                      smooth --gaussian, mask, calc subtract against
#                                      gdaldem slope and gdal_calc A-B
#   scripts/bench-cli.sh --size N      another size (N x N)
#   scripts/bench-cli.sh --big         also sobel on 40000 x 40000 (6.4 GB), once
#   scripts/bench-cli.sh --runs N      rounds of every command at N (default 3; --big: 1)
# Run it alone on the machine (under the benchmark lock where there is one);
# needs about 3 x the raster's size of free disk (20 GB more with --big) in
# build/bench-cli. Not part of CI.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n '3,11p' "$0" | sed 's/^# \{0,1\}//' >&2; exit 2; }
size=20000
big=false
runs=3
while [ $# -gt 0 ]; do
  case "$1" in
    --size) [ $# -ge 2 ] || usage; size="$2"; shift 2 ;;
    --big) big=true; shift ;;
    --runs) [ $# -ge 2 ] || usage; runs="$2"; shift 2 ;;
    *) usage ;;
  esac
done

scripts/install-deps.sh
build=build/bench-cli
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DRASTRUM_BUILD_TESTS=OFF \
  -DRASTRUM_WARNINGS_AS_ERRORS=ON >/dev/null
cmake --build "$build" -j2 --target rastrum-cli
rastrum="$PWD/$build/apps/rastrum/rastrum"
data="$build/data"
mkdir -p "$data"
rows=()

# The demo's two surveys, upsampled to size x size as tiled Float32 GeoTIFFs.
terrain() { # SIZE YEARS... -> data/dem-SIZE-YEAR.tif
  local n="$1"; shift
  "$rastrum" demo "$data/demo" --width 2048 --height 2048 --overwrite -q >/dev/null
  for year in "$@"; do
    gdal_translate -q -outsize "$n" "$n" -r bilinear -ot Float32 -co TILED=YES -co BIGTIFF=YES \
      "$data/demo/survey-$year.tif" "$data/dem-$n-$year.tif"
  done
}

# NAME COMMAND... : wall, user and system seconds, peak resident megabytes,
# appended to the runs of NAME (names in order of their first run).
names=()
declare -A runsOf
measure() {
  local name="$1"; shift
  rm -f "$data"/out.*
  sync # the previous command's writing is not charged to this one
  /usr/bin/time -f "%e %U %S %M" -o "$data/time.txt" "$@" >/dev/null 2>"$data/stderr.txt" ||
    { echo "bench-cli: $name failed:" >&2; cat "$data/stderr.txt" >&2; exit 1; }
  read -r wall user sys kb <"$data/time.txt"
  [ -n "${runsOf[$name]+set}" ] || names+=("$name")
  runsOf[$name]+="$wall|$user|$sys|$((kb / 1024));"
  echo "$name: ${wall} s wall, ${user} s user, ${sys} s system, $((kb / 1024)) MB peak" >&2
}

# One round: every command once, GDAL's tools first.
round() {
  local n="$1" a="$data/dem-$1-2024.tif" b="$data/dem-$1-2019.tif"
  measure "gdaldem slope" gdaldem slope -q "$a" "$data/out.tif"
  [ "$n" = "$size" ] && measure "gdal_calc A-B" gdal_calc.py --quiet -A "$a" -B "$b" --outfile="$data/out.tif" --calc="A-B" --type=Float32
  measure "rastrum sobel" "$rastrum" sobel "$a" "$data/out.tif" -q
  if [ "$n" = "$size" ]; then
    measure "rastrum smooth" "$rastrum" smooth "$a" "$data/out.tif" -q
    measure "rastrum smooth --gaussian" "$rastrum" smooth --gaussian "$a" "$data/out.tif" -q
    measure "rastrum mask" "$rastrum" mask "$a" "$data/out.tif" -q
    measure "rastrum calc subtract" "$rastrum" calc subtract "$a" "$b" "$data/out.tif" -q
  fi
  # The same output as gdaldem's: uncompressed.
  measure "rastrum sobel -co COMPRESS=NONE" "$rastrum" sobel "$a" "$data/out.tif" -q -co COMPRESS=NONE
  rm -f "$data"/out.*
}

# ROUNDS rounds at SIZE, interleaved so that a slower spell of the machine
# falls on every command alike; appends to rows, per command, the run of
# median wall time and the walls of all runs.
run() { # SIZE ROUNDS
  local r name
  names=()
  runsOf=()
  for ((r = 1; r <= $2; r++)); do
    echo "bench-cli: $1 x $1, round $r of $2" >&2
    round "$1"
  done
  for name in "${names[@]}"; do
    rows+=("$name|$(echo "${runsOf[$name]}" | tr ';' '\n' | grep . | sort -t'|' -k1,1g |
      awk -F'|' -v n="$2" 'NR == int((n + 1) / 2) { median = $0 } { walls = walls (NR > 1 ? " / " : "") $1 }
                           END { print median "|" walls }')")
  done
}

table() { # SIZE FIRST_ROW: the rows from FIRST_ROW on, as Markdown
  local n="$1" first="$2" slope calc limit
  limit=$([ "$n" -gt 20000 ] && echo 1024 || echo 512)
  echo
  echo "### $n x $n Float32 ($(du -h "$data/dem-$n-2024.tif" | cut -f1) each input)"
  echo
  echo "| Run | Wall s | User s | System s | System / wall | Peak MB | Wall ratio | Peak <= $limit MB | Wall <= 1.0x | Walls of the runs |"
  echo "|---|---:|---:|---:|---:|---:|---:|---|---|---|"
  slope=$(echo "${rows[$first]}" | cut -d'|' -f2)
  calc=$(echo "${rows[$((first + 1))]}" | cut -d'|' -f2) # gdal_calc, when it ran
  for row in "${rows[@]:$first}"; do
    IFS='|' read -r name wall user sys mb walls <<<"$row"
    share=$(awk -v s="$sys" -v w="$wall" 'BEGIN { printf "%.0f %%", 100 * s / w }')
    case "$name" in
      rastrum\ calc*) peer=$calc; against="gdal_calc" ;;
      rastrum*) peer=$slope; against="gdaldem slope" ;;
      *) echo "| $name | $wall | $user | $sys | $share | $mb | | | | $walls |"; continue ;;
    esac
    ratio=$(awk -v a="$wall" -v b="$peer" 'BEGIN { printf "%.2f", a / b }')
    mem=$([ "$mb" -le "$limit" ] && echo yes || echo "no")
    fast=$(awk -v a="$wall" -v b="$peer" 'BEGIN { print (a <= b ? "yes" : "no") }') # unrounded
    echo "| $name | $wall | $user | $sys | $share | $mb | $ratio against $against | $mem | $fast | $walls |"
  done
}

report="bench/CLI.md"
{
  echo "# Command line against GDAL's tools"
  echo
  echo "\`scripts/bench-cli.sh\` on $(nproc) cores, $(date -u +%Y-%m-%d), GDAL $(gdal-config --version)."
  echo "Inputs are the demo's two surveys upsampled to tiled Float32 GeoTIFFs; rastrum runs with"
  echo "its defaults (fragments of 256, 256 MB bands, every core with workers that sleep while they"
  echo "wait, tiled output compressed with ZSTD level 1 and horizontal differencing on GDAL's"
  echo "threads) and once with uncompressed output, as gdaldem writes it;"
  echo "\`gdaldem\` and \`gdal_calc.py\` with theirs (default block cache). Measured with \`/usr/bin/time\`"
  echo "in $runs rounds at ${size}², each round running every command once (GDAL's tools first)"
  echo "after \`sync\`, so that no command pays for writing back the previous one's output;"
  echo "each row is the command's run of median wall time, with that run's user, system and peak"
  echo "(the 40000² table: one round), and the walls of all its runs, fastest first."
} >"$report.tmp"

terrain "$size" 2019 2024
run "$size" "$runs"
table "$size" 0 >>"$report.tmp"
rm -f "$data/dem-$size-"*.tif
if $big; then
  df -h "$data" >&2
  free=$(df --output=avail -B1G "$data" | tail -1)
  if [ "$free" -lt 20 ]; then
    echo "bench-cli: --big needs 20 GB free in $data, $free GB are" >&2
    exit 1
  fi
  first=${#rows[@]}
  terrain 40000 2024
  run 40000 1
  table 40000 "$first" >>"$report.tmp"
  rm -f "$data/dem-40000-"*.tif
fi
mv "$report.tmp" "$report"
echo "wrote $report" >&2
