#!/usr/bin/env bash
# Starts ferrosim on loopback and marlinlite without a display, opens every registered view on the
# simulated instrument in turn and writes one PNG per view and page into DIR (default
# build/screenshots).
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
export BUILD_DIR="${BUILD_DIR:-$ROOT/build}"
OUT="$(realpath -m "${1:-$BUILD_DIR/screenshots}")"
"$ROOT/scripts/build.sh" --target marlinlite ferrosim

GUI="$BUILD_DIR/app/marlinlite/marlinlite"
# shellcheck source=scripts/sim-start.sh
. "$ROOT/scripts/sim-start.sh"
start_sim "listening on "
if [ -z "$PORT" ]; then
  echo "ferrosim did not start:"; cat "$WORK/sim.out" "$WORK/sim.log"; exit 1
fi
mkdir -p "$OUT"
QT_QPA_PLATFORM=offscreen timeout 600 "$GUI" --demo "127.0.0.1:$PORT" --screenshots "$OUT"
echo "screenshots in $OUT"
