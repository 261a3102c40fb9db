#!/usr/bin/env bash
# The console end to end through a pipe: statements in, the exact display
# text out. Every expected text below is written from the display rules:
# loose spacing puts a blank line before a heading, after it and after the
# values; the print format picks the field of each element; the window is 80
# columns wide when output is not a terminal. Argument: the qzconsole binary.
set -uo pipefail
console=$1
failures=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# run NAME: feeds $work/NAME.in, compares standard output with $work/NAME.out
# and the error stream with $work/NAME.err (empty when that file is absent),
# and the exit status with $2.
run() {
    local name=$1 status=$2
    "$console" <"$work/$name.in" >"$work/$name.got" 2>"$work/$name.goterr"
    local rc=$?
    [ -f "$work/$name.err" ] || : >"$work/$name.err"
    diff -u "$work/$name.out" "$work/$name.got" >"$work/$name.diff" || { fail "$name: output differs"; cat "$work/$name.diff"; }
    diff -u "$work/$name.err" "$work/$name.goterr" >"$work/$name.diff" || { fail "$name: error stream differs"; cat "$work/$name.diff"; }
    [ "$rc" = "$status" ] || fail "$name: exit status $rc, expected $status"
}

# ---- numbers in the default format, and the classes ----
cat >"$work/classes.in" <<'EOF'
A = [1 2; 3 4]
x = 0.5
y = 1234.5
B = [1000.5 2]
z = 3+4i
t = true
q = int8([100 -5])
c = 'hello'
e = []
u = uint16(65535)
S = sparse([0 5; 0 0])
f = single(2.5)
n = [NaN 1 -Inf]
E = zeros(0, 3)
w = 'it''s'
EOF
cat >"$work/classes.out" <<'EOF'

A =

     1     2
     3     4


x =

    0.5000


y =

   1.2345e+03


B =

   1.0e+03 *

    1.0005    0.0020


z =

   3.0000 + 4.0000i


t =

     1


q =

  100   -5


c =

hello


e =

     []


u =

  65535


S =

   (1,2)        5


f =

    2.5000


n =

   NaN     1  -Inf


E =

   Empty matrix: 0-by-3


w =

it's

EOF
run classes 0

# ---- the print formats and the spacing ----
cat >"$work/formats.in" <<'EOF'
format long; p = pi
format shortE
v = [1 -2.5]
format hex; h = 1
format rat; r = [0.5 0.25]
format +; g = [1 -2 0]
format compact; format short; k = [1 2]
format loose; format longG; w = 0.1
format twoDecimal; m = [1.5 2.25]
format shortEng; s = 1500
format
d = 2.5
EOF
cat >"$work/formats.out" <<'EOF'

p =

   3.141592653589793


v =

   1.0000e+00  -2.5000e+00


h =

   3ff0000000000000


r =

       1/2            1/4     


g =

+- 

k =
     1     2

w =

                       0.1


m =

          1.50          2.25


s =

     1.5000e+003


d =

    2.5000

EOF
run formats 0

# ---- building values: concatenation, ranges, transpose, constructors ----
cat >"$work/build.in" <<'EOF'
M = [eye(2); 5 6];
M
R = -3:-1
T = [1 2 3]'
C = [1+2i, 3]
X = [1 -2
3 -4]
a = reshape(1:6, 2, 3)
cat(1, [1 2], [3 4])
disp('abc')
b = logical([2 0])
EOF
cat >"$work/build.out" <<'EOF'

M =

     1     0
     0     1
     5     6


R =

    -3    -2    -1


T =

     1
     2
     3


C =

   1.0000 + 2.0000i   3.0000 + 0.0000i


X =

     1    -2
     3    -4


a =

     1     3     5
     2     4     6


ans =

     1     2
     3     4

abc

b =

     1     0

EOF
run build 0

# ---- cells, structures, function handles, many dimensions ----
cat >"$work/containers.in" <<'EOF'
c = {1, 'abc'; [1 2 3], @sin}
s.a = 1; s.name = 'x'; s
s(2).a = 5
n.inner.deep = 3
t.c = {1, 'a'}
h = @sin
Z = zeros(2, 2, 2)
e = {}
c2 = cell(1, 2)
EOF
cat >"$work/containers.out" <<'EOF'

c = 

    [         1]    'abc'
    [1x3 double]    @sin 


s = 

       a: 1
    name: 'x'


s = 

1x2 struct array with fields:

    a
    name


n = 

    inner: [1x1 struct]


t = 

    c: {[1]  'a'}


h = 

    @sin


Z(:,:,1) =

     0     0
     0     0


Z(:,:,2) =

     0     0
     0     0


e = 

     {}


c2 = 

    []    []

EOF
run containers 0

# ---- what a new user types first ----
cat >"$work/firstuse.in" <<'EOF'
A = reshape(1:16, 4, 4)'
B = [0.25 1e5 -3]
format long
B
exit
EOF
cat >"$work/firstuse.out" <<'EOF'

A =

     1     2     3     4
     5     6     7     8
     9    10    11    12
    13    14    15    16


B =

   1.0e+05 *

    0.0000    1.0000   -0.0000


B =

   1.0e+05 *

   0.000002500000000   1.000000000000000  -0.000030000000000

EOF
run firstuse 0

# ---- failures: one line each on the error stream, the session goes on, the
# exit status is 1; exit leaves at once ----
{
    echo 'x = 1;'
    echo 'undefinedThing'
    echo '[1 2; 3]'
    echo 'y = 2'
    echo 'zeros(1e12)'
    echo "'abc"
    printf '%0300d' 0 | tr 0 '('; printf 1; printf '%0300d\n' 0 | tr 0 ')'
    printf 'a = %0100001d\n' 0
    echo 'exit'
    echo 'z = 3'
} >"$work/errors.in"
cat >"$work/errors.out" <<'EOF'

y =

     2

EOF
cat >"$work/errors.err" <<'EOF'
Error: 'undefinedThing' is not a variable or a function.
Error: The sizes 1x2 and 1x1 do not agree for concatenation along dimension 1.
Error: The array would have more than 10000000 elements.
Error: A text is not terminated: a closing ' is missing.
Error: The statement nests more than 200 levels deep.
Error: The statement is longer than 100000 characters.
EOF
run errors 1

# A bracket left open at the end of input is an error, not a hang.
printf 'v = [1 2\n3 4\n' >"$work/open.in"
: >"$work/open.out"
echo "Error: The statement ends too early: a value or a closing bracket is missing." >"$work/open.err"
run open 1

# ---- commands: paging is set but a pipe is never paged; clc and home write
# no terminal codes into a pipe; echo ----
cat >"$work/commands.in" <<'EOF'
more
more 3
more
L = (1:5)'
more off
clc
home
echo one  two, echo three
EOF
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

[ "$failures" = 0 ] && echo "console pipe: all cases passed"
exit "$failures"
