#!/usr/bin/env bash
# Builds the whole project with clang under AddressSanitizer and UndefinedBehaviorSanitizer into
# ${ASAN_DIR:-build-asan} and runs the tests there; extra arguments go to ctest (e.g. -L link).
# Any report of any process (tests and the programs they start) fails the run.
# TARGETS="test_link test_gui" builds only those (and what they need).
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
ASAN_DIR="${ASAN_DIR:-$ROOT/build-asan}"
"$ROOT/scripts/install-deps.sh" clang
# -O1: the simulator computes days of recordings at its start, which unoptimised code does not
# finish within the tests' bounds. The relative paths let ccache share objects between clones.
export CCACHE_BASEDIR="$ROOT" CCACHE_NOHASHDIR=1
if [ ! -f "$ASAN_DIR/CMakeCache.txt" ]; then
  cmake -S "$ROOT" -B "$ASAN_DIR" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang
fi
cmake "$ASAN_DIR" -DFERRO_BUILD_BENCH=OFF -DFERRO_BUILD_FUZZ=OFF -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" \
  -DCMAKE_CXX_FLAGS="-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined" \
  -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" >/dev/null
if [ -n "${TARGETS:-}" ]; then
  # shellcheck disable=SC2086
  cmake --build "$ASAN_DIR" -j"${JOBS:-2}" --target ${TARGETS} ferrosim ferroctl
else
  cmake --build "$ASAN_DIR" -j"${JOBS:-2}"
fi
export QT_QPA_PLATFORM=offscreen
# Every process writes its reports to a file of its own here (tests, ferrosim, ferroctl), so a
# report of a child that the test never looks at is not lost.
REPORTS="$ASAN_DIR/sanitizer-reports"
rm -rf "$REPORTS"
mkdir -p "$REPORTS"
# Qt and the system libraries keep a few allocations until exit; those are theirs, not ours.
export LSAN_OPTIONS="suppressions=$ROOT/scripts/lsan.supp:print_suppressions=0"
export ASAN_OPTIONS="abort_on_error=0:detect_stack_use_after_return=1:log_path=$REPORTS/asan"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:log_path=$REPORTS/ubsan"
cd "$ASAN_DIR"
rc=0
# A test that misses one of its time bounds in the slower build gets a second try; a sanitizer
# report of either try still fails the run below.
ctest --output-on-failure -j"${JOBS:-2}" --timeout 600 --repeat until-pass:2 "$@" || rc=$?
if compgen -G "$REPORTS/*" >/dev/null; then
  for f in "$REPORTS"/*; do
    echo "==== $f"
    cat "$f"
  done
  echo "sanitize: $(ls "$REPORTS" | wc -l) report(s), see above"
  exit 1
fi
exit "$rc"
