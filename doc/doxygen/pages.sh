#!/usr/bin/env bash
# Makes the pages of the public headers, and of the texts beside them, in build/docs/html. Every warning
# is a failure, but that a member of a class has no comment: what its name says needs none.
# Usage: pages.sh [COMPILER]
set -euo pipefail
cd "$(readlink -f "$(dirname "$0")/../..")"
compiler=${1:-g++}
out=build/docs
log=$out/doxygen.log
texts=(README.md CONTRIBUTING.md CHANGELOG.md doc/*.md examples/README.md)

# What is installed: these, and what they include.
headers=$(printf '#include "%s"\n' include/fsys/*.h platform/{OS,Log,PathHelpers,DriveErrand}.h |
  "$compiler" -std=c++20 -I. -Iinclude -MM -x c++ - | tr ' ' '\n' | sed -nE '/\.h$/p' | sort -u)
[ -n "$headers" ]

rm -rf "$out"
mkdir -p "$out"
{
  cat doc/doxygen/Doxyfile
  echo "PROJECT_NUMBER = $(sed -nE 's/^project\(fsys VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)"
  echo "OUTPUT_DIRECTORY = $out"
  echo 'FILTER_PATTERNS = "*.h=python3 doc/doxygen/filter.py" "*.md=python3 doc/doxygen/filter.py"'
  echo "INPUT = ${texts[*]} $(xargs <<<"$headers")"
} | doxygen - >"$log" 2>&1 || { cat "$log"; exit 1; }

unsaid='warning: Member .* \((function|variable|typedef)\) of (class|struct) .* is not documented\.$'
unsaid+='|platform/ThreadAnnotations\.h:[0-9]+: warning: Member .* \(macro definition\) of file'
if grep -vE "$unsaid" "$log"; then
  echo "$(grep -cvE "$unsaid" "$log") warnings"
  exit 1
fi
echo "$(wc -l <<<"$headers") headers in $out/html/index.html; $(wc -l <"$log") members have names alone"
