#!/usr/bin/env bash
# Installs what is missing, builds, and runs the demo on generated terrain.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset dev
cmake --build --preset dev --target rastrum-demo
build/dev/apps/demo/rastrum-demo "$@"
