#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
export BUILD_DIR="${BUILD_DIR:-$ROOT/build}"
"$ROOT/scripts/build.sh"
export QT_QPA_PLATFORM=offscreen
cd "$BUILD_DIR"
ctest --output-on-failure -j2 --timeout 300 "$@"
