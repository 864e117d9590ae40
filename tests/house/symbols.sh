#!/usr/bin/env bash
# What libfsys.so shows is what its installed headers mark, and the heap operators; nothing of the
# standard library's or of anybody else's. Usage: symbols.sh LIBRARY ROOT
set -euo pipefail
library=$1
root=$2
status=0

# The names behind a mark: classes, functions, globals.
marked=$(sed -nE 's/.*\b(class|struct) (FSYS|PLATFORM)_EXPORT (CAPABILITY\("[a-z]+"\) )?([A-Za-z_]+).*/\4/p
  s/.*\b(FSYS|PLATFORM)_EXPORT .*\b([A-Za-z_]+)(\(.*|;)$/\2/p' "$root"/include/fsys/*.h "$root"/platform/*.h)

shown=$(nm -D --defined-only --format=posix "$library" | sed 's/[ @].*//' | sort -u)
[ -n "$shown" ] || { echo "$library shows no symbol"; exit 1; }

strangers=$(printf '%s\n' "$shown" | grep -v '^FSYS_1$' | c++filt | awk -v marked="$marked" '
  BEGIN { n = split(marked, names, "\n"); for (i = 1; i <= n; ++i) known[names[i]] = 1 }
  {
    whole = $0
    if ($0 ~ /^operator (new|delete)(\[\])?\(/) { ++operators; next }
    sub(/^(vtable for|typeinfo name for|typeinfo for|VTT for|guard variable for|non-virtual thunk to|virtual thunk to|construction vtable for|covariant return thunk to) /, "")
    sub(/-in-.*/, "")
    sub(/\(.*/, "")
    n = split($0, part, "::")
    at = 1
    while (at < n && (part[at] == "Qv" || part[at] == "Shutdown" || part[at] == "OsAtomics")) ++at
    if (!(part[at] in known)) print whole
  }
  END { if (operators < 8) print "operator new or delete: only " operators + 0 " forms" }')
if [ -n "$strangers" ]; then
  echo "shown without being marked in an installed header:"
  printf '%s\n' "$strangers"
  status=1
fi

others=$(printf '%s\n' "$shown" | c++filt | grep -E '\bstd::.*::|^std::|__gnu_cxx|Loki|tbb|io_uring|mnt_|nlohmann|CLI::' | grep -v '^operator ' |
  grep -vE '^[A-Za-z:~]+\(' || true)
if [ -n "$others" ]; then
  echo "shown, but not ours:"
  printf '%s\n' "$others"
  status=1
fi

soname=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
[ "$soname" = libfsys.so.1 ] || { echo "SONAME is '$soname'"; status=1; }
[ "$status" = 0 ] && echo "$(printf '%s\n' "$shown" | wc -l) symbols, all marked"
exit "$status"
