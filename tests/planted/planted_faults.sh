#!/usr/bin/env bash
# Planted faults: applies each fault of faults.txt to a scratch copy of the
# sources, builds the test suite of the fault's folder once with the tests of
# BASE (the full suite before a trim) and once with the tests of the worktree
# (the trimmed suite), runs both and records whether each caught the fault.
# A fault that the full suite catches and the trimmed suite misses is a hole
# the trim opened.
#
# usage: tests/planted/planted_faults.sh [BASE [FOLDER...]]
#   BASE    commit holding the full tests (default dc610ab, before the trim)
#   FOLDER  only the faults of these test folders (default all)
# PF_FAULTS names the faults file (default faults.txt in this folder).
# faults.txt rows:  id | test folder | source file | sed expression | what it breaks
# (fields apart by " | "; an expression may hold "||" but not " | ")
# PF_SIDES="full" or "trimmed" runs one side only (default both; "none": the
# tally only); PF_IDS="a b" runs only those faults again, keeping the other
# rows of the side's results. The trimmed side needs running only for the
# faults survivors.py lists (the others fail in a test the trim left as it was).
# Output: build/pf/results.<side>.tsv, their union results.tsv and a tally
# per folder (by the first folder of each row) on stdout.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
if [[ -z ${PF_HERE:-} ]]; then
  # Runs from a copy, so that editing this file does not disturb a run under way.
  mkdir -p "$here/../../build/pf"
  cp "$0" "$here/../../build/pf/run.sh"
  PF_HERE=$here exec bash "$here/../../build/pf/run.sh" "$@"
fi
here=$PF_HERE
repo=$(cd "$here/../.." && pwd)
base=${1:-dc610ab}
shift || true
only=("$@")
work=$repo/build/pf
tree=$work/tree
bin=$work/bin
export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER:-ccache}
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-/work}
export QZ_STRESS_SCALE=${QZ_STRESS_SCALE:-0.1}
jobs=${PF_JOBS:-2}

mkdir -p "$work"
# The scratch tree: the worktree's sources; its tests/ is swapped per side.
mkdir -p "$tree"
(cd "$repo" && tar -c --exclude ./build --exclude ./.git .) | tar -x -C "$tree"
if [[ ! -f $bin/build.ninja ]]; then
  cmake -S "$tree" -B "$bin" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DQZ_BUILD_APPS=OFF -DQZ_BUILD_BENCH=OFF -DQZ_ABI_CHECK=OFF >"$work/configure.log"
fi

# Puts the tests of one side into the scratch tree: "full" from BASE, "trimmed" from the worktree.
install_tests() {
  rm -rf "$tree/tests"
  if [[ $1 == full ]]; then
    mkdir -p "$tree/tests"
    git -C "$repo" archive "$base" tests | tar -x -C "$tree"
  else
    cp -a "$repo/tests" "$tree/tests"
  fi
  # Newer than every object, so that the build compiles this side's tests
  # (ccache makes the second compile of the same text cheap).
  find "$tree/tests" -type f -exec touch {} +
}

# Runs the suites of the folders "a+b+..."; prints caught (one fails),
# missed (all pass) or build-error.
run_suites() {
  local spec=$1 log=$2 folder targets=() outcome=missed
  for folder in ${spec//+/ }; do targets+=("test_$folder"); done
  if ! cmake --build "$bin" --target "${targets[@]}" -j"$jobs" >"$log.build" 2>&1; then
    echo build-error; return
  fi
  for folder in ${spec//+/ }; do
    timeout 300 "$bin/tests/test_$folder" --gtest_brief=1 >"$log.$folder" 2>&1 || outcome=caught
  done
  echo $outcome
}

# Whether a fault of the folders "a+b" is asked for: its first folder names it.
selected() {
  [[ ${#only[@]} -eq 0 ]] && return 0
  local f; for f in "${only[@]}"; do [[ $f == "${1%%+*}" ]] && return 0; done; return 1
}

mapfile -t rows < <(grep -v '^\s*#' "$here/${PF_FAULTS:-faults.txt}" | grep -v '^\s*$')
mkdir -p "$work/logs"
# A fault left in the scratch tree by an interrupted run is put back with a
# fresh time, so that the next build compiles the clean file again.
trap 'if [[ -n ${file:-} ]]; then cp "$repo/$file" "$tree/$file"; fi' EXIT
for side in ${PF_SIDES:-full trimmed}; do
  [[ $side == full || $side == trimmed ]] || continue  # PF_SIDES=none: the tally only
  sideResults=$work/results.$side.tsv
  if [[ -n ${PF_IDS:-} ]]; then
    # Only the named faults run again: their earlier rows (and the clean rows) go.
    touch "$sideResults"
    grep -v -E "^($(echo $PF_IDS | tr ' ' '|')|clean)	" "$sideResults" >"$sideResults.keep" || true
    mv "$sideResults.keep" "$sideResults"
  else
    : >"$sideResults"
  fi
  install_tests "$side"
  for row in "${rows[@]}"; do
    id=${row%% | *}; rest=${row#* | }; folder=${rest%% | *}; rest=${rest#* | }
    file=${rest%% | *}; rest=${rest#* | }; expr=${rest% | *}; what=${rest##* | }
    selected "$folder" || continue
    if [[ -n ${PF_IDS:-} && " $PF_IDS " != *" $id "* ]]; then continue; fi
    # PF_ONLY_CAUGHT=1: the trimmed suite only for faults the full suite caught.
    if [[ $side == trimmed && ${PF_ONLY_CAUGHT:-0} == 1 ]] &&
       ! grep -q "^$id	.*	full	caught$" "$work/results.full.tsv" 2>/dev/null; then
      printf '%s\t%s\t%s\t%s\n' "$id" "$folder" "$side" "not-run" | tee -a "$sideResults"
      continue
    fi
    cp "$repo/$file" "$tree/$file"
    sed -i -e "$expr" "$tree/$file"
    if cmp -s "$repo/$file" "$tree/$file"; then
      outcome=not-applied
    else
      outcome=$(run_suites "$folder" "$work/logs/$id.$side")
    fi
    cp "$repo/$file" "$tree/$file"
    printf '%s\t%s\t%s\t%s\n' "$id" "$folder" "$side" "$outcome" | tee -a "$sideResults"
  done
  # The clean suites must pass, or every "caught" above means nothing.
  for folder in $(grep -v '^clean' "$sideResults" | cut -f2 | tr '+' '\n' | sort -u); do
    printf 'clean\t%s\t%s\t%s\n' "$folder" "$side" \
      "$(run_suites "$folder" "$work/logs/clean.$side" | sed 's/missed/passes/;s/caught/FAILS/')" | tee -a "$sideResults"
  done
done
# The tally over the latest run of each side.
results=$work/results.tsv
cat "$work"/results.full.tsv "$work"/results.trimmed.tsv >"$results" 2>/dev/null || true

# A fault counts as caught by the trimmed suite when the trimmed run caught it,
# or when survivors.py found a test that failed on it under the full suite
# still in the trimmed suite with an unchanged body (see survivors.py).
survivors=$work/survivors.txt
python3 "$here/survivors.py" "$base" >"$survivors" 2>/dev/null || : >"$survivors"
echo
printf '%-12s %8s %15s %18s %s\n' folder planted "caught by full" "caught by trimmed" "holes (caught by full only)"
for folder in $(grep -v '^clean' "$results" | cut -f2 | sed 's/+.*//' | sort -u); do
  awk -F'\t' -v f="$folder" -v surv="$survivors" '
    BEGIN { while ((getline line < surv) > 0) { split(line, w, " "); if (line ~ / survives$/) kept[w[1]] = 1 } }
    $1 != "clean" && $2 ~ ("^" f "(\\+|$)") { o[$1, $3] = $4; ids[$1] = 1 }
    END {
      for (id in ids) {
        planted++
        if (o[id, "full"] == "caught") full++
        t = o[id, "trimmed"] == "caught" || (o[id, "full"] == "caught" && (id in kept))
        if (t) trim++
        if (o[id, "full"] == "caught" && !t) holes = holes id " "
      }
      printf "%-12s %8d %15d %18d %s\n", f, planted, full, trim, holes
    }' "$results"
done
