#!/usr/bin/env bash
# Installs what is missing, builds, and runs the demo on generated terrain:
# every operation of rastrum, results, previews, a mesh and a summary table in
# one folder (build/demo-output unless a folder is given; further arguments go
# to `rastrum demo`, see `rastrum demo --help`).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset dev
cmake --build --preset dev --target rastrum-cli
folder="${1:-build/demo-output}"
build/dev/apps/rastrum/rastrum demo "$folder" --overwrite "${@:2}"
echo "Results in $folder"
