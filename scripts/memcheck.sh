#!/usr/bin/env bash
# Runs every test binary of a build (default build/default) under valgrind's
# memcheck: any error or leak fails. Tests named *Exhaustive* or *Heavy* (the
# exhaustive sweeps over millions of values) are left out: under valgrind they
# take many minutes, and the sanitizer builds run them in full.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/default}
filter=${MEMCHECK_FILTER:--*Exhaustive*:*Heavy*}

failed=0
for bin in "$build"/tests/lxbase_*_test; do
  name=$(basename "$bin")
  log=$(mktemp)
  if GTEST_FILTER="$filter" valgrind --tool=memcheck --error-exitcode=99 --leak-check=full \
       --errors-for-leak-kinds=definite,indirect --show-leak-kinds=definite,indirect \
       --track-origins=yes --quiet "$bin" --gtest_brief=1 >"$log" 2>&1; then
    echo "memcheck $name: clean ($(grep -o '[0-9]* tests\? from [0-9]* test suites\? ran' "$log" | head -1))"
  else
    echo "memcheck $name: FAILED"; tail -n 60 "$log"; failed=1
  fi
  rm -f "$log"
done
exit $failed
