#!/usr/bin/env bash
# Fuzzes the raster readers and the command line with libFuzzer under ASan and
# UBSan for a bounded time (not part of CI). The corpus grows in build/fuzz/corpus
# across runs; findings are written to build/fuzz/findings.
# Usage: scripts/fuzz.sh [seconds] [readers|command_line]
#   (default 600 seconds, shared between both targets unless one is named)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-600}"
only="${2:-}"
data="$(pwd)/../shared/data"

scripts/install-deps.sh
packages=(clang libfuzzer-14-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

build=build/fuzz
CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DRASTRUM_SANITIZE=ON -DRASTRUM_BUILD_FUZZERS=ON -DRASTRUM_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target fuzz_readers fuzz_command_line

# Seeds: small windows of the shared elevation samples, or generated rasters
# when they are absent.
# Absolute paths: the command line target works in a scratch folder of its own.
inputs="$(pwd)/$build/inputs"
corpus="$(pwd)/$build/corpus"
findings="$(pwd)/$build/findings"
mkdir -p "$inputs" "$corpus/readers" "$corpus/command_line" "$findings"
crop() { gdal_translate -q -srcwin "$2" "$3" 24 16 "${@:5}" "$1" "$4"; }
if [ -f "$data/hugo_site.asc" ]; then
  crop "$data/hugo_site.asc" 0 0 "$inputs/dem.tif" -ot Float32
  crop "$data/fuji.png" 200 200 "$inputs/rgb.tif"
  crop "$data/west_bijou_gully.asc" 10 40 "$inputs/bijou.asc" -of AAIGrid
else
  gdal_create -q -outsize 24 16 -ot Float32 -burn 100 -a_srs EPSG:32613 -a_ullr 0 16 24 0 "$inputs/dem.tif"
  gdal_create -q -outsize 24 16 -bands 3 -burn 1 "$inputs/rgb.tif"
  gdal_translate -q -of AAIGrid "$inputs/dem.tif" "$inputs/bijou.asc"
fi
gdal_translate -q -scale 0 1000 5 1005 "$inputs/dem.tif" "$inputs/dem2.tif"
gdal_translate -q -ot Byte -scale 500 1500 0 4 -a_nodata none "$inputs/dem.tif" "$inputs/codes.tif"
gdal_translate -q -ot UInt16 -scale 0 1000 0 2 -a_nodata none -b 1 -b 1 -b 1 "$inputs/dem.tif" "$inputs/volume.tif"
rm -f "$inputs"/*.aux.xml "$inputs"/*.prj

# A reader seed is one byte of options (bit 0 terrain-RGB, bits 1-2 band - 1,
# bit 3 the file's own codes as cell types) and the file.
for file in "$inputs"/*; do
  for option in 0 1 8; do
    { printf "\\x0$option"; cat "$file"; } > "$corpus/readers/$(basename "$file").$option"
  done
done
# A command line seed is one argument per line.
seed() { printf '%s\n' "$@" > "$corpus/command_line/seed-$1-$(printf '%s' "$*" | md5sum | cut -c1-8)"; }
seed info @DEM --fragment-size 8 --overlap 2
seed sobel @DEM out.tif --fragment-size 8 --overlap 2 --slope 30
seed smooth @DEM out.asc --window 5 --gaussian --sigma-spatial 2
seed smooth @DEM out.tif --window 7 --sigma-range 0.5 --cell-types @CODES
seed calc subtract @DEM @DEM2 out.tif --preview p.png
seed overwrite @DEM codes.tif --range -500:1500 --value 2 --invert
seed iso @VOL density.tif --fragment-size 4
seed mesh @DEM surface.gltf --preview p.png --fragment-size 5
seed sobel @RGB grad.tif --terrain-rgb --log run.log
seed mask @DEM mask.bil -of ENVI --overwrite
seed mask @DEM -q --log run.log out.asc

common=(-rss_limit_mb=2048 -timeout=20 -max_len=4096 -close_fd_mask=3 -print_final_stats=1)
half=$(( seconds / 2 ))
case "$only" in
  readers) half=$seconds ;;
  command_line) half=0 ;;
esac
if [ "$half" -gt 0 ]; then
  "$build/fuzz/fuzz_readers" "${common[@]}" -max_total_time="$half" \
    -artifact_prefix="$findings/readers-" "$corpus/readers"
fi
if [ "$half" -lt "$seconds" ]; then
  RASTRUM_FUZZ_INPUTS="$inputs" "$build/fuzz/fuzz_command_line" "${common[@]}" \
    -max_total_time="$(( seconds - half ))" -artifact_prefix="$findings/command_line-" "$corpus/command_line"
fi
