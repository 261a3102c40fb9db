#!/usr/bin/env bash
# Builds the HTML reference of the public headers into build/docs/html with
# docs/Doxyfile, and fails when Doxygen warns: a public entity without a ///
# comment, or a comment Doxygen cannot read. The warnings are kept in
# build/docs/warnings.txt and the first ones are printed.
set -euo pipefail
cd "$(dirname "$0")/.."

command -v doxygen >/dev/null || { echo "doxygen is missing: run scripts/install-deps.sh" >&2; exit 1; }
mkdir -p build/docs
# Doxygen lists a header's free functions only when the header has a file
# comment, and never warns about a header without one: check that here.
# The headers are those of the Doxyfile's INPUT (folders searched for *.hpp).
inputs=$(sed -n '/^INPUT /,/[^\\]$/p' docs/Doxyfile | sed 's/^INPUT *=//; s/\\$//')
nofile=$(grep -L '^/// @file' $(find $inputs -name '*.hpp') || true)
if [ -n "$nofile" ]; then
  echo "docs: headers without a '/// @file' comment:" $nofile >&2
  exit 1
fi
log=build/docs/warnings.txt
# Doxygen repeats a member's warning for each class that inherits it; count each place once.
# A failing doxygen run counts as one more line of the log.
{ doxygen docs/Doxyfile 2>&1 >/dev/null || echo "doxygen failed with status $?"; } | sort -u > "$log"
count=$(grep -c . "$log" || true)
if [ "$count" -ne 0 ]; then
  head -n 40 "$log" >&2
  echo "docs: $count Doxygen warnings (all in $log); document each public entity with ///" >&2
  exit 1
fi
echo "docs: build/docs/html/index.html, no undocumented public entity"
