#!/usr/bin/env bash
# symbols.sh finds what is shown without a mark and what is marked without being shown: the headers
# are changed, each time in one place. Usage: symbols_test.sh LIBRARY ROOT
set -euo pipefail
library=$1
root=$2
here=$(readlink -f "$(dirname "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

fresh_headers() {
  rm -rf "$work/tree"
  mkdir -p "$work/tree/include/fsys" "$work/tree/platform"
  cp "$root"/include/fsys/*.h "$work/tree/include/fsys/"
  cp "$root"/platform/*.h "$work/tree/platform/"
}
# finds WHAT NAME: symbols.sh fails, and names it.
finds() {
  local said
  if said=$("$here/symbols.sh" "$library" "$work/tree" 2>&1); then
    echo "not found: $1"
    status=1
  elif [[ $said != *"$2"* ]]; then
    printf 'found, but not named: %s\n%s\n' "$1" "$said"
    status=1
  fi
}

fresh_headers
"$here/symbols.sh" "$library" "$work/tree" >/dev/null || { echo "the headers as they are fail"; status=1; }
echo 'class FSYS_EXPORT NotThere {' >>"$work/tree/include/fsys/Fsys.h"
finds "a marked class that is not shown" "NotThere: marked"
fresh_headers
echo 'PLATFORM_EXPORT int notThere(int number);' >>"$work/tree/platform/OS.h"
finds "a marked function that is not shown" "notThere: marked"
fresh_headers
echo 'extern FSYS_EXPORT int NotThere;' >>"$work/tree/include/fsys/Fsys.h"
finds "a marked global that is not shown" "NotThere: marked"
fresh_headers
sed -i 's/class FSYS_EXPORT FsysBuf /class FsysBuf /' "$work/tree/include/fsys/FsysBuf.h"
finds "a class that is shown without a mark" "FsysBuf::"
[ "$status" = 0 ] && echo "every difference is found"
exit "$status"
