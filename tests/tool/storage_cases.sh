# shellcheck shell=bash disable=SC2154
# Preparing drives, choosing them, the time left, and names for the network. Sourced by tool_test.sh.

# Registers folders; each has the space of the disk that the test runs on.
places() {
  local name
  for name in "$@"; do
    mkdir -p "$name"
    expect 0 locations add "$name" --quiet
  done
}
code_of() {
  "$fsys" locations list --json >listed.json 2>err || fail "listing failed: $(cat err)"
  python3 -c 'import json, os, sys
path = os.path.join(os.path.abspath(sys.argv[1]), "")
print([p["drive"] for p in json.load(open("listed.json"))["locations"] if p["path"] == path][0])' "$1"
}

case_a_drive_is_prepared_by_its_path_its_code_or_its_name() {
  mkdir folder
  expect 0 prepare folder
  tells "is prepared for media"
  tells "it is no media drive by this alone"
  [ -d folder/Material ] && [ -d folder/Sound ] || fail "the folders are not there"
  expect 0 prepare folder --json
  is was_prepared True
  is drive None
  is path "$PWD/folder/"
  places one two
  expect 0 prepare "$(code_of one)"
  [ -d one/Sound ] || fail "one is not prepared"
  expect 0 prepare two --json
  is drive "$(code_of two)"
  is was_prepared False
  rmdir two/Sound
  : >two/Material/V0000000000.mov
  expect 0 prepare two
  [ -d two/Sound ] && [ -e two/Material/V0000000000.mov ] || fail "two is not what it was"
  expect 3 prepare missing
  says "there is no such folder"
  [ ! -e missing ] || fail "it was made"
}

case_the_folder_above_one_behind_a_symbolic_link_is_the_systems() {
  mkdir -p real far/sub
  ln -s ../far/sub real/door
  expect 0 prepare real/door/.. --json
  is path "$PWD/far/"
  [ -d far/Material ] || fail "it is not prepared"
  [ ! -e real/Material ] || fail "another folder was prepared"
  expect 0 locations add real/door/.. --json
  is path "$PWD/far/"
  expect 0 prepare real/door/.. --json
  is drive "$(code_of far)"
  expect 0 locations remove real/away/../../far
  expect 0 locations add real --project real/door/../project
  [ -d far/project ] || fail "the project folder is elsewhere"
}

case_what_cannot_be_prepared_says_why() {
  mkdir place
  : >place/Material
  expect 8 prepare place
  says "preparing"
  [ ! -e place/Sound ] || fail "the second folder was made"
  expect 2 prepare ''
  says "the name is empty"
}

case_a_read_only_drive_cannot_be_prepared() {
  in_own_namespace
  mount_memory small
  mount -o remount,ro small
  expect 4 prepare small
  expect 4 prepare small --json
  is error.kind permission
}

case_a_task_keeps_its_drive() {
  places one two
  expect 3 task get Record
  says "none is remembered"
  expect 0 task set Record two
  tells "uses media drive '$(code_of two)'"
  grep -qF "Media Location (Record)" .config/fsys/preferences || fail "it is not in the preferences"
  expect 0 task get Record
  tells "$PWD/two/"
  expect 0 task get Record --json
  is drive "$(code_of two)"
  is remembered True
  is path "$PWD/two/"
  expect 0 task set Record "$(code_of one)" --json
  is task Record
  is drive "$(code_of one)"
  expect 0 task set "Import, and more" one
  expect 0 task set 'a=b' two
  expect 0 task get 'a=b' --json
  is drive "$(code_of two)"
  is remembered True
  expect 0 locations remove one
  expect 3 task get Record
  says "which is no media drive now"
  says "$PWD/one/"
  expect 0 task get Record --fall-back --json
  is remembered False
  expect 0 task get Record --fall-back
  tells "(none is remembered)"
  expect 0 task clear Record --json
  is was_remembered True
  expect 3 task get Record
  says "none is remembered"
  expect 0 task clear Record
  tells "and none was"
  expect 3 task get "Import, and more"
  says "which is no media drive now"
}

case_where_nothing_is_remembered_the_drive_at_the_root_is_no_tasks() {
  [ -w / ] || skip "the root cannot be written here"
  expect 0 locations add /
  places one
  expect 3 task get Record
  says "none is remembered"
  expect 0 task get Record --fall-back --json
  is remembered False
  is path "$PWD/one/"
}

case_task_names_and_drives_that_cannot_be_are_refused() {
  places one
  expect 2 task
  expect 2 task set Record
  expect 2 task set '' one
  says "the task's name is empty"
  expect 2 task get $'line\nfeed'
  expect 2 task clear $'\x1B[2J'
  expect 2 task set $'\xFF' one --json
  is error.kind usage
  expect 3 task set Record nowhere
  says "no media drive has that code, name or path"
  expect 2 task set Record ''
  expect 3 task set Record 0
  [ ! -e .config/fsys/preferences ] || fail "something was kept"
}

case_preferences_that_cannot_be_written_are_a_failure() {
  places one
  mkdir -p .config/fsys/preferences
  expect 9 task set Record one
  expect 9 task clear Record --json
  is error.kind "not a regular file"
  XDG_CONFIG_HOME='' HOME='' expect 6 task set Record one
  says "it was not written"
}

case_the_best_drive_is_the_fullest_that_has_room_or_the_emptiest() {
  in_own_namespace
  mount_memory small 5M
  mount_memory large 30M
  places small large
  expect 0 best --size 2 --match best-fit --json
  is drive "$(code_of small)"
  expect 0 best --size 6.5 --match best-fit --json
  is path "$PWD/large/"
  is free_mib 30.0
  expect 0 best --size 5 --match best-fit
  tells "$PWD/large/"
  expect 5 best --size 1000000000 --match most-free
  says "no media drive has more than 1000000000 MiB free"
  expect 5 best --size 1e15 --match best-fit --json
  is error.kind "no space"
}

case_where_no_drive_tells_its_space_none_is_chosen() {
  in_own_namespace
  # Memory without a limit tells no size and no free space.
  mount_memory endless 0
  places endless
  expect 6 best --size 5 --match best-fit
  says "its free space is not known, and no other drive has room"
  says "$PWD/endless/"
  expect 6 best --size 5 --match most-free --json
  is error.kind input/output
  expect 3 task get Record --fall-back
  says "no media drive has free space"
  mount_memory small 5M
  places small
  expect 6 best --size 6 --match most-free
  expect 0 best --size 4 --match most-free --json
  is path "$PWD/small/"
  expect 0 task get Record --fall-back --json
  is path "$PWD/small/"
  is remembered False
}

case_bad_sizes_and_rules_are_refused() {
  expect 3 best --size 5 --match best-fit
  says "there is no media drive"
  local size
  for size in -1 nan inf 1e16 5M '' x; do expect 2 best --size "$size" --match best-fit; done
  expect 2 best --size 5
  expect 2 best --match best-fit
  expect 2 best --size 5 --match worst
  expect 2 time
  local rate
  for rate in 0 -1 1.5 1.M .5M 1.5.5M 12Q '' 99999999999999999999 8000000T; do expect 2 time --rate "$rate"; done
  expect 2 time --rate 1M --rate2 x --json
  is error.kind usage
  expect 0 time --rate 1M --json
  is drives '[]'
}

case_the_time_left_is_told_by_drive() {
  in_own_namespace
  mount_memory tiny 2M
  mount_memory hour 122M
  places tiny hour
  # 120 MiB are left for recording; a minute of both takes 2 MiB.
  expect 0 time --rate 17476 --rate2 17476 --json
  is rate 17476
  python3 -c 'import json
tiny, hour = json.load(open("out"))["drives"][-2:]
assert tiny["minutes"] is None and tiny["for_recording_bytes"] == 0, tiny
assert hour["minutes"] == 60 and hour["for_recording_bytes"] == 120 << 20, hour' || fail "$(cat out)"
  expect 0 time --rate 34952
  grep -qE "hour +120.00 MiB +1 h 00 min +$PWD/hour/" out || { cat out; fail "not an hour"; }
  grep -qE "tiny +0 bytes +unknown +$PWD/tiny/" out || { cat out; fail "tiny is known"; }
  expect 0 time --rate 1.5M --rate2 0.5M
  grep -qE "hour +120.00 MiB +0 h 01 min +$PWD/hour/" out || { cat out; fail "not a minute"; }
}

case_more_minutes_than_32_bits_hold_are_unknown() {
  places disk
  local free
  free=$(df --output=avail -B1 . | tail -n 1)
  [ "$free" -gt $((60 << 32)) ] || skip "the disk has too little space"
  expect 0 time --rate 1
  tells unknown
}

# Two shares, of which one name begins with the other.
share_folders() {
  mkdir -p media media2 users
  printf '[media]\npath = %s\n[media2]\npath = %s\n' "$PWD/media" "$PWD/media2" >smb.conf
  export FSYS_SAMBA_CONFIG=$PWD/smb.conf FSYS_SHARES=$PWD/users
  station=$(hostname -s)
}

case_a_path_has_a_name_for_the_network_and_back() {
  share_folders
  expect 0 unc to media/Material/x.mov --json
  local name
  name=$(json name)
  shopt -s nocasematch
  [[ $name == "\\\\$station\\media\\Material\\x.mov" ]] || fail "the name is $name"
  is path "$PWD/media/Material/x.mov"
  expect 0 unc from "$name"
  [ "$(cat out)" = "$PWD/media/Material/x.mov" ] || { cat out; fail "another path"; }
  expect 0 unc to "$PWD/media2/../media2/y"
  [[ $(cat out) == "\\\\$station\\media2\\y" ]] || { cat out; fail "another name"; }
  expect 0 unc from "$(cat out)" --json
  is path "$PWD/media2/y"
  is drive None
  expect 0 unc from "\\\\${station^^}\\MEDIA" --json
  is path "$PWD/media/"
  expect 0 locations add media2
  expect 0 unc from "\\\\$station\\media2\\Sound\\s.wav" --json
  is drive "$(code_of media2)"
  is path "$PWD/media2/Sound/s.wav"
  expect 0 unc from "\\\\$station\\media\\z" --json
  is drive None
  is path "$PWD/media/z"
}

case_the_networks_name_of_a_path_across_a_symbolic_link_is_that_of_its_file() {
  share_folders
  mkdir -p media2/sub
  ln -s ../media2/sub media/door
  expect 0 unc to media/door/../y --json
  is path "$PWD/media2/y"
  tells 'media2\\y'
  expect 3 unc to media/away/../y
}

case_names_for_the_network_that_lead_nowhere_have_exit_code_3() {
  share_folders
  mkdir private
  expect 3 unc to private
  says "it lies on no share"
  expect 3 unc from "\\\\$station\\med\\x"
  expect 3 unc from "\\\\$station\\media3\\x"
  expect 3 unc from "\\\\elsewhere\\media\\x"
  expect 3 unc from '\\'
  expect 3 unc from "\\\\$station\\media\\..\\..\\etc\\passwd"
  says "no media drive and no share of this machine holds it"
  expect 2 unc from "$PWD/media"
  says "it does not begin with two backslashes"
  expect 2 unc from ''
  expect 2 unc to ''
  expect 2 unc --json
  is error.kind usage
  expect 3 unc to $'private/\xFF' --json
  is error.file_bytes "\"$PWD/private/\\xFF\""
}

# How often a command lists a folder.
listed_is() {
  local folder=$1 wanted=$2
  shift 2
  strace -f -qq -o trace -P "$PWD/$folder/" -e trace=getdents64 "$fsys" "$@" >out 2>err ||
    { cat out err; fail "fsys $*: it failed"; }
  [ "$(grep -c ' = 0$' trace)" = "$wanted" ] ||
    { cat trace; fail "fsys $*: not listed $wanted times"; }
}

case_media_is_listed_again_only_behind_an_unmounted_drive_that_is_there() {
  in_own_namespace
  may_trace
  mount_disk disk
  mkdir disk/Material disk/Sound
  media_drive raid
  media "raid/Material/$vision.mov"
  listed_is raid/Material 1 find "$vision"
  echo /nowhere/ >.state/fsys/UnmountedDrives.txt
  listed_is raid/Material 1 find "$vision"
  expect 0 locations remove disk
  listed_is raid/Material 1 locations list
  listed_is raid/Material 1 drives
  listed_is raid/Material 2 find "$vision"
}
