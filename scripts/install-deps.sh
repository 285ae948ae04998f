#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need. Safe to run again:
# packages already present are left alone and apt is not touched at all then.
set -euo pipefail

packages=(
  build-essential
  cmake
  ninja-build
  libgtest-dev
  libgmock-dev
  libbenchmark-dev
  libcgal-dev
  binutils
  libgdal-dev
  gdal-bin
  libcli11-dev
  libassimp-dev
  libopencv-imgproc-dev
  libopencv-core-dev
  python3-meshio
  # The Python package, its tests, example and benchmark (Debian's /usr/bin/python3)
  pybind11-dev
  python3-dev
  python3-pybind11
  python3-numpy
  python3-xarray
  python3-rioxarray
  python3-dask
  python3-distributed
  python3-pytest
  python3-matplotlib
  python3-scipy
  python3-opencv
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
