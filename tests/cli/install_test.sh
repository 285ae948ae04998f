#!/bin/sh
# Installs the build into a fresh prefix, then, from outside the build tree,
# runs the installed rastrum (its libraries found through the relative RPATH)
# and configures a project that finds the installed CMake package.
set -eu
build="$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
mv "$work/prefix" "$work/moved" # the prefix can move
cd "$work"
rastrum="$work/moved/bin/rastrum"
ldd "$rastrum" | grep -q "librastrum.so => $work/moved/bin/../lib/librastrum.so"
gdal_create -ot Float32 -outsize 40 30 -burn 7 dem.tif >/dev/null
"$rastrum" sobel dem.tif gradient.tif -q
gdalinfo -stats gradient.tif | grep -q "STATISTICS_MAXIMUM=0"
mkdir consumer
cat >consumer/CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES CXX)
find_package(Rastrum CONFIG REQUIRED)
get_target_property(includes Rastrum::rastrum INTERFACE_INCLUDE_DIRECTORIES)
list(GET includes 0 include)
if(NOT EXISTS "${include}/Rastrum.hpp" OR NOT EXISTS "${include}/Velum/Bundle.hpp")
  message(FATAL_ERROR "the public header is not where the package says: ${includes}")
endif()
CMAKE
cmake -S consumer -B consumer/build -DCMAKE_PREFIX_PATH="$work/moved" >/dev/null
echo "installed rastrum runs from $work/moved"
