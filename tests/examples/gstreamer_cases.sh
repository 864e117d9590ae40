# shellcheck shell=bash disable=SC2154,SC2034
# The example for GStreamer, beside gst-launch-1.0. Sourced by examples_test.sh.

# gst-launch-1.0 from the file itself: leaves the bytes of the whole stream, and in `wanted` what the
# example is to say of them. Where decodebin finds a stream that nobody takes, about one launch in two
# hundred never ends: here all are taken.
launched() {
  local file=$1 decode=$2 rest=()
  case $decode in
    *video/x-raw) rest=(all. ! audio/x-raw ! fakesink) ;;
    decodebin*audio/x-raw) rest=(all. ! video/x-raw ! fakesink) ;;
  esac
  # shellcheck disable=SC2086  # one word an element
  timeout 60 gst-launch-1.0 -q filesrc location="$file" ! ${decode/decodebin/decodebin name=all} ! \
    filesink location=bytes "${rest[@]}" >launch.log 2>&1 ||
    { cat launch.log; fail "gst-launch-1.0 cannot play $file"; }
  echo "all, $(stat -c %s bytes), $(md5sum <bytes | cut -d' ' -f1)" >wanted
}
need_gstreamer() {
  need gstreamer fsys-gstmd5
  command -v gst-launch-1.0 >/dev/null || skip "there is no gst-launch-1.0"
  export GST_REGISTRY=$work/registry GST_REGISTRY_FORK=no
  local element
  for element in appsrc decodebin wavparse qtdemux jpegdec; do
    gst-inspect-1.0 --exists "$element" || skip "GStreamer has no $element here"
  done
}

case_streams_are_those_of_gst_launch() {
  need_gstreamer
  local mov=$media/Material/VJPGJPG0000.mov decode
  for decode in 'decodebin ! video/x-raw' 'decodebin ! audio/x-raw' 'qtdemux ! image/jpeg'; do
    launched "$mov" "$decode"
    gstmd5 0 VJPGJPG0000 --media "$media" --decode "$decode"
    tail -n 1 out | diff wanted - || fail "other bytes of $decode"
  done
  for decode in 'wavparse ! audio/x-raw' 'identity'; do
    launched "$media/Sound/SWAVWAV0001.wav" "$decode"
    gstmd5 0 SWAVWAV0001 --media "$media" --decode "$decode"
    tail -n 1 out | diff wanted - || fail "other bytes of $decode"
  done
  [ "$(cut -d, -f2 wanted)" -gt 500000 ] || fail "few bytes were compared: $(cat wanted)"
  mkdir -p own/Sound
  cp "$media/Sound/SWAVWAV0001.wav" own/Sound/
  printf '\001' | dd of=own/Sound/SWAVWAV0001.wav bs=1 seek=300000 conv=notrunc 2>dd.log
  gstmd5 0 SWAVWAV0001 --media own --decode identity
  tail -n 1 out | diff wanted - >/dev/null && fail "one byte is another, and the sum is not"
  return 0
}

case_what_gstreamer_seeks_is_what_it_plays() {
  need_gstreamer
  gstmd5 0 VJPGJPG0000 --media "$media"
  [ "$(wc -l <out)" = 51 ] || fail "$(wc -l <out) lines"
  sed 's/^[0-9]*, //' out >lines
  times=(1.3 0.02 1.96 0.4 0.4 0)
  gstmd5 0 VJPGJPG0000 --media "$media" --at 1.3 --at 0.02 --at 1.96 --at 0.4 --at 0.4 --at 0
  shown | diff - <(sed 's/^[0-9]*, //' out) || fail "another picture is shown"
  # Sound of two channels with three bytes a sample, from a moment on.
  launched "$media/Sound/SWAVWAV0001.wav" 'wavparse ! audio/x-raw'
  gstmd5 0 SWAVWAV0001 --media "$media" --decode 'wavparse ! audio/x-raw' --at 1.1 --at 0.3
  local moment size sum
  for moment in 11 3; do
    IFS=', ' read -r _ size sum
    [ "$size" -gt 1000 ] || fail "few bytes: $size"
    [ "$(tail -c +$((moment * 28800 + 1)) bytes | head -c "$size" | md5sum)" = "$sum  -" ] ||
      fail "other sound at 0.$moment"
  done <out
}

case_what_gstreamer_cannot_play_is_refused_in_words() {
  need_gstreamer
  refuses_what_it_should gstmd5
  gstmd5 1 VJPGJPG0000 --media "$media" --decode 'nosuchelement'
  says 'no element "nosuchelement"'
  gstmd5 1 VJPGJPG0000 --media "$media" --at 0.4 --at 9
  says 'nothing is shown at 9'
}

case_gstreamer_tells_why_a_file_cannot_be_read_and_ends_by_ctrl_c() {
  need_gstreamer
  share_with VRAWRAW0000
  start 130 "$work/gstreamer/fsys-gstmd5" VRAWRAW0000 --media share
  ask 0.2
  answers 1
  order s
  ask 1.9
  interrupted
  says interrupted
  order b
  gstmd5 1 VRAWRAW0000 --media share
  says 'VRAWRAW0000.mov": Input/output error'
}

case_memory_is_used_as_it_should_be_beside_gstreamer() {
  need_gstreamer
  sanitized=-sanitized
  # GLib keeps its table of words in ways that cannot be followed; only whole stacks tell it apart.
  printf 'leak:_dl_init\nleak:g_quark_from_string\n' >suppressions
  export ASAN_OPTIONS=fast_unwind_on_malloc=0
  export LSAN_OPTIONS=suppressions=$PWD/suppressions:print_suppressions=0
  # Each object by itself.
  export G_SLICE=always-malloc
  gstmd5 0 VJPGJPG0000 --media "$media"
  gstmd5 0 VJPGJPG0000 --media "$media" --at 1.3 --at 0.02 --at 1.96
  gstmd5 1 SWAVWAV0001 --media "$media" --decode 'nosuchelement'
  gstmd5 1 SWAVWAV0001 --media "$media" --decode 'qtdemux'
}
