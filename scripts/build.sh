#!/usr/bin/env bash
# Configures (once) and builds incrementally into ./build.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR="${KW_BUILD_DIR:-build}"
if [ ! -f "$BUILD_DIR/CMakeCache.txt" ]; then
  cmake -S . -B "$BUILD_DIR" -DCMAKE_BUILD_TYPE="${KW_BUILD_TYPE:-RelWithDebInfo}" ${KW_CMAKE_ARGS:-}
fi
cmake --build "$BUILD_DIR" -j "$(nproc)"
