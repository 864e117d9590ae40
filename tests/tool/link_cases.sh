# shellcheck shell=bash disable=SC2154
# Links to media elsewhere, and the names of proxies. Sourced by tool_test.sh.

case_a_link_is_made_shown_and_checked() {
  media target.mov
  expect 0 link create link.mov target.mov
  tells "\"$PWD/link.mov\" leads to \"$PWD/target.mov\" now"
  [ "$(stat -c %s link.mov)" = 512 ] || fail "it has $(stat -c %s link.mov) bytes"
  [ "$(tr -d '\0' <link.mov)" = "$PWD/target.mov" ] || fail "it leads elsewhere"
  expect 0 link show link.mov
  tells "leads to \"$PWD/target.mov\" (there)"
  expect 0 link show link.mov --json
  is target "$PWD/target.mov"
  is target_exists True
  expect 0 link check link.mov target.mov
  grep -qE "^there +$PWD/link.mov +$PWD/target.mov\$" out || { cat out; fail "another line"; }
  grep -qE "^no link +$PWD/target.mov +-\$" out || { cat out; fail "another line"; }
  expect 8 link create link.mov other.mov
  says "a link is there already"
  expect 0 link create link.mov away/other.mov --replace --json
  is target "$PWD/away/other.mov"
  is target_exists False
  expect 3 link check link.mov target.mov
  says "there is no media behind it"
  expect 3 link check target.mov link.mov nothing --json
  is links.0.state "no link"
  is links.1.state missing
  is links.2.state missing
  is error.remark "so it is with 2 of 3"
  expect 3 link show target.mov
  says "it is no link"
  expect 3 link show nothing
  says "there is no such file"
}

# Behind a symbolic link the text does not tell which folder `..` is.
case_a_link_is_the_file_that_the_system_takes_the_name_for() {
  mkdir -p real far/sub/deep
  ln -s ../far/sub real/door
  ln -s far alias
  ln -s nowhere dangling
  media far/y.mov
  expect 0 link create real/door/../link.mov /x
  [ -e far/link.mov ] || fail "it is not where it was to be"
  [ ! -e real/link.mov ] || fail "another was made"
  expect 0 link show real/door/../link.mov --json
  is path "$PWD/far/link.mov"
  is target /x
  expect 0 link create real/2.mov "$PWD//real/./door/..//./y.mov" --json
  is target "$PWD/far/y.mov"
  is target_exists True
  expect 0 link create real/3.mov alias/sub/deep/../../y.mov --json
  is target "$PWD/alias/y.mov"
  expect 0 link create real/4.mov real/../away/y.mov --json
  is target "$PWD/away/y.mov"
  expect 0 link create real/5.mov real/door/.. --json
  is target "$PWD/far"
  expect 2 link create real/6.mov real/../real/6.mov
  says "it would lead to itself"
  expect 3 link create real/away/../6.mov /x
  expect 3 link create real/6.mov dangling/../y.mov
  says "\"$PWD/dangling/../y.mov\": No such file"
  [ ! -e real/6.mov ] || fail "it was made"
  expect 3 link check dangling/../y.mov real/door/../y.mov --json
  is links.0.state missing
  is links.0.path dangling/../y.mov
  is links.1.state "no link"
  is links.1.path "$PWD/far/y.mov"
  expect 2 link check ''
  says "the name is empty"
  expect 0 link create real/7.mov ..mov/y..mov --json
  is target "$PWD/..mov/y..mov"
}

case_a_way_that_leads_back_from_a_silent_drive_is_not_waited_for() {
  in_own_namespace
  mount_share share
  media target.mov
  order s
  expect 6 link show share/../target.mov
  says "following \"$PWD/share/../target.mov\": its drive does not answer"
  expect 3 link check share/../target.mov target.mov --json
  is links.0.state unreadable
  is links.1.state "no link"
  expect 3 locations remove share/../none
  says "\"$PWD/none/\": no such location is registered"
  order a
  expect 3 link show share/../target.mov
  says "\"$PWD/target.mov\": it is no link"
}

case_media_is_never_replaced_by_a_link() {
  random_file media.mov 100000
  printf RIFF >riff.wav
  truncate -s 512 riff.wav
  mkdir folder
  cp media.mov before
  expect 8 link create media.mov elsewhere
  says "a file is there already"
  expect 8 link create media.mov elsewhere --replace
  says "what is there is no link, and stays as it is"
  expect 8 link create riff.wav elsewhere --replace
  expect 8 link create folder elsewhere --replace --json
  is error.kind exists
  same media.mov before
  [ "$(head -c 4 riff.wav)" = RIFF ] || fail "it was replaced"
}

case_targets_that_no_link_can_hold_are_refused() {
  local long
  long=/$(printf 'x%.0s' $(seq 509))
  expect 0 link create fits "$long"
  expect 0 link show fits --json
  is target "$long"
  expect 2 link create longer "${long}y"
  says "its target has 511 bytes; a link holds at most 510"
  [ ! -e longer ] || fail "it was made"
  expect 2 link create self self
  says "it would lead to itself"
  expect 2 link create '' x
  expect 2 link create x ''
  expect 2 link create x
  expect 2 link check
  expect 2 link create '\\server\share\x' y
  says "a network's name is no file here"
  expect 3 link create missing/link target
  expect 0 link create odd $'gr\xC3\xBCn\n\xFF*'
  expect 0 link show odd
  tells 'grün\x0A\xFF*'
  expect 0 link show odd --json
  is target_bytes "\"$PWD/grün\\x0A\\xFF*\""
  expect 0 link create net '\\server\share\x.mov' --json
  is target '\\server\share\x.mov'
}

case_a_file_of_a_links_size_without_a_path_in_it_is_told() {
  head -c 512 /dev/zero | tr '\0' 'x' >full
  truncate -s 512 empty
  expect 6 link show full
  says "it has a link's size and names no path"
  expect 3 link check full --json
  is links.0.state unreadable
  is links.0.why "it has a link's size and names no path"
  expect 0 link show empty --json
  is target ""
  is target_exists False
  printf x >short && truncate -s 511 short
  expect 3 link show short
}

# It would be another file wherever the process is.
case_a_link_to_no_whole_path_is_missing() {
  media_drive raid
  media reel.mov
  printf 'reel.mov' >"raid/Material/$vision.mov"
  truncate -s 512 "raid/Material/$vision.mov"
  expect 3 link check "raid/Material/$vision.mov" --json
  is links.0.target reel.mov
  is links.0.state missing
  expect 0 link show "raid/Material/$vision.mov" --json
  is target_exists False
  expect 0 shot "$vision" --json
  is channels.0.bytes None
}

case_a_proxys_name_is_made_and_read() {
  expect 0 proxy name clip.mov mov 360 2
  [ "$(cat out)" = clip.A2.proxy.360.mov ] || { cat out; fail "another name"; }
  expect 0 proxy name clip mov 240 8 --json
  is name clip.A8.proxy.240.mov
  is reads_back True
  expect 0 proxy name clip.mov mxf 720 0
  [ "$(cat out)" = clip.A0.proxy.720.mxf ] || { cat out; fail "another name"; }
  expect 0 proxy name a/.Archive.mov mov 360 2
  tells "which is read as another: 360 lines, 0 sound channels"
  expect 0 proxy name $'\xFF.mov' mov 360 2 --json
  is name_bytes '"\xFF.A2.proxy.360.mov"'
  expect 0 proxy parse clip.A2.proxy.360.mov
  tells "is a proxy: 360 lines, 2 sound channels"
  expect 0 proxy parse clip.mov --json
  is is_proxy False
  is height None
  is channels 0
  expect 0 proxy parse clip.proxy.99999999999999999999.mov --json
  is is_proxy False
  expect 0 proxy parse $'proxy.5\n'
  tells 'proxy.5\x0A'
  mkdir proxy
  : >proxy/proxy-clip.mov
  # Not from the root: a folder's name above this one may look like a number of channels.
  expect 0 proxy parse ./proxy/proxy-clip.mov
  tells "is a proxy: no height, 0 sound channels"
  expect 0 proxy parse "$PWD/proxy/proxy-clip.mov"
  tells "is a proxy: "
  expect 0 proxy parse "$PWD/proxy/proxy-none.mov"
  tells "is no proxy"
  mkdir .A7
  mv proxy .A7
  expect 0 proxy parse ./.A7/proxy/proxy-clip.mov
  tells "is a proxy: no height, 7 sound channels"
}

case_numbers_are_decimal() {
  expect 0 proxy name clip.mov mov 0720 010
  [ "$(cat out)" = clip.A10.proxy.720.mov ] || { cat out; fail "another name"; }
  expect 0 proxy name clip.mov mov 08 000
  [ "$(cat out)" = clip.A0.proxy.8.mov ] || { cat out; fail "another name"; }
  local number
  for number in 0x10 0X10 0b11 0o17 1e2 5.0 "1'0" ' 5' '5 ' +5 ''; do
    expect 2 proxy name clip.mov mov "$number" 2
    says "HEIGHT: Value $number not in range 0 to 2147483647"
    expect 2 proxy name clip.mov mov 360 "$number"
    says "CHANNELS: Value $number not in range 0 to 255"
  done
  expect 2 find V4K7Q2M9A00 --height 0x10
  says "--height: Value 0x10 not in range 1 to 4294967295"
  head -c 3000 /dev/zero >file
  for number in "read file" "write new --pattern --size 512" "copy file new" "verify new"; do
    # shellcheck disable=SC2086
    expect 2 $number --inflight 0x10
    says "--inflight: Value 0x10 not in range 1 to 32"
    # shellcheck disable=SC2086
    expect 2 $number --inflight 041
  done
  expect 0 read file --repeat 010 --json
  is bytes 30000
  expect 2 read file --repeat 0x10
  says "--repeat: Value 0x10 not in range 1 to 1000000"
  expect 0 write stamped --pattern --size 4096 --seed 010
  expect 0 verify stamped --check-only --seed 10
  expect 7 verify stamped --check-only --seed 8
  expect 0 verify stamped --check-only --seed 00010
  for number in "write new --pattern --size 512" "verify new"; do
    # shellcheck disable=SC2086
    expect 2 $number --seed 0x10
    says "--seed: Value 0x10 not in range 0 to 18446744073709551615"
  done
  expect 0 verify new --size 4096 --seed 18446744073709551615
}

case_proxies_that_cannot_be_named_are_refused() {
  local words
  for words in "clip.mov mov 360 256" "clip.mov mov 360 -1" "clip.mov mov -1 2" "clip.mov mov x 2" \
    "clip.mov mov 2147483648 2" "clip.mov .mov 360 2" "clip.mov a/b 360 2" "clip.mov mov 360"; do
    # shellcheck disable=SC2086
    expect 2 proxy name $words
  done
  expect 2 proxy name '' mov 360 2
  expect 2 proxy name clip.mov '' 360 2 --json
  is error.kind usage
  expect 2 proxy parse
  expect 2 proxy
}
