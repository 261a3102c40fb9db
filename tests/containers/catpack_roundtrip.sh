#!/usr/bin/env bash
# catpack end to end: a tree of 1,000 files in nested directories packed in
# both byte orders and unpacked again must be identical to the original
# (diff -r); listing, cat, and the errors and exit statuses of bad use.
# Argument: the catpack binary.
set -uo pipefail
catpack=$1
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

work=$(mktemp -d /tmp/catpack-test.XXXXXX)
trap 'rm -rf "$work"' EXIT
src=$work/src

# 1,000 files: 10 top directories, each with 4 subdirectories two levels
# deep; sizes from empty to a few KiB, binary bytes included.
mkdir -p "$src"
n=0
for a in $(seq 0 9); do
  for b in $(seq 0 3); do
    d="$src/dir$a/sub$b/leaf"
    mkdir -p "$d"
    for c in $(seq 0 24); do
      case $((c % 5)) in
        0) : > "$d/empty$c.txt" ;;
        1) printf 'file %d of dir%d/sub%d\n' "$c" "$a" "$b" > "$d/text$c.txt" ;;
        2) head -c $(( (n * 37) % 4096 + 1 )) /dev/urandom > "$d/bin$c.dat" ;;
        3) printf 'name with spaces %d' "$c" > "$d/with space $c" ;;
        4) head -c 100 /dev/urandom > "$d/.hidden$c" ;;
      esac
      n=$((n + 1))
    done
  done
done
mkdir -p "$src/empty/dir"
count=$(find "$src" -type f | wc -l)
[ "$count" -eq 1000 ] || fail "the test tree has $count files, not 1000"

for order in --big-endian --little-endian; do
  archive=$work/tree$order.cat
  "$catpack" create "$archive" "$src" $order || fail "create $order exited $?"
  magic=$(head -c 4 "$archive")
  if [ $order = --big-endian ]; then [ "$magic" = CATF ] || fail "big-endian magic is $magic"
  else [ "$magic" = FTAC ] || fail "little-endian magic is $magic"; fi
  out=$work/out$order
  "$catpack" extract "$archive" "$out" || fail "extract $order exited $?"
  diff -r "$src" "$out" > "$work/diff.txt" || { fail "tree differs after $order round trip"; head "$work/diff.txt"; }

  # cat gives the bytes of one member, listing gives the entries in order.
  cmp -s <("$catpack" cat "$archive/dir3/sub2/leaf/bin7.dat") "$src/dir3/sub2/leaf/bin7.dat" ||
    fail "cat $order differs"
  listed=$("$catpack" list "$archive" | tr '\n' ' ')
  [ "$listed" = "dir0/ dir1/ dir2/ dir3/ dir4/ dir5/ dir6/ dir7/ dir8/ dir9/ empty/ " ] || fail "list $order: $listed"
  listed=$("$catpack" list "$archive" empty | tr '\n' ' ')
  [ "$listed" = "dir/ " ] || fail "list of an inner directory $order: $listed"
done

# The same tree gives the same bytes in both runs of one order.
"$catpack" create "$work/again.cat" "$src" --big-endian
cmp -s "$work/again.cat" "$work/tree--big-endian.cat" || fail "packing is not deterministic"

# Errors: exit 1 with a message; help: exit 0.
archive=$work/tree--little-endian.cat
"$catpack" --help | grep -q '^Usage: catpack create' || fail "--help"
"$catpack" cat "$archive/nope" 2> "$work/err" && fail "cat of a missing member succeeded"
grep -q 'File not found' "$work/err" || fail "missing member message: $(cat "$work/err")"
"$catpack" list "$archive" dir0/sub0/leaf/text1.txt 2> "$work/err" && fail "list of a file succeeded"
grep -q 'not a directory' "$work/err" || fail "list of a file message: $(cat "$work/err")"
"$catpack" create "$work/x.zip" "$src" 2> "$work/err" && fail "create without .cat succeeded"
"$catpack" create "$work/y.cat" "$work/none" 2> /dev/null && fail "create of a missing directory succeeded"
[ -e "$work/y.cat" ] && fail "a failed create left a file behind"
printf 'JUNKJUNKJUNK' > "$work/junk.cat"
"$catpack" list "$work/junk.cat" 2> "$work/err" && fail "list of a corrupt archive succeeded"
grep -q 'File is corrupt' "$work/err" || fail "corrupt archive message: $(cat "$work/err")"
# An archive naming an entry ".." must not write outside the target directory.
printf 'FTAC\x13\x00\x00\x00\x01\x00\x00\x00F\x02\x00\x00\x00..\x01\x00\x00\x00x' > "$work/evil.cat"
mkdir -p "$work/evil-out/inner"
"$catpack" extract "$work/evil.cat" "$work/evil-out/inner" 2> "$work/err" && fail "extract of a \"..\" entry succeeded"
grep -q 'unusable name' "$work/err" || fail "\"..\" entry message: $(cat "$work/err")"
"$catpack" frobnicate 2> /dev/null && fail "an unknown command succeeded"
"$catpack" 2> /dev/null && fail "no arguments succeeded"

[ $failures -eq 0 ] && echo "catpack: all checks passed"
exit $((failures > 0))
