#!/usr/bin/env bash
# The console on a 40-column terminal, through tmux: errors and warnings
# wrapped to the window (39 columns, breaking at blanks, an overlong word kept
# whole), and a function key at "--more--" read as one key. The wrapped lines
# are written by hand from the wrapping rules. Argument: the qzconsole binary.
set -uo pipefail
console=$1
source "$(dirname "$0")/tmux_support.sh" qzconsole-session

# The pane as lines of text: lines that the terminal wrapped joined again,
# blanks at line ends dropped (the end marker of a message leaves one).
pane() { tm capture-pane -t "$session" -p -J | sed -e 's/ *$//'; }
# The lines from the one equal to $1 up to the next prompt, the prompt left out.
block() { pane | sed -n "/^$1\$/,/^>>/p" | sed -e '$d'; }
expect() {
    [ "$2" = "$3" ] && return 0
    fail "$1"
    diff -u <(printf '%s\n' "$2") <(printf '%s\n' "$3")
}

# Two start-up words in conflict: the report, then its warning, wrapped.
tm new-session -d -s "$session" -x 40 -y 30 "TERM=xterm-256color $console -nojvm -desktop" || {
    echo "tmux did not start"
    exit 1
}
prompt_back || fail "no prompt: $(pane)"

# ---- a warning: breaks at the last blank that fits; two blanks at a break vanish ----
expect "the wrapped warning" "Warning: You have specified
multiple/conflicting Java options.
Using 'None'" "$(pane | sed -n '/^Warning:/,/^>>/p' | sed -e '$d')"

# ---- an error: "variable" ends in column 37, "or" would end in 40 ----
clear_screen
type_line 'abcdefghij'
prompt_back
expect "the wrapped error" "Error: 'abcdefghij' is not a variable
or a function." "$(block "Error: 'abcdefghij' is not a variable")"

# ---- the text before the break exactly 39 columns: it still fits ----
clear_screen
type_line 'abcdefghijkl'
prompt_back
expect "an error of 39 columns" "Error: 'abcdefghijkl' is not a variable
or a function." "$(block "Error: 'abcdefghijkl' is not a variable")"
clear_screen
type_line '[1 2; 3]'
prompt_back
# A break point at the blank after "dimension" (column 40) takes the line
# just before it.
expect "an error of three lines" "Error: The sizes 1x2 and 1x1 do not
agree for concatenation along dimension
1." "$(block "Error: The sizes 1x2 and 1x1 do not")"

# ---- a word longer than the line stays whole on a line of its own ----
clear_screen
long=$(printf 'w%.0s' $(seq 1 50))
type_line "$long"
prompt_back
expect "an overlong word" "Error:
'$long'
is not a variable or a function." "$(block "Error:")"

# ---- a function key at --more-- is one key: the down arrow gives one line ----
clear_screen
type_line 'more 5'
prompt_back
clear_screen
type_line "A = (1:20)'"
until_pane grep -q -- '--more--' || fail "no --more-- prompt: $(pane)"
until_pane grep -qx '     2' || fail "the first page did not show: $(pane)"
tm send-keys -t "$session" Down
until_pane grep -qx '     3' || fail "the down arrow gave no line: $(pane)"
sleep 0.5
pane | grep -qx '     4' && fail "the down arrow counted as more than one key: $(pane)"
[ "$(pane | grep -v '^$' | tail -n 1)" = "--more--" ] || fail "no --more-- after the down arrow: $(pane)"
tm send-keys -t "$session" Right
until_pane grep -qx '     4' || fail "the right arrow gave no line: $(pane)"
sleep 0.5
pane | grep -qx '     5' && fail "the right arrow counted as more than one key: $(pane)"
tm send-keys -t "$session" 'q'
prompt_back || fail "q did not end the display: $(pane)"
type_line 'echo still here'
until_pane grep -qx 'still here' || fail "the console does not take lines after the paging: $(pane)"

type_line 'exit'
for _ in $(seq 1 50); do tm has-session -t "$session" 2>/dev/null || break; sleep 0.2; done
tm has-session -t "$session" 2>/dev/null && fail "exit did not end the console"

[ "$failures" = 0 ] && echo "console session terminal: all cases passed"
exit "$failures"
