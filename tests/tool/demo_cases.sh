# shellcheck shell=bash disable=SC2154
# The demo. Sourced by tool_test.sh.

# Media for a day: four shots, and two with proxies, whose pictures have so many bytes, and one more
# with each shot; and an empty work/.
make_media() {
  local bytes=${1:-300000} number channel height
  mkdir media work
  for number in 1 2 3 4 5 6; do
    random_file "media/VTAKE000${number}00.mov" $((bytes + number))
    for channel in 1 2 3 4; do
      random_file "media/STAKE000${number}0$channel.wav" $((20000 + 10 * number + channel))
    done
  done
  for number in 5 6; do
    for height in 144 288; do
      random_file "media/VTAKE000${number}00.A2.proxy.$height.mp4" $((5000 + height + number))
    done
  done
}
day() { expect "$1" demo media --work work --seconds 0.2 "${@:2}"; }
nothing_left() { [ -z "$(ls -A "${1:-work}")" ] || fail "left behind: $(ls -A "${1:-work}")"; }
above_zero() { python3 -c "import sys; sys.exit(not $(json "$1") > 0)" || fail "$1 is $(json "$1")"; }
# The day in the background; returns once it has begun with that step.
live_until() {
  local step=$1
  shift
  start demo media --work work "$@" >out 2>err </dev/null &
  running=$!
  until_true "grep -q '^$step ' out"
}
ends_with() {
  local code=0
  wait "$running" || code=$?
  [ "$code" = "$1" ] || { cat out err; fail "exit code $code instead of $1"; }
}

case_the_demo_lives_through_a_day_and_leaves_nothing() {
  make_media
  expect 0 demo media --work work --seconds 2.4 --json
  is ok True
  local row names=(start login prepare task "bring in" record proxies scan ask link unplug rename delete
    logout end)
  for row in "${!names[@]}"; do
    is "steps.$row.step" "${names[row]}"
    is "steps.$row.right" True
    above_zero "steps.$row.checks"
  done
  # Four shots; six, of which the scrubbed one's first second counts twice; the proxies.
  is steps.4.bytes $((4 * 300000 + 10 + 16 * 20000 + 10 * 40 + 40))
  is steps.6.bytes $((4 * 5000 + 2 * 144 + 2 * 288 + 22))
  # Of 30 cookies, at three levels and four heights.
  is steps.8.amount "360 answers"
  is steps.7.amount "44 files"
  # What is offline: three of the six shots, and the link.
  is steps.10.amount "21 clips offline"
  is steps.10.what "a folder, renamed, and back"
  is steps.12.amount "12 files"
  local figure
  for row in 0 1 2 3 4 5 6; do
    for figure in bytes mb_per_s p50_ms p99_ms worst_ms; do above_zero "shots.$row.$figure"; done
    [ "$(json "shots.$row.late")" -le "$(json "shots.$row.pictures")" ] || fail "more late than there are"
  done
  is shots.0.what play
  is shots.0.shot TAKE0001
  is shots.3.what scrub
  is shots.5.what record
  is shots.5.pictures 60
  is shots.6.what together
  is shots.6.pictures 360
  # The scrubbed shot goes to and fro over what it has in memory: five files, thirty pictures.
  [ "$(json shots.3.cache_hits)" -ge 100 ] || fail "scrubbing hit the cache $(json shots.3.cache_hits) times"
  is shots.6.cache_hits $(($(json shots.0.cache_hits) + $(json shots.1.cache_hits) +
    $(json shots.2.cache_hits) + $(json shots.3.cache_hits)))
  above_zero cpu_us_per_mb
  [[ $(json transport) =~ ^(ring$|threads) ]] || fail "transfers by $(json transport)"
  [ "$(json checked_bytes)" -ge 20000000 ] || fail "only $(json checked_bytes) bytes were checked"
  nothing_left
  # Neither the lists nor the preferences are the user's.
  [ ! -e .config ] && [ ! -e .state ] || fail "the user's folders were made"
}

case_the_demo_reads_each_answer_whole() {
  make_media
  day 0 --json
  local asked
  # A picture without proxies, and its sound, is the answer to each of the twelve questions. With
  # proxies: the media at high, and at auto without a height or for a greater one than they have; the
  # lower one at proxy, and at auto for its own height; the higher one at auto for a line more. So it
  # is for the first two channels of their sound.
  asked=$((12 * (4 * 300000 + 10 + 16 * 20000 + 10 * 40 + 40)))
  asked=$((asked + 6 * (2 * 300000 + 11 + 4 * 20000 + 4 * 55 + 6)))
  asked=$((asked + 12 * (4 * 20000 + 4 * 55 + 14)))
  asked=$((asked + 3 * (5 * (2 * 5144 + 11) + 2 * 5288 + 11)))
  is steps.8.bytes "$asked"
}

case_the_demo_keeps_what_it_made_when_it_is_told_to() {
  make_media
  day 0 --keep
  tells "every one is right"
  same media/VTAKE000500.mov work/one/Material/VTAKE000500.mov
  same media/STAKE000204.wav work/two/Sound/STAKE000204.wav
  same media/VTAKE000500.A2.proxy.144.mp4 work/two/Material/VTAKE000500.A2.proxy.144.mp4
  same media/VTAKE000200.mov work/one/Elsewhere/VTAKE000200.mov
  [ "$(stat -c %s work/two/Material/VTAKE000200.mov)" = 512 ] || fail "it is no link"
  [ -e work/one/Material/VTAKE000500.mov.qvix ] || fail "what lay beside is gone"
  ! ls work/*/*/?TAKE0006* 2>/dev/null || fail "the shot that was deleted is there"
  [ "$(cat work/one/Material/MediaSpaceInfo.txt)" = name=Dailies ] || fail "another name"
  # Of the first day's leftovers nothing is overwritten by a second.
  day 8
  says '"work": it is not empty'
  [ -e work/one/Material/VTAKE000500.mov ] || fail "the first day's media is gone"
}

case_the_demo_leaves_the_media_drives_of_this_machine_alone() {
  in_own_namespace
  make_media
  mount_disk disk
  mkdir disk/Material disk/Sound
  cp media/VTAKE000100.mov media/VTAKE000600.mov disk/Material
  expect 0 scan
  tells "$PWD/disk/Material/"
  expect 0 task set Record disk
  day 0
  same media/VTAKE000600.mov disk/Material/VTAKE000600.mov
  [ "$(ls disk/Material | xargs)" = "VTAKE000100.mov VTAKE000600.mov" ] || fail "$(ls disk/Material)"
  expect 0 task get Record
  tells "$PWD/disk"
}

case_the_demo_refuses_times_that_are_none() {
  local time
  for time in nan inf -1 0 3601 x; do
    expect 2 demo media --work work --seconds "$time"
    says "--seconds: Value $time not in range 0.200000 to 3600.000000"
  done
  expect 2 demo media
  expect 2 demo media --work work --drives one
  expect 2 demo media --work work --device /dev/loop0 --type ext4
  says "go together"
  expect 2 demo media --work work --drives one two --type ext4
}

case_the_demo_wants_an_empty_work_folder_that_it_may_write() {
  make_media
  rmdir work
  day 3
  says '"work": no such folder'
  : >work
  day 9
  says '"work": it is no folder'
  rm work
  mkdir work one two
  : >work/precious
  day 8
  says '"work": it is not empty'
  rm work/precious
  : >two/precious
  day 8 --drives one two
  says '"two": it is not empty'
  [ -e two/precious ] && [ ! -e one/Material ] || fail "something was done there"
  is_root && command -v setpriv >/dev/null || skip "only root can become somebody else"
  chmod 755 . media work
  local code=0
  setpriv --reuid 65534 --clear-groups "$fsys" demo media --work work >out 2>err </dev/null || code=$?
  grep -q 'cannot open shared object' err || [ "$code" = 126 ] && skip "nobody cannot run the tool"
  [ "$code" = 4 ] || { cat err; fail "exit code $code"; }
  says "making the folder"
  nothing_left
}

case_the_demo_says_which_media_is_missing() {
  make_media
  local missing
  day 0 --quiet
  [ ! -s out ] && [ ! -s err ] || { cat out err; fail "it was not quiet"; }
  for missing in STAKE000303.wav VTAKE000200.mov VTAKE000500.A2.proxy.288.mp4; do
    mv "media/$missing" .
    day 3
    case $missing in
      S*) says "there is no STAKE000303" ;;
      *proxy*) says "shot of VTAKE000500: 1 proxy, expected 2" ;;
      *) says "there is no VTAKE000200" ;;
    esac
    nothing_left
    mv "$missing" media
  done
  mkdir aside
  mv media/VTAKE000500.A2.proxy.* aside
  day 3
  says "found 1 shots with proxies, expected 2"
  mv aside/* media
  mv media/?TAKE0001* aside
  day 3
  says "found 3 shots without proxies, expected 4"
  mv aside/* media
  cp media/VTAKE000100.mov media/VTAKE000100.mxf
  day 2
  says "VTAKE000100 is there twice"
  rm media/VTAKE000100.mxf
  : >media/VTAKE000300.mov
  day 3
  says "there is no VTAKE000300"
  nothing_left
}

case_the_demo_finds_a_wrong_byte_of_a_source() {
  make_media 2000000
  live_until record --seconds 3
  until_true '[ -s work/one/Material/VTAKE000600.mov ]'
  flip media/VTAKE000100.mov 2000000
  ends_with 7
  says 'work/one/Material/VTAKE000100.mov'
  says "found "
  says "offset 2000000"
  says 'this was the step "record"'
  nothing_left
}

case_the_demo_finds_a_wrong_byte_of_a_copy() {
  make_media 2000000
  live_until record --seconds 3
  until_true '[ -s work/one/Material/VTAKE000600.mov ]'
  flip work/two/Sound/STAKE000404.wav 20043
  ends_with 7
  says 'work/two/Sound/STAKE000404.wav'
  says "offset 20043"
  nothing_left
}

case_the_demo_misses_a_proxy_that_goes_meanwhile() {
  make_media
  live_until record --seconds 3
  rm media/VTAKE000600.A2.proxy.288.mp4
  ends_with 3
  says 'VTAKE000600.A2.proxy.288.mp4": no such file'
  says 'this was the step "proxies"'
  nothing_left
}

case_the_demo_tells_of_a_drive_that_is_lost() {
  make_media
  live_until record --seconds 3
  until_true '[ -s work/one/Material/VTAKE000600.mov ]'
  mv work/one work/lost
  ends_with 3
  says 'work/one/Material/VTAKE000500.mov'
  says 'this was the step "record"'
  nothing_left
}

case_the_demo_tells_of_a_drive_that_is_full() {
  in_own_namespace
  make_media
  mount_memory one 2M
  mount_memory two 8M
  day 5 --drives one two
  says "room for"
  says 'this was the step "task"'
  nothing_left
  nothing_left one
  day 5 --drives one two --json
  is ok False
  is steps.2.step prepare
  is error.exit_code 5
  is error.kind "no space"
  is error.remark 'this was the step "task"'
  mount_memory three 16M
  mount_memory four 512K
  day 5 --drives three four
  says 'this was the step "bring in"'
  nothing_left four
  nothing_left three
}

case_the_demo_says_what_it_cannot_remove_and_ends_in_order() {
  in_own_namespace
  make_media
  live_until record --seconds 2
  mount_memory work/two/Material/stays
  mkdir work/two/Material/stays/precious
  # What is mounted there is another file system, and is left alone.
  ends_with 8
  says 'removing "'
  says "it is left there"
  [ "$(find work -mindepth 1 -printf '%f ')" = "two Material stays precious " ] ||
    fail "left behind: $(find work)"
}

case_the_demo_without_room_for_its_threads_has_exit_code_10() {
  is_root && command -v setpriv prlimit >/dev/null ||
    skip "only root can become somebody who has no processes yet"
  is_sanitized && skip "a sanitizer has threads of its own"
  make_media
  chmod 755 . media
  chmod 777 work
  # The limit counts what all of a user's processes have: one whom no other test becomes.
  local user=$((20000 + $$ % 40000)) threads code refused=0 seen=""
  # From too few for the engine up to too few for the shots. A ring's own threads in the kernel
  # count too, and are waited for: pools of threads instead.
  for threads in $(seq 1 16); do
    code=0
    FSYS_IO=threads setpriv --reuid "$user" --clear-groups prlimit --nproc="$threads" \
      "$fsys" demo media --work work --seconds 0.4 >out 2>err </dev/null || code=$?
    grep -q 'cannot open shared object\|setpriv: failed' err && skip "nobody cannot run the tool"
    [ "$code" = 126 ] || [ "$code" = 127 ] && skip "nobody cannot run the tool"
    [ "$code" = 10 ] || [ "$code" = 0 ] || { cat err; fail "$threads threads: exit code $code"; }
    nothing_left
    seen+="$threads threads: $(grep '^fsys' err)"$'\n'
    if grep -q "starting a shot's thread" err; then refused=$((refused + 1)); fi
  done
  [ "$refused" -gt 0 ] || { echo "$seen"; fail "no shot's thread was ever refused"; }
}

case_the_demo_that_is_interrupted_leaves_nothing() {
  make_media
  local signal
  for signal in INT TERM HUP; do
    live_until record --seconds 30
    until_true '[ -s work/one/Material/VTAKE000600.mov ]'
    kill "-$signal" "$running"
    ends_with $((128 + $(kill -l "$signal")))
    says 'interrupted; this was the step "record"'
    nothing_left
  done
}

# Two drives in files, mounted on one/ and two/, and the options that say so.
mount_drives() {
  mount_disk one
  mount_disk two
  rmdir one/lost+found two/lost+found
  drive_options=(--drives one two --device "$(awk -v one="$PWD/one" '$2 == one { print $1 }' /proc/mounts)" --type ext4)
}

case_the_demo_unmounts_a_drive_and_mounts_it_again() {
  in_own_namespace
  make_media 100000
  mount_drives
  # What holds the device while it is not mounted.
  exec 9<"${drive_options[4]}"
  day 0 --json "${drive_options[@]}"
  [[ $(json steps.10.what) == "ext4 on /dev/loop"*", unmounted, and back" ]] || fail "$(json steps.10.what)"
  is steps.10.amount "21 clips offline"
  nothing_left one
  nothing_left two
  mountpoint -q one || fail "it is not mounted any more"
  nothing_left
}

case_the_demo_tells_of_a_drive_that_cannot_be_unmounted_or_mounted_again() {
  may_trace
  in_own_namespace
  make_media 100000
  mount_drives
  exec 9<"${drive_options[4]}"
  local quickly=--seccomp-bpf patience=60
  inject umount2:error=EPERM:when=1 demo media --work work --seconds 0.2 "${drive_options[@]}"
  was_injected || fail "nothing was injected"
  [ "$code" = 4 ] || { cat out err; fail "exit code $code"; }
  says 'unmounting "'
  says 'this was the step "unplug"'
  nothing_left && nothing_left one && nothing_left two
  # The second time it can be.
  inject mount:error=EIO:when=1 demo media --work work --seconds 0.2 "${drive_options[@]}"
  was_injected || fail "nothing was injected"
  [ "$code" = 6 ] || { cat out err; fail "exit code $code"; }
  says 'mounting "'
  mountpoint -q one || fail "it is not mounted any more"
  nothing_left && nothing_left one && nothing_left two
  inject mount:error=EIO:when=1+ demo media --work work --seconds 0.2 "${drive_options[@]}"
  [ "$code" = 6 ] || { cat out err; fail "exit code $code"; }
  says "${drive_options[4]} stays unmounted"
  ! mountpoint -q one || fail "it is mounted"
  nothing_left && nothing_left two
}

case_a_folder_that_cannot_go_away_or_come_back_is_told() {
  may_trace
  make_media 100000
  live_until record --seconds 2
  mkdir work/one.away
  : >work/one.away/file
  ends_with 8
  says 'taking away "'
  says 'this was the step "unplug"'
  nothing_left
  local quickly=--seccomp-bpf patience=60
  # The thread's renames until then are those of texts, of which each is one.
  strace -f --seccomp-bpf -qq -o trace -e trace=rename "$fsys" demo media --work work --seconds 0.2 >out 2>err ||
    fail "the day failed"
  local back
  back=$(grep -n 'one.away", ' trace | cut -d : -f 1)
  inject "rename:error=EIO:when=$back" demo media --work work --seconds 0.2
  [ "$code" = 6 ] || { cat out err; fail "exit code $code"; }
  says 'bringing back "'
  nothing_left
  # The second time it can be.
  inject "rename:error=EIO:when=$back" demo media --work work --seconds 0.2 --keep
  [ "$code" = 6 ] && [ -d work/one/Material ] || { cat err; ls work; fail "exit code $code, and it is away"; }
  rm -rf work/*
  inject "rename:error=EIO:when=$back+" demo media --work work --seconds 0.2 --keep
  [ "$code" = 6 ] && [ -d work/one.away/Material ] || { cat err; fail "exit code $code"; }
  says "the drive stays at $PWD/work/one.away"
}
