#!/usr/bin/env bash
# Compares what programs that are linked with a library rely on (its symbols, and the types in its
# public headers: sizes, places of members, order of virtual functions) with the baseline, or takes
# the library as it is now for the baseline. The library must have its debug information.
# Usage: abi.sh check|renew LIBRARY HEADERS BASELINE.abi.gz
# Any difference is a failure: one that breaks programs needs another SONAME, or must go; another one
# belongs in the baseline.
set -euo pipefail
action=$1
library=$2
headers=$3
baseline=$4
here=$(readlink -f "$(dirname "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

abidw --headers-dir "$headers" --drop-private-types --suppressions "$here/abi/libfsys.abignore" \
  --drop-undefined-syms --no-elf-needed --no-corpus-path --no-comp-dir-path --no-show-locs \
  --no-parameter-names --no-write-default-sizes --type-id-style hash --out-file "$work/now.abi" "$library"
grep -q '<abi-instr' "$work/now.abi" || { echo "$library has no debug information"; exit 1; }
# Of a class of the headers that is only declared no change would be seen.
undescribed=$(comm -12 <(
  sed -nE "s/.*<class-decl name='([A-Za-z0-9_]+)'.*is-declaration-only.*/\1/p" "$work/now.abi" | sort -u) <(
  grep -rhE '^(class|struct) [^;]*\{' "$headers" | sed -E 's/ *(:|\{).*//; s/ final$//; s/.* //' | sort -u))
if [ -n "$undescribed" ]; then
  echo "the debug information only declares these: $(xargs <<<"$undescribed")"
  exit 1
fi

# Bits: 1 and 2 it could not compare, 4 something differs, 8 programs break.
code=0
if [ -e "$baseline" ]; then
  gzip -dc "$baseline" >"$work/then.abi"
  abidiff "$work/then.abi" "$work/now.abi" || code=$?
elif [ "$action" = check ]; then
  echo "there is no $baseline"
  exit 1
fi
if [ $((code & 3)) != 0 ]; then
  echo "abidiff could not compare them: $code"
  exit 1
fi
case $action in
  renew)
    gzip -9n <"$work/now.abi" >"$baseline"
    echo "$baseline is the library as it is now: $(stat -c %s "$baseline") bytes"
    ;;
  check)
    if [ $((code & 8)) != 0 ]; then
      echo "programs that were linked with the baseline would break"
      exit 1
    elif [ "$code" != 0 ]; then
      echo "it differs from the baseline; if that is meant to be: ./run abi renew"
      exit 1
    fi
    echo "$(grep -c '<elf-symbol' "$work/now.abi") symbols and the types behind them are those of the baseline"
    ;;
  *) echo "neither check nor renew: $action"; exit 2 ;;
esac
