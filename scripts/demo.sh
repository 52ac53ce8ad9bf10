#!/usr/bin/env bash
# Installs what is missing, builds, starts the simulated instrument on loopback and talks to it.
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
export BUILD_DIR="${BUILD_DIR:-$ROOT/build}"
"$ROOT/scripts/build.sh"

SIM="$BUILD_DIR/sim/ferrosim/ferrosim"
CTL="$BUILD_DIR/cli/ferroctl/ferroctl"
WORK="$(mktemp -d)"
SIM_PID=""
cleanup() {
  if [ -n "$SIM_PID" ]; then kill "$SIM_PID" 2>/dev/null || true; wait "$SIM_PID" 2>/dev/null || true; fi
  rm -rf "$WORK"
}
trap cleanup EXIT

echo "== ferrosim: a simulated instrument on loopback"
"$SIM" --root "$WORK/instrument" --port 0 > "$WORK/sim.out" 2> "$WORK/sim.log" &
SIM_PID=$!
PORT=""
for _ in $(seq 1 100); do
  PORT="$(sed -n 's/^listening on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$WORK/sim.out" | head -1)"
  [ -n "$PORT" ] && break
  kill -0 "$SIM_PID" 2>/dev/null || break
  sleep 0.1
done
if [ -z "$PORT" ]; then
  echo "ferrosim did not start:"; cat "$WORK/sim.log"; exit 1
fi
echo "ferrosim listens on 127.0.0.1:$PORT"

echo "== ferroctl identify over TCP"
"$CTL" --host 127.0.0.1 --port "$PORT" identify

if [ -n "${DISPLAY:-}" ] && [ -z "${CI:-}" ]; then
  echo "== marlinlite"
  "$BUILD_DIR/app/marlinlite/marlinlite" || true
else
  echo "(no display: marlinlite is not started)"
fi
