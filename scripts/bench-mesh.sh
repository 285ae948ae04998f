#!/usr/bin/env bash
# Mesh benchmark, rendered to bench/mesh.md in one run (not part of CI):
# simplified triangle counts and times on fuji.png against @mapbox/martini
# (under Node, installed into bench/martini/node_modules), peak memory of a
# simplified 10000² surface and of a full-resolution 5000² PLY. Run it on an
# otherwise idle machine.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
fuji=${FUJI:-$root/../shared/data/fuji.png}
rastrum=build/bench/apps/rastrum/rastrum
timing=build/bench/bench/rastrum-mesh-timing
work=build/bench-mesh
mkdir -p "$work"
cgal=build/bench/bench/rastrum-cgal-timing
cmake --preset bench >/dev/null && cmake --build --preset bench --target rastrum-cli rastrum-mesh-timing rastrum-cgal-timing >/dev/null
[ -d bench/martini/node_modules/@mapbox/martini ] || (cd bench/martini && npm install --no-audit --no-fund >/dev/null)
# Run the whole script under /work/bin/bench-lock (or alone): it takes no lock of its own.
heavy() { "$@"; }

# Big rasters: fuji's heights resampled to 5000² and 10000² (cubic spline).
if [ ! -f "$work/fuji10000.tif" ]; then
  gdal_calc.py --quiet -A "$fuji" --A_band=1 -B "$fuji" --B_band=2 -C "$fuji" --C_band=3 --type=Float32 \
    --calc="-10000+(A*65536.0+B*256.0+C)*0.1" --outfile="$work/fuji.tif" --overwrite >/dev/null
  gdal_translate -q -r cubicspline -outsize 5000 5000 -co TILED=YES "$work/fuji.tif" "$work/fuji5000.tif"
  gdal_translate -q -r cubicspline -outsize 10000 10000 -co TILED=YES -co BIGTIFF=YES "$work/fuji.tif" "$work/fuji10000.tif"
fi

faces() { head -c 2000 "$1" | grep -a '^element face' | cut -d' ' -f3; }
# Best wall time of three runs, in ms.
best_ms() {
  local best=999999999
  for _ in 1 2 3; do
    local t0 t1
    t0=$(date +%s%N); "$@" >/dev/null; t1=$(date +%s%N)
    best=$(( (t1 - t0) / 1000000 < best ? (t1 - t0) / 1000000 : best ))
  done
  echo "$best"
}
peak_mb() { /usr/bin/time -f %M "$@" 2>&1 >/dev/null | tail -1 | awk '{printf "%d", $1 / 1024}'; }

martini=$(cd bench/martini && heavy node run.mjs "$fuji" 5 10 50)
inprocess=$(heavy "$timing" "$fuji" 5 10 50)
library=$(heavy "$cgal" "$fuji" 5 10 50)
# What every run pays before any work: the process start with GDAL and its libraries loaded.
start_ms=$(heavy bash -c "$(declare -f best_ms); best_ms $rastrum --version")
rows=""
library_rows=""
for e in 5 10 50; do
  build_ms=$(awk -v e="$e" '$1 == e {print $3}' <<<"$inprocess")
  ms=$(heavy bash -c "$(declare -f best_ms); best_ms $rastrum mesh --terrain-rgb $fuji $work/fuji-$e.ply --max-error $e --overwrite -q")
  ours=$(faces "$work/fuji-$e.ply")
  read -r theirs their_ms < <(node -e "const r=JSON.parse(process.argv[1])['$e']; console.log(r.triangles, r.ms.toFixed(1))" "$martini")
  ratio=$(awk -v a="$ours" -v b="$theirs" 'BEGIN{printf "%.2f", a/b}')
  time_ratio=$(awk -v a="$ms" -v b="$their_ms" 'BEGIN{printf "%.1f", a/b}')
  build_ratio=$(awk -v a="$build_ms" -v b="$their_ms" 'BEGIN{printf "%.2f", a/b}')
  # judged on the figures themselves, not on the rounded ratios
  count_met=$(awk -v a="$ours" -v b="$theirs" 'BEGIN{print (a <= 0.6 * b) ? "met" : "not met"}')
  build_met=$(awk -v a="$build_ms" -v b="$their_ms" 'BEGIN{print (a <= b) ? "met" : "not met"}')
  rows+="| $e | $ours | $theirs | $ratio ($count_met) | $build_ms | $ms | $their_ms | $build_ratio ($build_met) | $time_ratio |"$'\n'
  read -r vertices library_ms < <(awk -v e="$e" '$1 == e {print $2, $3}' <<<"$library")
  library_rows+="| $e | $vertices | $library_ms | $build_ms | $their_ms |"$'\n'
done

simplified_mb=$(heavy bash -c "$(declare -f peak_mb); peak_mb $rastrum mesh $work/fuji10000.tif $work/big.ply --max-error 1 --overwrite -q")
simplified_faces=$(faces "$work/big.ply")
full_mb=$(heavy bash -c "$(declare -f peak_mb); peak_mb $rastrum mesh $work/fuji5000.tif $work/full.ply --overwrite -q")
full_faces=$(faces "$work/full.ply")
full_bytes=$(stat -c %s "$work/full.ply")
rm -f "$work/big.ply" "$work/full.ply"

# The hand-written notes below the tables stay.
notes=$(sed -n '/^## Notes/,$p' bench/mesh.md 2>/dev/null || true)
{
  echo "# Mesh benchmark"
  echo
  echo "Written by \`scripts/bench-mesh.sh\` on $(date -u +%Y-%m-%d), $(nproc) cores, in one run."
  echo
  echo "## Simplified surfaces of fuji.png (512², terrain-RGB) against @mapbox/martini"
  echo
  echo "Ours, Release build: refinement plus extraction of vertices, normals and triangles in process,"
  echo "the two parts either side of a column near the middle, split to take about equal work, on two"
  echo "threads (Martini runs on one)"
  echo "(\`bench/mesh_timing.cpp\`, best of 7, the like-for-like figure), and the wall time of the whole"
  echo "\`rastrum mesh --terrain-rgb fuji.png out.ply --max-error E\` (process start, GDAL, reading the"
  echo "PNG, refining, writing the PLY), best of 3. Martini: tile build plus mesh extraction in Node on"
  echo "the 513² grid it needs (last row and column repeated), best of 7, without reading or writing."
  echo "Targets: triangles at most 0.6x Martini's, in-process time at most Martini's."
  echo "Of the whole command, \`rastrum --version\` (process start, loading GDAL and its libraries) takes ${start_ms} ms."
  echo
  echo "| E (m) | our triangles | Martini's | ratio | our ms in process | our ms whole command | Martini ms | time ratio in process | whole command |"
  echo "|---|---|---|---|---|---|---|---|---|"
  printf "%s" "$rows"
  echo
  echo "## Memory"
  echo
  echo "Rasters: fuji's heights resampled (cubic spline) to 10000² and 5000² Float32 GeoTIFF."
  echo
  echo "| Run | triangles | peak memory | target |"
  echo "|---|---|---|---|"
  echo "| 10000², \`--max-error 1\` | $simplified_faces | ${simplified_mb} MB | <= 2048 MB: $( [ "$simplified_mb" -le 2048 ] && echo met || echo not met) |"
  echo "| 5000² full resolution to PLY ($((full_bytes / 1000000)) MB) | $full_faces | ${full_mb} MB | <= 1024 MB: $( [ "$full_mb" -le 1024 ] && echo met || echo not met) |"
  echo
  echo "## A library's Delaunay triangulation"
  echo
  echo "CGAL's \`Delaunay_triangulation_2\` (exact predicates), built on one thread from the finished"
  echo "surface's vertices at once (spatially sorted), without the refinement's incremental insertions,"
  echo "scans and thinning around it (\`bench/cgal_delaunay_timing.cpp\`, best of 7)."
  echo
  echo "| E (m) | vertices | CGAL's triangulation alone, ms | our whole surface in process, ms | Martini ms |"
  echo "|---|---|---|---|---|"
  printf "%s" "$library_rows"
  if [ -n "$notes" ]; then
    echo
    printf "%s\n" "$notes"
  fi
} > bench/mesh.md
cat bench/mesh.md
