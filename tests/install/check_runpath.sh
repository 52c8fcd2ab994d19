#!/usr/bin/env bash
# Fails when an ELF file under the given directories has a RUNPATH or RPATH
# entry that makes the loader search somewhere relative to the directory a
# program is started from: an empty entry (a leading, trailing or doubled
# colon) or a relative path. Only absolute paths and $ORIGIN are accepted.
set -euo pipefail
status=0
checked=0
while IFS= read -r -d '' file; do
  head -c 4 "$file" 2>/dev/null | grep -q 'ELF' || continue
  checked=$((checked + 1))
  paths=$(readelf -d "$file" 2>/dev/null | sed -n 's/.*(R\(UN\)\{0,1\}PATH).*\[\(.*\)\]$/\2/p')
  while IFS= read -r path; do
    [ -n "$path" ] || continue
    mapfile -t entries < <(awk -F: '{ for (i = 1; i <= NF; i++) print $i }' <<<"$path")
    for entry in "${entries[@]}"; do
      if [ -z "$entry" ] || { [[ "$entry" != /* ]] && [[ "$entry" != '$ORIGIN'* ]]; }; then
        echo "$file: search path [$path] has the entry '$entry', relative to the current directory" >&2
        status=1
      fi
    done
  done <<<"$paths"
done < <(find "$@" -type f \( -perm -u+x -o -name '*.so*' \) -print0)
[ "$checked" -gt 0 ] || { echo "no ELF files found under $*" >&2; exit 1; }
echo "search paths of $checked ELF files checked"
exit $status
