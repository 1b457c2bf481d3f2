#!/usr/bin/env bash
# Runs every libFuzzer target built by the `fuzz` preset for a bounded time
# (first argument, seconds per target, default 30) over its seed corpus in
# fuzz/corpus/<name>. A crash, leak, timeout or sanitizer report fails.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
build=build/fuzz/fuzz
[ -d "$build" ] || { echo "no fuzz build: run 'cmake --workflow --preset fuzz' first" >&2; exit 1; }

failed=0
for bin in "$build"/lxbase_*_fuzz; do
  name=$(basename "$bin"); name=${name#lxbase_}; name=${name%_fuzz}
  work=$(mktemp -d)
  mkdir -p "$work/corpus"
  seeds=fuzz/corpus/$name
  [ -d "$seeds" ] || seeds=
  # Large records make IOHeader allocate (lazily mapped) blocks of up to 4 GiB,
  # which is the documented behaviour, hence the malloc limit above the RSS limit.
  if (cd "$work" && ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 \
        "$OLDPWD/$bin" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2560 \
        -malloc_limit_mb=8192 -print_final_stats=1 corpus ${seeds:+"$OLDPWD/$seeds"} \
        >log 2>&1); then
    runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$work/log" | grep -o '[0-9]*$' || echo '?')
    echo "fuzz $name: ok, $runs runs in ${seconds} s"
  else
    echo "fuzz $name: FAILED"; tail -n 40 "$work/log"; failed=1
  fi
  rm -rf "$work"
done
exit $failed
