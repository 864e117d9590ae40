#!/usr/bin/env bash
# The README prints the example as it stands in examples/, and it does what the README says.
# Usage: readme.sh PROGRAM ROOT
set -euo pipefail
program=$1
root=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sed -n '/^```cpp$/,/^```$/p' "$root/README.md" | sed '1d;$d' >"$work/printed"
diff "$work/printed" "$root/examples/readme_example.cpp" ||
  { echo "README.md holds another text than examples/readme_example.cpp"; exit 1; }

head -c 100000 /dev/urandom >"$work/media"
"$program" "$work/media" >"$work/out"
cmp "$work/out" <(head -c 64 "$work/media")
"$program" "$work/missing" && { echo "a missing file was no failure"; exit 1; }
echo "the example is printed as it is, and runs"
