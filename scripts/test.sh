#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors and runs every test.
# Usage: scripts/test.sh [preset]   (default preset: dev; "sanitize" for ASan + UBSan)
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-dev}"

scripts/install-deps.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
# The Python package is built in every preset but the sanitized one.
if [ "$preset" != sanitize ]; then
  PYTHONPATH="build/$preset/python" RASTRUM_CLI="build/$preset/apps/rastrum/rastrum" \
    /usr/bin/python3 -m pytest -q -p no:cacheprovider tests/python
fi
