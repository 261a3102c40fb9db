#!/usr/bin/env bash
# The console end to end through a pipe: statements in, the exact display
# text out, with no prompt and nothing echoed; one error line each on the
# error stream and exit status 1; paging set but never applied to a pipe;
# events and callbacks posted by another thread. Every expected text is
# written from the display rules: loose spacing puts a blank line before a
# heading, after it and after the values; the window is 80 columns wide when
# output is not a terminal. Argument: the qzconsole binary.
set -uo pipefail
console=$1
failures=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# run NAME STATUS: feeds $work/NAME.in, compares standard output with
# $work/NAME.out, the error stream with $work/NAME.err (empty when that file
# is absent) and the exit status with STATUS.
run() {
    local name=$1 status=$2
    "$console" <"$work/$name.in" >"$work/$name.got" 2>"$work/$name.goterr"
    local rc=$?
    [ -f "$work/$name.err" ] || : >"$work/$name.err"
    diff -u "$work/$name.out" "$work/$name.got" || fail "$name: output differs"
    diff -u "$work/$name.err" "$work/$name.goterr" || fail "$name: error stream differs"
    [ "$rc" = "$status" ] || fail "$name: exit status $rc, expected $status"
}

# ---- a session as a new user types it: every class, several formats; exit
# leaves at once ----
cat >"$work/session.in" <<'EOF'
A = reshape(1:16, 4, 4)'
B = [0.25 1e5 -3]
z = 3+4i
t = true
q = int8([100 -5])
w = 'it''s'
e = []
u = uint16(65535)
S = sparse([0 5; 0 0])
f = single(2.5)
c = {1, 'abc'; [1 2 3], @sin}
s.a = 1; s.name = 'x'; s
h = @sin
format long
B
format hex; x = 1
format rat; r = [0.5 0.25]
format
d = 2.5
exit
y = 3
EOF
cat >"$work/session.out" <<'EOF'

A =

     1     2     3     4
     5     6     7     8
     9    10    11    12
    13    14    15    16


B =

   1.0e+05 *

    0.0000    1.0000   -0.0000


z =

   3.0000 + 4.0000i


t =

     1


q =

  100   -5


w =

it's


e =

     []


u =

  65535


S =

   (1,2)        5


f =

    2.5000


c = 

    [         1]    'abc'
    [1x3 double]    @sin 


s = 

       a: 1
    name: 'x'


h = 

    @sin


B =

   1.0e+05 *

   0.000002500000000   1.000000000000000  -0.000030000000000


x =

   3ff0000000000000


r =

       1/2            1/4     


d =

    2.5000

EOF
run session 0

# ---- failures: one line each on the error stream, the session goes on, the
# exit status is 1; a statement too deep or too long is refused ----
{
    echo 'x = 1;'
    echo 'undefinedThing'
    echo '[1 2; 3]'
    echo 'y = 2'
    echo 'zeros(1e12)'
    echo "'abc"
    printf '%0300d' 0 | tr 0 '('; printf 1; printf '%0300d\n' 0 | tr 0 ')'
    printf 'a = %0100001d\n' 0
} >"$work/errors.in"
cat >"$work/errors.out" <<'EOF'

y =

     2

EOF
cat >"$work/errors.err" <<'EOF'
Error: Undefined function or variable 'undefinedThing'.
Error: Dimensions of arrays being concatenated are not consistent (1x2 and 1x1).
Error: Requested array exceeds the maximum array size.
Error: A text is not terminated: a closing ' is missing.
Error: The statement nests more than 200 levels deep.
Error: The statement is longer than 100000 characters.
EOF
run errors 1

# A bracket left open at the end of input is an error, not a hang.
printf 'v = [1 2\n3 4\n' >"$work/open.in"
: >"$work/open.out"
echo "Error: The statement ends too early. (line 2, column 4)" >"$work/open.err"
run open 1

# ---- paging is set but a pipe is never paged; clc and home write no
# terminal codes into a pipe; echo; a last line without a line feed runs ----
printf 'more\nmore 3\nmore\nL = (1:5)'"'"'\nmore off\nclc\nhome\necho one  two, echo three' >"$work/commands.in"
cat >"$work/commands.out" <<'EOF'
page length 23, paging off
page length 3, paging on

L =

     1
     2
     3
     4
     5

one two
three
EOF
run commands 0

# A closed standard input ends the session at once.
out=$(timeout 10 "$console" <&-)
[ $? = 0 ] && [ -z "$out" ] || fail "closed input: $out"

# ---- events and callbacks from another thread: everything posted runs
# before the console ends; with the callback service off callbacks are
# dropped and events still run; bad counts are refused ----
out=$(printf 'demo-events 2000\n' | "$console")
expect="demo-events run 1: posting 2000 events and 2000 callbacks
demo-events run 1: 2000 posted of each; 2000 events and 2000 callbacks ran (posting finished)"
[ "$out" = "$expect" ] || fail "demo-events 2000 printed: $out"
out=$(printf 'feature ThreadServiceRequest 0\ndemo-events 50\n' | "$console")
grep -qx 'demo-events run 1: 50 posted of each; 50 events and 0 callbacks ran (posting finished)' <<<"$out" ||
    fail "with the callback service off: $out"
# A second run that starts before the first one's last event was handled
# still leaves one report line for the first run, and the second finishes.
out=$(printf 'demo-events 20000\ndemo-events 5\n' | "$console")
[ "$(grep -c '^demo-events run 1: 20000 posted of each; .* ran (\(posting finished\|superseded by the next run\))$' <<<"$out")" = 1 ] &&
    grep -qx 'demo-events run 2: 5 posted of each; 5 events and 5 callbacks ran (posting finished)' <<<"$out" ||
    fail "two runs: $out"
out=$(printf 'demo-events -3\ndemo-events x\n' | "$console" 2>&1)
[ "$(grep -c '^Error: demo-events takes a count' <<<"$out")" = 2 ] || fail "bad counts: $out"

[ "$failures" = 0 ] && echo "console pipe: all cases passed"
exit "$failures"
