#!/usr/bin/env bash
# Configure and build into ${BUILD_DIR:-build}. Shared by demo.sh and test.sh.
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD_DIR="${BUILD_DIR:-$ROOT/build}"
# Paths relative to the clone: a second clone of the same tree (CI's) finds its objects in ccache.
export CCACHE_BASEDIR="$ROOT" CCACHE_NOHASHDIR=1
"$ROOT/scripts/install-deps.sh"
GEN=()
if command -v ninja >/dev/null 2>&1; then GEN=(-G Ninja); fi
if [ ! -f "$BUILD_DIR/CMakeCache.txt" ]; then
  cmake -S "$ROOT" -B "$BUILD_DIR" "${GEN[@]}" -DCMAKE_BUILD_TYPE=RelWithDebInfo
fi
cmake --build "$BUILD_DIR" -j"${JOBS:-2}" "$@"
