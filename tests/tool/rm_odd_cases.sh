# shellcheck shell=bash disable=SC2154
# Media, links and proxies of odd sizes and names, and on drives of two names, looked for and
# deleted. Sourced by tool_test.sh.

# What begins with "RIFF" is media, whatever its size.
case_media_of_a_links_size_is_no_link() {
  media_drive raid
  mkdir raid/Material/below
  printf 'RIFF%s' "$PWD/raid/Material/below/reel.mov" >"raid/Material/$vision.wav"
  truncate -s 512 "raid/Material/$vision.wav"
  media raid/Material/below/reel.mov
  expect 0 find "$vision" --json
  is path "$PWD/raid/Material/$vision.wav"
  is is_link False
  is state there
  expect 0 shot "$vision" --json
  is channels.0.bytes 512
  expect 0 media offline
  [ "$(wc -l <out)" = 1 ] || { cat out; fail "it is said to be offline"; }
  expect 0 rm "$vision" --high --yes
  tells "(high-resolution, 512 bytes)"
  [ ! -e "raid/Material/$vision.wav" ] || fail "it was not deleted"
  [ -e raid/Material/below/reel.mov ] || fail "it was taken for a link"
}

# Its target may have 510 bytes; one of 511 has no end.
case_links_with_the_longest_targets_are_found_and_deleted() {
  media_drive raid
  local part long
  part=$(printf 'x%.0s' $(seq 150))
  long=$PWD/raid/Material/below/$part/$part/
  long+=$(printf 'y%.0s' $(seq $((510 - ${#long}))))
  mkdir -p "$(dirname "$long")"
  media "$long" 3000
  [ "${#long}" = 510 ] || fail "a path of ${#long} bytes"
  printf '%s' "$long" >"raid/Material/$vision.mov"
  printf '%sy' "$long" >"raid/Material/V${shot}01.mov"
  truncate -s 512 "raid/Material/$vision.mov" "raid/Material/V${shot}01.mov"
  expect 0 find "$vision" --json
  is path "$long"
  expect 3 find "V${shot}01"
  expect 0 shot "$vision" --json
  is bytes 3000
  is channels.1.file ""
  is channels.1.bytes None
  expect 0 media offline --json
  told_is out '[t["cookie"] for t in told[:-1]]' "['V${shot}01']"
  expect 0 rm "V${shot}01" --high --yes
  [ ! -e "raid/Material/V${shot}01.mov" ] || fail "it was not deleted"
  [ -e "$long" ] || fail "a folder went with a link that leads nowhere"
  expect 0 rm "$vision" --high --yes
  [ ! -e "raid/Material/$vision.mov" ] || fail "it was not deleted"
  [ ! -e "$long" ] || fail "the folder is there"
}

# No file lies below the link's folder then.
case_links_to_folders_and_to_themselves_go_alone() {
  media_drive raid
  mkdir raid/Material/below
  media raid/Material/below/reel.mov
  media raid/Material/notes.txt
  local number=0 target
  for target in below below/ . .. ../Material below/.. "V${shot}06.mov" ./ ""; do
    printf '%s' "$PWD/raid/Material/$target" >"raid/Material/V${shot}0$number.mov"
    truncate -s 512 "raid/Material/V${shot}0$number.mov"
    number=$((number + 1))
  done
  for number in $(seq 0 8); do
    expect 0 rm "V${shot}0$number" --high --yes --json
    ! grep -q '"folder"' out || { cat out; fail "a folder was named"; }
    [ ! -e "raid/Material/V${shot}0$number.mov" ] || fail "it was not deleted"
  done
  [ -e raid/Material/below/reel.mov ] || fail "the folder is gone"
  [ -e raid/Material/notes.txt ] || fail "another file is gone"
  [ -d raid/Sound ] || fail "the other folder is gone"
}

# A name may say any number of channels; there are 255 sound cookies.
case_proxies_of_very_many_channels_are_counted_and_deleted() {
  media_drive raid
  local channels number=0
  for channels in 255 -1 256 2147483647; do
    media "raid/Material/V${shot}0$number.A$channels.proxy.360.mov" 100
    number=$((number + 1))
  done
  expect 0 scan --json
  is folders.0.files 4
  is folders.0.proxies 4
  is left_out 0
  expect 0 find "S${shot}FF" --json
  is channels 255
  for number in $(seq 0 3); do
    expect 0 rm "V${shot}0$number" --proxy --yes
    tells "  which is the proxy of V${shot}0$number, and of S${shot}01 to S${shot}FF"
    [ ! -e "$(echo raid/Material/V"${shot}0$number".*)" ] || fail "it was not deleted"
  done
  expect 3 find "S${shot}FF"
}

# It has the same name and size, and lies in the folder on which the drive was mounted.
case_media_below_a_drive_that_is_away_by_the_time_of_the_answer_stays() {
  in_own_namespace
  mkdir -p raid/Material
  media "raid/Material/$vision.mov"
  mount_memory raid
  media_drive raid
  media "raid/Material/$vision.mov"
  answer 6 $'y\n' "umount -l raid"
  mounted=()
  grep -q 'it has changed meanwhile, and stays' shown || { cat shown; fail "it did not say so"; }
  [ -e "raid/Material/$vision.mov" ] || fail "the media of another disk is gone"
}

# A drive that is registered under a second name, too, has each file twice.
case_media_on_a_drive_with_two_names_is_no_proxy() {
  media_drive one
  ln -s one alias
  media "one/Material/$vision.mov" 3000
  "$fsys" locations add alias --quiet || fail "alias was not added"
  expect 3 rm "$vision" --proxy --yes
  [ -e "one/Material/$vision.mov" ] || fail "the media is gone"
}

case_a_file_that_goes_under_one_of_two_names_is_gone_under_the_other() {
  media_drive one
  ln -s one alias
  mkdir one/Material/below
  media "one/Material/$vision.mov" 3000
  media "one/Material/$vision.mov.qvix"
  media "one/Material/$vision.A0.proxy.360.mov" 100
  media one/Material/below/reel.mov
  "$fsys" locations add alias --quiet || fail "alias was not added"
  expect 0 rm "$vision" --high --proxy --yes --json
  is files.0.file "$PWD/one/Material/$vision.A0.proxy.360.mov"
  is files.1.file "$PWD/alias/Material/$vision.A0.proxy.360.mov"
  is files.1.deleted True
  [ "$(find one -type f)" = one/Material/below/reel.mov ] || { find one; fail "something is left"; }
  # A link goes with its folder where the folder lies below it by name.
  expect 0 link create "one/Material/$vision.mov" one/Material/below/reel.mov
  expect 0 rm "$vision" --high --proxy --yes --json
  is files.0.folder "$PWD/one/Material/below/"
  is files.1.file "$PWD/alias/Material/$vision.mov"
  is files.1.deleted True
  [ "$(find one | sort)" = $'one\none/Material\none/Sound' ] || { find one; fail "something is left"; }
  mkdir one/Material/below
  media one/Material/below/reel.mov
  expect 0 link create "one/Material/$vision.mov" alias/Material/below/reel.mov
  expect 6 rm "$vision" --high --proxy --yes
  [ "$(cat err)" = "fsys rm: deleting \"$PWD/alias/Material/below/\": it is still there" ] ||
    { cat err; fail "something else was told"; }
}
