# shellcheck shell=bash disable=SC2154
# Locations of media: their lists, what is refused, and what several tools do at once. Sourced by
# tool_test.sh.

lists=.state/fsys
added=$lists/DefNetDrive.txt
unmounted=$lists/UnmountedDrives.txt

# Makes folders and registers them.
add() {
  mkdir -p "$@"
  local name
  for name in "$@"; do expect 0 locations add "$name" --quiet; done
}
# The value of a key of the drive at a folder, in what `locations list --json` says; none: "-".
listed() {
  "$fsys" locations list --json >listed.json 2>err || fail "listing failed: $(cat err)"
  python3 -c 'import json, os, sys
path = os.path.join(os.path.abspath(sys.argv[1]), "")
found = [place for place in json.load(open("listed.json"))["locations"] if place["path"] == path]
print(found[0][sys.argv[2]] if found else "-")' "$1" "$2"
}
is_listed() { [ "$(listed "$1" "$2")" = "$3" ] || fail "$1: $2 is $(listed "$1" "$2"), not $3"; }
has_lines() { [ "$(cat "$1")" = "$2" ] || { cat "$1"; fail "the list $1 has other lines"; }; }

case_a_location_is_added_and_listed_and_removed() {
  mkdir media
  expect 0 locations add media
  tells "called \"media\""
  has_lines "$added" "$PWD/media/"
  is_listed media state added
  is_listed media name media
  expect 0 locations list
  tells "$PWD/media/"
  expect 0 locations check
  expect 0 locations remove media
  tells "is no location any more"
  is_listed media state -
  [ ! -s "$added" ] || { cat "$added"; fail "the line is still there"; }
  [ -d media ] || fail "the folder is gone"
  expect 0 locations add media --json
  is path "$PWD/media/"
  is name media
  [ "$(json code)" -gt 48 ] || fail "its code is $(json code)"
  is command "locations add"
  expect 0 locations remove media --json
  is path "$PWD/media/"
  is unmounted False
}

case_a_location_that_is_there_is_refused_with_exit_code_8() {
  add media
  expect 8 locations add media
  says "media drive '"
  expect 8 locations add "$PWD/./x/../media/"
  expect 8 locations add MEDIA --json
  is error.kind exists
  has_lines "$added" "$PWD/media/"
}

case_what_is_no_place_for_media_is_not_added() {
  : >file
  expect 3 locations add missing
  says "there is no such folder"
  expect 3 locations add file
  expect 3 locations add '\\server\share\'
  expect 2 locations add ''
  says "the name is empty"
  expect 2 locations add
  mkdir 'back\slash' $'line\nfeed'
  expect 2 locations add 'back\slash'
  says "a backslash means a folder in the list"
  expect 2 locations add $'line\nfeed'
  says 'line\x0Afeed'
  expect 2 locations add $'line\nfeed' --json
  is error.file "$PWD"$'/line\nfeed/'
  [ ! -e "$added" ] || fail "there is a list"
}

case_a_folder_that_may_not_be_written_is_not_added() {
  mkdir media
  if is_root; then
    command -v setpriv >/dev/null || skip "root writes everywhere, and there is no setpriv"
    chmod 755 . && mkdir -m 777 lists
    local code=0
    setpriv --reuid 65534 --clear-groups "$fsys" locations add media --project lists >out 2>err ||
      code=$?
    grep -q 'cannot open shared object\|setpriv: failed' err && skip "nobody cannot run the tool"
    [ "$code" -lt 126 ] || skip "nobody cannot run the tool"
    [ "$code" = 4 ] || { cat err; fail "exit code $code instead of 4"; }
    code=0
    mkdir -m 755 closed
    setpriv --reuid 65534 --clear-groups "$fsys" locations add . --project closed >out 2>err ||
      code=$?
    [ "$code" = 4 ] || { cat err; fail "lists that may not be written: exit code $code"; }
    says "lists.lock"
  else
    chmod 555 media
    expect 4 locations add media
  fi
}

case_names_of_any_bytes_are_locations() {
  local name=$'gr\xC3\xBC\xC3\x9Fe \xFF\xC3 x'
  add "$name"
  has_lines "$added" "$PWD/$name/"
  expect 0 locations list
  tells '\xFF\xC3 x'
  expect 0 locations list --json
  tells '\\xFF\\xC3 x/\"'
  expect 8 locations add "$name"
  expect 0 locations remove "$name"
  [ ! -s "$added" ] || fail "it is still listed"
}

case_the_project_folder_is_found_and_made() {
  mkdir media home
  expect 0 locations list --project missing/here
  [ ! -e missing ] || fail "it was made for reading"
  expect 0 locations add media --project missing/here
  [ -s missing/here/DefNetDrive.txt ] || fail "--project was not used"
  FSYS_PROJECT=$PWD/second expect 0 locations add media
  [ -s second/DefNetDrive.txt ] || fail "FSYS_PROJECT was not used"
  FSYS_PROJECT=$PWD/third expect 8 locations add media --project second
  [ ! -e third ] || fail "--project does not come first"
  expect 0 locations add media
  [ -s .state/fsys/DefNetDrive.txt ] || fail "XDG_STATE_HOME was not used"
  XDG_STATE_HOME='' HOME=$PWD/home expect 0 locations add media
  [ -s home/.local/state/fsys/DefNetDrive.txt ] || fail "HOME was not used"
  XDG_STATE_HOME=relative HOME=$PWD/home expect 8 locations add media
  XDG_STATE_HOME='' HOME='' expect 2 locations list
  says "no project folder"
  expect 2 locations list --project '\\server\share'
  says "a network's name is no folder here"
  FSYS_PROJECT='\\server\share' expect 2 locations add media --json
  is error.kind usage
  : >file
  expect 3 locations list --project file
  says "opening the project folder"
  expect 3 locations add media --project file/below --json
  is error.kind "not found"
}

case_a_project_folder_that_cannot_be_made_is_told() {
  in_own_namespace
  mkdir media
  mount_memory closed
  mount -o remount,ro closed
  expect 4 locations add media --project closed/lists
  says "making the project folder"
  says "$PWD/closed/lists"
  expect 4 locations add media --project closed/lists --json
  is error.kind permission
}

case_a_list_that_cannot_be_read_is_refused_and_kept() {
  mkdir -p media "$added"
  expect 9 locations list
  says "reading the list"
  expect 9 locations add media
  rmdir "$added"
  truncate -s 17M "$added"
  expect 6 locations add media
  expect 6 drives --json
  is error.kind input/output
  [ "$(stat -c %s "$added")" = 17825792 ] || fail "it was changed"
  printf 'a\0b\n' >"$added"
  cp "$added" before
  expect 6 locations add media
  says "it has a NUL in it"
  expect 6 locations remove media
  same "$added" before
  rm "$added"
  mkdir "$unmounted"
  expect 9 locations list
}

case_a_list_of_odd_lines_loses_none_of_them() {
  mkdir -p media other "$lists"
  printf '/away/\r\n\n%s/other/\n\xFF\xFE\n\\\\\\\\server\\\\share\\\\\nlast' "$PWD" >"$added"
  cp "$added" before
  expect 0 locations add media
  is_listed other state added
  local lines
  lines=$(tr -d '\r' <before; echo; echo "$PWD/media/")
  has_lines "$added" "$lines"
  expect 0 locations remove media
  has_lines "$added" "$(tr -d '\r' <before)"
  expect 0 locations list
  tells missing
  tells '\xFF\xFE'
}

case_locations_that_can_be_used_are_checked_with_exit_code_0() {
  add media prepared
  expect 0 prepare prepared
  expect 0 locations check --json
  is command "locations check"
  is locations.0.path "$PWD/media/"
  is locations.0.list added
  is locations.0.there True
  is locations.0.answers True
  is locations.0.writable True
  is locations.0.prepared False
  is locations.0.drive "$(listed media drive)"
  is locations.1.prepared True
  expect 0 locations check
  grep -qE "^added +yes +yes +yes +. +$PWD/prepared/\$" out || { cat out; fail "another line"; }
}

case_a_location_that_is_away_is_listed_and_can_be_removed() {
  add media
  rmdir media
  is_listed media state missing
  expect 3 locations check
  says "it cannot be used now"
  expect 3 locations check --json
  is locations.0.there False
  is locations.0.drive None
  is error.kind "not found"
  expect 0 drives
  tells "a location that is not there"
  expect 0 locations remove media
  [ ! -s "$added" ] || fail "the line is still there"
  expect 3 locations remove media
  says "no such location is registered"
}

case_every_line_of_a_removed_location_goes() {
  mkdir -p media "$lists"
  printf '%s\n' "$PWD/media/" "$PWD/media" "${PWD//\//\/}/MEDIA/" "$PWD/media/" >"$added"
  expect 0 locations remove media
  [ ! -s "$added" ] || { cat "$added"; fail "a line is still there"; }
  is_listed media state -
}

case_a_drive_is_renamed_and_keeps_its_name() {
  add media
  expect 3 locations rename media "Edit media 1"
  says "there is no such folder"
  expect 0 prepare media
  expect 0 locations rename media "Edit media 1"
  tells 'is called "Edit media 1" now'
  has_lines media/Material/MediaSpaceInfo.txt "name=Edit media 1"
  is_listed media name "Edit media 1"
  expect 0 locations rename "Edit media 1" 'a=b "c" \ d' --json
  is was "Edit media 1"
  is_listed media name 'a=b "c" \ d'
  expect 0 locations rename "$(listed media drive)" $'gr\xC3\xBCn'
  is_listed media name $'gr\xC3\xBCn'
  expect 2 locations rename media ''
  says "the new name is empty"
  expect 2 locations rename media $'line\nfeed'
  says 'line\x0Afeed'
  expect 2 locations rename media $'escape\e[31m'
  expect 2 locations rename media $'\xFF' --json
  is error.kind usage
  expect 3 locations rename nobody name
  says "no media drive has that code, name or path"
  expect 2 locations rename '' name
  is_listed media name $'gr\xC3\xBCn'
}

case_a_name_on_a_full_drive_has_exit_code_5() {
  in_own_namespace
  mount_memory small 64K
  expect 0 locations add small --quiet
  expect 0 prepare small
  head -c 1M /dev/zero >small/full 2>/dev/null
  expect 5 locations rename small name
  says "the drive is full"
  is_listed small name small
}

case_two_tools_that_add_at_once_both_do() {
  local name pids=()
  for name in 1 2 3 4 5 6; do
    mkdir "$name"
    "$fsys" locations add "$name" >"out$name" 2>"err$name" </dev/null &
    pids+=($!)
  done
  for name in 1 2 3 4 5 6; do
    wait "${pids[name - 1]}" || fail "adding $name failed: $(cat "err$name")"
  done
  [ "$(sort "$added")" = "$(printf "$PWD/%s/\n" 1 2 3 4 5 6)" ] || { cat "$added"; fail "lost"; }
}

# Holds the lock until it is killed.
hold_lock() {
  mkdir -p "$lists"
  python3 -c 'import fcntl, sys, time
file = open(sys.argv[1], "w")
fcntl.lockf(file, fcntl.LOCK_EX)
print("held", flush=True)
sys.stdin.read()' "$lists/lists.lock" <hold >held &
  holder=$!
  exec 3>hold
  until_true '[ -s held ]'
}

case_a_lock_that_another_holds_is_waited_for_and_then_told() {
  mkdir media
  mkfifo hold
  hold_lock
  expect 0 locations list
  expect 10 locations add media
  says "another process has been changing them for 5 seconds"
  [ ! -e "$added" ] || fail "something was added"
  start locations add media >out 2>err </dev/null 3>&- &
  local tool=$!
  exec 3>&-
  wait "$holder"
  wait "$tool" || { cat err; fail "a lock that was let go is not taken"; }
  has_lines "$added" "$PWD/media/"
}

case_waiting_for_the_lock_can_be_interrupted() {
  mkdir media
  mkfifo hold
  hold_lock
  start locations add media >out 2>err </dev/null 3>&- &
  local tool=$!
  # It has said what is to happen then.
  until_true "[ \$(cat /proc/$tool/comm) = fsys ] &&
    [ \$((0x\$(awk '/SigCgt/ { print \$2 }' /proc/$tool/status) & 2)) != 0 ]"
  kill -INT "$tool"
  wait "$tool"
  [ $? = 130 ] || { cat err; fail "another exit code"; }
  says "interrupted"
  exec 3>&-
  wait "$holder"
  [ ! -e "$added" ] || fail "something was added"
}

case_more_locations_than_codes_are_refused_and_none_is_lost() {
  local count=300 number
  mkdir -p "$lists" media
  for number in $(seq "$count"); do mkdir "$number"; echo "$PWD/$number/"; done >"$added"
  expect 0 locations list --json
  python3 -c 'import json
places = json.load(open("out"))["locations"]
drives = [place for place in places if place["drive"]]
assert len(places) >= 300 and len(drives) == 207 and drives[-1]["code"] == 255, len(drives)' ||
    fail "other codes"
  expect 10 locations add media
  says "every drive code is used"
  says "it stands in the list"
  [ "$(wc -l <"$added")" = 301 ] || fail "a line was lost"
  expect 0 prepare '\xFF'
  tells '" is prepared for media'
  expect 3 locations check --quiet
  says "locations cannot"
  # The first that had no code.
  is_listed 208 state missing
  expect 0 locations remove 1
  [ "$(wc -l <"$added")" = 300 ] || fail "another line went, or none"
  is_listed media state missing
}

case_a_location_that_is_written_otherwise_is_the_same() {
  mkdir -p media/Material other "$lists"
  echo "$PWD/./other/../media" >"$added"
  expect 8 locations add media
  expect 0 locations check
  expect 0 locations rename media name
  expect 0 drives --json
  tells "\"root\": \"$PWD/media/\""
  expect 0 locations remove media
  [ ! -s "$added" ] || { cat "$added"; fail "the line is still there"; }
}
