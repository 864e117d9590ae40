#!/usr/bin/env bash
# What names the version, its day or the licence says the same everywhere. Usage: release.sh ROOT
set -euo pipefail
cd "$1"
status=0
complain() { echo "$*"; status=1; }
# is WHAT FOUND WANTED
is() { [ "$2" = "$3" ] || complain "$1 is '$2', not '$3'"; }

version=$(sed -nE 's/^project\(fsys VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
[ -n "$version" ] || complain "CMakeLists.txt names no version"
head=$(grep -m1 '^## ' CHANGELOG.md || true)
is "the newest version of CHANGELOG.md" "$(sed -nE 's/^## ([0-9.]+), .*/\1/p' <<<"$head")" "$version"
day=$(sed -nE 's/^## [0-9.]+, ([0-9]{4}-[0-9]{2}-[0-9]{2})$/\1/p' <<<"$head")
[ -n "$day" ] || complain "CHANGELOG.md says no day of its newest version: '$head'"

log=packaging/debian/changelog
is "the newest version of $log" "$(sed -nE '1s/^fsys \(([^)]*)\) .*/\1/p' "$log")" "$version"
stamp=$(sed -nE 's/^ -- .*>  (.*)$/\1/p' "$log" | head -n 1)
is "the day of $log" "$(LC_ALL=C date -u -d "$stamp" +%F 2>&1)" "$day"
is "the version of the manual page" \
  "$(sed -nE 's/^\.TH FSYS 1 "" "fsys ([0-9.]+)" .*/\1/p' tools/fsys.1)" "${version%.*}"
soversion=$(sed -nE 's/.*SOVERSION ([0-9]+).*/\1/p' cmake/Library.cmake)
for package in libfsys"$soversion" libfsys-dev fsys-tools; do
  grep -qx "Package: $package" packaging/debian/control || complain "control has no package $package"
done

# The licence of the packages is the licence, but for how a paragraph ends.
words() { sed -e 's/^ \.$//' | tr -s '[:space:]' ' '; }
is "the licence of the packages" \
  "$(sed -n '/^License: MIT$/,$p' packaging/debian/copyright | sed '1,/^$/d;/^License:/d' | words)" \
  "$(sed '1,/^Copyright/d' LICENSE | words)"
is "who holds the copyright" "$(sed -nE 's/^Copyright: //p' packaging/debian/copyright)" \
  "$(sed -nE 's/^Copyright \(c\) //p' LICENSE)"
[ "$status" = 0 ] && echo "version $version of $day, everywhere"
exit "$status"
