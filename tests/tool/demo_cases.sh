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
  is rows.0.what "play 1"
  is rows.3.what "scrub 4"
  is rows.4.what "record 5"
  is rows.5.what together
  is rows.0.file 1
  is rows.0.bytes 2000001
  is rows.0.pictures 60
  is rows.4.bytes 2000005
  local row figure
  for row in 0 1 2 3 4 5; do
    for figure in mb_per_s p50_ms p99_ms worst_ms; do
      above_zero "rows.$row.$figure"
    done
    [ "$(json "rows.$row.late")" -le "$(json "rows.$row.pictures")" ] || fail "more late than there are"
  done
  # The scrubbed track goes to and fro over what it has in memory.
  [ "$(json rows.3.cache_hits)" -ge 20 ] || fail "scrubbing hit the cache $(json rows.3.cache_hits) times"
  is rows.5.cache_hits $(($(json rows.0.cache_hits) + $(json rows.1.cache_hits) +
    $(json rows.2.cache_hits) + $(json rows.3.cache_hits)))
  is copied_bytes 10000015
  above_zero copy_mb_per_s
  above_zero cpu_us_per_mb
  [[ $(json transport) =~ ^(ring$|threads) ]] || fail "transfers by $(json transport)"
  [ "$(json checked_bytes)" -ge 20000000 ] || fail "only $(json checked_bytes) bytes were checked"
  [ -z "$(ls -A work)" ] || fail "left behind: $(ls -A work)"
  expect 2 demo --work work media/1 media/2
  expect 3 demo --work work media/1 media/2 media/3 media/4 media/6
  [ -z "$(ls -A work)" ] || fail "left behind: $(ls -A work)"
}

above_zero() { python3 -c "import sys; sys.exit(not $(json "$1") > 0)" || fail "$1 is $(json "$1")"; }

# Five small files for the demo, in media/, and an empty work/.
make_media() {
  mkdir media work
  local number
  for number in 1 2 3 4 5; do
    expect 0 verify "media/$number" --size 2M --seed "$number"
  done
}

case_the_demo_refuses_times_that_are_none() {
  local time
  for time in nan inf -1 0 3601 x; do
    expect 2 demo --seconds "$time" 1 2 3 4 5
    says "--seconds: Value $time not in range 0.200000 to 3600.000000"
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

case_the_demo_script_without_ffmpeg_says_so_and_ends_with_the_table() {
  export DEMO_MEDIA=$PWD/media DEMO_WORK=$PWD/work DEMO_FFMPEG=none DEMO_SECONDS=2.4
  export DEMO_STAMPED=3000000 DEMO_LEAST=15000000
  "$demo" "$fsys" >out 2>err </dev/null || { cat out err; fail "exit code $?"; }
  tells "there is no ffmpeg: files of stamped sectors take the place of media"
  tells "media: 5 files, 15 MB"
  local row
  for row in 'play 1 ' 'play 2 ' 'play 3 ' 'scrub 4 ' 'record 5 ' 'together '; do
    grep -qE "^$row +.*( +[0-9.]+){7}\$" out || { cat out; fail "the table has no row $row"; }
  done
  for row in throughput 'picture time' 'cache hits' processor 'transfers by'; do
    grep -qE "^$row  +[^ ]" out || { cat out; fail "the end does not tell: $row"; }
  done
  [[ $(tail -n 1 out) == "checked "*" bytes against their sources: every one is right" ]] ||
    fail "the last line is: $(tail -n 1 out)"
  [ ! -e work ] || fail "left behind: work"
  # The next run finds its media.
  touch -d '2001-01-01' media/stamped1.dat
  "$demo" "$fsys" >out 2>err </dev/null || { cat out err; fail "exit code $?"; }
  [ "$(stat -c %Y media/stamped1.dat)" -lt 1000000000 ] || fail "the media was made anew"
  # Too little of it is no demo.
  DEMO_LEAST=16000000 "$demo" "$fsys" >out 2>err </dev/null && fail "too little media was taken"
  says "that is less than 16 MB"
}

case_the_demo_script_makes_media_with_ffmpeg() {
  # A stand-in that makes a file and writes down what it was asked for: the real one takes a minute.
  cat >ffmpeg-here <<'SCRIPT'
#!/usr/bin/env bash
echo "$*" >>asked
for last; do :; done
head -c 3000000 /dev/urandom >"$last"
SCRIPT
  chmod +x ffmpeg-here
  export DEMO_MEDIA=$PWD/media DEMO_WORK=$PWD/work DEMO_FFMPEG=$PWD/ffmpeg-here DEMO_SECONDS=1
  export DEMO_LEAST=15000000
  "$demo" "$fsys" >out 2>err </dev/null || { cat out err; fail "exit code $?"; }
  tells "making media with ffmpeg"
  tells "media: 7 files, 21 MB"
  [[ $(tail -n 1 out) == *"every one is right" ]] || fail "the last line is: $(tail -n 1 out)"
  [ "$(grep -o 'media/part\.[a-z0-9]*\.[a-z]*$' asked | grep -o '[a-z]*$' | sort -u | xargs)" = \
    "avi mkv mov mxf wav" ] || { cat asked; fail "other containers"; }
  [ "$(grep -oE 'c:v [a-z0-9]+' asked | sort -u | wc -l)" -ge 6 ] || { cat asked; fail "too few codecs"; }
}
