#!/usr/bin/env bash
# A consumer is built from the installed tree with CMake and with pkg-config, and runs; then the
# tree is moved and it is done again. Usage: install.sh CMAKE BUILD_FOLDER COMPILER
set -euo pipefail
cmake=$1
build=$2
compiler=$3
here=$(readlink -f "$(dirname "$0")")
root=$(dirname "$(dirname "$here")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

nowhere=("$root" "$build" "$work/first")
# shellcheck source=tests/house/consume.sh
source "$here/consume.sh"

"$cmake" --install "$build" --prefix "$work/first" >"$work/install.log" 2>&1 ||
  { cat "$work/install.log"; exit 1; }
consume "$work/first" installed
"$here/headers.sh" "$compiler" "$work/first/include/fsys-1"
mv "$work/first" "$work/second"
consume "$work/second" moved
if [ -x "$work/second/bin/fsys" ]; then
  "$work/second/bin/fsys" --help >/dev/null
  cmp "$work/second/share/bash-completion/completions/fsys" "$root/tools/fsys.bash"
  echo "the installed tool runs from the moved tree"
fi
