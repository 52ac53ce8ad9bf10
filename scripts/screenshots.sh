#!/usr/bin/env bash
# Starts ferrosim on loopback and marlinlite without a display, opens every registered view on the
# simulated instrument in turn and writes one PNG per view and page into DIR (default
# build/screenshots). A second instrument of firmware generation 1 (11 oscilloscope channels, other
# layouts) then shows the complete value table, its pictures named gen1_*.
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

kill "$SIM_PID" 2>/dev/null || true
wait "$SIM_PID" 2>/dev/null || true
rm -rf "$WORK/instrument"
start_sim "listening on " --generation 1 --history-days 0
if [ -z "$PORT" ]; then
  echo "ferrosim (generation 1) did not start:"; cat "$WORK/sim.out" "$WORK/sim.log"; exit 1
fi
QT_QPA_PLATFORM=offscreen timeout 300 "$GUI" --demo "127.0.0.1:$PORT" --screenshots "$OUT" \
  --views complete --prefix gen1_
echo "screenshots in $OUT"
