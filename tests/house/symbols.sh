#!/usr/bin/env bash
# What libfsys.so shows is what the headers mark, all of it, and the heap operators; nothing of the
# standard library's or of anybody else's. Usage: symbols.sh LIBRARY ROOT
set -euo pipefail
library=$1
root=$2
status=0

# The names behind a mark: classes, functions, globals.
marked=$(cat "$root"/include/fsys/*.h "$root"/platform/*.h | awk '
  /^#/ || !/^[^\/]*(FSYS|PLATFORM)_EXPORT / { next }
  { gsub(/CAPABILITY\("[a-z]+"\) /, ""); sub(/^.*(FSYS|PLATFORM)_EXPORT /, "") }
  match($0, /[A-Za-z_0-9]+\(/) { print substr($0, RSTART, RLENGTH - 1); next }  # a function
  /;$/ { sub(/;$/, ""); print $NF; next }                                       # a global
  { print $1 }                                                                  # a class')

shown=$(nm -D --defined-only --format=posix "$library" | sed 's/[ @].*//' | sort -u)
[ -n "$shown" ] || { echo "$library shows no symbol"; exit 1; }

differences=$(printf '%s\n' "$shown" | c++filt | awk -v marked="$marked" '
  BEGIN { n = split(marked, names, "\n"); for (i = 1; i <= n; ++i) known[names[i]] = 1 }
  {
    whole = $0
    if ($0 ~ /^operator (new|delete)(\[\])?\(/) { ++operators; next }
    sub(/^(vtable for|typeinfo name for|typeinfo for|VTT for|guard variable for|non-virtual thunk to|virtual thunk to|construction vtable for|covariant return thunk to) /, "")
    sub(/-in-.*/, "")
    sub(/\(.*/, "")
    n = split($0, part, "::")
    at = 1
    while (at < n && (part[at] ~ /^(Qv|Image|Core|Shutdown|OsAtomics)$/)) ++at
    seen[part[at]] = 1
    if (!(part[at] in known)) print whole ": shown, but marked in no header"
  }
  END {
    for (name in known) if (!(name in seen)) print name ": marked in a header, but not shown"
    if (operators != 20) print "operator new and delete: " operators + 0 " forms of 20"
  }')
if [ -n "$differences" ]; then
  printf '%s\n' "$differences"
  status=1
fi

soname=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
[ "$soname" = libfsys.so.1 ] || { echo "SONAME is '$soname'"; status=1; }
[ "$status" = 0 ] && echo "$(printf '%s\n' "$shown" | wc -l) symbols, all marked; every mark is shown"
exit "$status"
