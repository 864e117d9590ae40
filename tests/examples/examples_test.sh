#!/usr/bin/env bash
# What the examples print is what ffmpeg and gst-launch-1.0 make of the same files, whatever happens on
# the way. Usage: examples_test.sh WORK_FOLDER CASE
# shellcheck disable=SC2034,SC2317  # cases use what stands here, and are called by their names
set -uo pipefail

work=$(readlink -f "$1")
here=$(dirname "$(readlink -f "$0")")
media=$work/media
sanitized=
# shellcheck source=tests/support/cases.sh
source "$here/../support/cases.sh"

# The program of an example, which is built or why not.
need() {
  [ -e "$work/$1.missing" ] && skip "$(cat "$work/$1.missing")"
  [ -x "$work/$1/$2" ] || skip "the examples were not built"
}
# run CODE PROGRAM WORD...: leaves `out` and `err`.
run() {
  local wanted=$1 code=0
  shift
  timeout -s KILL 60 "$@" >out 2>err </dev/null || code=$?
  [ "$code" = "$wanted" ] || { cat out err; fail "$*: exit code $code instead of $wanted"; }
}
framemd5() {
  local code=$1
  shift
  run "$code" "$work/ffmpeg$sanitized/fsys-framemd5" "$@"
}
gstmd5() {
  local code=$1
  shift
  run "$code" "$work/gstreamer$sanitized/fsys-gstmd5" "$@"
}
says() { grep -qF -- "$1" err || { cat err; fail "standard error does not say \"$1\""; }; }
# What ffmpeg makes of a file: its options before the file, and after it.
reference() {
  local file=$1 before=$2
  shift 2
  # shellcheck disable=SC2086  # one word an option
  ffmpeg -nostdin -v fatal -threads 1 -flags bitexact $before -i "$file" "$@" -fps_mode passthrough \
    -bitexact -f framemd5 - >reference || fail "ffmpeg cannot read $file"
  grep -v '^#' reference >lines
}
# Line by line, and so many frames.
equals_reference() {
  diff reference out || fail "$1: other frames than ffmpeg's"
  [ "$(wc -l <lines)" = "$2" ] || fail "$1: $(wc -l <lines) frames, not $2"
}
pictures=("VMOVMOV0000 mov" "VMXFMXF0000 mxf" "VMP4MP40000 mp4" "VM4VM4V0000 mov" \
  "VRAWRAW0000 mov")
sequences=("VPNGPNG0000 png" "VDPXDPX0000 dpx" "VTIFTIF0000 tif")
# Forwards, backwards, between two pictures, on their edges, and twice.
times=(0 0.04 0.3 1.96 1.5 0.98 0.319 0.32 1.2 0.44 0.44 1.9801 0)
at=()
for each in "${times[@]}"; do at+=(--at "$each"); done
# What is shown at these times of 25 pictures a second, by the lines of all pictures.
shown() {
  local each
  for each in "${times[@]}"; do
    sed -n "$(awk -v t="$each" 'BEGIN { print int(t * 25 + 1e-6) + 1 }')p" lines
  done
}

# A program that is given times as they come: start CODE PROGRAM WORD...; then ask and answers.
start() {
  wanted=$1
  shift
  mkfifo asked
  "$@" --at - <asked >out 2>err &
  program=$!
  exec {asking}>asked
}
ask() { echo "$1" >&"$asking"; }
# So many lines were answered, or told.
answers() { until_true "[ \$(wc -l <out) -ge $1 ]"; }
tells() { until_true "grep -qF -- \"$1\" err"; }
end() {
  local code=0
  exec {asking}>&-
  wait "$program" || code=$?
  [ "$code" = "$wanted" ] || { cat out err; fail "exit code $code instead of $wanted"; }
}
# It has answered with the pictures of these times, and with nothing else.
ends_having_shown() {
  times=("$@")
  end
  shown | diff - out || fail "another picture is shown"
}

# A share with the media of a cookie, served through the page cache. It is gone when the case ends.
share_with() {
  is_root || skip "mounting needs root"
  mount_share share
  trap end_share EXIT
  mkdir share/Material && cp "$media/Material/$1".* share/Material/
}

end_share() {
  local server=$share_PID
  exec {share[0]}<&- {share[1]}>&-
  wait "$server"
}

# Ctrl-C ends the program, though its share is silent: it has no memory any more. The system lets go of
# it when the share answers.
interrupted() {
  kill -INT "$program"
  until_true '! grep -qs fsys- /proc/$program/cmdline' 30
  order a
  end
}

# Of a program by the name of its function here.
refuses_what_it_should() {
  mkdir -p own/Material
  head -c 5000 /dev/zero | tr '\0' x >own/Material/VGARBAGE000.mov
  ln -s "$media/Material/VMOVMOV0000.mov" own/Material/VMOVMOV0000.mov
  "$work/prefix/bin/fsys" link create --quiet own/Material/VMISSING000.mov "$PWD/own/gone.mov"
  "$1" 2 --media own
  says "no cookie is given"
  says "usage: "
  "$1" 2 VMOVMOV0000 --media own --colour
  says '"--colour" is not understood'
  "$1" 2 VMOVMOV0000 --media
  says '"--media" is not understood'
  "$1" 2 VMOVMOV0000
  says "no media: give --media FOLDER"
  "$1" 2 VMOVMOV0000 --media nowhere
  says '"nowhere" is no folder here'
  "$1" 2 VMOVMOV0000 --media own/Material/VGARBAGE000.mov
  says 'is no folder that may be written to'
  "$1" 2 clip.mov --media own
  says '"clip.mov" is no cookie'
  "$1" 3 VUNKNOWN000 --media own
  says 'no media drive has media of "VUNKNOWN000"'
  "$1" 3 VMISSING000 --media own
  says "VMISSING000.mov\", a link to \"$PWD/own/gone.mov\", is missing"
  "$1" 1 VGARBAGE000 --media own
  [ ! -s out ] || fail "something was printed"
  "$1" 2 VMOVMOV0000 --media own --at -1
  says '"-1" is no number'
}

for file in "$here"/*_cases.sh; do
  # shellcheck source=/dev/null
  source "$file"
done

folder=$(mktemp -d "${TMPDIR:-/tmp}/fsys-examples.XXXXXX")
export XDG_CONFIG_HOME="$folder/.config" XDG_STATE_HOME="$folder/.state"
(cd "$folder" && "case_$2")
code=$?
rm -rf "$folder"
exit "$code"
