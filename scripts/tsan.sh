#!/usr/bin/env bash
# Builds the project with clang under ThreadSanitizer into ${TSAN_DIR:-build-tsan} and runs the
# link and e2e tests there (other labels with -L). Qt is not built with ThreadSanitizer, so its own
# atomics are invisible and its queued calls look like races: scripts/tsan.supp silences Qt's
# internals only. Any other report, of any process, fails the run. Run it before resolving an issue
# that touches threads. TARGETS="test_link" builds only those (and the programs they start).
# ThreadSanitizer stops in its own fork handling when QProcess starts a process ("CHECK failed" in
# ForkAfter, with clang 14 and 16 alike), so the tests start ferrosim and ferroctl, and ferrosim
# its FTP server, through posix_spawn (src/foundation/ChildProcess.h). Built with clang 16
# (Debian 12's clang-16 and libclang-rt-16-dev, installed here); clang when it is missing.
set -euo pipefail
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
TSAN_DIR="${TSAN_DIR:-$ROOT/build-tsan}"
"$ROOT/scripts/install-deps.sh" clang clang-16 libclang-rt-16-dev
CC_TSAN=clang
CXX_TSAN=clang++
if command -v clang++-16 >/dev/null; then
  CC_TSAN=clang-16
  CXX_TSAN=clang++-16
fi
if [ ! -f "$TSAN_DIR/CMakeCache.txt" ]; then
  cmake -S "$ROOT" -B "$TSAN_DIR" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER="$CXX_TSAN" -DCMAKE_C_COMPILER="$CC_TSAN" \
    -DCMAKE_CXX_FLAGS="-fsanitize=thread -fno-omit-frame-pointer -O1" \
    -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=thread"
fi
if [ -n "${TARGETS:-}" ]; then
  # shellcheck disable=SC2086
  cmake --build "$TSAN_DIR" -j"${JOBS:-2}" --target ${TARGETS} ferrosim ferroctl
else
  cmake --build "$TSAN_DIR" -j"${JOBS:-2}"
fi
export QT_QPA_PLATFORM=offscreen
REPORTS="$TSAN_DIR/tsan-reports"
rm -rf "$REPORTS"
mkdir -p "$REPORTS"
export TSAN_OPTIONS="suppressions=$ROOT/scripts/tsan.supp:second_deadlock_stack=1:log_path=$REPORTS/tsan"
cd "$TSAN_DIR"
rc=0
if [ $# -eq 0 ]; then set -- -L "link|e2e"; fi
ctest --output-on-failure -j"${JOBS:-2}" --timeout 900 "$@" || rc=$?
if compgen -G "$REPORTS/*" >/dev/null; then
  for f in "$REPORTS"/*; do
    echo "==== $f"
    cat "$f"
  done
  echo "tsan: $(cat "$REPORTS"/* | grep -c '^WARNING: ThreadSanitizer') report(s), see above"
  exit 1
fi
exit "$rc"
