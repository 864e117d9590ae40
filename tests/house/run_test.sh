#!/usr/bin/env bash
# ./run knows its commands, refuses others, and every group of packages that it names is listed.
# Usage: run_test.sh ROOT
set -euo pipefail
cd "$1"
list=packaging/debian-packages.txt
status=0
complain() { echo "$*"; status=1; }

bash -n run || complain "run does not parse"
bash -n .ci/run || complain ".ci/run does not parse"
for word in demo test check bench fuzz help; do
  ./run help | grep -q "^  $word" || complain "help does not explain $word"
done
if ./run nonsense >/dev/null 2>&1; then complain "an unknown command was taken"; fi
[[ $(./run nonsense 2>&1 || true) == *'unknown command "nonsense"'* ]] || complain "no word about the unknown command"

# Each line is a heading, a package with its reason, a comment, or empty.
while IFS= read -r line; do
  [[ $line =~ ^(|#.*|\[[a-z]+\]|[a-z0-9.+-]+[[:space:]]+#\ .+)$ ]] || complain "$list: '$line'"
done <"$list"
for group in $(sed -nE 's/^ *(need|install_groups) ([a-z ]+).*/\2/p' run) base; do
  grep -qxF "[$group]" "$list" || complain "run asks for the group '$group', which is not in $list"
done
exit "$status"
