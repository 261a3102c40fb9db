#!/usr/bin/env bash
# Runs `qzconsole --demo` with no terminal and checks that it ends well and
# that a few of its displays read as the display rules say.
# Argument: the qzconsole binary.
set -euo pipefail
out=$("$1" --demo </dev/null)
expect() {
    grep -qxF -- "$1" <<<"$out" || { echo "missing line: [$1]"; echo "$out"; exit 1; }
}
expect "   1.0e+03 *"
expect "   3.0000 + 4.0000i  -1.0000 - 0.5000i"
expect " -128    0  127"
expect "   (1,3)      -1.5000"
expect "   400921fb54442d18"
expect "       1/3          355/113   "
expect "     1.5000e+003   250.0000e-006"
expect "  Columns 27 through 30"
expect "    27    28    29    30"
echo "the demo shows its arrays"
