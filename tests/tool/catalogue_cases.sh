# shellcheck shell=bash disable=SC2154
# The catalogue: what media there is, and which file serves. Sourced by tool_test.sh.

shot=K7Q2M9A0
vision=V${shot}00

# A media drive with both folders: a location that was added.
media_drive() {
  mkdir -p "$1/Material" "$1/Sound"
  "$fsys" locations add "$1" --quiet || fail "$1 was not added"
}
# A file of so many bytes.
media() { head -c "${2:-1000}" /dev/zero | tr '\0' 'm' >"$1"; }
# Whether standard output is JSON objects, one on each line; says how many there are.
lines_of_json() {
  python3 -c 'import json, sys
print(len([json.loads(line) for line in open(sys.argv[1])]))' "$1" ||
    { cat "$1"; fail "not a JSON object on each line"; }
}
# The value of an expression over the list `told` of the objects on the lines of a file.
told() {
  python3 -c 'import json, sys
told = [json.loads(line) for line in open(sys.argv[1])]
print(eval(sys.argv[2]))' "$1" "$2"
}
told_is() { [ "$(told "$1" "$2")" = "$3" ] || { cat "$1"; fail "$2 is $(told "$1" "$2"), not $3"; }; }

case_a_scan_counts_the_media_of_each_folder() {
  media_drive raid
  media "raid/Material/$vision.mov" 3000
  media "raid/Material/$vision.A2.proxy.360.mov" 100
  media raid/Material/VOTHER00000.mov 1
  media "raid/Sound/S${shot}01.wav" 50
  expect 0 scan
  grep -qE "^. +3 +1 +0 +3.03 KiB +$PWD/raid/Material/\$" out || { cat out; fail "no Material"; }
  grep -qE "^. +1 +0 +0 +50 bytes +$PWD/raid/Sound/\$" out || { cat out; fail "no Sound"; }
  [ ! -s err ] || { cat err; fail "words on standard error"; }
  expect 0 scan --json
  is folders.0.folder "$PWD/raid/Material/"
  is folders.0.files 3
  is folders.0.proxies 1
  is folders.0.bytes 3101
  is folders.1.files 1
  is command scan
  is missing '[]'
}

case_a_scan_tells_which_locations_are_away() {
  media_drive raid
  mv raid away
  expect 0 scan
  tells "\"$PWD/raid/\" is away"
  expect 0 scan --json
  is folders '[]'
  is missing.0.path "$PWD/raid/"
}

# Of its media nothing is known then.
case_a_location_that_is_away_is_told_with_what_is_not_known() {
  media_drive raid
  media_drive other
  media "raid/Material/$vision.mov"
  mv raid away
  local command
  for command in "find $vision" "shot $vision" "rm $vision --high --yes"; do
    # shellcheck disable=SC2086
    expect 3 $command
    says "no media drive has media of it; \"$PWD/raid/\" is away"
  done
  for command in "media list" "media offline"; do
    # shellcheck disable=SC2086
    expect 0 $command
    [ "$(tail -n 1 out)" = "\"$PWD/raid/\" is away" ] || { cat out; fail "$command does not say so"; }
    # shellcheck disable=SC2086
    expect 0 $command --json
    told_is out 'told[-1]["missing"][0]["path"]' "$PWD/raid/"
  done
  media "other/Material/$vision.mov"
  expect 0 rm "$vision" --high --yes
  tells "\"$PWD/raid/\" is away"
}

case_what_a_scan_passed_over_is_counted_by_reason() {
  media_drive raid
  media "raid/Material/$vision.mov"
  media "raid/Material/${vision,,}.A0.proxy.90.mov"
  media "raid/Material/V${shot}01.mov"
  : >"raid/Material/V${shot}02.mov"
  media "raid/Material/$vision.mov.qvix"
  media "raid/Material/$vision.partial"
  media raid/Material/.hidden
  media raid/Material/notes.txt
  media "raid/Material/V${shot}.mov"
  expect 0 scan --stats --json
  is stats.folders 2
  is stats.seen 9
  is stats.added 2
  is stats.augmented 1
  is stats.skipped.empty 1
  is stats.skipped.ineligible 2
  is stats.skipped.not_a_cookie 3
  python3 -c 'import json
stats = json.load(open("out"))["stats"]
assert stats["time_ms"] > 0 and stats["files_per_second"] > 9, stats' || fail "no time"
  expect 0 scan --stats
  tells "9 files in 2 folders seen in"
  tells "2 added, 1 augmented; skipped: 1 empty, 2 ineligible, 3 not a cookie"
  expect 0 scan
  ! grep -q seen out || fail "they were told though nobody asked"
}

case_a_drive_that_was_unmounted_is_not_in_the_catalogue() {
  in_own_namespace
  mount_disk disk
  mkdir disk/Material disk/Sound
  media "disk/Material/$vision.mov"
  expect 0 find "$vision"
  expect 0 locations remove disk
  expect 3 find "$vision"
  expect 0 scan --stats --json
  is stats.seen 0
}

case_the_file_of_a_cookie_is_found_and_says_why() {
  media_drive raid
  media "raid/Material/$vision.mov" 3000
  media "raid/Material/$vision.A2.proxy.360.mov" 100
  media "raid/Material/$vision.A0.proxy.720.mov" 200
  expect 0 find "$vision"
  [ "$(head -n 1 out)" = "$PWD/raid/Material/$vision.mov" ] || { cat out; fail "another file"; }
  tells "the high-resolution file (2.93 KiB, there)"
  expect 0 find "$vision" --height 400
  [ "$(head -n 1 out)" = "$PWD/raid/Material/$vision.A0.proxy.720.mov" ] || fail "another proxy"
  tells "the first proxy of at least 400 lines"
  expect 0 find "$vision" --height 360 --json
  is height 720
  is kind proxy
  expect 0 find "$vision" --height 2000
  tells "the high-resolution file: no proxy of at least 2000 lines can be opened"
  expect 0 find "${vision,,}" --level proxy --json
  is cookie "$vision"
  is why "the first proxy"
  is kind proxy
  is state there
  is is_link False
  expect 0 find "$vision" --level high --json
  is path "$PWD/raid/Material/$vision.mov"
  is bytes 3000
  is kind high-resolution
  is height None
  rm "raid/Material/$vision.mov"
  expect 0 find "$vision" --level high
  tells "the first proxy: there is no high-resolution file"
}

case_what_cannot_be_found_has_exit_code_3_and_what_is_no_cookie_2() {
  media_drive raid
  expect 3 find "$vision"
  says "no media drive has media of it"
  expect 3 find "$vision" --json
  is error.kind "not found"
  local word
  for word in '' V "${vision}0" "X${shot}00" "V${shot}" "$vision.mov" $'V\n' "I${shot}00"; do
    expect 2 find "$word"
    expect 2 shot "$word"
    expect 2 rm "$word" --high --yes
  done
  says "it is no cookie"
  expect 2 find
  expect 2 find "$vision" --level best
  expect 2 find "$vision" --height 0
  expect 2 find "$vision" --height -1
  expect 2 find "$vision" --height 4294967296
  expect 2 find "$vision" --height 5 --level high
  says "a height goes with --level auto alone"
}

case_a_proxy_with_sound_is_found_under_the_sound_cookies() {
  media_drive raid
  media "raid/Material/$vision.A2.proxy.360.mov"
  local channel
  for channel in 01 02; do
    expect 0 find "S$shot$channel" --json
    is path "$PWD/raid/Material/$vision.A2.proxy.360.mov"
    is channels 2
    is height 360
    is why "the first proxy: there is no high-resolution file"
  done
  expect 3 find "S${shot}03"
  expect 0 scan --json
  is folders.0.files 1
  is folders.0.proxies 1
}

case_all_channels_of_a_shot_are_listed_with_their_sizes() {
  media_drive raid
  media_drive other
  media "raid/Material/$vision.mov" 3000
  media "other/Material/V${shot}01.mov" 100
  media "raid/Sound/S${shot}01.wav" 20
  media "other/Sound/S${shot}02.wav" 3
  # Not behind the gap.
  media "raid/Sound/S${shot}04.wav" 7
  expect 0 shot "S${shot}07"
  tells "4 channels, 3.05 KiB"
  grep -qE "^V${shot}01 +100 bytes +$PWD/other/Material/V${shot}01.mov\$" out || { cat out; fail "no V"; }
  expect 0 shot "$vision" --json
  is bytes 3123
  python3 -c 'import json
channels = json.load(open("out"))["channels"]
assert [(c["cookie"][0], c["cookie"][9:], c["bytes"]) for c in channels] == [
  ("V", "00", 3000), ("V", "01", 100), ("S", "01", 20), ("S", "02", 3)], channels' || fail "others"
  rm "raid/Material/$vision.mov"
  expect 0 shot "$vision" --json
  is channels.0.cookie "S${shot}01"
  is bytes 23
  expect 3 shot VNOTHERE000
}

case_a_channel_that_has_only_proxies_is_told_so() {
  media_drive raid
  media "raid/Material/$vision.mov" 3000
  media "raid/Material/$vision.A1.proxy.360.mov" 100
  expect 0 shot "$vision"
  grep -qE "^S${shot}01 +only proxies +-\$" out || { cat out; fail "another line"; }
  tells "2 channels, 2.93 KiB"
  expect 0 shot "$vision" --json
  is channels.1.bytes None
  is channels.1.proxies 1
}

# A file that another has displaced stands among the proxies.
case_a_copy_of_the_media_is_called_one() {
  media_drive one
  media_drive two
  media "one/Material/$vision.mov" 3000
  media "two/Material/$vision.mov" 2000
  expect 0 find "$vision" --level proxy
  tells "a high-resolution copy, which counts as the first proxy (2.93 KiB, there)"
  expect 0 media list --json
  told_is out '(told[0]["proxies"], told[0]["copies"])' '(0, 1)'
  expect 0 shot "$vision" --json
  is channels.0.proxies 0
}

# A proxy is chosen whether or not it is there.
case_a_proxy_that_serves_and_is_missing_has_exit_code_3() {
  media_drive raid
  expect 0 link create "raid/Material/$vision.A0.proxy.360.mov" away.mov
  expect 3 find "$vision"
  says "what serves it is missing"
  [ "$(head -n 1 out)" = "$PWD/away.mov" ] || { cat out; fail "it was not said which"; }
  expect 3 find "$vision" --json
  is path "$PWD/away.mov"
  is state missing
  is error.kind "not found"
}

# What other machines know a share of this one's by.
case_a_link_to_a_share_of_this_machine_leads_into_its_folder() {
  share_folders
  media_drive raid
  media media/reel.mov 3000
  expect 0 link create "raid/Material/$vision.mov" "\\\\$station\\media\\reel.mov"
  tells "leads to"
  ! grep -q "not there" out || { cat out; fail "it was not looked for here"; }
  expect 0 link show "raid/Material/$vision.mov" --json
  is target_exists True
  expect 0 link check "raid/Material/$vision.mov"
  expect 0 find "$vision" --json
  is state there
  expect 0 media offline
  [ "$(wc -l <out)" = 1 ] || { cat out; fail "it is said to be offline"; }
  expect 0 shot "$vision" --json
  is channels.0.bytes 3000
  is bytes 3000
  rm media/reel.mov
  expect 3 link check "raid/Material/$vision.mov"
  expect 0 shot "$vision"
  tells missing
}

case_a_shot_of_more_channels_than_it_may_have_ends_at_the_last() {
  media_drive raid
  local number
  for number in $(seq 0 25); do media "raid/Material/V$shot$(printf %02X "$number").mov" 1; done
  for number in $(seq 1 33); do media "raid/Sound/S$shot$(printf %02X "$number").wav" 1; done
  expect 0 shot "$vision" --json
  is bytes 56
  is channels.23.cookie "V${shot}17"
  is channels.24.cookie "S${shot}01"
  is channels.55.cookie "S${shot}20"
}

case_media_is_listed_and_what_is_offline_is_told() {
  media_drive raid
  media "raid/Material/$vision.mov" 3000
  media "raid/Material/$vision.A1.proxy.360.mov" 100
  media target.mov
  expect 0 link create "raid/Material/VLINKED0000.mov" target.mov
  expect 0 link create "raid/Material/VBROKEN0000.mov" missing.mov
  expect 0 media list
  grep -qE "^$vision +vision +. +2.93 KiB +1 +online +$PWD/raid/Material/$vision.mov\$" out ||
    { cat out; fail "another line"; }
  grep -qE "^VBROKEN0000 .* offline " out || { cat out; fail "the broken link is online"; }
  grep -qE "^VLINKED0000 .* online " out || { cat out; fail "the link is offline"; }
  expect 0 media list --json
  [ "$(lines_of_json out)" = 5 ] || { cat out; fail "other lines"; }
  told_is out 'told[-1]["entries"]' 4
  told_is out 'told[-1]["ok"]' True
  told_is out '[t["proxies"] for t in told[:-1] if t["cookie"] == "'"$vision"'"]' '[1]'
  told_is out '[t["kind"] for t in told[:-1] if t["cookie"][0] == "S"]' "['sound']"
  expect 0 media offline
  [ "$(wc -l <out)" = 2 ] || { cat out; fail "more is offline"; }
  grep -qE "^VBROKEN0000 +high-resolution +missing +$PWD/raid/Material/VBROKEN0000.mov -> $PWD/missing.mov\$" out ||
    { cat out; fail "another line"; }
  expect 0 media offline --json
  [ "$(lines_of_json out)" = 2 ] || { cat out; fail "other lines"; }
  told_is out 'told[0]["files"][0]["target"]' "$PWD/missing.mov"
  told_is out 'told[-1]["told"]' 1
  expect 3 find VBROKEN0000
  says "the high-resolution file is missing, and there is no proxy"
  expect 0 find VLINKED0000 --json
  is path "$PWD/target.mov"
  is file "$PWD/raid/Material/VLINKED0000.mov"
  is is_link True
  is target "$PWD/target.mov"
}

case_a_list_of_media_can_be_cut_off() {
  media_drive raid
  local number
  for number in $(seq 2000); do echo >"raid/Material/V$(printf %08d "$number")00.mov"; done
  local words
  for words in '' --json; do
    # More than a pipe takes that nobody reads.
    # shellcheck disable=SC2086
    "$fsys" media list $words 2>err | head -n 3 >out
    [ "${PIPESTATUS[0]}" = 6 ] || fail "exit code ${PIPESTATUS[0]}"
    [ "$(wc -l <out)" = 3 ] || { cat out; fail "other lines"; }
    [ "$(cat err)" = "fsys media list: writing to standard output: Broken pipe" ] ||
      { cat err; fail "it says something else"; }
  done
}

case_names_of_any_bytes_in_the_catalogue_are_told() {
  media_drive raid
  local name=$'raid/Material/'$vision$'.a*[?]\n\xFF.mov'
  media "$name"
  media "raid/Material/V${shot}01.mov"
  expect 0 find "$vision"
  [ "$(head -n 1 out)" = "\"$PWD/raid/Material/$vision.a*[?]\\x0A\\xFF.mov\"" ] ||
    { cat out; fail "another name"; }
  expect 0 find "$vision" --json
  is path_bytes "\"$PWD/raid/Material/$vision.a*[?]\\x0A\\xFF.mov\""
  expect 0 media list
  tells 'a*[?]\x0A\xFF.mov'
  expect 0 media list --json
  [ "$(lines_of_json out)" = 3 ] || fail "other lines"
  told_is out 'told[0]["file_bytes"].endswith("xFF.mov\"")' True
  expect 0 shot "$vision" --json
  expect 0 shot "$vision"
  tells 'a*[?]\x0A\xFF.mov'
  expect 0 rm "$vision" --high --yes
  [ ! -e "$name" ] || fail "it is still there"
  [ -e "raid/Material/V${shot}01.mov" ] || fail "another file went with it"
}

# What turns the direction of a line, or ends it, could make a name look like another.
case_a_name_cannot_look_like_another() {
  media_drive raid
  local mark place=0
  for mark in D8.9C E2.80.8E E2.80.8F E2.80.A8 E2.80.A9 E2.80.AA E2.80.AE E2.81.A6 E2.81.A9; do
    media "raid/Material/V${shot}0$place.$(printf %b "\\x${mark//./\\x}")vom"
    place=$((place + 1))
  done
  expect 0 media list
  for mark in D8.9C E2.80.8E E2.80.8F E2.80.A8 E2.80.A9 E2.80.AA E2.80.AE E2.81.A6 E2.81.A9; do
    tells "\\x${mark//./\\x}vom"
  done
  expect 0 rm "V${shot}06" --high --dry-run
  tells 'V'"$shot"'06.\xE2\x80\xAEvom"'
  media "raid/Material/V${shot}09."$'\xE2\x80\xA7\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA\xD8\x9Bvom'
  expect 0 rm "V${shot}09" --high --dry-run
  tells "V${shot}09."$'\xE2\x80\xA7\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA\xD8\x9Bvom"'
}

# Beside a drive that never answers, with links that lead there.
case_the_catalogue_beside_drives_that_never_answer_keeps_nobody_waiting() {
  is_root || skip "mounting needs root"
  [ -c /dev/fuse ] || skip "there is no /dev/fuse"
  [ -x "${FSYS_SILENT_MOUNT:-}" ] || skip "FSYS_SILENT_MOUNT names no program"
  is_sanitized && export ASAN_OPTIONS=detect_leaks=0 TSAN_OPTIONS=report_thread_leaks=0
  media_drive raid
  mkdir -p silent/1
  expect 0 locations add silent/1
  rmdir silent/1
  media "raid/Material/$vision.mov"
  expect 0 link create "raid/Material/VSILENT0000.mov" silent/1/Material/x.mov
  expect 0 link create silent.link silent/2/x.mov
  share_folders
  printf '[away]\npath = %s\n' "$PWD/silent/3" >smb.conf
  expect 0 link create "raid/Material/VSHARED0000.mov" "\\\\$station\\away\\x.mov"
  catalogue_beside_silence 0 scan
  catalogue_beside_silence 0 find "$vision"
  is path "$PWD/raid/Material/$vision.mov"
  catalogue_beside_silence 6 find VSILENT0000
  says_json "does not answer"
  catalogue_beside_silence 6 find VSHARED0000
  says_json "does not answer"
  catalogue_beside_silence 6 shot VSILENT0000
  catalogue_beside_silence 6 rm VSILENT0000 --high --yes
  catalogue_beside_silence 0 media list
  told_is out '[t["state"] for t in told if t.get("cookie") == "VSILENT0000"]' "['no answer']"
  catalogue_beside_silence 0 media offline
  told_is out '[t["cookie"] for t in told[:-1]]' "['VSHARED0000', 'VSILENT0000']"
  catalogue_beside_silence 0 link show silent.link
  is target_answers False
  catalogue_beside_silence 3 link check silent.link silent/3/x
  is links.0.state "no answer"
  is links.1.state unreadable
  catalogue_beside_silence 6 link create silent/4/link target
  catalogue_beside_silence 6 proxy parse "$PWD/silent/1/proxy/proxy-x"
  export fsys
  export -f start until_true fail
  "$FSYS_SILENT_MOUNT" 1 silent timeout -s KILL 60 bash -c '
    start watch >out 2>err & until_true "[ -s out ]"
    kill -INT $!; wait $!'
  [ $? = 130 ] || { cat out err; fail "an interrupted watch has another exit code"; }
  rmdir silent/1
}
says_json() { grep -qF -- "$1" out || { cat out; fail "it does not say \"$1\""; }; }
catalogue_beside_silence() {
  local wanted=$1
  shift
  local code=0
  "$FSYS_SILENT_MOUNT" 5 silent timeout -s KILL 30 "$fsys" "$@" --json >out 2>err || code=$?
  [ "$code" != 77 ] || skip "$(cat out)"
  [ "$code" = "$wanted" ] || { cat out err; fail "fsys $*: exit code $code"; }
  rmdir silent/*
}
