# shellcheck shell=bash disable=SC2154
# The demo. Sourced by tool_test.sh.

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

# Five small files for the demo, in media/, and an empty work/.
make_media() {
  mkdir media work
  local number
  for number in 1 2 3 4 5; do
    expect 0 verify "media/$number" --size 2M --seed "$number"
  done
}

case_the_demo_says_what_it_cannot_remove_and_ends_in_order() {
  make_media
  start demo --work work --seconds 2 media/1 media/2 media/3 media/4 media/5 >out 2>err &
  local tool=$!
  until_true '[ -e work/5.recording ]'
  rm work/1
  mkdir work/1
  wait "$tool"
  [ $? = 9 ] || { cat out err; fail "another exit code"; }
  says 'removing "work/1"'
  says "it is left there"
  [ "$(ls -A work)" = 1 ] || fail "left behind: $(ls -A work)"
}

case_the_demo_without_room_for_its_threads_has_exit_code_10() {
  is_root && command -v setpriv prlimit >/dev/null ||
    skip "only root can become somebody who has no processes yet"
  is_sanitized && skip "a sanitizer has threads of its own"
  make_media
  chmod 755 . media
  chmod 777 work
  local threads code refused=0
  # From too few for the engine up to too few for the tracks. A ring's own threads in the kernel
  # count too, and are waited for: pools of threads instead.
  for threads in 1 3 6 9 12 14; do
    code=0
    FSYS_IO=threads setpriv --reuid 65534 --clear-groups prlimit --nproc="$threads" \
      "$fsys" demo --work work --seconds 0.4 media/1 media/2 media/3 media/4 media/5 \
      >out 2>err </dev/null || code=$?
    grep -q 'cannot open shared object\|setpriv: failed' err && skip "nobody cannot run the tool"
    [ "$code" = 126 ] || [ "$code" = 127 ] && skip "nobody cannot run the tool"
    [ "$code" = 10 ] || [ "$code" = 0 ] || { cat err; fail "$threads threads: exit code $code"; }
    [ -z "$(ls -A work)" ] || fail "$threads threads: left behind: $(ls -A work)"
    if grep -q "starting a track's thread" err; then refused=$((refused + 1)); fi
  done
  [ "$refused" -gt 0 ] || fail "no track's thread was ever refused"
}

case_the_demo_finds_a_wrong_byte() {
  make_media
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
