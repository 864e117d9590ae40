# shellcheck shell=bash disable=SC2154
# What `drives` says of what is mounted. Sourced by tool_test.sh.

# The value of a key of a drive, by its folder, in the JSON that the tool printed; "-" when it is
# not there.
drive() {
  python3 -c 'import json, os, sys
root = os.path.join(os.path.abspath(sys.argv[1]), "")
found = [drive for drive in json.load(open("out"))["drives"] if drive["root"] == root]
print(found[-1][sys.argv[2]] if found else "-")' "$1" "$2"
}
drive_is() {
  [ "$(drive "$1" "$2")" = "$3" ] || { cat out; fail "$1: $2 is $(drive "$1" "$2"), not $3"; }
}

case_every_mount_is_listed_and_the_systems_own_only_when_asked_for() {
  expect 0 drives --all --json
  local roots places
  roots=$(python3 -c 'import json; print(len(json.load(open("out"))["drives"]))')
  places=$(wc -l </proc/self/mountinfo)
  [ "$roots" = "$places" ] || fail "$roots drives of $places mounts"
  drive_is /proc kind unknown
  drive_is /proc online False
  drive_is /proc free_bytes None
  # Some machines have it twice, one on the other.
  [[ $(drive /proc why) == excluded:* ]] || fail "/proc is not excluded"
  expect 0 drives --json
  drive_is /proc why -
  is command drives
  expect 0 drives --all
  tells "as a media drive"
  grep -qE '^/proc/ +unknown +proc +- +- +offline +excluded' out || { cat out; fail "no /proc"; }
  [ ! -s err ] || { cat err; fail "words on standard error"; }
}

case_a_drive_says_why_it_is_or_is_no_media_drive() {
  in_own_namespace
  mount_disk disk
  expect 0 drives --json
  drive_is disk kind fixed
  drive_is disk file_system ext4
  drive_is disk online True
  drive_is disk why 'no folder "Material"'
  [ "$(drive disk total_bytes)" -gt 4000000 ] || fail "its size is $(drive disk total_bytes)"
  [ "$(drive disk free_bytes)" = "$(stat -f -c '%a * %S' disk | xargs -I{} python3 -c 'print({})')" ] ||
    fail "$(drive disk free_bytes) bytes are free"
  expect 0 prepare disk
  expect 0 drives --json
  local code
  code=$(drive disk drive)
  drive_is disk why "media drive '$code'"
  drive_is disk name "$PWD/disk"
  expect 0 locations remove disk
  tells "is left out from now on"
  expect 0 drives --json
  drive_is disk why "unmounted by the user"
  drive_is disk drive None
  expect 3 locations remove disk
  says "it is unmounted already"
  expect 0 locations add disk
  [ ! -e .state/fsys/UnmountedDrives.txt ] || fail "an empty list is left"
  [ ! -e .state/fsys/DefNetDrive.txt ] || fail "it is listed as if it were not found"
  expect 0 locations rename disk "Disk 1"
  expect 0 drives --json
  drive_is disk name "Disk 1"
  mount_memory disk/Material
  mount -o remount,ro disk/Material
  expect 0 drives --json
  drive_is disk why "cannot be written"
  drive_is disk/Material why -
  expect 0 drives --all --json
  drive_is disk/Material why "excluded: read-only"
}

case_the_table_has_the_space_and_the_state_of_a_drive() {
  in_own_namespace
  mount_memory memory 8M
  head -c 2M /dev/zero >memory/two
  expect 0 drives
  grep -qE '^root +kind +file system +free +total +state +as a media drive' out || fail "no head"
  grep -qE "^$PWD/memory/ +memory +tmpfs +6.00 MiB +8.00 MiB +online +not a fixed disk\$" out ||
    { cat out; fail "another line"; }
}

case_what_the_system_keeps_for_itself_is_told() {
  in_own_namespace
  [ -d /boot ] || skip "there is no /boot"
  mount -t tmpfs -o size=1M memory /boot 2>err || skip "mounting is not allowed here"
  expect 0 drives --all --json
  drive_is /boot kind memory
  drive_is /boot online True
  drive_is /boot excluded True
  drive_is /boot why "excluded: kept by the system"
  expect 0 drives --json
  drive_is /boot why -
}

case_a_disk_for_which_there_is_no_code_is_not_registered() {
  in_own_namespace
  mount_disk disk
  expect 0 prepare disk
  local number
  for number in $(seq 208); do
    mkdir "$number"
    mount --bind disk "$number"
    mounted+=("$PWD/$number")
  done
  expect 0 drives --json
  drive_is disk why "media drive '$(drive disk drive)'"
  drive_is 208 why "not registered"
  drive_is 208 drive None
}

case_what_is_no_fixed_disk_is_no_media_drive_by_itself_but_can_be_a_location() {
  in_own_namespace
  mount_memory memory
  expect 0 prepare memory
  expect 0 drives --json
  drive_is memory kind memory
  drive_is memory file_system tmpfs
  drive_is memory why "not a fixed disk"
  expect 0 locations add memory --json
  local code
  code=$(json drive)
  mkdir memory/below
  expect 0 locations add memory/below
  expect 0 drives --json
  drive_is memory why "media drive '$code'"
  drive_is memory/below kind memory
  drive_is memory/below file_system tmpfs
  [ "$(drive memory/below free_bytes)" -gt 0 ] || fail "no free space below"
}

case_a_disk_whose_folder_has_a_backslash_says_that_it_is_no_media_drive() {
  in_own_namespace
  local name='a\b'
  mount_disk "$name"
  mkdir "$name/Material"
  expect 0 drives --json
  drive_is "$name" kind fixed
  drive_is "$name" why "its folder has a backslash"
}

case_a_mount_that_lies_under_another_is_told() {
  in_own_namespace
  mount_memory place
  mount_memory place 2M
  expect 0 drives --json
  drive_is place total_bytes 2097152
  expect 0 drives --all
  [ "$(grep -c "^$PWD/place/ .*excluded: hidden by another mount" out)" = 1 ] ||
    { cat out; fail "the lower one is not told"; }
}

case_mount_points_of_any_bytes_are_told() {
  in_own_namespace
  local name=$'a b\n\xFF'
  mount_memory "$name"
  expect 0 drives
  tells 'a b\x0A\xFF/'
  expect 0 drives --json
  tells 'a b\\x0A\\xFF/\"'
}

# One object after the other, as far as they are told; of the changes those of the drive, since
# others may come and go meanwhile.
told_objects() {
  python3 -c 'import json, sys
text, objects = open("objects").read().strip(), []
while text:
  try:
    value, end = json.JSONDecoder().raw_decode(text)
  except ValueError:
    break
  text = text[end:].strip()
  if value.get("drive", {"root": sys.argv[1]})["root"] == sys.argv[1]:
    objects.append(value)
'"$1" "$PWD/coming/"
}
# Both watchers have told a change of the drive so often; each looks at times of its own.
until_told() {
  until_true "[ \$(grep -c '^$1  *$PWD/coming/' words) = $2 ]"
  until_true "told_objects 'assert [o.get(\"change\") for o in objects].count(\"$1\") == $2' 2>err.told"
}

# Each look lists the folder at most when the registry is started, and the first one does that.
case_the_drives_are_watched_without_a_scan_of_their_media() {
  in_own_namespace
  may_trace
  media_drive raid
  env --default-signal=INT strace -D -f -qq -o trace -P "$PWD/raid/Material/" -e trace=getdents64 \
    "$fsys" drives --watch >words 2>err </dev/null &
  local tool=$!
  until_true '[ -s words ]'
  local name
  for name in one two three; do
    mount_memory $name
    until_true "grep -q '^new  *$PWD/$name/' words"
  done
  expect 0 locations rename raid another
  until_true "grep -q '^changed  *$PWD/raid/' words"
  rm -r raid
  until_true "grep -q '^changed  *$PWD/raid/.*not there' words"
  kill -INT "$tool"
  wait "$tool"
  [ "$(grep -c ' = 0$' trace)" -le 3 ] || { cat trace; fail "the media was scanned again and again"; }
}

case_a_mount_that_comes_and_goes_is_watched() {
  in_own_namespace
  start drives --watch >words 2>err </dev/null &
  local tool=$!
  start drives --watch --json >objects 2>err.json </dev/null &
  local other=$!
  until_true '[ -s words ] && [ -s objects ]'
  mount_memory coming
  until_told new 1
  grep -q "^new  *$PWD/coming/: memory, tmpfs, online: not a fixed disk" words || fail "another new"
  expect 0 locations add coming
  until_told changed 1
  grep -q "^changed  *$PWD/coming/: .*media drive" words || fail "no media drive"
  expect 0 locations remove coming
  until_told changed 2
  umount coming
  mounted=()
  until_told gone 1
  grep -q "^gone  *$PWD/coming/" words || fail "another is gone"
  kill -INT "$tool" "$other"
  wait "$tool"
  [ $? = 130 ] || { cat err; fail "another exit code"; }
  wait "$other"
  [ $? = 130 ] || { cat objects; fail "another exit code with --json"; }
  # The drives, the changes, the end.
  told_objects 'assert not text, text
assert objects[0]["drives"], objects[0]
changes = [value["change"] for value in objects[1:-1]]
assert changes == ["new", "changed", "changed", "gone"], changes
assert objects[1]["drive"]["file_system"] == "tmpfs"
assert objects[-1]["error"]["kind"] == "interrupted"' || fail "other objects"
}

# How long the tool takes, in ms; what it says must be what `expect` would take.
took_ms() {
  local begin
  begin=$(date +%s%N)
  "$@" >out 2>err </dev/null
  took_code=$?
  [ "$took_code" != 77 ] || skip "$(cat out)"
  took=$((($(date +%s%N) - begin) / 1000000))
}

# Beside five drives that never answer the tool ends within two seconds, with that exit code.
beside_silence() {
  local wanted=$1
  shift
  took_ms "$FSYS_SILENT_MOUNT" 5 silent "$fsys" "$@" --json
  echo "fsys $*: $took ms"
  [ "$took_code" = "$wanted" ] || { cat out err; fail "fsys $*: exit code $took_code"; }
  [ "$took" -lt 2000 ] || fail "fsys $*: they were waited for"
  rmdir silent/*
}

case_drives_that_never_answer_keep_nobody_waiting() {
  is_root || skip "mounting needs root"
  [ -c /dev/fuse ] || skip "there is no /dev/fuse"
  [ -x "${FSYS_SILENT_MOUNT:-}" ] || skip "FSYS_SILENT_MOUNT names no program"
  # A thread that such a drive holds cannot be ended, and keeps what it has.
  is_sanitized && export ASAN_OPTIONS=detect_leaks=0 TSAN_OPTIONS=report_thread_leaks=0
  mkdir -p silent/1 media .state/fsys
  expect 0 locations add media
  expect 0 locations add silent/1
  expect 0 task set Record silent/1
  expect 0 prepare media
  rmdir silent/1
  printf "$PWD/silent/%s/\n" 2 3 4 5 >>.state/fsys/DefNetDrive.txt
  beside_silence 0 drives
  drive_is silent/1 why "does not answer"
  drive_is silent/5 online False
  drive_is silent/5 kind network
  drive_is media online True
  beside_silence 0 locations list
  beside_silence 3 locations check
  is locations.1.answers False
  beside_silence 0 time --rate 1M
  beside_silence 0 best --size 1 --match best-fit
  is path "$PWD/media/"
  beside_silence 3 task get Record
  tells "which is no media drive now"
  beside_silence 0 task get Record --fall-back
  is path "$PWD/media/"
  beside_silence 3 unc to silent/1/Material/x.mov
  tells "it lies on no share"
  beside_silence 0 locations rename media name
  beside_silence 6 locations rename silent/1 name
  tells "its drive does not answer"
  beside_silence 0 locations remove silent/1
  ! grep -qF "$PWD/silent/1/" .state/fsys/DefNetDrive.txt || fail "its line is still there"
  beside_silence 6 prepare silent/1
  tells "its drive does not answer"
  beside_silence 6 locations add media --project silent/1
  tells "its drive does not answer"
  # What reads its words gets their end, and a signal reaches it.
  took_ms "$FSYS_SILENT_MOUNT" 1 silent sh -c "'$fsys' drives | cat >piped"
  grep -q "does not answer" piped || { cat piped; fail "nothing was said"; }
  rmdir silent/1
  took_ms "$FSYS_SILENT_MOUNT" 1 silent timeout --preserve-status -s INT 2 "$fsys" drives --watch
  [ "$took_code" = 130 ] || fail "an interrupted watch has exit code $took_code"
  rmdir silent/1
}

case_listing_the_drives_makes_the_system_mount_nothing() {
  is_root || skip "mounting needs root"
  [ -x "${FSYS_SILENT_MOUNT:-}" ] || skip "FSYS_SILENT_MOUNT names no program"
  mkdir silent
  took_ms "$FSYS_SILENT_MOUNT" automount silent timeout 20 "$fsys" drives --all --json
  [ "$took_code" = 0 ] || { cat out err; fail "exit code $took_code"; }
  drive_is silent/1 file_system autofs
  drive_is silent/1 online False
}

case_what_the_system_never_mounts_keeps_nobody_waiting() {
  is_root || skip "mounting needs root"
  [ -x "${FSYS_SILENT_MOUNT:-}" ] || skip "FSYS_SILENT_MOUNT names no program"
  is_sanitized && export ASAN_OPTIONS=detect_leaks=0 TSAN_OPTIONS=report_thread_leaks=0
  mkdir -p silent media .state/fsys
  expect 0 locations add media
  printf "$PWD/silent/1/%s/\n" a b c >>.state/fsys/DefNetDrive.txt
  took_ms "$FSYS_SILENT_MOUNT" automount silent timeout 20 "$fsys" locations list
  # 76: the system was asked for it.
  [ "$took_code" = 76 ] || { cat out err; fail "exit code $took_code"; }
  echo "fsys locations list: $took ms with three locations that are never mounted"
  [ "$took" -lt 5000 ] || fail "they were waited for"
  grep -q "media" out || { cat out; fail "the other location is not told"; }
}

case_fifty_mounts_are_listed_within_50_ms_of_the_processor() {
  in_own_namespace
  is_sanitized && skip "a sanitizer takes its own time"
  mount_memory all
  local number best=1000000 spent
  for number in $(seq 50); do mount_memory "all/$number"; done
  mkdir all/1/Material
  for number in 1 2 3 4 5 6 7; do
    spent=$(TIMEFORMAT='%U %S'; { time "$fsys" drives --json >out 2>err; } 2>&1)
    spent=$(echo "$spent" | awk '{ printf "%d", ($1 + $2) * 1000 }')
    [ "$spent" -lt "$best" ] && best=$spent
  done
  echo "at best $best ms of the processor"
  drive_is all/50 kind memory
  [ "$best" -lt 50 ] || fail "$best ms"
}
