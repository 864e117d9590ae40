# shellcheck shell=bash disable=SC2154
# The script that runs the demo. Sourced by tool_test.sh.

# Stamped files in the place of media, of little size; in a folder of its own.
small_script() {
  export DEMO_MEDIA=$PWD/media DEMO_WORK=$PWD/work DEMO_FFMPEG=none DEMO_SECONDS=1
  export DEMO_STAMPED=1000000 DEMO_LEAST=6000000
}
run_script() { "$demo" "$fsys" >out 2>err </dev/null || { cat out err; fail "exit code $?"; }; }
# Whether the day's table is there and nothing else is.
script_is_right() {
  local row
  for row in start login prepare task 'bring in' record proxies scan ask link unplug rename 'delete' \
    logout end; do
    grep -qE "^$row  .* +[0-9]+  right\$" out || { cat out; fail "the table has no row $row"; }
  done
  for row in throughput 'picture time' 'cache hits' processor 'transfers by' checked; do
    grep -qE "^$row  +[^ ]" out || { cat out; fail "the end does not tell: $row"; }
  done
  for row in 'play  ' 'scrub  ' 'record  ' 'together  '; do
    grep -qE "^$row.*( +[0-9.]+){7}\$" out || { cat out; fail "there are no figures of $row"; }
  done
  [[ $(tail -n 1 out) == "15 steps, "*" checks: every one is right" ]] ||
    fail "the last line is: $(tail -n 1 out)"
  script_left_nothing
}
script_left_nothing() {
  [ -z "$(ls -A work)" ] || fail "left behind: $(ls -A work)"
  [ -z "$(find media -name 'part.*')" ] || fail "left behind: $(find media -name 'part.*')"
  ! losetup -a 2>/dev/null | grep -F "$PWD/" || fail "a device is left"
  ! grep -F " $PWD/" /proc/mounts || fail "a mount is left"
  [ ! -e .config ] && [ ! -e .state ] || fail "the user's folders were made"
}

case_the_demo_script_without_ffmpeg_says_so_and_ends_with_the_table() {
  small_script
  export DEMO_SECONDS=2.4 DEMO_DRIVES=folders
  run_script
  tells "there is no ffmpeg: files of stamped sectors take the place of media"
  tells "media: 34 files, 6 MB"
  tells "two folders take the place of drives: DEMO_DRIVES says so"
  tells "a folder, renamed, and back"
  script_is_right
  # The next run finds its media.
  touch -d '2001-01-01' media/stamped/VTAKE000100.dat
  run_script
  [ "$(stat -c %Y media/stamped/VTAKE000100.dat)" -lt 1000000000 ] || fail "the media was made anew"
  # Too little of it is no demo.
  DEMO_LEAST=7000000 "$demo" "$fsys" >out 2>err </dev/null && fail "too little media was taken"
  says "that is less than 7 MB"
  script_left_nothing
}

case_the_demo_script_makes_media_with_ffmpeg() {
  # A stand-in that makes files and writes down what it was asked for: the real one takes a while.
  cat >ffmpeg-here <<'SCRIPT'
#!/usr/bin/env bash
echo "$*" >>asked
for word; do
  case $word in
    */part.*.wav) head -c 50000 /dev/urandom >"$word" ;;
    */part.*) head -c 1000000 /dev/urandom >"$word" ;;
  esac
done
SCRIPT
  chmod +x ffmpeg-here
  small_script
  export DEMO_FFMPEG=$PWD/ffmpeg-here DEMO_DRIVES=folders
  run_script
  tells "making media with ffmpeg"
  tells "media: 34 files, 11 MB"
  script_is_right
  [ "$(find media -name 'V*' ! -name '*proxy*' | sed 's/.*\.//' | sort | xargs)" = \
    "avi mkv mov mov mp4 mxf" ] || { ls media; fail "other containers"; }
  [ "$(find media -name 'S*0[1-4].wav' | wc -l)" = 24 ] || { ls media; fail "another sound"; }
  [ "$(find media -name '*.A2.proxy.*.mp4' | sed 's/.*proxy//' | sort | xargs)" = \
    ".144.mp4 .144.mp4 .288.mp4 .288.mp4" ] || { ls media; fail "other proxies"; }
  [ "$(grep -oE 'c:v [a-z0-9]+' asked | sort -u | wc -l)" -ge 6 ] || { cat asked; fail "too few codecs"; }
  # What it could not make is made by the next run, and nothing else is.
  rm media/VTAKE000300.avi asked
  run_script
  [ "$(wc -l <asked)" = 1 ] || { cat asked; fail "more was made anew"; }
  script_is_right
}

may_mount_disks() {
  mount_disk probe
  unmount_all
  mounted=()
}

case_the_demo_script_mounts_drives_where_it_may() {
  in_own_namespace
  may_mount_disks
  small_script
  run_script
  tells "the drives are file systems of their own, on loop devices"
  grep -qE '^unplug +ext4 on /dev/loop[0-9]+, unmounted, and back ' out || { cat out; fail "not unmounted"; }
  script_is_right
}

case_the_demo_script_leaves_nothing_behind_however_it_ends() {
  in_own_namespace
  may_mount_disks
  small_script
  run_script
  export DEMO_SECONDS=60
  local signal script code drives
  for drives in mounted folders; do
    for signal in INT TERM HUP KILL; do
      DEMO_DRIVES=$drives env --default-signal=INT "$demo" "$fsys" >out 2>err </dev/null &
      script=$!
      until_true "grep -q '^record ' out"
      [ "$drives" = folders ] || losetup -a | grep -F "$PWD/work" >/dev/null || fail "nothing is mounted"
      [ -z "$(find work -name '*.image')" ] || fail "a file would be left if all were killed"
      kill "-$signal" "$script"
      code=0
      wait "$script" || code=$?
      [ "$code" = $((128 + $(kill -l "$signal"))) ] || { cat out err; fail "$signal: exit code $code"; }
      # Whoever is killed cannot wait for those that tidy up behind him.
      until_true '[ -z "$(ls -A work)" ]'
      until_true '! losetup -a | grep -F "$PWD/work" >/dev/null'
      script_left_nothing
      says 'interrupted; this was the step "record"'
    done
  done
}

case_the_demo_script_that_is_ended_as_it_makes_media_leaves_none_unfinished() {
  cat >ffmpeg-here <<'SCRIPT'
#!/usr/bin/env bash
for word; do case $word in */part.*) head -c 1000000 /dev/urandom >"$word" ;; esac; done
: >making
exec cat <>waiting
SCRIPT
  chmod +x ffmpeg-here
  mkfifo waiting
  small_script
  export DEMO_FFMPEG=$PWD/ffmpeg-here DEMO_DRIVES=folders
  "$demo" "$fsys" >out 2>err </dev/null &
  local script=$!
  until_true '[ -e making ]'
  kill -TERM "$script"
  wait "$script"
  [ $? = 143 ] || { cat out err; fail "another exit code"; }
  [ -z "$(ls -A media)" ] || fail "left behind: $(ls -A media)"
  script_left_nothing
}

case_the_demo_script_as_an_ordinary_user_takes_folders() {
  is_root && command -v setpriv >/dev/null || skip "only root can become somebody else"
  small_script
  unset DEMO_DRIVES
  mkdir media work
  chmod 777 media work
  chmod 755 .
  setpriv --reuid 65534 --clear-groups "$demo" "$fsys" >out 2>err </dev/null ||
    { grep -qE 'cannot open shared object|Permission denied|is no program' err && skip "nobody cannot run the tool"
      cat out err; fail "exit code $?"; }
  tells "two folders take the place of drives: only root may mount"
  script_is_right
}

case_the_demo_script_runs_from_anywhere_and_makes_its_work_folder() {
  small_script
  export DEMO_DRIVES=folders DEMO_WORK=../relative
  mkdir elsewhere
  cd elsewhere || fail "no folder"
  run_script
  [ -z "$(ls -A ../relative)" ] || fail "left behind: $(ls -A ../relative)"
  cd ..
  : >file
  DEMO_WORK=file "$demo" "$fsys" >out 2>err </dev/null && fail "a file was taken for a folder"
  says "file"
}

case_two_demos_beside_each_other_make_no_difference() {
  small_script
  export DEMO_DRIVES=folders
  "$demo" "$fsys" >out.other 2>err.other </dev/null &
  local other=$!
  "$demo" "$fsys" >out 2>err </dev/null || { cat out err; fail "exit code $?"; }
  wait "$other" || { cat out.other err.other; fail "the other one: exit code $?"; }
  script_is_right
  mv out.other out
  script_is_right
}
