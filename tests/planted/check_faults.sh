#!/usr/bin/env bash
# Checks that every fault of faults.txt changes exactly one line of its file.
here=$(cd "$(dirname "$0")" && pwd); repo=$(cd "$here/../.." && pwd); status=0
while IFS= read -r row; do
  id=${row%% | *}; rest=${row#* | }; folder=${rest%% | *}; rest=${rest#* | }
  file=${rest%% | *}; rest=${rest#* | }; expr=${rest% | *}; what=${rest##* | }
  n=$(sed -e "$expr" "$repo/$file" | diff "$repo/$file" - | grep -c '^>')
  [[ $n == 1 ]] || { echo "$id: $n lines changed in $file"; status=1; }
done < <(grep -v '^\s*#' "$here/${PF_FAULTS:-faults.txt}" | grep -v '^\s*$')
exit $status
