# Sourced by demo.sh and screenshots.sh: start_sim WAIT_LINE ARGS... starts ferrosim on loopback in
# a scratch folder ($WORK), waits until its output shows WAIT_LINE (bounded), and sets PORT; the
# simulator is stopped and the folder removed when the script ends.
SIM="$BUILD_DIR/sim/ferrosim/ferrosim"
WORK="$(mktemp -d)"
SIM_PID=""
cleanup() {
  if [ -n "$SIM_PID" ]; then kill "$SIM_PID" 2>/dev/null || true; wait "$SIM_PID" 2>/dev/null || true; fi
  rm -rf "$WORK"
}
trap cleanup EXIT

start_sim() {
  local wait_line="$1"
  shift
  "$SIM" --root "$WORK/instrument" --port 0 "$@" > "$WORK/sim.out" 2> "$WORK/sim.log" &
  SIM_PID=$!
  for _ in $(seq 1 100); do
    grep -q "^$wait_line" "$WORK/sim.out" 2>/dev/null && break
    kill -0 "$SIM_PID" 2>/dev/null || break
    sleep 0.1
  done
  PORT="$(sed -n 's/^listening on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$WORK/sim.out")"
}
