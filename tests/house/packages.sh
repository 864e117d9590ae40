#!/usr/bin/env bash
# The Debian packages fit together and serve: they are unpacked into a folder as into a system, a
# consumer is built from that, and the tool runs. Installs nothing, and needs no root.
# Usage: packages.sh FOLDER CMAKE COMPILER
set -euo pipefail
folder=$(readlink -f "$1")
cmake=$2
compiler=$3
here=$(readlink -f "$(dirname "$0")")
root=$(dirname "$(dirname "$here")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0
complain() { echo "$*"; status=1; }

nowhere=("$root" "$work/system")
# shellcheck source=tests/house/consume.sh
source "$here/consume.sh"

packages=()
for name in libfsys1 libfsys-dev fsys-tools; do packages+=("$folder/${name}"_*.deb); done
# No file is in two of them.
for package in "${packages[@]}"; do
  dpkg-deb -x "$package" "$work/system"
  dpkg-deb -c "$package" | awk '!/\/$/ { print $6 }'
done | sort | uniq -d | { ! grep . ; } || complain "the files above are in two packages"
# Each has its symbols beside it, where there is anything to debug.
for name in libfsys1 fsys-tools; do
  compgen -G "$folder/$name-dbgsym_*.deb" >/dev/null || complain "there is no $name-dbgsym"
done
# The system's own packages have what they need; nothing is installed.
if command -v apt-get >/dev/null; then
  apt-get install --simulate -q --no-install-recommends "${packages[@]}" >"$work/apt" 2>&1 ||
    { cat "$work/apt"; complain "they cannot be installed"; }
fi

usr=$work/system/usr
libdir=$(dirname "$(find "$usr/lib" -name libfsys.so)")
[ "$(basename "$libdir")" = "$(dpkg-architecture -qDEB_HOST_MULTIARCH)" ] ||
  complain "the library lies in $libdir"
"$here/symbols.sh" "$libdir/libfsys.so" "$root" || status=1
consume "$usr" packaged

version=$(sed -n 's/.*fsys VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
said=$(LD_LIBRARY_PATH=$libdir "$usr/bin/fsys" --version 2>&1 || true)
[ "$said" = "fsys $version" ] || complain "fsys --version says: $said"
! readelf -d "$usr/bin/fsys" | grep -E 'RPATH|RUNPATH' || complain "the tool looks for the library elsewhere"
zcat "$usr/share/man/man1/fsys.1.gz" | cmp - "$root/tools/fsys.1" || complain "another manual page"
cmp "$usr/share/bash-completion/completions/fsys" "$root/tools/fsys.bash" || complain "another completion"
for name in libfsys1 libfsys-dev fsys-tools; do
  for file in copyright changelog.gz CHANGELOG.md; do
    [ -s "$usr/share/doc/$name/$file" ] || complain "$name has no $file"
  done
done
for name in libfsys-dev fsys-tools; do
  [ -s "$usr/share/doc/$name/README.md.gz" ] || complain "$name has no README.md"
done
[ "$status" = 0 ] && echo "the packages of version $version serve"
exit "$status"
