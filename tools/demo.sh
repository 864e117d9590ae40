#!/usr/bin/env bash
# The demo: makes real media, lives through an editor's day with it, and ends with a table.
# Usage: demo.sh PATH_OF_FSYS
#
# Where mounting is allowed, the day's drives are file systems in files, mounted in a namespace of
# its own, which nobody else sees and which goes with it; elsewhere they are folders. The media is
# kept in build/demo-media for the next run. Settings by environment:
#   DEMO_MEDIA     the folder for the media
#   DEMO_WORK      the folder for everything else, which is removed again (build)
#   DEMO_DRIVES    "folders": nothing is mounted
#   DEMO_SECONDS   how long is played and recorded (8)
#   DEMO_FFMPEG    the program that makes the media (ffmpeg); "none": stamped files instead
#   DEMO_STAMPED   bytes of the picture of a stamped shot (70000000)
#   DEMO_LEAST     bytes that all media must have together (400000000)
set -euo pipefail

[ $# = 1 ] || { echo "usage: demo.sh PATH_OF_FSYS" >&2; exit 2; }
fsys=$(readlink -f "$1")
[ -x "$fsys" ] || { echo "demo.sh: \"$1\" is no program" >&2; exit 2; }
self=$(readlink -f "$0")
root=$(dirname "$(dirname "$self")")
media=${DEMO_MEDIA:-$root/build/demo-media}
ffmpeg=${DEMO_FFMPEG:-ffmpeg}
stamped_bytes=${DEMO_STAMPED:-70000000}
least_bytes=${DEMO_LEAST:-400000000}
seconds=8
heights="144 288"  # of the proxies

say() { printf '==> %s\n' "$*"; }

# Why no drive can be mounted here; nothing when one may be tried.
why_not_mounted() {
  local tool
  [ "${DEMO_DRIVES:-}" != folders ] || { echo "DEMO_DRIVES says so"; return; }
  [ "$(id -u)" = 0 ] || { echo "only root may mount"; return; }
  for tool in unshare mkfs.ext4 mount umount; do
    command -v "$tool" >/dev/null || { echo "there is no $tool"; return; }
  done
  unshare -m --propagation private true 2>/dev/null || echo "no mount namespace can be had"
}

# From here on what is mounted is seen by this process and those it starts, and by nobody else.
if [ "${DEMO_INSIDE:-}" != $$ ] && [ -z "$(why_not_mounted)" ]; then
  DEMO_INSIDE=$$ exec unshare -m --propagation private "$self" "$fsys"
fi

# However it ends: what runs is told to end, and waited for; then everything goes.
child=
work=
part=
held=
remove_all() {
  [ -z "$work" ] || umount "$work/one" "$work/two" || true
  rm -rf "$work" "$part"
} >/dev/null 2>&1
cleanup() {
  set +e
  trap '' INT TERM HUP
  if [ -n "$child" ]; then kill "$child" && wait "$child"; fi 2>/dev/null
  [ -z "$held" ] || exec {held}<&-
  remove_all
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
trap 'exit 129' HUP

# A command that is ended with this one, also when this one is killed.
end_with_us=()
if command -v setpriv >/dev/null && setpriv --pdeathsig TERM true 2>/dev/null; then
  end_with_us=(setpriv --pdeathsig TERM)
fi
run() {
  local code=0
  "${end_with_us[@]}" "$@" &
  child=$!
  wait "$child" || code=$?
  child=
  return "$code"
}

# The files of one shot, which get their names when all of them are whole; none when the last of
# them is there already. Those that another process has made meanwhile stay.
#   shot LAST_FILE FUNCTION ARGUMENT...   the function makes them in $part
shot() {
  local last=$1 begin=$SECONDS
  shift
  [ ! -s "$media/$last" ] || return 0
  "$@"
  find "$part" -type f ! -name "$last" -exec mv -n -t "$media" {} +
  mv -n "$part/$last" "$media/$last"
  find "$part" -type f -delete
  printf '    %-30s %6s  %2d s\n' "$last" "$(numfmt --to=si --suffix=B "$(stat -c %s "$media/$last")")" \
    "$((SECONDS - begin))"
}

# A picture and four channels of sound, each of a pitch of its own.
#   take NUMBER EXTENSION SIZE OPTION...
take() {
  local number=$1 extension=$2 size=$3 channel sources=() sounds=()
  shift 3
  for channel in 1 2 3 4; do
    sources+=(-f lavfi -i "sine=frequency=$((110 * number + 30 * channel)):sample_rate=48000:duration=$seconds")
    sounds+=(-map "$channel" -c:a pcm_s24le "$part/STAKE000${number}0$channel.wav")
  done
  run "$ffmpeg" -hide_banner -loglevel error -nostdin -y \
    -f lavfi -i "testsrc2=size=$size:rate=25:duration=$seconds" "${sources[@]}" \
    -map 0 "$@" "$part/VTAKE000${number}00.$extension" "${sounds[@]}"
}

# The name of a proxy of a picture.
proxy_name() { "$fsys" proxy name "$1" mp4 "$2" 2; }

# Both proxies of a shot, with its first two channels of sound.
#   proxies NUMBER PICTURE
proxies() {
  local number=$1 picture=$2 height name outputs=()
  for height in $heights; do
    name=$(proxy_name "$picture" "$height")
    outputs+=(-map 0 -map 1 -map 2 -vf "scale=-2:$height" -c:v mpeg4 -q:v 4 -c:a aac "$part/$name")
  done
  run "$ffmpeg" -hide_banner -loglevel error -nostdin -y -i "$media/$picture" \
    -i "$media/STAKE000${number}01.wav" -i "$media/STAKE000${number}02.wav" "${outputs[@]}"
}

# Four that are played, and two that are recorded and get proxies.
make_with_ffmpeg() {
  local hd=1280x720 sd=720x576 last
  shot VTAKE000100.mov take 1 mov $hd -c:v prores -profile:v 3
  shot VTAKE000200.mxf take 2 mxf $hd -c:v mpeg2video -b:v 50M -minrate 50M -maxrate 50M \
    -bufsize 20M -g 1 -pix_fmt yuv422p
  shot VTAKE000300.avi take 3 avi $sd -c:v huffyuv -pix_fmt yuv422p
  shot VTAKE000400.mkv take 4 mkv $sd -c:v ffvhuff -pix_fmt yuv422p
  shot VTAKE000500.mov take 5 mov $sd -c:v v210
  shot VTAKE000600.mp4 take 6 mp4 $hd -c:v mjpeg -q:v 2 -pix_fmt yuvj422p
  last=$(proxy_name VTAKE000500.mov "${heights##* }")
  shot "$last" proxies 5 VTAKE000500.mov
  last=$(proxy_name VTAKE000600.mp4 "${heights##* }")
  shot "$last" proxies 6 VTAKE000600.mp4
}

# A file of stamped sectors.
#   stamped NAME BYTES SEED
stamped() { run "$fsys" verify "$part/$1" --quiet --force --size "$2" --seed "$3"; }

stamped_take() {
  local number=$1 channel
  stamped "VTAKE000${number}00.dat" $((stamped_bytes + number)) "$number"
  for channel in 1 2 3 4; do
    stamped "STAKE000${number}0$channel.dat" $((stamped_bytes / 64 + channel)) "$number$channel"
  done
}

stamped_proxies() {
  local number=$1 height name
  for height in $heights; do
    name=$(proxy_name "VTAKE000${number}00.dat" "$height")
    stamped "$name" $((stamped_bytes / 128 + height)) "$number$height"
  done
}

make_stamped() {
  local number last
  for number in 1 2 3 4 5 6; do shot "VTAKE000${number}00.dat" stamped_take "$number"; done
  for number in 5 6; do
    last=$(proxy_name "VTAKE000${number}00.dat" "${heights##* }")
    shot "$last" stamped_proxies "$number"
  done
}

# Sets `media` and `maker`.
choose_media() {
  if [ "$ffmpeg" != none ] && command -v "$ffmpeg" >/dev/null; then
    say "making media with ffmpeg (test pictures and tones) in $media"
    maker=make_with_ffmpeg
  else
    media=$media/stamped
    say "there is no ffmpeg: files of stamped sectors take the place of media, in $media"
    maker=make_stamped
  fi
}

# Sets `work` and `part`. Another process removes them should this one be killed: it waits for the
# end of this one and of all that it has started.
make_folders() {
  local base=${DEMO_WORK:-$root/build}
  mkdir -p "$media" "$base"
  work=$(mktemp -d "$(readlink -f "$base")/demo.XXXXXX")
  part=$(mktemp -d "$media/part.XXXXXX")
  # shellcheck disable=SC2034  # it only has to be open
  exec {alive}> >(exec >/dev/null 2>&1; trap '' INT TERM HUP; cat; remove_all)
}

# Sets `total`.
make_media() {
  $maker
  total=$(find "$media" -maxdepth 1 -name '[VS]TAKE*' -printf '%s\n' | awk '{ sum += $1 } END { print sum + 0 }')
  say "media: $(find "$media" -maxdepth 1 -name '[VS]TAKE*' | wc -l) files, $((total / 1000000)) MB"
  [ "$total" -ge "$least_bytes" ] && return
  echo "demo.sh: that is less than $((least_bytes / 1000000)) MB; remove $media to make it anew" >&2
  exit 1
}

# An empty drive in a file. The file's name goes as soon as it is mounted, and the device lets go of
# it when nobody has it open: neither is left, whatever ends this process.
mount_drive() {
  local folder=$1 bytes=$2
  mkdir "$folder" && truncate -s "$bytes" "$folder.image" &&
    mkfs.ext4 -q -F -m 0 "$folder.image" && mount -o loop "$folder.image" "$folder" || return 1
  rm "$folder.image"
  rmdir "$folder/lost+found"
}

# Sets `day`: the options that say where the drives are.
make_drives() {
  local why device
  day=()
  why=$(why_not_mounted)
  if [ -z "$why" ]; then
    if mount_drive "$work/one" $((total * 3 / 2 + 64000000)) 2>"$work/why" &&
      mount_drive "$work/two" $((total * 3 / 2 + 64000000)) 2>"$work/why"; then
      device=$(awk -v folder="$work/one" '$2 == folder { print $1 }' /proc/self/mounts)
      # Held, so that the device keeps its file while the day has it unmounted.
      exec {held}<"$device"
      day=(--drives "$work/one" "$work/two" --device "$device" --type ext4)
      say "the drives are file systems of their own, on loop devices"
      return
    fi
    why=$(tail -n 1 "$work/why")
  fi
  say "two folders take the place of drives: $why"
}

choose_media
make_folders
make_media
make_drives
mkdir "$work/day"
run "$fsys" demo "$media" --work "$work/day" --seconds "${DEMO_SECONDS:-$seconds}" "${day[@]}"
