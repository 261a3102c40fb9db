#!/usr/bin/env bash
# The console on a terminal, through tmux under TERM=xterm-256color: the
# prompt; a warning and an error wrapped to a 40-column window; "--more--"
# paging with space, another key, a function key and "q"; ctrl-C during a long
# display and at the prompt; a resized window changing the next display's
# columns; history recall with the up arrow; events and callbacks from another
# thread running while the prompt stands. Argument: the qzconsole binary.
set -uo pipefail
console=$1
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

command -v tmux >/dev/null || { echo "tmux not found: the terminal cases are skipped"; exit 0; }
export TERM=xterm-256color
# A private tmux server, killed at the end.
session="qzconsole-terminal-$$"
tm() { tmux -L "$session" "$@"; }
trap 'tm kill-server 2>/dev/null' EXIT

# Waits up to 20 s for the pane to satisfy a test: `until_pane grep -q TEXT`.
until_pane() {
    for _ in $(seq 1 100); do
        pane | "$@" >/dev/null 2>&1 && return 0
        sleep 0.2
    done
    return 1
}
prompt_back() { until_pane bash -c '[ "$(grep -v "^ *$" | tail -n 1)" = ">>" ]'; }
type_line() { tm send-keys -t "$session" -l "$1"; tm send-keys -t "$session" Enter; }
clear_screen() { type_line clc; prompt_back; }

# The pane as lines of text: lines that the terminal wrapped joined again,
# blanks at line ends dropped (the end marker of a message leaves one).
pane() { tm capture-pane -t "$session" -p -J | sed -e 's/ *$//'; }
lastLine() { pane | grep -v '^$' | tail -n 1; }
expect() { [ "$2" = "$3" ] || { fail "$1"; diff -u <(printf '%s\n' "$2") <(printf '%s\n' "$3"); }; }

# Two start-up words in conflict make a warning to wrap.
tm new-session -d -s "$session" -x 40 -y 30 "TERM=xterm-256color $console -nojvm -desktop" || exit 1
prompt_back || fail "no prompt: $(pane)"

# ---- a warning and an error break at the last blank that fits in 39
# columns; two blanks at a break vanish ----
expect "the wrapped warning" "Warning: You have specified
multiple/conflicting Java options.
Using 'None'" "$(pane | sed -n '/^Warning:/,/^>>/p' | sed -e '$d')"
clear_screen
[ "$(pane | grep -vc '^$')" = 1 ] || fail "clc left text on the screen: $(pane)"
type_line 'abcdefghij'
prompt_back
expect "the wrapped error" "Error: Undefined function or variable
'abcdefghij'." "$(pane | sed -n '/^Error:/,/^>>/p' | sed -e '$d')"

# ---- more 5 and a display of 20 rows: a blank, "A =" and a blank, then
# pages of 5 lines; space gives a page, another key or a function key one
# line, q ends ----
type_line 'more 5'
prompt_back
clear_screen
type_line "A = (1:20)'"
until_pane grep -q -- '--more--' || fail "no --more-- prompt: $(pane)"
p=$(pane)
grep -qx '     2' <<<"$p" && ! grep -qx '     3' <<<"$p" || fail "first page is not blank, A =, blank, 1, 2: $p"
tm send-keys -t "$session" ' '
until_pane grep -qx '     7' || fail "space gave no page: $(pane)"
! pane | grep -qx '     8' && [ "$(lastLine)" = "--more--" ] || fail "space gave more than a page: $(pane)"
tm send-keys -t "$session" 'x'
until_pane grep -qx '     8' || fail "another key gave no line: $(pane)"
tm send-keys -t "$session" Down
until_pane grep -qx '     9' || fail "the down arrow gave no line: $(pane)"
sleep 0.5
! pane | grep -qx '    10' && [ "$(lastLine)" = "--more--" ] || fail "the down arrow counted as more than one key: $(pane)"
tm send-keys -t "$session" 'q'
prompt_back || fail "q did not end the display: $(pane)"
! pane | grep -qx '    10' || fail "the display went on after q: $(pane)"
! pane | grep -q -- '--more--' || fail "--more-- stayed on the screen: $(pane)"
type_line 'more off'
prompt_back

# ---- ctrl-C during a long display: the prompt comes back on a fresh line
# and the next statement runs ----
clear_screen
type_line "L = (1:3000000)'"
until_pane grep -qE '^ +[0-9]{4,}$' || fail "the long display did not start: $(pane)"
tm send-keys -t "$session" C-c
prompt_back || fail "no prompt after ctrl-C: $(pane)"
sleep 0.5
[ "$(lastLine)" = ">>" ] || fail "the display went on after ctrl-C: $(pane)"
pane | grep -qx ' *3000000' && fail "the display ran to its end: ctrl-C did not stop it"
type_line 'y = 8'
until_pane grep -qx '     8' || fail "the statement after ctrl-C did not run: $(pane)"
prompt_back

# ---- a loop that never ends stops at ctrl-C, soon, and the prompt comes back ----
clear_screen
type_line 'n = 0; while true, n = n + 1; end'
sleep 0.5
[ "$(lastLine)" = ">>" ] && fail "the endless loop ended by itself: $(pane)"
start=$(date +%s%N)
tm send-keys -t "$session" C-c
prompt_back || fail "no prompt after ctrl-C in a loop: $(pane)"
elapsed=$(( ($(date +%s%N) - start) / 1000000 ))
[ "$elapsed" -lt 1500 ] || fail "the loop took $elapsed ms to stop"
type_line 'n > 0'
until_pane grep -qx '     1' || fail "the loop's work is not kept: $(pane)"
prompt_back

# ---- a block typed over several lines runs at its end ----
clear_screen
type_line 'for k = 1:2'
sleep 0.3
[ "$(lastLine)" = ">>" ] && fail "the block ran before its end: $(pane)"
type_line 'disp(k * 10)'
type_line 'end'
until_pane grep -qx ' *20' || fail "the block did not run: $(pane)"
prompt_back

# ---- ctrl-C at the prompt drops the line being typed ----
clear_screen
tm send-keys -t "$session" -l 'abc'
until_pane grep -qx '>> abc' || fail "typed text not shown: $(pane)"
tm send-keys -t "$session" C-c
prompt_back || fail "no fresh prompt after ctrl-C at the prompt: $(pane)"
[ "$(pane | grep -A1 -x '>> abc' | tail -n 1)" = ">>" ] || fail "the new prompt is not on the next line: $(pane)"
type_line 'k = 9'
until_pane grep -qx 'k =' || fail "the line after ctrl-C at the prompt did not run alone: $(pane)"
prompt_back

# ---- a resized window: 40 columns fit 6 columns of "%6ld", 100 fit 16 ----
clear_screen
type_line 'r = 1:12'
until_pane grep -qx '  Columns 7 through 12' || fail "no pages of 6 columns in 40: $(pane)"
prompt_back
clear_screen
tm resize-window -t "$session" -x 100 -y 30
sleep 0.5
type_line 'r = 1:12'
until_pane grep -qx '     1     2     3     4     5     6     7     8     9    10    11    12' ||
    fail "1:12 was not one row after the resize: $(pane)"
prompt_back

# ---- history: the up arrow brings back earlier lines ----
type_line 'h = 41'
prompt_back
clear_screen
tm send-keys -t "$session" Up Up
until_pane grep -qx '>> h = 41' || fail "two up arrows did not recall 'h = 41': $(pane)"
tm send-keys -t "$session" Enter
until_pane grep -qx '    41' || fail "the recalled line did not run: $(pane)"
prompt_back

# ---- events and callbacks from another thread finish while the prompt
# stands, with no further statement typed ----
clear_screen
type_line 'demo-events 20000'
until_pane grep -qx 'demo-events run 1: 20000 posted of each; 20000 events and 20000 callbacks ran (posting finished)' ||
    fail "the run did not finish at the prompt: $(pane)"
prompt_back || fail "no prompt after the report: $(pane)"

# ---- exit walks the shutdown phases and ends the program ----
type_line 'exit'
for _ in $(seq 1 50); do tm has-session -t "$session" 2>/dev/null || break; sleep 0.2; done
tm has-session -t "$session" 2>/dev/null && fail "exit did not end the console"

[ "$failures" = 0 ] && echo "console terminal: all cases passed"
exit "$failures"
