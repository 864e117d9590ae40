#!/usr/bin/env bash
# The demo: makes real media, streams it through the engine and ends with a table.
# Usage: demo.sh PATH_OF_FSYS
#
# The media is kept in build/demo-media for the next run. Settings by environment:
#   DEMO_MEDIA     the folder for the media
#   DEMO_WORK      the folder for the copies and the recording; it is removed afterwards
#   DEMO_SECONDS   how long the tracks play (8)
#   DEMO_FFMPEG    the program that makes the media (ffmpeg); "none": stamped files instead
#   DEMO_STAMPED   bytes of a stamped file (84000000)
#   DEMO_LEAST     bytes that all media must have together (400000000)
set -euo pipefail

[ $# = 1 ] || { echo "usage: demo.sh PATH_OF_FSYS" >&2; exit 2; }
fsys=$(readlink -f "$1")
[ -x "$fsys" ] || { echo "demo.sh: \"$1\" is no program" >&2; exit 2; }
root=$(dirname "$(dirname "$(readlink -f "$0")")")
media=${DEMO_MEDIA:-$root/build/demo-media}
work=${DEMO_WORK:-$root/build/demo-work}
ffmpeg=${DEMO_FFMPEG:-ffmpeg}
stamped_bytes=${DEMO_STAMPED:-84000000}
least_bytes=${DEMO_LEAST:-400000000}
seconds=8

say() { printf '==> %s\n' "$*"; }

# One file; it gets its name when it is whole.
#   make NAME OPTION...   options of ffmpeg, from the inputs on
make() {
  local name=$1 begin=$SECONDS
  shift
  [ ! -s "$media/$name" ] || return 0
  # The end of the name tells ffmpeg the container.
  "$ffmpeg" -hide_banner -loglevel error -nostdin -y "$@" "$media/part.$name"
  mv "$media/part.$name" "$media/$name"
  printf '    %-24s %6d MB  %2d s\n' "$name" "$(($(stat -c %s "$media/$name") / 1000000))" \
    "$((SECONDS - begin))"
}

make_with_ffmpeg() {
  local hd="testsrc2=size=1280x720:rate=25:duration=$seconds"
  local sd="testsrc2=size=720x576:rate=25:duration=$seconds"
  local tone="sine=frequency=440:sample_rate=48000:duration=$seconds"
  # Four are played, the fifth is recorded, the others are copied and checked like all.
  names=(prores.mov raw.avi mpeg2.mxf huffyuv.avi v210.mov ffv1.mkv pcm.wav)
  make prores.mov -f lavfi -i "$hd" -f lavfi -i "$tone" -c:v prores -profile:v 3 -c:a pcm_s16le
  make raw.avi -f lavfi -i "$sd" -f lavfi -i "$tone" -c:v rawvideo -pix_fmt uyvy422 -c:a pcm_s16le
  make mpeg2.mxf -f lavfi -i "$hd" -f lavfi -i "$tone" -c:v mpeg2video -b:v 50M -minrate 50M \
    -maxrate 50M -bufsize 20M -g 1 -pix_fmt yuv422p -c:a pcm_s16le
  make huffyuv.avi -f lavfi -i "$sd" -f lavfi -i "$tone" -c:v huffyuv -pix_fmt yuv422p \
    -c:a pcm_s16le
  make v210.mov -f lavfi -i "$sd" -f lavfi -i "$tone" -c:v v210 -c:a pcm_s24le
  make ffv1.mkv -f lavfi -i "$sd" -f lavfi -i "$tone" -c:v ffv1 -level 3 -slices 4 -c:a flac
  make pcm.wav -f lavfi -i "$tone" -ac 2 -c:a pcm_s24le
}

make_stamped() {
  local number
  names=()
  for number in 1 2 3 4 5; do
    names+=("stamped$number.dat")
    [ ! -s "$media/stamped$number.dat" ] || continue
    "$fsys" verify "$media/part.stamped$number.dat" --quiet --force --size $((stamped_bytes + number)) \
      --seed "$number"
    mv "$media/part.stamped$number.dat" "$media/stamped$number.dat"
  done
}

mkdir -p "$media"
if [ "$ffmpeg" != none ] && command -v "$ffmpeg" >/dev/null; then
  say "making media with ffmpeg (test pictures and a tone) in $media"
  make_with_ffmpeg
else
  say "there is no ffmpeg: files of stamped sectors take the place of media, in $media"
  make_stamped
fi
total=0
for name in "${names[@]}"; do total=$((total + $(stat -c %s "$media/$name"))); done
say "media: ${#names[@]} files, $((total / 1000000)) MB"
if [ "$total" -lt "$least_bytes" ]; then
  echo "demo.sh: that is less than $((least_bytes / 1000000)) MB; remove $media to make it anew" >&2
  exit 1
fi

rm -rf "$work"
mkdir -p "$work"
trap 'rm -rf "$work"' EXIT
"$fsys" demo --work "$work" --seconds "${DEMO_SECONDS:-$seconds}" "${names[@]/#/$media/}"
