# shellcheck shell=bash disable=SC2154
# What comes and goes while it is watched. Sourced by tool_test.sh.

# The watch in the background, in words and in JSON, once it looks.
start_watching() {
  start watch --interval 0.1 >words 2>err </dev/null &
  watcher=$!
  start watch --interval 0.1 --json >objects 2>err.json </dev/null &
  other=$!
  until_true '[ -s words ] && [ -s objects ]'
}
until_said() { until_true "grep -qE '$1' words && grep -qE '$2' objects"; }
stop_watching() {
  kill -INT "$watcher" "$other"
  wait "$watcher"
  [ $? = 130 ] || { cat err; fail "another exit code"; }
  wait "$other"
  [ $? = 130 ] || { cat err.json; fail "another exit code with --json"; }
  lines_of_json objects >count
  told_is objects 'told[-1]["error"]["kind"]' interrupted
}

case_a_file_that_comes_and_goes_is_watched() {
  media_drive raid
  media "raid/Material/$vision.mov"
  start_watching
  grep -qF 'watching 1 media drive' words || { cat words; fail "another beginning"; }
  : >"raid/Material/V${shot}05.mov"
  media raid/Material/notes.txt
  media "raid/Material/V${shot}06.mov.partial"
  media "raid/Material/V${shot}01.mov"
  until_said "^SysCacheAdd  *V${shot}01  $PWD/raid/Material/V${shot}01.mov\$" "V${shot}01"
  media "raid/Material/$vision.A1.proxy.90.mov"
  until_said "^SysCacheAddProxy  *$vision  .*proxy.90.mov" SysCacheAddProxy
  media "raid/Sound/S${shot}02.wav"
  until_said "^SysCacheAdd  *S${shot}02  $PWD/raid/Sound/" "S${shot}02"
  rm "raid/Material/V${shot}01.mov"
  until_said "^gone  *V${shot}01  $PWD/raid/Material/V${shot}01.mov\$" gone
  media "raid/Material/V${shot}05.mov"
  until_said "^SysCacheAdd  *V${shot}05 " "V${shot}05"
  media $'raid/Material/V'"$shot"$'07.\n\xFF.mov'
  until_said "^SysCacheAdd  *V${shot}07 .*xFF.mov" "file_bytes.*xFF.mov"
  stop_watching
  [ "$(grep -c "V${shot}01" words)" = 2 ] || { cat words; fail "something was told twice"; }
  ! grep -qE "^[A-Za-z]+  *$vision .*$vision.mov|V${shot}06|notes" words || { cat words; fail "too much"; }
  told_is objects '[t["message"] for t in told if t.get("cookie") == "'"V${shot}01"'"]' \
    "['SysCacheAdd', 'gone']"
  told_is objects 'told[0]["watching"]' 1
}

case_media_that_takes_the_place_of_a_link_is_watched() {
  media_drive raid
  media away.mov
  media "raid/Material/V${shot}02.mov"
  expect 0 link create "raid/Material/$vision.mov" away.mov
  start_watching
  media new.mov
  mv new.mov "raid/Material/$vision.mov"
  until_said "^SysCacheAdd  *$vision " "SysCacheAdd.*$vision"
  expect 0 link create new.link away.mov
  mv new.link "raid/Material/$vision.mov"
  until_true "[ \"\$(grep -c '^SysCacheAdd  *$vision ' words)\" = 2 ]"
  # It grows, and is the same.
  echo more >>"raid/Material/V${shot}02.mov"
  media "raid/Material/V${shot}01.mov"
  until_said "V${shot}01" "V${shot}01"
  stop_watching
  [ "$(grep -v 01.mov words | cut -d ' ' -f 1 | tr '\n' ' ')" = 'watching gone SysCacheAdd gone SysCacheAdd ' ] ||
    { cat words; fail "other words"; }
  told_is objects '[t["message"] for t in told if t.get("cookie") == "'"$vision"'"]' \
    "['gone', 'SysCacheAdd', 'gone', 'SysCacheAdd']"
}

case_a_link_that_comes_beside_its_media_is_told_as_ignored() {
  media_drive one
  media_drive two
  media away.mov
  media "one/Material/$vision.mov"
  start_watching
  expect 0 link create new.link away.mov
  mv new.link "two/Material/$vision.mov"
  until_said "^SysCacheAdd  *$vision  $PWD/two/Material/$vision.mov .ignored.\$" '"ignored": true'
  media "two/Material/V${shot}01.mov"
  until_said "V${shot}01.mov\$" "V${shot}01"
  stop_watching
  told_is objects '[(t["file"], t.get("ignored")) for t in told if "file" in t]' \
    "[('$PWD/two/Material/$vision.mov', True), ('$PWD/two/Material/V${shot}01.mov', None)]"
}

case_a_large_folder_of_a_slow_share_is_watched() {
  in_own_namespace
  mount_share raid
  media_drive raid
  local number
  for number in $(seq 100 219); do media "raid/Material/V00000${number}00.mov" 9; done
  order d
  start watch --interval 0.1 >words 2>err </dev/null &
  watcher=$!
  until_true '[ -s words ]'
  media "raid/Material/$vision.mov" 1
  # Behind a look that takes long it rests.
  until_true "grep -q '^SysCacheAdd  *$vision ' words || { sleep 0.2; false; }"
  kill -INT "$watcher"
  wait "$watcher"
  ! grep -qE 'V00000|answer' words || { cat words; fail "more was told"; }
}

case_a_listing_that_never_ends_is_interrupted() {
  in_own_namespace
  mount_share raid
  media_drive raid
  local number
  for number in $(seq 100 499); do media "raid/Material/V00000${number}00.mov" 9; done
  start watch --interval 0.1 >words 2>err </dev/null &
  watcher=$!
  until_true '[ -s words ]'
  order d
  until_true "grep -qs 'fsys drive' /proc/\$(pgrep -P $watcher)/task/*/comm"
  order s
  kill -INT "$watcher"
  until_true "! kill -0 $watcher 2>gone"
  wait "$watcher"
  [ $? = 130 ] || { cat err; fail "another exit code"; }
}

case_a_share_that_falls_silent_is_told_once() {
  in_own_namespace
  mount_share raid
  media_drive raid
  start_watching
  order s
  # A silence that falls into a listing is waited for.
  until_true "grep -q '^no answer  *$PWD/raid/Sound/\$' words || { sleep 0.2; false; }"
  until_true "grep -q '\"no answer\".*raid/Sound/' objects || { sleep 0.2; false; }"
  order a
  until_said "^answers  *$PWD/raid/Material/\$" '"answers".*raid/Material/'
  media "raid/Material/$vision.mov"
  until_said "^SysCacheAdd  *$vision " "$vision"
  stop_watching
  [ "$(grep -c answer words)" = 4 ] || { cat words; fail "other words"; }
}

# The library reads where an entry's links lead when one of its proxies goes.
case_a_proxy_that_goes_beside_one_on_a_silent_share_is_told() {
  in_own_namespace
  mount_share share
  media_drive raid
  media_drive share
  media "raid/Material/$vision.A0.proxy.360.mov"
  "$fsys" link create "share/Material/$vision.A0.proxy.90.mov" "$PWD/away.mov" --quiet
  start_watching
  order s
  until_true "grep -q '^no answer  *$PWD/share/Material/\$' words || { sleep 0.2; false; }"
  rm "raid/Material/$vision.A0.proxy.360.mov"
  until_said "^gone  *$vision " '"gone"'
  order a
  stop_watching
}

case_a_drive_that_comes_and_goes_is_watched() {
  media_drive raid
  mkdir -p new/Material new/Sound
  media "new/Material/$vision.mov"
  start_watching
  expect 0 locations add new
  until_said '^MediaLocationsChangeMsg$' MediaLocationsChangeMsg
  media "raid/Material/V${shot}01.mov"
  until_said "^SysCacheAdd  *V${shot}01 " "V${shot}01"
  media "new/Material/V${shot}02.mov"
  until_said "^SysCacheAdd  *V${shot}02 " "V${shot}02"
  mv new away
  until_said '^MediaOnlineChangeMsg$' MediaOnlineChangeMsg
  stop_watching
  ! grep -q "$vision" words || { cat words; fail "what a scan found was told"; }
}

case_media_on_a_drive_that_is_unmounted_is_not_told_as_gone() {
  in_own_namespace
  mount_memory raid
  media_drive raid
  media_drive other
  media "raid/Material/$vision.mov"
  start_watching
  umount -l raid
  media "other/Material/V${shot}01.mov"
  until_said "V${shot}01" "V${shot}01"
  media "other/Material/V${shot}02.mov"
  until_said "V${shot}02" "V${shot}02"
  mkdir raid/Material
  media "raid/Material/V${shot}03.mov"
  until_said "V${shot}03" "V${shot}03"
  rm "raid/Material/V${shot}03.mov"
  until_said "^gone  *V${shot}03" 'gone'
  mounted=()
  stop_watching
  ! grep -q "$vision" words || { cat words; fail "it was told"; }
}

case_a_mount_that_carries_no_media_is_nothing_to_a_watch() {
  in_own_namespace
  media_drive raid
  start_watching
  mount_memory other
  media "raid/Material/V${shot}01.mov"
  until_said "V${shot}01" "V${shot}01"
  media "raid/Material/V${shot}02.mov"
  until_said "V${shot}02" "V${shot}02"
  stop_watching
  ! grep MediaLocationsChangeMsg words || fail "the registry was started anew"
}

case_a_disk_that_gets_media_folders_is_watched() {
  in_own_namespace
  mount_disk disk
  start_watching
  mkdir disk/Material disk/Sound
  until_said '^MediaLocationsChangeMsg$' MediaLocationsChangeMsg
  media "disk/Material/$vision.mov"
  until_said "^SysCacheAdd  *$vision " "$vision"
  stop_watching
}

case_a_watch_refuses_times_that_are_none() {
  local time
  for time in 0 -1 x '' nan -nan 'nan(1)' inf 1e9 3600.01 0.09 0x1p3 '1 ' +1; do
    expect 2 watch --interval "$time"
    says "--interval: Value $time not in range 0.100000 to 3600.000000"
    [ ! -s out ] || { cat out; fail "it watched"; }
  done
}

# The first look at a folder fails, behind the scan's listing and its end.
case_media_that_the_first_look_did_not_find_is_known_all_the_same() {
  may_trace
  media_drive raid
  media "raid/Material/$vision.mov"
  env --default-signal=INT strace -D -f -qq -o trace -P "$PWD/raid/Material/" -e trace=getdents64 \
    -e inject=getdents64:error=EIO:when=3 "$fsys" watch --interval 0.1 >words 2>err </dev/null &
  watcher=$!
  until_true '[ -s words ]'
  grep -qF '(INJECTED)' trace || { cat trace; fail "the first look did not fail"; }
  media "raid/Material/V${shot}01.mov"
  until_true "grep -q '^SysCacheAdd  *V${shot}01 ' words"
  kill -INT "$watcher"
  wait "$watcher"
  ! grep -q "$vision" words || { cat words; fail "what the scan found was told"; }
}

case_a_watch_that_nobody_reads_ends_with_its_next_line() {
  media_drive raid
  mkfifo words
  local option code
  for option in '' --json; do
    # shellcheck disable=SC2086
    timeout 30 "$fsys" watch --interval 0.1 $option >words 2>err &
    watcher=$!
    head -n 1 words >first
    media "raid/Material/V${shot}0${#option}.mov"
    code=0
    wait "$watcher" || code=$?
    [ "$code" = 6 ] || { cat err; fail "exit code $code"; }
    [ "$(cat err)" = "fsys watch: writing to standard output: Broken pipe" ] ||
      { cat err; fail "it says something else"; }
  done
}
