#!/usr/bin/env bash
# What the users of the command line tool see. Usage: tool_test.sh FSYS [CASE...]
# Without a case all of them run. A case that cannot run here says why and ends with 77.
set -uo pipefail

fsys=$(readlink -f "$1")
self=$(readlink -f "$0")
here=$(dirname "$self")
# shellcheck source=tests/support/cases.sh
source "$here/../support/cases.sh"
demo=$(dirname "$(dirname "$here")")/tools/demo.sh
shift

# Runs the tool and keeps what it said; its exit code must be the first argument.
expect() {
  local wanted=$1 code=0
  shift
  "$fsys" "$@" >out 2>err </dev/null || code=$?
  [ "$code" = "$wanted" ] ||
    { cat out err; fail "fsys $*: exit code $code instead of $wanted"; }
}
says() { grep -qF -- "$1" err || { cat err; fail "standard error does not say \"$1\""; }; }
tells() { grep -qF -- "$1" out || { cat out; fail "standard output does not say \"$1\""; }; }
# The value of a key in the JSON that the tool printed.
json() { python3 -c 'import json, sys
value = json.load(open("out"))
for key in sys.argv[1].split("."): value = value[int(key) if key.isdigit() else key]
print(value)' "$1"; }
is() { [ "$(json "$1")" = "$2" ] || { cat out; fail "$1 is $(json "$1") instead of $2"; }; }
random_file() { head -c "$2" /dev/urandom >"$1"; }
# Puts another byte than the one that is there: FILE OFFSET.
flip() {
  local byte
  byte=$(od -An -tu1 -j "$2" -N 1 "$1")
  # shellcheck disable=SC2059  # the format is the byte
  printf "\\x$(printf %x $((byte ^ 0xA5)))" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none
}
# The tool in the background, where a shell would have it ignore Ctrl-C.
start() { exec env --default-signal=INT "$fsys" "$@"; }
no_leftovers() {
  local left
  left=$(find . -name '.fsys-*')
  [ -z "$left" ] || fail "left behind: $left"
}
# How often something is tried: the first in the suite, the second with FSYS_SOAK=1.
turns() { case ${FSYS_SOAK:-0} in 0*) echo "$1" ;; *) echo "$2" ;; esac; }
# For cases that make system calls of the tool fail.
may_trace() {
  is_sanitized && skip "a sanitizer's own calls would fail, and it cannot look for leaks"
  command -v strace >/dev/null || skip "there is no strace"
  strace -o trace true 2>err || skip "tracing is not allowed here: $(head -n 1 err)"
}
# Runs the tool with system calls that fail: CALLS:error=...:when=..., then its arguments. Each of
# its threads counts its own calls. Leaves what it said, `code` and the calls that failed; one that
# takes longer than ten seconds (or `patience`) has code 137. `quickly`: where it makes many calls,
# --seccomp-bpf has it stop at those alone, and cannot send it a signal then.
inject() {
  local calls=$1
  shift
  code=0
  timeout -s KILL "${patience:-10}" strace -f ${quickly:+"$quickly"} -qq -o trace -e "trace=${calls%%:*}" -e "inject=$calls" \
    "$fsys" "$@" >out 2>err || code=$?
}
was_injected() { grep -F '(INJECTED)' trace >/dev/null; }
# Has the case go on in a mount namespace and a folder of its own. Said first.
in_own_namespace() {
  local case=${FUNCNAME[1]#case_}
  [ "${own_namespace:-}" = "$case" ] && return
  is_root || skip "mounting needs root"
  unshare -m --propagation private true 2>err || skip "no mount namespaces here: $(head -n 1 err)"
  own_namespace=$case exec unshare -m --propagation private "$self" "$fsys" "$case"
}
# Mounts a drive in a file, as a fixed disk is, or one in memory, on a folder; there only.
mount_disk() {
  mkdir "$1" && truncate -s 8M "$1.image" && mkfs.ext4 -q "$1.image" 2>err &&
    mount -o loop "$1.image" "$1" 2>err || skip "no drive in a file here: $(head -n 1 err)"
  mounted+=("$PWD/$1")
  trap unmount_all EXIT
}
mount_memory() {
  mkdir -p "$1" && mount -t tmpfs -o size="${2:-1M}" memory "$1" 2>err ||
    skip "mounting is not allowed here: $(head -n 1 err)"
  mounted+=("$PWD/$1")
  trap unmount_all EXIT
}
unmount_all() {
  local number
  for ((number = ${#mounted[@]} - 1; number >= 0; --number)); do umount -l "${mounted[number]}"; done
}
mounted=()

for file in "$here"/*_cases.sh; do
  # shellcheck source=/dev/null
  source "$file"
done

if [ $# = 0 ]; then
  mapfile -t names < <(grep -ohE '^case_[a-z0-9_]+' "$here"/*_cases.sh | sed 's/^case_//')
  failed=0
  for name in "${names[@]}"; do
    code=0
    output=$(timeout 120 "$self" "$fsys" "$name" 2>&1) || code=$?
    case $code in
      0) echo "passed   $name" ;;
      77) echo "$name: $output" ;;
      *) echo "FAILED   $name"; echo "$output"; failed=$((failed + 1)) ;;
    esac
  done
  echo "$failed failed"
  [ "$failed" = 0 ]
  exit
fi
for name in "$@"; do
  folder=$(mktemp -d "${TMPDIR:-/tmp}/fsys-tool.XXXXXX")
  # Neither settings nor lists of whoever runs this.
  export XDG_CONFIG_HOME="$folder/.config" XDG_STATE_HOME="$folder/.state"
  unset FSYS_PROJECT
  (cd "$folder" && "case_$name")
  code=$?
  rm -rf "$folder"
  [ "$code" = 0 ] || exit "$code"
done
