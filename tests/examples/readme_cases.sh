# shellcheck shell=bash disable=SC2154
# What examples/README.md says. Sourced by examples_test.sh.

# On media of the tests, with the programs where they are.
case_the_commands_of_the_readme_run() {
  need ffmpeg fsys-framemd5
  need_gstreamer
  mkdir build
  ln -s "$work/ffmpeg" build/ffmpeg-example
  ln -s "$work/gstreamer" build/gstreamer-example
  sed -n '/^```sh$/,/^```$/p' "$work/sources/README.md" | grep '^build/' |
    sed -e "s|/media/raid|$media|" -e 's|V4K7Q2M9A00|VJPGJPG0000|' >commands
  [ "$(wc -l <commands)" = 5 ] || fail "$(wc -l <commands) commands"
  while IFS= read -r command; do
    run 0 bash -c "$command"
    [ -s out ] || fail "$command prints nothing"
  done <commands
  # The one that ffmpeg is called with to compare.
  sed -n '/^ffmpeg /,/-$/p' "$work/sources/README.md" |
    sed -e "s|/media/raid|$media|" -e 's|V4K7Q2M9A00|VJPGJPG0000|' >commands
  bash commands >reference || fail "ffmpeg is called as it should not be"
  framemd5 0 VJPGJPG0000 --media "$media"
  diff reference out || fail "the README names other frames"
}
