#!/usr/bin/env bash
# The ABI check of libqzservices against the baseline kept in abi/.
#
#   scripts/abi.sh check LIBRARY      compares LIBRARY with abi/libqzservices.abi.gz;
#                                     fails when an exported function or variable
#                                     is removed or changed, or the soname differs
#   scripts/abi.sh baseline LIBRARY   writes abi/libqzservices.abi.gz from LIBRARY
#
# `make abi-baseline` builds the library (dev preset, which has the debug
# information the dump needs) and runs the second form. Additions pass the
# check; anything else means a new baseline in the same change, and a new
# soname (the project's major version) when the change breaks existing hosts.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
mode=${1:-} library=${2:-}
# abidw's XML, compressed: the text is large and only abidiff reads it.
baseline=$root/abi/libqzservices.abi.gz
[ -n "$mode" ] && [ -f "$library" ] || { sed -n '2,14p' "$0"; exit 2; }

# Only the types that the public headers declare count: a change to an internal
# type that no exported entity reaches is not an ABI change.
headers=(--headers-dir "$root/include")
for dir in "$root"/siblings/*/include; do headers+=(--headers-dir "$dir"); done

dump() {
    abidw --no-corpus-path --no-show-locs --drop-undefined-syms --drop-private-types --exported-interfaces-only \
          "${headers[@]}" --out-file "$1" "$library"
}

case $mode in
baseline)
    mkdir -p "$root/abi"
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    dump "$scratch/baseline.abi"
    gzip -9 -n -c "$scratch/baseline.abi" >"$baseline"
    echo "wrote $baseline ($(grep -c '<elf-symbol ' "$scratch/baseline.abi") exported symbols)"
    ;;
check)
    [ -f "$baseline" ] || { echo "no ABI baseline: run 'make abi-baseline'" >&2; exit 1; }
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    dump "$scratch/current.abi"
    gzip -d -c "$baseline" >"$scratch/baseline.abi"
    status=0
    abidiff --no-added-syms "$scratch/baseline.abi" "$scratch/current.abi" >"$scratch/report" || status=$?
    if [ "$status" -ne 0 ]; then
        cat "$scratch/report"
        echo "libqzservices' ABI differs from abi/libqzservices.abi.gz (abidiff status $status)." >&2
        echo "If the change is meant, run 'make abi-baseline' and commit abi/ with it;" >&2
        echo "bump the major version (the soname's number) as well when existing hosts would break." >&2
        exit 1
    fi
    echo "ABI matches abi/libqzservices.abi.gz"
    ;;
*)
    sed -n '2,14p' "$0"; exit 2 ;;
esac
