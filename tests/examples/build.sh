#!/usr/bin/env bash
# Installs the library, builds the examples with nothing else of ours, once as they are and once with
# sanitizers, and makes the media that they are tested with.
# Usage: build.sh CMAKE BUILD_FOLDER COMPILER WORK_FOLDER
# Leaves in the work folder: ffmpeg and gstreamer with the programs, the same with -sanitized, media;
# of what cannot be built here ffmpeg.missing or gstreamer.missing, which says why.
set -euo pipefail
cmake=$1
build=$2
compiler=$3
work=$4
root=$(readlink -f "$(dirname "$0")/../..")

rm -rf "$work"
mkdir -p "$work"
"$cmake" --install "$build" --prefix "$work/prefix" >"$work/install.log" 2>&1 ||
  { cat "$work/install.log"; exit 1; }
# Beside nothing else of the source tree's.
cp -r "$root/examples" "$work/sources"
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi

# build_example FOLDER SUFFIX FLAGS
build_example() {
  local to=$work/$1$2
  if ! { "$cmake" -S "$work/sources/$1" -B "$to" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" \
    -DCMAKE_CXX_COMPILER="$compiler" "${launcher[@]}" -DCMAKE_CXX_FLAGS="$3" &&
    "$cmake" --build "$to"; } >"$to.log" 2>&1; then
    cat "$to.log"
    return 1
  fi
}

# example FOLDER PACKAGE MODULE...
example() {
  local folder=$1 package=$2 module
  shift 2
  for module; do
    pkg-config --exists "$module" && continue
    echo "$module is not installed (the package $package)" >"$work/$folder.missing"
    cat "$work/$folder.missing"
    return
  done
  build_example "$folder" "" ""
  build_example "$folder" -sanitized "-g1 -fsanitize=address,undefined -fno-sanitize-recover=undefined"
  echo "$folder: built with warnings as errors"
}

ff() { ffmpeg -nostdin -v error -y "$@"; }
picture=(-f lavfi -i testsrc2=size=320x180:rate=25:duration=2)
# Its channels are not the same.
sound=(-f lavfi -i 'aevalsrc=sin(440*2*PI*t)|sin(660*2*PI*t):sample_rate=48000:duration=2')

# sequence COOKIE ENDING: ten pictures from number 98 on in a folder of their own, and a link to the
# first of them.
sequence() {
  mkdir "Material/$1"
  ff -f lavfi -i testsrc2=size=320x180:rate=25:duration=0.4 -start_number 98 "Material/$1/50%% %04d.$2"
  "$work/prefix/bin/fsys" link create --quiet "Material/$1.$2" "$PWD/Material/$1/50% 0098.$2"
}

make_media() {
  mkdir -p "$work/media/Material" "$work/media/Sound"
  cd "$work/media"
  ff "${picture[@]}" "${sound[@]}" -c:v prores -c:a pcm_s16le Material/VMOVMOV0000.mov
  # Larger than what is read ahead, as is the one of raw pictures.
  ff "${picture[@]}" "${sound[@]}" -vf noise=alls=100:all_seed=7 -c:v mpeg2video -qmin 1 -q:v 1 \
    -g 12 -bf 2 -pix_fmt yuv420p -c:a pcm_s16le Material/VMXFMXF0000.mxf
  # In this and the next what is shown before a key picture may be stored behind it.
  ff "${picture[@]}" "${sound[@]}" -c:v libx264 -g 12 -bf 2 -x264-params open-gop=1 \
    -pix_fmt yuv420p -c:a aac Material/VMP4MP40000.mp4
  ff "${picture[@]}" -c:v mpeg4 -g 12 -bf 2 Material/VM4VM4V0000.mov
  # With the index first, so that a part of it can be read.
  ff "${picture[@]}" -c:v rawvideo -pix_fmt uyvy422 -movflags faststart Material/VRAWRAW0000.mov
  ff "${picture[@]}" "${sound[@]}" -c:v mjpeg -q:v 2 -c:a pcm_s16le Material/VJPGJPG0000.mov
  ff "${sound[@]}" -c:a pcm_s24le Sound/SWAVWAV0001.wav
  sequence VPNGPNG0000 png
  sequence VDPXDPX0000 dpx
  sequence VTIFTIF0000 tif
  # Pictures that are the media themselves, though their cookies end in numbers.
  cp 'Material/VPNGPNG0000/50% 0100.png' Material/VSTILL00000.png
  cp 'Material/VPNGPNG0000/50% 0101.png' Material/VSTILL00001.png
}

for program in ffmpeg pkg-config; do
  command -v "$program" >/dev/null || { echo "skipped: there is no $program"; exit 77; }
done
example ffmpeg libavformat-dev libavformat libavcodec libavutil
example gstreamer libgstreamer-plugins-base1.0-dev gstreamer-app-1.0
make_media
# Here GStreamer looks at all its plug-ins, once for all cases.
if command -v gst-inspect-1.0 >/dev/null; then
  GST_REGISTRY=$work/registry gst-inspect-1.0 >"$work/elements"
fi
