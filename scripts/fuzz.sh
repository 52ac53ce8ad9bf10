#!/usr/bin/env bash
# Runs every libFuzzer harness of fuzz/ for SECONDS each (default 60), two at a time (FUZZ_JOBS),
# built in ${BUILD_DIR:-build}
# (clang needed). Each starts from its committed seeds (fuzz/corpus/<harness>/, if any) in a scratch
# copy, so that what it finds never lands in the tree; a crash, a leak or a time-out fails the run
# and leaves its input in the scratch folder, whose path is printed.
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
SECONDS_EACH="${1:-60}"
BUILD_DIR="${BUILD_DIR:-$ROOT/build}"
"$ROOT/scripts/install-deps.sh" clang
if [ ! -f "$BUILD_DIR/CMakeCache.txt" ]; then "$ROOT/scripts/build.sh"; fi
HARNESSES=()
for src in "$ROOT"/fuzz/fuzz_*.cpp; do HARNESSES+=("$(basename "$src" .cpp)"); done
# shellcheck disable=SC2046
cmake --build "$BUILD_DIR" -j"${JOBS:-2}" --target $(printf '%s_harness ' "${HARNESSES[@]}")
SCRATCH="$(mktemp -d "${TMPDIR:-/tmp}/ferro-fuzz.XXXXXX")"
# One harness per core at a time: each libFuzzer run is a single thread.
PARALLEL="${FUZZ_JOBS:-${JOBS:-2}}"
run_one() {
  local h="$1" corpus="$SCRATCH/$1/corpus"
  mkdir -p "$corpus"
  if [ -d "$ROOT/fuzz/corpus/$h" ]; then cp -r "$ROOT/fuzz/corpus/$h/." "$corpus/"; fi
  # Run inside the scratch folder: whatever a harness writes stays there.
  if (cd "$SCRATCH/$h" && "$BUILD_DIR/fuzz/$h" -max_total_time="$SECONDS_EACH" -max_len=65536 \
        -timeout=25 -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$SCRATCH/$h/" \
        "$corpus" >"$SCRATCH/$h/log" 2>&1); then
    echo ok >"$SCRATCH/$h/result"
  else
    echo failed >"$SCRATCH/$h/result"
  fi
}
running=0
for h in "${HARNESSES[@]}"; do
  echo "fuzz: $h for ${SECONDS_EACH} s"
  run_one "$h" &
  running=$((running + 1))
  if [ "$running" -ge "$PARALLEL" ]; then
    wait -n || true
    running=$((running - 1))
  fi
done
wait
failed=()
for h in "${HARNESSES[@]}"; do
  if [ "$(cat "$SCRATCH/$h/result" 2>/dev/null)" != ok ]; then
    failed+=("$h")
    echo "fuzz: $h FAILED:"
    tail -n 60 "$SCRATCH/$h/log"
  else
    echo "fuzz: $h: $(grep -E "stat::number_of_executed_units|stat::new_units_added" "$SCRATCH/$h/log" | tr '\n' ' ')"
  fi
done
if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz: FAILED: ${failed[*]} (inputs and logs in $SCRATCH)"
  exit 1
fi
rm -rf "$SCRATCH"
echo "fuzz: ${#HARNESSES[@]} harnesses without a finding"
