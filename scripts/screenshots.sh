#!/usr/bin/env bash
# Starts ferrosim on loopback and marlinlite without a display, opens every registered view on the
# simulated instrument in turn and writes one PNG per view and page into DIR (default
# build/screenshots).
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
export BUILD_DIR="${BUILD_DIR:-$ROOT/build}"
OUT="$(realpath -m "${1:-$BUILD_DIR/screenshots}")"
"$ROOT/scripts/build.sh" --target marlinlite ferrosim

SIM="$BUILD_DIR/sim/ferrosim/ferrosim"
GUI="$BUILD_DIR/app/marlinlite/marlinlite"
WORK="$(mktemp -d)"
SIM_PID=""
cleanup() {
  if [ -n "$SIM_PID" ]; then kill "$SIM_PID" 2>/dev/null || true; wait "$SIM_PID" 2>/dev/null || true; fi
  rm -rf "$WORK"
}
trap cleanup EXIT

"$SIM" --root "$WORK/instrument" --port 0 > "$WORK/sim.out" 2> "$WORK/sim.log" &
SIM_PID=$!
for _ in $(seq 1 100); do
  grep -q '^listening on ' "$WORK/sim.out" 2>/dev/null && break
  kill -0 "$SIM_PID" 2>/dev/null || break
  sleep 0.1
done
PORT="$(sed -n 's/^listening on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$WORK/sim.out")"
if [ -z "$PORT" ]; then
  echo "ferrosim did not start:"; cat "$WORK/sim.out" "$WORK/sim.log"; exit 1
fi
mkdir -p "$OUT"
QT_QPA_PLATFORM=offscreen timeout 600 "$GUI" --demo "127.0.0.1:$PORT" --screenshots "$OUT"
echo "screenshots in $OUT"
