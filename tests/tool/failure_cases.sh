# shellcheck shell=bash disable=SC2154
# Bad input, refusals of the system, and their exit codes. Sourced by tool_test.sh.

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

case_too_many_open_files_have_exit_code_10() {
  command -v prlimit >/dev/null || skip "there is no prlimit"
  is_sanitized && skip "a sanitizer looks at objects through descriptors of its own"
  mkdir work
  random_file one 2000000
  random_file two 2000000
  local files code refused=0
  for files in $(seq 4 40); do
    code=0
    prlimit --nofile="$files" "$fsys" copy one two work --force >out 2>err </dev/null ||
      code=$?
    grep -q 'cannot open shared object\|error while loading' err && continue
    [ "$code" = 10 ] || [ "$code" = 0 ] || { cat err; fail "$files open files: exit code $code"; }
    no_leftovers
    if [ "$code" = 10 ]; then refused=$((refused + 1)); fi
  done
  [ "$refused" -gt 0 ] || fail "no open file was ever refused"
  [ "$code" = 0 ] || fail "40 open files are not enough"
  same one work/one
}
