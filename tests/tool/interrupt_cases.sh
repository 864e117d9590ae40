# shellcheck shell=bash disable=SC2154
# Ctrl-C and its like. Sourced by tool_test.sh.

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

case_interrupting_a_verify_removes_the_file_that_it_was_making() {
  start verify target --size 100G --json >out 2>err </dev/null &
  local tool=$!
  until_true '[ -s target ]'
  kill -INT "$tool"
  wait "$tool"
  [ $? = 130 ] || { cat out err; fail "another exit code"; }
  is error.kind interrupted
  grep -q "the unfinished file was removed" out || { cat out; fail "not a word of it"; }
  [ ! -e target ] || fail "the file is there"
}

case_a_terminal_that_goes_away_ends_a_copy_in_order() {
  truncate -s 100G source
  start copy source target >out 2>err </dev/null &
  local tool=$!
  until_true 'compgen -G ".fsys-*.part" >/dev/null'
  kill -HUP "$tool"
  wait "$tool"
  [ $? = 129 ] || { cat err; fail "another exit code"; }
  says "interrupted"
  [ ! -e target ] || fail "a half copy is there"
  no_leftovers
}

case_a_second_signal_ends_the_process_at_once() {
  # Nobody takes what it says on standard error: it cannot come to its orderly end.
  mkfifo words
  exec 4<>words
  python3 -c 'import os
pipe = os.open("words", os.O_WRONLY | os.O_NONBLOCK)
try:
  while True: os.write(pipe, b"x")
except BlockingIOError: pass'
  truncate -s 100G source
  start copy source target >out 2>words </dev/null &
  local tool=$!
  until_true 'compgen -G ".fsys-*.part" >/dev/null'
  kill -INT "$tool"
  until_true '! compgen -G ".fsys-*.part" >/dev/null'
  kill -0 "$tool" || fail "it ended although nobody took its words"
  # Another one than the first.
  kill -TERM "$tool"
  wait "$tool"
  [ $? = 143 ] || fail "another exit code"
  exec 4<&-
}
