#!/usr/bin/env bash
# The console's session commands end to end through a pipe: version, config,
# prefs, type and dir (on disk and inside a CAT archive), the diary, the
# service log, the start-up words and the thread count. Expected texts are
# written from the rules of each command. Arguments: the qzconsole binary and
# the catpack binary.
set -uo pipefail
console=$1
catpack=$2
failures=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
cd "$work" || exit 1
# A fresh preferences folder, so that no preference of the machine counts.
export CALYX_PREFDIR="$work/prefs"

# expect NAME EXPECTED GOT: an exact comparison with a readable difference.
expect() {
    [ "$2" = "$3" ] && return 0
    fail "$1"
    diff -u <(printf '%s\n' "$2") <(printf '%s\n' "$3")
}

# ---- version: five lines, the version text with its release label ----
out=$(printf 'version\n' | "$console" 2>&1)
[ "$(echo "$out" | wc -l)" = 5 ] || fail "version: not five lines: $out"
echo "$out" | sed -n 1p | grep -qE '^Version:      [0-9]+(\.[0-9]+)+ \(R2031b\)$' || fail "version line: $out"
expect "release line" "Release:      2031b" "$(echo "$out" | sed -n 2p)"
echo "$out" | sed -n 3p | grep -qE '^Build date:   (January|February|March|April|May|June|July|August|September|October|November|December) [0-9]{1,2}, [0-9]{4}$' ||
    fail "build date not in long form: $out"
expect "architecture line" "Architecture: 64-bit (linux64)" "$(echo "$out" | sed -n 4p)"
expect "computer line" "Computer:     LINUX64" "$(echo "$out" | sed -n 5p)"
version=$(echo "$out" | sed -n 1p | sed 's/^Version: *//')

# ---- config: a line end, the heading, then "  <key in 19>: <value>" in byte
# order of the keys; the version is the same text as above ----
out=$(printf 'config\n' | "$console" 2>&1)
[ -z "$(echo "$out" | sed -n 1p)" ] || fail "config does not start with an empty line: $out"
expect "config heading" "Configuration:" "$(echo "$out" | sed -n 2p)"
entries=$(echo "$out" | sed -n '3,$p' | grep -v '^$')
[ -n "$entries" ] || fail "config has no entries"
bad=$(echo "$entries" | grep -vE '^  .{19}: ')
[ -z "$bad" ] || fail "config lines not in the key format: $bad"
keys=$(echo "$entries" | cut -c3-21)
expect "config keys in byte order" "$(echo "$keys" | LC_ALL=C sort)" "$keys"
echo "$entries" | grep -qxF "  CALYX Version      : $version" || fail "config has no CALYX Version $version: $out"
echo "$entries" | grep -q '^  Operating System   : Linux' || fail "config has no operating system: $out"
echo "$entries" | grep -q '^  CALYX Architecture : linux64$' || fail "config has no architecture: $out"

# ---- prefs: the folder and the file, before and after they exist; a key's value ----
out=$(printf 'prefs\nprefs Width\n' | "$console" 2>&1)
expect "prefs without a folder" "Preferences folder: $work/prefs (not created yet)
Preferences file:   $work/prefs/calyx.prf (none yet)
Width is not set." "$out"
mkdir -p prefs
printf '# Width=I3 in a comment\n   Width=I120\nFlag=Btrue\nEmpty=\n' >prefs/calyx.prf
out=$(printf 'prefs\nprefs Width\nprefs Flag\nprefs Empty\nprefs width\n' | "$console" 2>&1)
expect "prefs with a file" "Preferences folder: $work/prefs
Preferences file:   $work/prefs/calyx.prf
Width=I120
Flag=Btrue
Empty is not set.
width is not set." "$out"
printf 'prefs a b\n' | "$console" >/dev/null 2>&1 && fail "prefs with two words succeeded"

# ---- type: a plain file as it is; a last line without a line end gets one ----
mkdir -p tree/sub/deep empty
printf 'first line\n\tsecond line\n' >tree/a.txt
printf 'no line end' >tree/sub/b.m
printf 'x = 1;\n' >tree/sub/deep/c.m
"$catpack" create tb.cat tree >/dev/null || fail "catpack create failed"
out=$(printf 'type tree/a.txt\ntype tree/sub/b.m\n' | "$console" 2>&1)
expect "type of plain files" "$(printf 'first line\n\tsecond line\nno line end')" "$out"
out=$(printf 'type %s\n' "$work/tree/sub/deep/c.m" | "$console" 2>&1)
expect "type of an absolute path" "x = 1;" "$out"

# ---- type inside a CAT: only while the feature container is on ----
# The text after the display of the feature's previous state ("off").
afterFeature() { sed -e '1,/^off$/d' | sed -e '1{/^$/d}'; }
cat >types.in <<'EOF'
feature container on
type tb.cat/a.txt
type tb.cat/sub/deep/c.m
type tb.cat/sub/b.m
EOF
out=$("$console" <types.in 2>&1)
expect "type inside a CAT" "$(printf 'first line\n\tsecond line\nx = 1;\nno line end')" \
    "$(echo "$out" | afterFeature)"
out=$(printf 'feature container on\ntype tb.cat/nope.m\n' | "$console" 2>&1 >/dev/null)
rc=$?
expect "a missing entry" "Error: There is no file 'tb.cat/nope.m'." "$out"
printf 'type tb.cat/a.txt\n' | "$console" >/dev/null 2>"$work/err"
[ $? = 1 ] || fail "type inside a CAT with the feature off did not fail"
grep -q '^Error: ' "$work/err" || fail "type inside a CAT with the feature off: no error: $(cat "$work/err")"
printf 'type\n' | "$console" >/dev/null 2>&1 && fail "type without a path succeeded"

# ---- dir: names in byte order, no "." and ".."; inside a CAT with the feature on ----
touch tree/B.txt
out=$(printf 'dir tree\ndir empty\n' | "$console" 2>&1)
expect "dir of a folder" "$(printf 'B.txt\na.txt\nsub')" "$out"
out=$(printf 'feature container on\ndir tb.cat\ndir tb.cat/sub\ndir tb.cat/sub/deep\n' | "$console" 2>/dev/null | afterFeature)
expect "dir inside a CAT" "$(printf 'a.txt\nsub\nb.m\ndeep\nc.m')" "$out"
out=$(printf 'dir nowhere\n' | "$console" 2>&1)
expect "dir of a missing folder" "Error: Unable to list 'nowhere'." "$out"
out=$(printf 'dir tb.cat\n' | "$console" 2>&1)
expect "dir of a CAT with the feature off" "Error: Unable to list 'tb.cat'." "$out"

# ---- the diary: what was shown from "diary FILE" to "diary off", exactly ----
cat >diary.in <<'EOF'
before = 1
diary session.txt
x = [1 2; 3 4]
format long
y = pi
undefinedThing
c = {1, 'ab'}
echo done
diary off
after = 2
EOF
"$console" <diary.in >shown.txt 2>&1
[ -f session.txt ] || fail "diary FILE made no file"
# What was shown between the two diary commands: after the display of
# "before" and before that of "after".
sed -e '1,/^before =$/d' shown.txt | sed -e '1,/^$/d' | sed -e '/^after =$/,$d' | sed -e '$d' >between.txt
cmp -s between.txt session.txt || { fail "the diary differs from what was shown"; diff -u between.txt session.txt; }
grep -qx "Error: 'undefinedThing' is not a variable or a function." session.txt || fail "the diary lacks the error line"
grep -q 'after' session.txt && fail "the diary went on after diary off"
grep -q 'before' session.txt && fail "the diary has text from before diary FILE"

# ---- the diary of a whole session is the session's output ----
printf 'diary whole.txt\nz = 1:5\nnope\necho end\n' | "$console" >whole.shown 2>&1
cmp -s whole.shown whole.txt || { fail "the diary of a whole session differs"; diff -u whole.shown whole.txt; }

# ---- diary toggles: "diary" alone switches, "on" and "off" in any case, the
# default name "diary", and a file appended to ----
printf 'diary\necho one\ndiary\necho two\ndiary ON\necho three\ndiary Off\necho four\n' | "$console" >/dev/null 2>&1
expect "diary toggles" "$(printf 'one\nthree')" "$(cat diary)"
printf 'diary\necho five\ndiary off\n' | "$console" >/dev/null 2>&1
expect "the diary appends" "$(printf 'one\nthree\nfive')" "$(cat diary)"
out=$(printf 'diary nofolder/x.txt\necho six\ndiary\necho seven\n' | "$console" 2>/dev/null)
[ -e nofolder/x.txt ] && fail "a diary in a missing folder was made"
expect "after a failed diary FILE the toggle switches on" "$(printf 'six\nseven')" "$out"
printf 'diary a b\n' | "$console" >/dev/null 2>&1 && fail "diary with two words succeeded"

# ---- --log FILE copies the session; --log-append adds to the file ----
printf 'x = 1:3\nmissing\necho logged\n' | "$console" --log run.log >run.shown 2>&1
cmp -s run.shown run.log || { fail "the log differs from the session"; diff -u run.shown run.log; }
printf 'echo again\n' | "$console" --log-append run.log >/dev/null 2>&1
expect "--log-append keeps the file" "$(cat run.shown; echo again)" "$(cat run.log)"
printf 'echo fresh\n' | "$console" --log run.log >/dev/null 2>&1
expect "--log empties the file" "fresh" "$(cat run.log)"
out=$(printf 'echo x\n' | "$console" --log nofolder/run.log 2>&1)
[ $? = 2 ] || fail "a log that cannot be opened did not give status 2"
expect "a log that cannot be opened" "qzconsole: cannot open the log file nofolder/run.log" "$out"
"$console" --log </dev/null >/dev/null 2>&1
[ $? = 2 ] || fail "--log without a file did not give status 2"

# ---- start-up words: "nodesktop" by default, -nojvm turns Java off ----
java() { printf 'feature useJava JVM\nfeature useJava Desktop\n' | "$console" "$@" 2>/dev/null | grep -E '^ +[01]$' | tr -d ' \n'; }
expect "no words: the JVM but no desktop" "10" "$(java)"
expect "-nojvm: no JVM" "00" "$(java -nojvm)"
expect "-desktop: everything" "11" "$(java -desktop)"
expect "-nodesktop" "10" "$(java -nodesktop)"
expect "the word without its dash" "00" "$(java nojvm)"
expect "a conflict keeps the first word" "00" "$(java -nojvm -desktop)"
err=$(printf '' | "$console" -nojvm -desktop 2>&1 >/dev/null)
expect "the conflict is reported once" "You have specified multiple/conflicting Java options.  Using 'None'
Warning: You have specified multiple/conflicting Java options.  Using 'None'" "$err"
err=$(printf '' | "$console" -nojvm -desktop -noawt 2>&1 >/dev/null | grep -c conflicting)
expect "a third word makes no second report" "2" "$err"
expect "a third word replaces the level" "10" "$(java -nojvm -desktop -noawt | cut -c1)0"
err=$(printf '' | "$console" -NOJVM 2>&1 >/dev/null)
expect "an unknown word" "qzconsole: the start-up word -NOJVM is not known; it is ignored" "$err"

# ---- feature NumThreads: read and set; 1000 is cut to 512, 0 is the core count ----
threads() { printf "$1" | "$console" 2>&1 | grep -E '^ +-?[0-9]+$|^Error' | sed 's/^ *//' | tr '\n' ' '; }
cores=$(nproc)
expect "NumThreads set and read" "3 3 " "$(threads 'feature NumThreads 3\nfeature NumThreads\n')"
expect "NumThreads cut to 512" "512 512 " "$(threads 'feature NumThreads 1000\nfeature NumThreads\n')"
expect "NumThreads 0 is the core count" "$cores $cores " "$(threads 'feature NumThreads 0\nfeature NumThreads\n')"
out=$(threads 'feature NumThreads 4\nfeature NumThreads -1\nfeature NumThreads\n')
case "$out" in
    "4 Error"*" 4 ") ;;
    *) fail "NumThreads -1 was not refused or changed the count: $out" ;;
esac

# ---- into a pipe an error is not wrapped: one line however long ----
long=$(printf 'v%.0s' $(seq 1 120))
out=$(printf '%s\n' "$long" | "$console" 2>&1)
expect "a long error in a pipe" "Error: '$long' is not a variable or a function." "$out"

[ "$failures" = 0 ] && echo "console session: all cases passed"
exit "$failures"
