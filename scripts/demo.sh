#!/usr/bin/env bash
# Installs what is missing, builds, starts the simulated instrument on loopback (TCP, SSH and a
# serial line) and talks to it: marlinlite with a display, ferroctl on every transport without one.
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
export BUILD_DIR="${BUILD_DIR:-$ROOT/build}"
"$ROOT/scripts/build.sh"

CTL="$BUILD_DIR/cli/ferroctl/ferroctl"
GUI="$BUILD_DIR/app/marlinlite/marlinlite"
# shellcheck source=scripts/sim-start.sh
. "$ROOT/scripts/sim-start.sh"

echo "== ferrosim: a simulated instrument on loopback"
start_sim "serial on " --ssh-port 0 --serial
SSH_PORT="$(sed -n 's/^ssh on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$WORK/sim.out")"
PTY="$(sed -n 's/^serial on \(.*\)$/\1/p' "$WORK/sim.out")"
if [ -z "$PORT" ] || [ -z "$SSH_PORT" ] || [ -z "$PTY" ]; then
  echo "ferrosim did not start:"; cat "$WORK/sim.out" "$WORK/sim.log"; exit 1
fi
cat "$WORK/sim.out"

if [ -n "${DISPLAY:-}" ] && [ -z "${CI:-}" ] && [ -x "$GUI" ]; then
  echo "== marlinlite with the simulated instrument on TCP, SSH and the serial line"
  "$GUI" --demo "127.0.0.1:$PORT,ssh=$SSH_PORT,serial=$PTY" || true
  exit 0
fi

echo "(no display: marlinlite is not started; ferroctl talks to the instrument instead)"
echo "== identify over TCP"
"$CTL" --host 127.0.0.1 --port "$PORT" identify
echo "== identify over SSH (admin/admin; the new host key is accepted with --yes)"
"$CTL" --host 127.0.0.1 --port "$SSH_PORT" --ssh --user admin --password admin --yes \
  --ini-dir "$WORK/ini" identify
echo "== identify over the serial line $PTY"
"$CTL" --serial "$PTY" identify
echo "== Lua on the instrument"
"$CTL" --port "$PORT" lua 'print("Lua on the instrument: " .. _VERSION .. ", 6*7 = " .. 6*7)'
echo "== recordings on the instrument"
"$CTL" --port "$PORT" ls rec
echo "== events on the instrument"
"$CTL" --port "$PORT" ls evt
echo "== three live blocks of 1-second values (first columns)"
"$CTL" --port "$PORT" stream 1s --count 3 --csv | cut -d, -f1-12
LANG_DE="$WORK/instrument/flashdrive0/data/ccci/scratchpad/lang/lang_de.xml"
echo "== download of a 10-minute recording into $WORK/data (a second run finds it complete)"
# The simulator writes its history of recordings after it started; the 10-minute file comes first.
REC=""
for _ in $(seq 1 60); do
  REC="$("$CTL" --port "$PORT" ls rec | awk -F'\t' '$1 ~ /^sync\/10min-.*\.log$/ {print $1; exit}')"
  [ -n "$REC" ] && break
  sleep 0.5
done
if [ -n "$REC" ]; then
  "$CTL" --port "$PORT" --data-dir "$WORK/data" get rec "$REC"
  LOCAL="$(find "$WORK/data" -name "$(basename "$REC")" | head -n 1)"
  echo "== what the recording holds (the head of ferroctl show)"
  "$CTL" show "$LOCAL" --lang "$LANG_DE" > "$WORK/show.json"
  python3 -c 'import json,sys; d=json.load(open(sys.argv[1])); cols=d.pop("columns",[]); print(json.dumps(d,indent=1,ensure_ascii=False)); print("columns:", len(cols), "e.g.", ", ".join(c["name"] for c in cols[1:6]))' "$WORK/show.json"
  echo "== the recording as CSV (first three lines, first columns)"
  "$CTL" export "$LOCAL" --lang "$LANG_DE" --csv "$WORK/rec.csv"
  head -n 3 "$WORK/rec.csv" | cut -d, -f1-6
  echo "== EN 50160 report of the recording as PDF"
  "$CTL" report "$LOCAL" --pdf "$WORK/report.pdf"
  ls -l "$WORK/report.pdf" | awk '{print $5, "Bytes:", $NF}'
fi
echo "== setup read into $WORK/setup.xml"
"$CTL" --port "$PORT" setup-get "$WORK/setup.xml"
head -c 400 "$WORK/setup.xml"; echo
echo "== parameters of the basic view (first lines of ferroctl params --level 0)"
"$CTL" --port "$PORT" params --level 0 --lang "$LANG_DE" > "$WORK/params.txt"
head -n 8 "$WORK/params.txt"
echo "== one value changed and sent, then the setups compared"
"$CTL" --port "$PORT" param-set 235667456=110 --send
"$CTL" --port "$PORT" setup-get "$WORK/setup-after.xml"
"$CTL" setup-diff "$WORK/setup.xml" "$WORK/setup-after.xml" --lang "$LANG_DE" || true
echo "== demo done"
