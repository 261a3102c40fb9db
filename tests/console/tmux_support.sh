# Shared by the console's tmux tests; sourced with the session's name as its
# argument. Gives fail, tm (tmux on a private server, killed at exit),
# until_pane, prompt_back, type_line and clear_screen. The sourcing script
# defines pane (how it reads the screen) and keeps `failures`.
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

if ! command -v tmux >/dev/null; then
    echo "tmux not found: the terminal cases are skipped"
    exit 0
fi
export TERM=xterm-256color
session="$1-$$"
socket="$1-test-$$"
tm() { tmux -L "$socket" "$@"; }
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
