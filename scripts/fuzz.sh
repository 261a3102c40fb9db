#!/usr/bin/env bash
# Runs every built libFuzzer target for FUZZ_SECONDS on a scratch copy of its
# seed corpus (the seeds in the tree stay as they are). The readers of bytes
# that come from outside the process (CAT archives, wrapped message text,
# terminal input) must also reach a floor of executions: when the timed run
# falls short, the target goes on with the corpus it grew until the floor is
# reached. Stops at the first finding; a summary line per target at the end.
set -euo pipefail
build=${1:-build/fuzz}
seconds=${FUZZ_SECONDS:-600}
floor=${FUZZ_MIN_RUNS:-10000000}
declare -A floors=([fuzz_cat_reader]=$floor [fuzz_print_wrapped]=$floor [fuzz_key_decoder]=$floor)

summary=()
for f in "$build"/fuzz/fuzz_*; do
  [ -x "$f" ] || continue
  name=$(basename "$f")
  work=$build/corpus/$name
  mkdir -p "$work"
  log=$build/logs/$name.log
  mkdir -p "$(dirname "$log")"
  : > "$log"
  echo "== $name (${seconds} s${floors[$name]:+, at least ${floors[$name]} executions})"
  start=$(date +%s)
  "$f" -max_total_time="$seconds" -print_final_stats=1 "$work" "fuzz/corpus/$name" 2>&1 | tee -a "$log" | grep -E '^(==|stat::|INFO: -max_total|#[0-9]+ +DONE)|ERROR|SUMMARY' || true
  runs=$(grep -o 'stat::number_of_executed_units: [0-9]*' "$log" | awk '{s += $2} END {print s + 0}')
  want=${floors[$name]:-0}
  if [ "$runs" -lt "$want" ]; then
    echo "   $runs executions in ${seconds} s; going on to $want"
    "$f" -runs=$((want - runs)) -print_final_stats=1 "$work" 2>&1 | tee -a "$log" | grep -E '^(==|stat::|#[0-9]+ +DONE)|ERROR|SUMMARY' || true
    runs=$(grep -o 'stat::number_of_executed_units: [0-9]*' "$log" | awk '{s += $2} END {print s + 0}')
  fi
  if grep -qE 'ERROR: (libFuzzer|AddressSanitizer|LeakSanitizer|UndefinedBehaviorSanitizer)|runtime error:' "$log"; then
    echo "!! $name: finding, see $log and the crash-* file in $(pwd)"
    exit 1
  fi
  summary+=("$name: $runs executions in $(( $(date +%s) - start )) s, no finding")
done
printf '%s\n' "${summary[@]}"
