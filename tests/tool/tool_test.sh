#!/usr/bin/env bash
# What the users of the command line tool see. Usage: tool_test.sh FSYS [CASE...]
# Without a case all of them run. A case that cannot run here says why and ends with 77.
set -uo pipefail

fsys=$(readlink -f "$1")
self=$(readlink -f "$0")
demo=$(dirname "$(dirname "$(dirname "$self")")")/tools/demo.sh
shift

fail() { echo "FAILED: $*"; exit 1; }
skip() { echo "skipped: $*"; exit 77; }

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
same() { cmp -- "$1" "$2" || fail "$1 and $2 differ"; }
# The value of a key in the JSON that the tool printed.
json() { python3 -c 'import json, sys
value = json.load(open("out"))
for key in sys.argv[1].split("."): value = value[key]
print(value)' "$1"; }
is() { [ "$(json "$1")" = "$2" ] || { cat out; fail "$1 is $(json "$1") instead of $2"; }; }
random_file() { head -c "$2" /dev/urandom >"$1"; }
# The tool in the background, where a shell would have it ignore Ctrl-C.
start() { exec env --default-signal=INT "$fsys" "$@"; }
no_leftovers() {
  local left
  left=$(find . -name '.fsys-*')
  [ -z "$left" ] || fail "left behind: $left"
}
is_root() { [ "$(id -u)" = 0 ]; }
# Until a condition holds, at most ten seconds.
until_true() {
  local tries
  for tries in $(seq 200); do
    if eval "$1"; then return 0; fi
    sleep 0.05
  done
  fail "never came true: $1"
}

# Reading ------------------------------------------------------------------------------------------

case_reading_gives_every_byte_whatever_the_block() {
  random_file source 3000017
  local block
  for block in 511 4096 65537 1M 16M; do
    "$fsys" read source --block "$block" --inflight 5 --to - >copy 2>/dev/null || fail "block $block"
    same source copy
  done
}

case_reading_to_a_file_refuses_an_existing_one_without_force() {
  random_file source 100000
  echo precious >target
  expect 8 read source --to target
  says '"target"'
  [ "$(cat target)" = precious ] || fail "the file was touched"
  expect 0 read source --to target --force
  same source target
  no_leftovers
}

case_reading_says_its_figures_in_json() {
  random_file source 1000000
  expect 0 read source --block 100000 --repeat 3 --json
  is ok True
  is bytes 3000000
  is reads 30
  json mb_per_s >/dev/null && json p50_ms >/dev/null && json p99_ms >/dev/null &&
    json worst_ms >/dev/null && json cache_hits >/dev/null || fail "a figure is missing"
}

case_reading_the_same_small_file_again_hits_the_cache() {
  random_file source 65536
  expect 0 read source --block 65536 --inflight 1 --repeat 20 --json
  is reads 20
  # The first answer may still be on its way out when the second question comes.
  [ "$(json cache_hits)" -ge 10 ] || fail "only $(json cache_hits) hits"
}

case_reading_an_empty_file_gives_nothing() {
  : >source
  expect 0 read source --json
  is bytes 0
  is reads 0
}

case_reading_many_large_blocks_keeps_memory_bounded() {
  ! nm -D "$fsys" 2>/dev/null | grep -qE '__asan_init|__tsan_init' || skip "a sanitizer needs more"
  truncate -s 3G source
  ( ulimit -v 2000000; "$fsys" read source --block 64M --inflight 4 >out 2>err </dev/null ) ||
    { cat err; fail "reading 3 GiB in blocks of 64 MiB needs more than 2 GB"; }
}

# Writing ------------------------------------------------------------------------------------------

case_writing_standard_input_in_unaligned_blocks_is_right() {
  random_file source 2500003
  local block
  for block in 1000 4096 65537 1M; do
    "$fsys" write copy --truncate --block "$block" <source >out 2>err || fail "block $block"
    same source copy
  done
}

case_writing_onto_an_existing_file_continues_and_says_so() {
  random_file source 10001
  cp source copy
  "$fsys" write copy <source >out 2>err || fail "$(cat err)"
  tells "continues at its end"
  cat source source >wanted
  same wanted copy
}

case_truncate_begins_anew() {
  random_file source 10001
  random_file copy 99999
  "$fsys" write copy --truncate <source >out 2>err || fail "$(cat err)"
  same source copy
}

case_a_pattern_that_was_written_is_verified() {
  expect 0 write target --pattern --size 1000003 --seed 9 --block 4096
  expect 0 verify target --check-only --seed 9
  expect 7 verify target --check-only --seed 8
  says "offset 16"
  says "seed 9"
}

case_a_small_file_has_exactly_its_bytes() {
  printf x >source
  "$fsys" write copy --json <source >out 2>err || fail "$(cat err)"
  is size 1
  is padding 0
  same source copy
}

case_writing_beyond_the_size_limit_keeps_what_is_good_and_says_it() {
  ( ulimit -f 2048; trap '' XFSZ
    exec "$fsys" write target --pattern --size 8M --seed 1 --block 256K ) >out 2>err </dev/null
  [ $? = 6 ] || fail "the exit code is another"
  says '"target"'
  says "were written"
  "$fsys" verify target --check-only --seed 1 >out 2>err || fail "what is there is wrong: $(cat err)"
}

# Copying ------------------------------------------------------------------------------------------

case_copying_into_a_folder_and_to_a_name() {
  random_file one 1000001
  random_file two 70000
  : >empty
  mkdir folder
  expect 0 copy one two empty folder
  same one folder/one
  same two folder/two
  same empty folder/empty
  expect 0 copy one three
  same one three
  no_leftovers
}

case_copying_refuses_what_exists_and_force_replaces_it() {
  random_file source 5000
  echo precious >target
  expect 8 copy source target
  [ "$(cat target)" = precious ] || fail "the file was touched"
  expect 0 copy source target --force
  same source target
  expect 8 copy source source --force
  says "same file"
  no_leftovers
}

case_copying_keeps_the_permissions() {
  random_file source 5000
  chmod 640 source
  expect 0 copy source target
  [ "$(stat -c %a target)" = 640 ] || fail "mode $(stat -c %a target)"
}

case_several_sources_need_a_folder() {
  random_file one 10
  random_file two 10
  expect 2 copy one two three
  says '"three"'
}

# Verifying ----------------------------------------------------------------------------------------

case_verify_names_the_first_bad_offset() {
  expect 0 verify target --size 5M --seed 77
  printf 'Z' | dd of=target bs=1 seek=3333333 conv=notrunc status=none
  expect 7 verify target --check-only --seed 77 --json
  is first_bad_offset 3333333
  is error.kind verification
}

case_verify_says_what_lies_in_the_wrong_place() {
  expect 0 verify target --size 64K --seed 5
  dd if=target of=target bs=512 count=1 skip=100 seek=7 conv=notrunc status=none
  expect 7 verify target --check-only --seed 5
  says "offset 3593"
  says "stamped for offset 51200"
  dd if=/dev/zero of=target bs=512 count=1 seek=3 conv=notrunc status=none
  expect 7 verify target --check-only --seed 5
  says "zeros"
}

case_verify_finds_a_wrong_length() {
  expect 0 verify target --size 70000 --seed 5
  expect 7 verify target --check-only --seed 5 --size 70001
  says "70000"
}

case_verify_refuses_a_file_that_exists() {
  echo precious >target
  expect 8 verify target --size 4K
  [ "$(cat target)" = precious ] || fail "the file was touched"
  expect 0 verify target --size 4K --force --remove
  [ ! -e target ] || fail "the file is still there"
}

# Bad input ----------------------------------------------------------------------------------------

case_usage_errors_have_exit_code_2() {
  : >source
  expect 2
  expect 2 nonsense
  expect 2 read
  expect 2 read source --block 12Q
  expect 2 read source --block 0
  expect 2 read source --block 1T
  expect 2 read source --inflight 0
  expect 2 read source --inflight 99
  expect 2 read source --to - --repeat 2
  expect 2 write target --pattern
  expect 2 read ""
  expect 2 read source --block 99999999999999999999 --json
  is error.kind usage
}

case_a_missing_file_has_exit_code_3() {
  expect 3 read missing
  says 'opening "missing"'
  expect 3 copy missing target
  expect 3 verify missing --check-only
  expect 3 doctor missing
  expect 3 write nofolder/target --pattern --size 5
  expect 3 read missing --json
  is error.exit_code 3
  is error.file missing
}

case_a_file_that_may_not_be_read_has_exit_code_4() {
  random_file source 100
  chmod 0 source
  if is_root; then
    command -v setpriv >/dev/null || skip "root reads everything, and there is no setpriv"
    chmod 755 .
    setpriv --reuid 65534 --clear-groups "$fsys" read source >out 2>err </dev/null
    code=$?
    grep -q 'cannot open shared object\|setpriv: failed' err && skip "nobody cannot run the tool"
    [ "$code" = 126 ] || [ "$code" = 127 ] && skip "nobody cannot run the tool"
    [ "$code" = 4 ] || { cat err; fail "exit code $code instead of 4"; }
  else
    expect 4 read source
  fi
  says '"source"'
}

case_folders_fifos_and_devices_have_exit_code_9() {
  mkdir folder
  mkfifo fifo
  local name
  for name in folder fifo /dev/null; do
    expect 9 read "$name"
    says "\"$name\""
    expect 9 copy "$name" target
    expect 9 write "$name" --pattern --size 512
    expect 9 verify "$name" --size 512 --force
  done
  [ -d folder ] && [ -p fifo ] && [ -c /dev/null ] || fail "something was replaced"
}

case_names_of_any_bytes_work() {
  local name=$'a\xff\xfe b\nc'
  random_file source 12345
  expect 0 copy source "$name"
  same source "$name"
  "$fsys" read "$name" --to - >copy 2>err || fail "$(cat err)"
  same source copy
  expect 8 copy source "$name"
  says '\xFF\xFE b\x0A'
  expect 0 read "$name" --json
  is file_bytes '"a\xFF\xFE b\x0Ac"'
  cp source mem:file
  expect 0 read mem:file
  cp source -- -dash
  expect 0 read -- -dash
}

case_a_full_drive_has_exit_code_5_and_leaves_nothing_half_done() {
  is_root || skip "mounting a small drive needs root"
  mkdir small
  mount -t tmpfs -o size=4M none small 2>/dev/null || skip "mounting is not allowed here"
  trap 'umount -l small' EXIT
  random_file source 6000000
  expect 5 copy source small/copy
  [ -z "$(ls -A small)" ] || fail "left behind: $(ls -A small)"
  expect 5 verify small/file --size 6M
  [ -z "$(ls -A small)" ] || fail "left behind: $(ls -A small)"
  expect 5 write small/file --pattern --size 6M --seed 3
  says '"small/file"'
  expect 0 verify small/file --check-only --seed 3
  rm small/file
  expect 5 write small/file --pattern --size 6000001 --seed 3 --block 1000
  expect 0 verify small/file --check-only --seed 3
}

case_a_read_only_drive_has_exit_code_4() {
  is_root || skip "mounting a drive needs root"
  mkdir small
  mount -t tmpfs -o size=4M none small 2>/dev/null || skip "mounting is not allowed here"
  trap 'umount -l small' EXIT
  random_file source 1000
  cp source small/file
  mount -o remount,ro small
  expect 4 copy source small/copy
  expect 4 write small/file --pattern --size 512
  expect 0 read small/file
}

case_a_closed_standard_output_is_an_error() {
  [ -c /dev/full ] || skip "there is no /dev/full"
  random_file source 3000000
  "$fsys" read source --to - >/dev/full 2>err
  [ $? = 5 ] || fail "a full standard output: another exit code"
  "$fsys" read source --to - 2>err | head -c 10 >/dev/null
  [ "${PIPESTATUS[0]}" = 6 ] || fail "a reader that went away: exit code ${PIPESTATUS[0]}"
  "$fsys" read source --to copy >&- 2>&- || fail "closed descriptors"
  same source copy
}

# The end ------------------------------------------------------------------------------------------

case_interrupting_a_write_keeps_whole_blocks_and_says_how_many() {
  mkfifo input
  start write target --block 4096 <input >out 2>err &
  local tool=$!
  exec 3>input
  head -c 10000 /dev/zero >&3
  until_true '[ "$(stat -c %s target 2>/dev/null || echo 0)" -ge 8192 ]'
  kill -INT "$tool"
  wait "$tool"
  [ $? = 130 ] || { cat err; fail "another exit code"; }
  exec 3>&-
  says "interrupted"
  says "8.00 KiB were written"
  [ "$(stat -c %s target)" = 8192 ] || fail "the file has $(stat -c %s target) bytes"
}

case_interrupting_before_anything_was_written_leaves_no_file() {
  mkfifo input
  start write target <input >out 2>err &
  local tool=$!
  exec 3>input
  until_true '[ -e target ]'
  kill -TERM "$tool"
  wait "$tool"
  [ $? = 143 ] || { cat err; fail "another exit code"; }
  exec 3>&-
  [ ! -e target ] || fail "the file is there"
}

case_interrupting_a_copy_leaves_nothing() {
  truncate -s 100G source
  start copy source target --json >out 2>err </dev/null &
  local tool=$!
  until_true 'compgen -G ".fsys-*.part" >/dev/null && [ -s "$(compgen -G ".fsys-*.part")" ]'
  kill -INT "$tool"
  wait "$tool"
  [ $? = 130 ] || { cat out err; fail "another exit code"; }
  is error.kind interrupted
  [ ! -e target ] || fail "a half copy is there"
  no_leftovers
}

case_interrupting_a_read_to_a_file_leaves_nothing() {
  truncate -s 100G source
  start read source --to target >out 2>err </dev/null &
  local tool=$!
  until_true 'compgen -G ".fsys-*.part" >/dev/null && [ -s "$(compgen -G ".fsys-*.part")" ]'
  kill -INT "$tool"
  wait "$tool"
  [ $? = 130 ] || { cat err; fail "another exit code"; }
  says "were read"
  [ ! -e target ] || fail "a half copy is there"
  no_leftovers
}

# Looking ------------------------------------------------------------------------------------------

case_doctor_says_how_files_are_transferred() {
  FSYS_IO=threads expect 0 doctor --json
  is transfers.by threads
  is transfers.why FSYS_IO=threads
  is path.name .
  random_file source 5000
  expect 0 doctor source
  tells "direct transfers"
  tells "RLIMIT_MEMLOCK"
  tells "sectors of"
}

case_every_command_has_help_and_the_manual_page_names_it() {
  local command page
  page=$(dirname "$demo")/fsys.1
  for command in read write copy verify doctor demo; do
    expect 0 "$command" --help
    grep -q "^\.B fsys $command" "$page" || fail "the manual page has no $command"
    grep -oE -- '^ *(-[a-z],)?--[a-z-]+' out | grep -oE -- '--[a-z-]+'  | sort -u | while read -r option; do
      grep -qF -- "${option//-/\\-}" "$page" || { echo "$option"; exit 1; }
    done || fail "the manual page lacks an option of $command"
  done
}

case_the_demo_checks_every_byte_and_leaves_nothing() {
  mkdir media work
  local number
  for number in 1 2 3 4 5; do
    expect 0 verify "media/$number" --size $((2000000 + number)) --seed "$number"
  done
  expect 0 demo --work work --seconds 2.4 media/1 media/2 media/3 media/4 media/5 --json
  is ok True
  [ "$(json checked_bytes)" -ge 20000000 ] || fail "only $(json checked_bytes) bytes were checked"
  [ -z "$(ls -A work)" ] || fail "left behind: $(ls -A work)"
  expect 2 demo --work work media/1 media/2
  expect 3 demo --work work media/1 media/2 media/3 media/4 media/6
  [ -z "$(ls -A work)" ] || fail "left behind: $(ls -A work)"
}

case_the_demo_finds_a_wrong_byte() {
  mkdir media work
  local number
  for number in 1 2 3 4 5; do
    expect 0 verify "media/$number" --size 2M --seed "$number"
  done
  start demo --work work --seconds 3 media/1 media/2 media/3 media/4 media/5 >out 2>err &
  local tool=$!
  until_true '[ -e work/5.recording ]'
  printf Z | dd of=media/1 bs=1 seek=2000000 conv=notrunc status=none
  wait "$tool"
  [ $? = 7 ] || { cat out err; fail "another exit code"; }
  says '"work/1"'
  says "offset 2000000"
  [ -z "$(ls -A work)" ] || fail "left behind: $(ls -A work)"
}

# --------------------------------------------------------------------------------------------------

if [ $# = 0 ]; then
  mapfile -t names < <(grep -oE '^case_[a-z0-9_]+' "$self" | sed 's/^case_//')
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
  (cd "$folder" && "case_$name")
  code=$?
  rm -rf "$folder"
  [ "$code" = 0 ] || exit "$code"
done
