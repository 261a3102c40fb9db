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
expect() { [ "$2" = "$3" ] || { fail "$1"; diff -u <(printf '%s\n' "$2") <(printf '%s\n' "$3"); }; }
# q LINE...: runs the console on these input lines.
q() { printf '%s\n' "$@" | "$console"; }

# ---- version: five lines, the version with its release label, the build date in long form ----
out=$(q version 2>&1)
version=$(sed -n '1s/^Version: *//p' <<<"$out")
months='(January|February|March|April|May|June|July|August|September|October|November|December)'
expect "version" "Version:      N (R2031b)
Release:      2031b
Build date:   D
Architecture: 64-bit (linux64)
Computer:     LINUX64" "$(sed -E "1s/ [0-9]+(\.[0-9]+)+ / N /; 3s/ $months [0-9]{1,2}, [0-9]{4}\$/ D/" <<<"$out")"

# ---- config: a line end, the heading, then the machine's entries; the
# version is the same text as above ----
out=$(q config 2>&1)
expect "config heading" "
Configuration:" "$(sed -n 1,2p <<<"$out")"
for want in "  CALYX Version      : $version" "  CALYX Architecture : linux64"; do
    grep -qxF "$want" <<<"$out" || fail "config lacks [$want]: $out"
done
grep -q '^  Operating System   : Linux' <<<"$out" || fail "config has no operating system: $out"

# ---- prefs: the folder and the file, before and after they exist; a key's value ----
expect "prefs without a folder" "Preferences folder: $work/prefs (not created yet)
Preferences file:   $work/prefs/calyx.prf (none yet)
Width is not set." "$(q prefs 'prefs Width' 2>&1)"
mkdir -p prefs
printf '# Width=I3 in a comment\n   Width=I120\nFlag=Btrue\nEmpty=\n' >prefs/calyx.prf
expect "prefs with a file" "Preferences folder: $work/prefs
Preferences file:   $work/prefs/calyx.prf
Width=I120
Flag=Btrue
Empty is not set.
width is not set." "$(q prefs 'prefs Width' 'prefs Flag' 'prefs Empty' 'prefs width' 2>&1)"
for bad in 'prefs a b' 'type' 'dir a b' 'diary a b'; do
    q "$bad" >/dev/null 2>&1 && fail "[$bad] succeeded"
done

# ---- type: a file as it is, a last line without a line end given one; dir:
# names in byte order, no "." and ".."; inside a CAT only while the feature
# container is on ----
mkdir -p tree/sub/deep empty
printf 'first line\n\tsecond line\n' >tree/a.txt
printf 'no line end' >tree/sub/b.cx
printf 'x = 1;\n' >tree/sub/deep/c.cx
"$catpack" create tb.cat tree >/dev/null || fail "catpack create failed"
touch tree/B.txt
expect "type of plain files" "$(printf 'first line\n\tsecond line\nno line end\nx = 1;')" \
    "$(q 'type tree/a.txt' 'type tree/sub/b.cx' "type $work/tree/sub/deep/c.cx" 2>&1)"
expect "dir of a folder" "$(printf 'B.txt\na.txt\nsub')" "$(q 'dir tree' 'dir empty' 2>&1)"
# The text after the display of the feature's previous state ("on": the console turns it on at start).
expect "type and dir inside a CAT" "$(printf 'first line\n\tsecond line\nx = 1;\nno line end\na.txt\nsub\nb.cx\ndeep\nc.cx')" \
    "$(q 'feature container on' 'type tb.cat/a.txt' 'type tb.cat/sub/deep/c.cx' 'type tb.cat/sub/b.cx' \
        'dir tb.cat' 'dir tb.cat/sub' 'dir tb.cat/sub/deep' 2>&1 | sed -e '1,/^on$/d' | sed -e '1{/^$/d}')"
expect "errors of dir and type" "Error: Unable to list 'nowhere'.
Error: Unable to list 'tb.cat'.
Error: There is no file 'tb.cat/nope.cx'." \
    "$(q 'dir nowhere' 'feature container off' 'dir tb.cat' 'feature container on' 'type tb.cat/nope.cx' 2>&1 >/dev/null)"
# A damaged archive is reported, not listed in part without a word.
head -c -2 tb.cat >damaged.cat
out=$(q 'feature container on' 'dir damaged.cat' 2>&1 >/dev/null)
[ $? = 1 ] && [ "$out" = "Error: The archive that holds 'damaged.cat' is corrupt." ] || fail "dir of a damaged CAT: $out"
out=$(q 'feature container off' 'type tb.cat/a.txt' 2>&1 >/dev/null)
[ $? = 1 ] && [[ $out == "Error: "* ]] || fail "type inside a CAT with the feature off: $out"

# ---- the diary: what was shown from "diary FILE" to "diary off", exactly ----
printf '%s\n' 'before = 1' 'diary session.txt' 'x = [1 2; 3 4]' 'format long' 'y = pi' 'undefinedThing' \
    "c = {1, 'ab'}" 'echo done' 'diary off' 'after = 2' | "$console" >shown.txt 2>&1
# What was shown after the display of "before" and before that of "after".
sed -e '1,/^before =$/d' shown.txt | sed -e '1,/^$/d' | sed -e '/^after =$/,$d' | sed -e '$d' >between.txt
cmp -s between.txt session.txt || { fail "the diary differs from what was shown"; diff -u between.txt session.txt; }
grep -qx "Error: Undefined function or variable 'undefinedThing'." session.txt || fail "the diary lacks the error line"
q 'diary whole.txt' 'z = 1:5' 'nope' 'echo end' >whole.shown 2>&1
cmp -s whole.shown whole.txt || { fail "the diary of a whole session differs"; diff -u whole.shown whole.txt; }

# ---- diary toggles: "diary" alone switches, "on" and "off" in any case, the
# default name "diary", a file appended to ----
q diary 'echo one' diary 'echo two' 'diary ON' 'echo three' 'diary Off' 'echo four' >/dev/null 2>&1
q diary 'echo five' 'diary off' >/dev/null 2>&1
expect "diary toggles, appending" "$(printf 'one\nthree\nfive')" "$(cat diary)"

# ---- --log FILE copies the session; --log-append adds to the file ----
printf 'x = 1:3\nmissing\necho logged\n' | "$console" --log run.log >run.shown 2>&1
cmp -s run.shown run.log || { fail "the log differs from the session"; diff -u run.shown run.log; }
printf 'echo again\n' | "$console" --log-append run.log >/dev/null 2>&1
expect "--log-append keeps the file" "$(cat run.shown; echo again)" "$(cat run.log)"
printf 'echo fresh\n' | "$console" --log run.log >/dev/null 2>&1
expect "--log empties the file" "fresh" "$(cat run.log)"
out=$(printf 'echo x\n' | "$console" --log nofolder/run.log 2>&1)
expect "a log that cannot be opened" "2 qzconsole: cannot open the log file nofolder/run.log" "$? $out"
"$console" --log </dev/null >/dev/null 2>&1
[ $? = 2 ] || fail "--log without a file did not give status 2"

# ---- start-up words reach the Java level, with or without their dash:
# "nodesktop" by default, a conflict keeps the first word and is reported ----
java() { printf 'feature useJava JVM\nfeature useJava Desktop\n' | "$console" "$@" 2>/dev/null | grep -E '^ +[01]$' | tr -d ' \n'; }
for words in ":10" "-nojvm:00" "-desktop:11" "nojvm:00" "-nojvm -desktop:00"; do
    expect "start-up words [${words%:*}]" "${words#*:}" "$(java ${words%:*})"
done
expect "the conflict is reported once" "You have specified multiple/conflicting Java options.  Using 'None'
Warning: You have specified multiple/conflicting Java options.  Using 'None'" "$("$console" -nojvm -desktop 2>&1 >/dev/null </dev/null)"
expect "an unknown word" "qzconsole: the start-up word -NOJVM is not known; it is ignored" "$("$console" -NOJVM 2>&1 >/dev/null </dev/null)"

# ---- feature NumThreads: set and read; -1 is refused and changes nothing ----
out=$(q 'feature NumThreads 4' 'feature NumThreads' 'feature NumThreads -1' 'feature NumThreads' 2>&1 |
    grep -E '^ +-?[0-9]+$|^Error' | sed 's/^ *//' | tr '\n' ' ')
[[ $out == "4 4 Error"*" 4 " ]] || fail "NumThreads set to 4, then -1: $out"

# ---- into a pipe an error is not wrapped: one line however long ----
long=$(printf 'v%.0s' $(seq 1 120))
expect "a long error in a pipe" "Error: The name '$long' has 120 characters; a name has at most 63." "$(q "$long" 2>&1)"

[ "$failures" = 0 ] && echo "console session: all cases passed"
exit "$failures"
