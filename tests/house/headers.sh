#!/usr/bin/env bash
# Every header compiles alone: it includes what it uses. Usage: headers.sh COMPILER [ROOT [FLAG...]]
set -euo pipefail
compiler=$1
root=${2:-$(readlink -f "$(dirname "$0")/../..")}
shift $(($# < 2 ? $# : 2))
cd "$root"

if [ -d include ]; then
  headers=$( (cd include && find fsys -name "*.h"); find platform fsys -name "*.h")
  flags=(-I. -Iinclude $(pkg-config --cflags liburing mount))
else
  headers=$(find fsys platform -name '*.h')
  flags=(-I.)
fi
flags+=(-x c++ -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow -Werror "$@")
if [[ $compiler == *clang* ]]; then flags+=(-Wthread-safety); fi

[ -n "$headers" ]
export compiler
printf '%s\n' "$headers" | sort -u | xargs -P "$(nproc)" -I{} bash -c '
  printf "#include \"%s\"\n" "$1" | "$compiler" "${@:2}" - || { echo "$1 does not compile alone"; exit 1; }
  ' _ {} "${flags[@]}"
echo "$(printf '%s\n' "$headers" | sort -u | wc -l) headers compile alone with $compiler"
