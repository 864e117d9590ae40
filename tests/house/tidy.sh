#!/usr/bin/env bash
# The rules of the house that a script can check; says each place where one is broken.
# Usage: tidy.sh ROOT [COMPILE_COMMANDS]
#
#   includes    who may include what, and which subsystem may call which
#   built       every test file is built by some target
#   size        files and functions stay readable
#   words       no left-overs, no sleeping and no empty tests
#   contracts   every exported class of a public header says what it promises
set -euo pipefail
cd "$1"
commands=${2:-}
here=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")")
problems=$(mktemp)
trap 'rm -f "$problems"' EXIT

files() {
  find . \( -name build -o -name .git \) -prune -o -type f \( "$@" \) -print |
    sed 's|^\./||' | sort
}

# file:line include
files -name '*.cpp' -o -name '*.h' | xargs -r grep -HnE '^[[:space:]]*#[[:space:]]*include' |
  sed -E 's/^([^:]+):([0-9]+):[[:space:]]*#[[:space:]]*include[[:space:]]*/\1 \2 /' |
  awk -f "$here/tidy_includes.awk" >>"$problems" || true

# The calls that cross subsystems.
calls() {
  local class=$1 allowed=$2
  shift 2
  files "$@" | { grep -E '^fsys/' || true; } | xargs -r grep -nHE "\\b$class::[A-Za-z_]+" |
    grep -vE ":[[:space:]]*//" | grep -vE "$class::($allowed)\\b" |
    sed "s/\$/   [only $class::$allowed may be called from here]/" >>"$problems" || true
}
engine=(-name 'Fsys.cpp' -o -name 'FsysFile*.cpp' -o -name 'FsysFunctions.cpp' -o -name 'FsysBuf*.cpp'
  -o -name 'FsysPoll*.cpp' -o -name 'FileRequest*.cpp' -o -name 'SyncFileRequest.cpp'
  -o -name 'IoCompletion*.cpp' -o -name 'CompletionInfo.cpp' -o -name 'ServedTransfer.cpp'
  -o -name 'CloseTask.cpp' -o -name 'DeliveryScope.cpp' -o -name 'HeapOperators.cpp'
  -o -name 'EngineSettings.cpp' -o -name '*Mem*.cpp')
calls DiskManager getVolume "${engine[@]}"
calls MaterialLink getLinkedFilename "${engine[@]}"
calls SystemCache 'addMediaLocation|removeMediaLocation' -name 'DiskManager*.cpp' -o -name 'MediaDrive*.cpp'

if [ -n "$commands" ]; then
  files -path './tests/*.cpp' | { grep -v '^tests/house/' || true; } | while IFS= read -r file; do
    grep -qF "\"file\": \"$PWD/$file\"" "$commands" || echo "$file: built by no target"
  done >>"$problems"
fi

files -name '*.cpp' -o -name '*.h' -o -name '*.sh' | xargs -r awk '
  FNR == 1 { if (lines > 500) print name ": " lines " lines; 500 are enough"; name = FILENAME }
  { lines = FNR }
  END { if (lines > 500) print name ": " lines " lines; 500 are enough" }' >>"$problems"

files -name '*.cpp' -o -name '*.h' | xargs -r awk '
  length($0) > 100 { print FILENAME ":" FNR ": " length($0) " columns; 100 are enough" }' >>"$problems"

files -name '*.cpp' -o -name '*.h' | xargs -r awk -f "$here/tidy_functions.awk" >>"$problems"

# The words are written so that this file does not hold them.
words='\b(TO''DO|FIX''ME|XX''X|HA''CK)\b|sleep''_for|DISABLED''_|(EXPECT|ASSERT)_TRUE\(true\)|GTEST_SKIP\(\) *;'
files -name '*.cpp' -o -name '*.h' -o -name '*.sh' -o -name '*.txt' -o -name '*.md' -o -name '*.cmake' -o -name run |
  xargs -r grep -nHE "$words" | sed 's/$/   [a word that must not stay]/' >>"$problems" || true

files -path './include/fsys/*.h' | xargs -r awk '
  FNR == 1 { block = "" }
  /^\/\// { block = block "\n" $0; next }
  /^(class|struct) FSYS_EXPORT [A-Za-z]+/ && !/;$/ {
    if (index(block, "\n// " $3 ": ") == 0)
      print FILENAME ":" FNR ": no comment begins with \"// " $3 ":\""
    else if (block !~ /\n\/\/ (Story|Threads|Ownership|Units|Errors|States|Kept) /)
      print FILENAME ":" FNR ": " $3 " says nothing of threads, ownership, units or errors"
  }
  !/^template/ { block = "" }' >>"$problems"

if [ -s "$problems" ]; then
  cat "$problems"
  echo "$(wc -l <"$problems") places break a rule of the house"
  exit 1
fi
echo "the house is tidy"
