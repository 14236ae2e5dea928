#!/usr/bin/env bash
# Runs every Windows test program of a cross build under Wine, in a private Wine prefix inside the
# build tree and under Xvfb (the window tests need a display). Prints each program's result and a
# closing "N passed, N failed" line; exits non-zero when any test failed or a program crashed.
set -uo pipefail
build=${1:?usage: run-wine-tests.sh BUILD_DIR [gtest filter]}
filter=${2:-*}
bin="$build/bin"
export WINEPREFIX="$(cd "$build" && pwd)/wineprefix"
export WINEDEBUG=-all
# No Mono, no Gecko, and no debugger: a crashing test program must end, not wait in winedbg.
export WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe=d"
# A test program that runs longer than this is stopped and counted as failed.
per_program_limit=${KVDUTU_WINE_TEST_TIMEOUT:-900}
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  echo "run-wine-tests: preparing a Wine prefix in $WINEPREFIX"
  wineboot --init >/dev/null 2>&1
  wineserver -w
fi

passed=0; failed=0; broken=0
logdir="$build/wine-logs"; mkdir -p "$logdir"
for exe in "$bin"/kvdutu_*_tests.exe; do
  [ -e "$exe" ] || continue
  name=$(basename "$exe" .exe)
  log="$logdir/$name.log"
  timeout -k 10 "$per_program_limit" xvfb-run -a -s "-screen 0 1280x1024x24" \
    wine "$exe" --gtest_filter="$filter" --gtest_color=no >"$log" 2>&1
  rc=$?
  if [ $rc -eq 124 ] || [ $rc -eq 137 ]; then
    echo "$name: stopped after ${per_program_limit} s"
    wineserver -k 2>/dev/null || true
  fi
  p=$(grep -E '^\[  PASSED  \] [0-9]+ test' "$log" | grep -oE '[0-9]+' | head -1)
  f=$(grep -E '^\[  FAILED  \] [0-9]+ test' "$log" | grep -oE '[0-9]+' | head -1)
  p=${p:-0}; f=${f:-0}
  passed=$((passed + p)); failed=$((failed + f))
  if [ $rc -ne 0 ] && [ "$f" -eq 0 ]; then
    broken=$((broken + 1)); failed=$((failed + 1))
    echo "$name: exited with $rc before finishing; last lines:"; tail -20 "$log"
  elif [ "$f" -ne 0 ]; then
    echo "$name: $p passed, $f failed"; grep -E '^\[  FAILED  \]|Failure' "$log" | head -40
  else
    echo "$name: $p passed"
  fi
done
wineserver -k 2>/dev/null || true
echo "wine: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
