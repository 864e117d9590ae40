# shellcheck shell=bash disable=SC2154
# The n-th system call of a kind fails. Sourced by tool_test.sh.

case_a_gathered_block_is_not_counted_when_the_write_that_sends_it_fails() {
  may_trace
  random_file whole 300001
  head -c 5000 whole >target
  # Three blocks are gathered; the fourth sends them all, once, when the drive is full.
  inject pwrite64:error=ENOSPC:when=1 write target --block 40000 --json < <(tail -c +5001 whole)
  was_injected || fail "no write failed"
  [ "$code" = 5 ] || { cat out; fail "exit code $code"; }
  is bytes 0
  is size 5000
  cmp -n 5000 whole target && [ "$(stat -c %s target)" = 5000 ] || fail "more is left, or less"
}
