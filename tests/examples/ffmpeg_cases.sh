# shellcheck shell=bash disable=SC2154,SC2034
# The example for libavformat, beside ffmpeg. Sourced by examples_test.sh.

case_frames_of_each_container_are_those_of_ffmpeg() {
  need ffmpeg fsys-framemd5
  local cookie ending
  for each in "${pictures[@]}"; do
    read -r cookie ending <<<"$each"
    reference "$media/Material/$cookie.$ending" '' -map 0:v:0
    framemd5 0 "$cookie" --media "$media"
    equals_reference "$cookie" 50
  done
}

case_sound_is_that_of_ffmpeg() {
  need ffmpeg fsys-framemd5
  reference "$media/Material/VMOVMOV0000.mov" '' -map 0:a:0
  framemd5 0 VMOVMOV0000 --media "$media" --sound
  equals_reference mov "$(wc -l <lines)"
  reference "$media/Material/VMXFMXF0000.mxf" '' -map 0:a:0
  framemd5 0 VMXFMXF0000 --media "$media" --sound
  equals_reference mxf "$(wc -l <lines)"
  reference "$media/Material/VMP4MP40000.mp4" '' -map 0:a:0 -c:a pcm_f32le
  framemd5 0 VMP4MP40000 --media "$media" --sound
  equals_reference mp4 "$(wc -l <lines)"
  reference "$media/Sound/SWAVWAV0001.wav" '' -c:a pcm_s32le
  framemd5 0 SWAVWAV0001 --media "$media" --sound
  equals_reference wav "$(wc -l <lines)"
  [ "$(wc -l <lines)" -gt 20 ] || fail "no sound was compared"
}

case_pictures_of_a_linked_sequence_are_those_of_ffmpeg() {
  need ffmpeg fsys-framemd5
  local cookie ending
  for each in "${sequences[@]}"; do
    read -r cookie ending <<<"$each"
    reference "$media/Material/$cookie/50%% %04d.$ending" '-framerate 24 -f image2 -start_number 98'
    # No more files are open at once than are being read.
    ulimit -n 24
    framemd5 0 "$cookie" --media "$media" --rate 24
    equals_reference "$cookie" 10
  done
}

# The engine opens without a terminal; libavformat's own files know nothing of that.
case_each_picture_of_a_sequence_comes_through_the_engine() {
  need ffmpeg fsys-framemd5
  command -v strace >/dev/null || skip "there is no strace"
  strace -o trace true 2>err || skip "tracing is not allowed here: $(head -n 1 err)"
  local number
  run 0 strace -f -qq -o trace -e trace=open,openat,openat2 "$work/ffmpeg/fsys-framemd5" VDPXDPX0000 \
    --media "$media"
  for number in 0098 0099 0100 0101 0102 0103 0104 0105 0106 0107; do
    grep "50% $number.dpx" trace >opens || fail "picture $number was not opened"
    grep -v O_NOCTTY opens && fail "picture $number was opened past the engine"
  done
  return 0
}

case_a_picture_that_is_no_link_is_a_still() {
  need ffmpeg fsys-framemd5
  reference "$media/Material/VSTILL00000.png" ''
  framemd5 0 VSTILL00000 --media "$media"
  equals_reference still 1
  framemd5 0 VSTILL00000 --media "$media" --at 0 --at 0.01 --at 0
  cat lines lines lines | diff - out || fail "the still is another picture"
}

case_each_picture_that_is_sought_is_that_of_decoding_from_the_beginning() {
  need ffmpeg fsys-framemd5
  local cookie ending
  for each in "${pictures[@]}"; do
    read -r cookie ending <<<"$each"
    reference "$media/Material/$cookie.$ending" '' -map 0:v:0
    framemd5 0 "$cookie" --media "$media" "${at[@]}" --stats
    shown | diff - out || fail "$cookie: another picture is shown"
  done
  # Of the last one, which is larger than what is read ahead.
  [ "$(sed -nE 's/.*, ([0-9]+) of them from what was read before/\1/p' err)" -gt 0 ] ||
    { cat err; fail "no block came from the engine's read cache"; }
  times=(0.1 0.36 0 0.2)
  for each in "${sequences[@]}"; do
    read -r cookie ending <<<"$each"
    reference "$media/Material/$cookie/50%% %04d.$ending" '-framerate 25 -f image2 -start_number 98'
    framemd5 0 "$cookie" --media "$media" --at 0.1 --at 0.36 --at 0 --at 0.2
    shown | diff - out || fail "$cookie: another picture is shown"
  done
}

case_behind_the_end_nothing_is_shown_and_what_follows_is() {
  need ffmpeg fsys-framemd5
  local cookie ending
  times=(0.2 0.04)
  for each in "${pictures[@]}" "${sequences[@]}"; do
    read -r cookie ending <<<"$each"
    framemd5 0 "$cookie" --media "$media"
    grep -v '^#' out >lines
    framemd5 1 "$cookie" --media "$media" --at 0.2 --at 2 --at 70000 --at 0.04
    shown | diff - out || fail "$cookie: another picture is shown"
    says "at 2: no picture is shown then"
    says "at 70000: no picture is shown then"
  done
}

case_with_threads_instead_of_a_ring_it_is_the_same() {
  need ffmpeg fsys-framemd5
  export FSYS_IO=threads
  reference "$media/Material/VMXFMXF0000.mxf" '' -map 0:v:0
  framemd5 0 VMXFMXF0000 --media "$media"
  equals_reference mxf 50
  framemd5 0 VMXFMXF0000 --media "$media" "${at[@]}"
  shown | diff - out || fail "another picture is shown"
}

case_a_byte_that_is_another_gives_another_picture() {
  need ffmpeg fsys-framemd5
  mkdir -p own/Material
  cp "$media/Material/VRAWRAW0000.mov" own/Material/
  reference "$media/Material/VRAWRAW0000.mov" '' -map 0:v:0
  printf '\001' | dd of=own/Material/VRAWRAW0000.mov bs=1 seek=3000000 conv=notrunc 2>dd.log
  framemd5 0 VRAWRAW0000 --media own
  [ "$(diff reference out | grep -c '^>')" = 1 ] || fail "one byte is another, and not one picture is"
  reference own/Material/VRAWRAW0000.mov '' -map 0:v:0
  equals_reference "with the other byte" 50
}

case_a_file_that_ends_early_gives_what_ffmpeg_gives_and_it_is_told() {
  need ffmpeg fsys-framemd5
  mkdir -p own/Material
  head -c 3000001 "$media/Material/VRAWRAW0000.mov" >own/Material/VRAWRAW0000.mov
  reference own/Material/VRAWRAW0000.mov '' -map 0:v:0
  framemd5 1 VRAWRAW0000 --media own
  equals_reference raw 26
  says "broken in 1 places"
  head -c 1000001 "$media/Material/VMXFMXF0000.mxf" >own/Material/VMXFMXF0000.mxf
  reference own/Material/VMXFMXF0000.mxf '' -map 0:v:0
  # Its last picture has no time of its own.
  framemd5 1 VMXFMXF0000 --media own
  equals_reference mxf "$(wc -l <lines)"
  [ "$(wc -l <lines)" -gt 10 ] || fail "$(wc -l <lines) frames"
  says "broken in 1 places"
}

case_a_file_that_is_shortened_meanwhile_shows_no_bytes_that_are_gone() {
  need ffmpeg fsys-framemd5
  mkdir -p own/Material
  cp "$media/Material/VRAWRAW0000.mov" own/Material/
  reference own/Material/VRAWRAW0000.mov '' -map 0:v:0
  start 1 "$work/ffmpeg/fsys-framemd5" VRAWRAW0000 --media own
  ask 0.1
  answers 1
  # In the middle of the picture of 1.80, which lies in a block that begins before.
  truncate -s $((45 * 115200 + 60000)) own/Material/VRAWRAW0000.mov
  ask 1.8
  tells "at 1.8: no picture is shown then"
  ask 1.9
  tells "at 1.9: no picture is shown then"
  ask 1.72
  answers 2
  ends_having_shown 0.1 1.72
}

case_a_file_that_is_being_recorded_shows_what_came_meanwhile() {
  need ffmpeg fsys-framemd5
  mkdir -p own/Material
  reference "$media/Material/VRAWRAW0000.mov" '' -map 0:v:0
  head -c 3000000 "$media/Material/VRAWRAW0000.mov" >own/Material/VRAWRAW0000.mov
  start 1 "$work/ffmpeg/fsys-framemd5" VRAWRAW0000 --media own
  ask 1
  answers 1
  ask 1.04
  tells "at 1.04: no picture is shown then"
  tail -c +3000001 "$media/Material/VRAWRAW0000.mov" >>own/Material/VRAWRAW0000.mov
  ask 1.04
  answers 2
  ask 1.96
  answers 3
  ends_having_shown 1 1.04 1.96
}

case_a_file_that_cannot_be_read_on_gives_what_was_read_and_the_reason() {
  need ffmpeg fsys-framemd5
  share_with VRAWRAW0000
  reference share/Material/VRAWRAW0000.mov '' -map 0:v:0
  order b
  framemd5 1 VRAWRAW0000 --media share
  says 'VRAWRAW0000.mov": Input/output error'
  local frames
  frames=$(wc -l <out)
  [ "$frames" -gt 20 ] && [ "$frames" -lt 50 ] || fail "$frames lines"
  head -n "$frames" reference | diff - out || fail "other frames"
}

# shows_from_share TIME ORDER CODE OPTION...: a program that has shown the picture of that time from a
# share, whereupon the share gets the order. It is to end with that code.
shows_from_share() {
  need ffmpeg fsys-framemd5
  local time=$1 order=$2 code=$3
  shift 3
  share_with VRAWRAW0000
  reference share/Material/VRAWRAW0000.mov '' -map 0:v:0
  start "$code" "$work/ffmpeg$sanitized/fsys-framemd5" VRAWRAW0000 --media share "$@"
  ask "$time"
  answers 1
  order "$order"
}

# No block that failed, asked for ahead or not, and no failure is remembered; the last picture is shown
# once the end of the file was come to.
case_after_a_failure_everything_is_shown_again() {
  shows_from_share 0.2 b 1
  ask 1.7
  tells 'at 1.7: reading: Input/output error'
  order b
  for each in 1.7 1.96 0.4; do ask "$each"; done
  answers 4
  ends_having_shown 0.2 1.7 1.96 0.4
}

# Transfers of a share are made by a thread each; one more reaps those of a ring.
case_several_blocks_are_in_flight_at_once() {
  shows_from_share 0.2 s 130
  ask 1.2
  until_true '[ "$(cat /proc/$program/task/*/comm | grep -c FsysReads)" -ge 6 ]'
  interrupted
}

case_a_full_list_of_requests_is_waited_for() {
  export FSYS_CONFIG_MaxRequestListSize=6
  shows_from_share 0.1 s 1 --patience 300
  local each
  for each in 1.9 1.4 1 0.6; do
    ask "$each"
    tells "at $each: it takes too long"
  done
  order a
  ask 0.6
  answers 2
  ends_having_shown 0.1 0.6
}

case_a_picture_of_a_silent_share_is_given_up_in_time_and_shown_later() {
  shows_from_share 0.2 s 1 --patience 500
  ask 1.9
  tells "at 1.9: it takes too long"
  ask 1.7
  tells "at 1.7: it takes too long"
  order a
  # What was asked for in the silence comes now, and is not taken for anything else.
  ask 1.9
  answers 2
  ask 0.6
  answers 3
  ends_having_shown 0.2 1.9 0.6
}

# The engine has the file's first bytes; how long the file is now nobody can tell.
case_what_the_engine_has_is_shown_though_the_share_is_silent() {
  shows_from_share 0.8 s 0
  ask 0
  answers 2
  order a
  ends_having_shown 0.8 0
}

case_ctrl_c_ends_what_waits_for_a_silent_share() {
  shows_from_share 0.2 s 130
  ask 1.9
  interrupted
  says interrupted
}

case_the_files_of_a_project_are_found_too() {
  need ffmpeg fsys-framemd5
  mkdir project
  echo "$media/" >project/DefNetDrive.txt
  framemd5 0 VMOVMOV0000 --project project
  mv out by_project
  framemd5 0 VMOVMOV0000 --media "$media"
  diff by_project out || fail "another file"
}

case_what_cannot_be_played_is_refused_in_words() {
  need ffmpeg fsys-framemd5
  refuses_what_it_should framemd5
  framemd5 1 VGARBAGE000 --media own
  says 'VGARBAGE000.mov": Invalid data found when processing input'
  framemd5 1 VRAWRAW0000 --media "$media" --sound
  says "looking for sound in"
  framemd5 2 VMOVMOV0000 --media "$media" --sound --at 1
  says "--at is for pictures"
}

# With every address and every end looked at; a leak is a failure, too.
case_memory_is_used_as_it_should_be() {
  need ffmpeg fsys-framemd5
  sanitized=-sanitized
  for each in "${pictures[@]}" "${sequences[@]}"; do framemd5 0 "${each% *}" --media "$media"; done
  framemd5 0 VMP4MP40000 --media "$media" --sound
  framemd5 0 VRAWRAW0000 --media "$media" "${at[@]}"
  framemd5 1 VPNGPNG0000 --media "$media" --at 0.3 --at 7 --at 0
  refuses_what_it_should framemd5
  framemd5 1 VRAWRAW0000 --media "$media" --sound
}

case_a_failing_and_a_silent_share_leave_no_memory_behind() {
  sanitized=-sanitized
  shows_from_share 0.2 s 130 --patience 300
  ask 1.9
  tells "at 1.9: it takes too long"
  # Leaks are looked for when all threads can be stopped.
  kill -INT "$program"
  order a
  end
  order b
  framemd5 1 VRAWRAW0000 --media share --at 1.9 --at 0
}
