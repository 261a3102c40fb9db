#!/usr/bin/env bash
# Runs every built libFuzzer target for FUZZ_SECONDS on a scratch copy of its
# seed corpus (the seeds in the tree stay as they are), FUZZ_JOBS targets at a
# time. The readers of bytes that come from outside the process (CAT
# archives, wrapped message text, terminal input) must also reach a floor of
# executions: when the timed run falls short, the target goes on with the
# corpus it grew until the floor is reached. A summary line per target at the
# end; the exit status is 1 if any target had a finding.
set -uo pipefail
build=${1:-build/fuzz}
seconds=${FUZZ_SECONDS:-600}
floor=${FUZZ_MIN_RUNS:-10000000}
jobs=${FUZZ_JOBS:-1}
declare -A floors=([fuzz_cat_reader]=$floor [fuzz_print_wrapped]=$floor [fuzz_key_decoder]=$floor)
logs=$build/logs
mkdir -p "$logs"

executed() { grep -o 'stat::number_of_executed_units: [0-9]*' "$1" | awk '{s += $2} END {print s + 0}'; }

# One target: the timed run, then the rest of its floor; the verdict goes to
# $logs/NAME.result.
run_target() {
  local f=$1 name work log want runs start
  name=$(basename "$f"); work=$build/corpus/$name; log=$logs/$name.log
  mkdir -p "$work"; : > "$log"
  start=$(date +%s)
  want=${floors[$name]:-0}
  # Each run gets its own crash-file prefix so that parallel targets do not mix.
  "$f" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$logs/$name-" \
      "$work" "fuzz/corpus/$name" >> "$log" 2>&1
  runs=$(executed "$log")
  if [ "$runs" -lt "$want" ] && ! grep -q '^==[0-9]*==ERROR\|^SUMMARY' "$log"; then
    "$f" -runs=$((want - runs)) -print_final_stats=1 -artifact_prefix="$logs/$name-" "$work" >> "$log" 2>&1
    runs=$(executed "$log")
  fi
  if grep -qE 'ERROR: (libFuzzer|AddressSanitizer|LeakSanitizer|UndefinedBehaviorSanitizer)|runtime error:|^SUMMARY' "$log"; then
    echo "$name: FINDING after $runs executions, see $log and $logs/$name-*" > "$logs/$name.result"
  else
    echo "$name: $runs executions in $(( $(date +%s) - start )) s, no finding" > "$logs/$name.result"
  fi
  cat "$logs/$name.result"
}

# The targets with a floor start first: they take the longest.
targets=()
for f in "$build"/fuzz/fuzz_*; do [ -x "$f" ] && [ -n "${floors[$(basename "$f")]:-}" ] && targets+=("$f"); done
for f in "$build"/fuzz/fuzz_*; do [ -x "$f" ] && [ -z "${floors[$(basename "$f")]:-}" ] && targets+=("$f"); done
rm -f "$logs"/*.result
for f in "${targets[@]}"; do
  name=$(basename "$f")
  echo "== $name (${seconds} s${floors[$name]:+, at least ${floors[$name]} executions})"
  while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do wait -n; done
  run_target "$f" &
done
wait
echo "== summary"
cat "$logs"/*.result
! grep -q FINDING "$logs"/*.result
