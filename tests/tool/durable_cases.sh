# shellcheck shell=bash disable=SC2154
# What write says of accepted, written and durable bytes. Sourced by tool_test.sh.

# What the report says last of a state.
last_of() { awk -v state="$1" '$1 == state { last = $2 } END { print last + 0 }' out; }
lines_of() { grep -c "^$1 " out || true; }

case_a_flushed_write_reports_each_state_and_ends_durable() {
  random_file source 1000003
  "$fsys" write target --block 100001 --flush-every 300000 --report --quiet <source >out 2>err ||
    fail "$(cat err)"
  same source target
  [ "$(lines_of accepted)" = 10 ] || { cat out; fail "not every block was accepted"; }
  # After each 300003 bytes, and at the end.
  local point wanted=
  for point in 300003 600006 900009 1000003; do
    wanted+="written $point durable $point "
  done
  [ "$(grep -v accepted out | xargs) " = "$wanted" ] || { cat out; fail "other points"; }
  # No state runs ahead of the one before it.
  awk '$1 == "written" && $2 > accepted || $1 == "durable" && $2 > written { exit 1 }
    { if ($1 == "accepted") accepted = $2; if ($1 == "written") written = $2 }' out ||
    { cat out; fail "a state runs ahead"; }
  # Offsets count from the file's beginning, also where a file is continued.
  "$fsys" write target --flush-every 1M --report --quiet <source >out 2>err || fail "$(cat err)"
  [ "$(last_of durable)" = 2000006 ] || { cat out; fail "another end"; }
}

case_a_flushed_write_says_its_durable_end_in_json() {
  expect 0 write target --pattern --size 1000003 --flush-every 64K --json
  is durable 1000003
  expect 0 write other --pattern --size 1000003 --json
  ! grep -q durable out || { cat out; fail "durable, and nobody flushed"; }
  expect 2 write other --pattern --size 5 --flush-every 64K --report --json
  is error.kind usage
  expect 2 write other --pattern --size 5 --report
  [ "$(stat -c %s other)" = 1000003 ] || fail "it was written to"
}

# The k-th flush fails: exactly those before it were reported.
case_nothing_is_reported_durable_that_could_not_be_flushed() {
  may_trace
  random_file source 1000000
  local flush
  for flush in 1 2 3 4; do
    # The second flush is that of the folder, in which the name is new.
    inject "fsync:error=EIO:when=$flush" write target --block 250K --flush-every 250K --report \
      <source
    was_injected || fail "flush $flush: the failure never came"
    [ "$code" = 6 ] || { cat out err; fail "flush $flush: exit code $code"; }
    says "flushing"
    local wanted=$((flush < 3 ? 0 : (flush - 2) * 256000))
    [ "$(last_of durable)" = "$wanted" ] ||
      { cat out; fail "flush $flush: not durable up to $wanted"; }
    cmp -n "$(last_of written)" source target || fail "flush $flush: what was written is wrong"
    rm -f target
  done
  # A file system that has no such thing has no durable bytes either.
  inject "fsync:error=EINVAL:when=1" write target --flush-every 250K --report <source
  [ "$code" = 6 ] || { cat out err; fail "no flush: exit code $code"; }
  says "cannot make it durable"
  [ "$(lines_of durable)" = 0 ] || { cat out; fail "durable, and nothing was flushed"; }
}
