#!/usr/bin/env bash
# Programs in files through the console: -batch and its exit status, a .cx
# file named on the command line, startup.cx in the user's work folder,
# input() reading the next piped line, an error's frames on the error stream,
# and a function packed into a CAT archive on the path. Arguments: the
# qzconsole and catpack binaries.
set -uo pipefail
console=$1
catpack=$2
failures=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
# No start-up file unless a case makes one.
export CALYX_PREFDIR="$work/prefs" CALYX_USERWORKDIR="$work/user"
mkdir -p "$work/prefs" "$work/user" "$work/cur"
cd "$work/cur"

# check NAME EXPECTED_STATUS EXPECTED_OUT EXPECTED_ERR -- command...
check() {
    local name=$1 status=$2 out=$3 err=$4
    shift 5
    local got goterr rc
    got=$("$@" 2>"$work/err" </dev/null)
    rc=$?
    goterr=$(cat "$work/err")
    [ "$got" = "$out" ] || fail "$name: output [$got], expected [$out]"
    [ "$goterr" = "$err" ] || fail "$name: error stream [$goterr], expected [$err]"
    [ "$rc" = "$status" ] || fail "$name: exit status $rc, expected $status"
}

check batch-ok 0 "2" "" -- "$console" -batch "x = 1 + 1; fprintf('%d\n', x)"
check batch-error 1 "" "Error: boom" -- "$console" -batch "error('boom')"
check batch-undefined 1 "" "Error: Undefined function or variable 'nosuch'." -- "$console" -batch "nosuch(1)"

# A function file in the current folder; its error names it and its line.
printf 'function r = twice(x)\n%% TWICE doubles\nif x < 0\n  error(%s, %s, x);\nend\nr = 2 * x;\n' \
    "'my:neg'" "'negative %d'" >twice.cx
check function-call 0 "8" "" -- "$console" -batch "fprintf('%d\n', twice(4))"
check function-error 1 "" "$(printf 'Error using twice\nnegative -1\nError in twice (line 4)')" -- \
    "$console" -batch "twice(-1)"

# A file named on the command line runs as a script.
printf 'y = twice(20);\nfprintf(%s, y + 2);\n' "'%d\n'" >"$work/main.cx"
check script-file 0 "42" "" -- "$console" "$work/main.cx"

# startup.cx runs first.
printf 'started = 5;\n' >"$work/user/startup.cx"
check startup 0 "5" "" -- "$console" -batch "fprintf('%d\n', started)"
rm "$work/user/startup.cx"

# input() takes the next line of the pipe; 's' keeps it as text.
got=$(printf "x = input('');\n41 + 1\nname = input('', 's');\nhello there\nfprintf('%%d %%s\\\\n', x, name)\n" |
      "$console" 2>&1)
[ "$got" = "42 hello there" ] || fail "input: [$got]"

# A toolbox packed into a CAT archive and put on the path.
mkdir -p "$work/tb/stats"
printf 'function m = mymean(v)\nm = sum(v) / numel(v);\n' >"$work/tb/stats/mymean.cx"
(cd "$work" && "$catpack" create tb.cat tb/ >/dev/null) || fail "catpack create"
# catpack stores what tb/ holds at the archive's top.
check archive 0 "$(printf '%s\n2' "$work/tb.cat/stats/mymean.cx")" "" -- \
    "$console" -batch "addpath $work/tb.cat/stats; which mymean; fprintf('%d\n', mymean([1 2 3]))"

if [ "$failures" -ne 0 ]; then
    echo "$failures failure(s)"
    exit 1
fi
echo "all console program checks passed"
