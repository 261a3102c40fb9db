#!/usr/bin/env bash
# The console end to end: input read line by line from a pipe, user events and
# callbacks posted by another thread ("demo-events"), with the feature
# "ThreadServiceRequest" on and off, and, through tmux, events and callbacks
# running while the prompt stands. Argument: the qzconsole binary.
set -uo pipefail
console=$1
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# Lines run one by one, in order, with no prompt when input is not a terminal.
out=$(printf 'echo first\necho second\n' | "$console")
[ "$out" = $'first\nsecond' ] || fail "piped lines printed: $out"

# A last line without a line feed still runs.
out=$(printf 'echo unterminated' | "$console")
[ "$out" = "unterminated" ] || fail "unterminated line printed: $out"

# Everything posted runs before the console ends: 2000 of each.
out=$(printf 'demo-events 2000\n' | "$console")
expected=$'demo-events run 1: posting 2000 events and 2000 callbacks\ndemo-events run 1: 2000 posted of each; 2000 events and 2000 callbacks ran (posting finished)'
[ "$out" = "$expected" ] || fail "demo-events 2000 printed: $out"

# With both places of the callback service off, callbacks are dropped and
# events still run.
out=$(printf 'feature ThreadServiceRequest 0\ndemo-events 50\n' | "$console")
echo "$out" | grep -qx 'demo-events run 1: 50 posted of each; 50 events and 0 callbacks ran (posting finished)' ||
    fail "with the service off: $out"

# A closed standard input ends the session at once.
out=$(timeout 10 "$console" <&-)
[ $? = 0 ] && [ -z "$out" ] || fail "closed input: $out"

# Bad counts are refused.
out=$(printf 'demo-events -3\ndemo-events x\n' | "$console" 2>&1)
[ "$(echo "$out" | grep -c '^Error: demo-events takes a count')" = 2 ] || fail "bad counts: $out"

# At a prompt on a terminal: the run finishes while the prompt stands, with
# no further statement typed.
if command -v tmux >/dev/null; then
    session="qzconsole-events-$$"
    # The leak suppressions reach the console even when a tmux server already runs.
    tmux new-session -d -s "$session" -x 120 -y 40 -e "LSAN_OPTIONS=${LSAN_OPTIONS:-}" "$console" || fail "tmux did not start"
    sleep 1
    tmux send-keys -t "$session" 'demo-events 20000' Enter
    pane=""
    for _ in $(seq 1 100); do
        pane=$(tmux capture-pane -t "$session" -p)
        echo "$pane" | grep -q 'posting finished' && break
        sleep 0.2
    done
    echo "$pane" | grep -qx 'demo-events run 1: 20000 posted of each; 20000 events and 20000 callbacks ran (posting finished)' ||
        fail "at the prompt: $pane"
    # The prompt is back after the report.
    [ "$(echo "$pane" | grep -v '^$' | tail -n 1)" = ">>" ] || fail "no prompt after the report: $pane"
    tmux send-keys -t "$session" 'exit' Enter
    sleep 0.5
    tmux kill-session -t "$session" 2>/dev/null
else
    echo "tmux not found: the prompt case is skipped"
fi

[ "$failures" = 0 ] && echo "console events: all cases passed"
exit "$failures"
