# shellcheck shell=bash disable=SC2154
# The login to shared media, as others see it. Sourced by tool_test.sh.

station=$(uname -n)
own=media/$station.cli

# A login in the background, once it is held.
start_login() {
  [ -d media ] || mkdir media
  start login media "$@" >words 2>err </dev/null &
  login=$!
  until_true '[ -s words ]'
}
# Ends it with a signal, of which it has this exit code.
end_login() {
  kill "-$1" "$login"
  wait "$login"
  [ $? = "$2" ] || { cat words err; fail "another exit code"; }
}
# Ends it so that it can do nothing more.
kill_login() {
  kill -KILL "$login"
  wait "$login"
  until_true "'$fsys' who media | grep -q '^$station .*stale'"
}
# Of a workstation as the last `who --json` has it.
told_of() {
  python3 -c 'import json, sys
for row in json.load(open("out"))["logins"]:
    if row["workstation"] == sys.argv[1]: print(row[sys.argv[2]])' "$1" "$2"
}
is_told() { [ "$(told_of "$1" "$2")" = "$3" ] || { cat out; fail "$2 of $1 is not $3"; }; }
sees() {
  expect 0 who media --json
  is_told "$station" state "$1"
}
# Runs the tool as somebody who has no rights of his own; keeps what it said, and `code`.
as_nobody() {
  is_root && command -v setpriv >/dev/null || skip "only root can run the tool as somebody else"
  code=0
  chmod 755 .
  setpriv --reuid 65534 --regid 65534 --clear-groups "$fsys" "$@" >out 2>err </dev/null || code=$?
  if [ "$code" = 126 ] || [ "$code" = 127 ]; then skip "nobody cannot run the tool"; fi
}

case_a_login_is_live_until_it_is_interrupted() {
  local number
  for number in 'INT 130' 'TERM 143' 'HUP 129'; do
    start_login
    grep -qF "$station is logged in with \"$PWD/$own\"" words || { cat words; fail "other words"; }
    sees live
    is_told "$station" this True
    # shellcheck disable=SC2086
    end_login $number
    [ ! -e "$own" ] || fail "the file is still there"
    grep -qF interrupted err || { cat err; fail "it says something else"; }
    rm words
  done
  expect 0 who media
  tells "nobody is logged in"
}

case_a_login_says_at_once_where_its_file_is() {
  start_login --json
  python3 -c 'import json; told = json.loads(open("words").readline())
assert told == {"workstation": "'"$station"'", "file": "'"$PWD/$own"'"}, told' || fail "another object"
  end_login INT 130
  told=$(python3 -c 'import json; lines = [json.loads(line) for line in open("words")]
print(len(lines), lines[-1]["ok"], lines[-1]["error"]["kind"])')
  [ "$told" = "2 False interrupted" ] || { cat words; fail "another end: $told"; }
}

case_a_login_that_was_killed_is_stale_and_the_next_takes_it_over() {
  start_login
  kill_login
  sees stale
  rm words
  start_login
  sees live
  end_login INT 130
  [ ! -e "$own" ] || fail "the file is still there"
}

case_a_login_is_live_to_other_namespaces() {
  is_root && unshare -m -p -f true 2>err || skip "no namespaces here"
  start_login
  unshare -m -p -f "$fsys" who media >out || fail "it cannot be asked there"
  grep -q "^$station  *live" out || { cat out; fail "it is not live there"; }
  end_login INT 130
}

case_a_leftover_is_logged_out_and_a_live_login_is_not() {
  start_login
  expect 10 logout media
  says "a process of this workstation is logged in"
  says "--force"
  [ -e "$own" ] || fail "it was deleted"
  sees live
  kill_login
  expect 0 logout media --json
  is was_there True
  is was stale
  is file "$PWD/$own"
  [ ! -e "$own" ] || fail "it is still there"
  expect 0 logout media --json
  is was_there False
  expect 0 logout media
  tells "is not there"
}

case_a_login_that_is_forced_out_ends_by_itself() {
  start_login --json
  expect 0 logout media --force
  tells "is deleted"
  wait "$login" || { cat words err; fail "it has another exit code"; }
  tail -n 1 words | grep -q '"ended": "the lock file is gone", "ok": true' ||
    { cat words; fail "it says something else"; }
  rm words
  start_login
  rm "$own"
  wait "$login" || { cat words err; fail "it has another exit code"; }
  grep -q "somebody has logged this workstation out" words || { cat words; fail "other words"; }
}

case_a_login_leaves_the_file_that_took_the_place_of_its_own() {
  start_login
  mv "$own" old
  echo "another login's" >"$own"
  wait "$login" || { cat words err; fail "it has another exit code"; }
  [ "$(cat "$own")" = "another login's" ] || fail "it was deleted"
  rm words "$own"
  start_login
  kill -STOP "$login"
  mv "$own" old
  echo "another login's" >"$own"
  kill -INT "$login"
  kill -CONT "$login"
  wait "$login"
  [ "$(cat "$own")" = "another login's" ] || fail "it was deleted at the end"
}

case_a_workstation_logs_in_once() {
  start_login
  expect 10 login media
  says "a process of this workstation is logged in"
  sees live
  end_login INT 130
}

case_who_lists_files_with_their_states_and_ages() {
  mkdir media
  expect 0 who media --json
  is logins "[]"
  touch media/b.cli media/notes.txt media/.cli media/c.CLI
  touch -d '5 min ago' media/min.cli
  touch -d '90 min ago' media/a.cli
  touch -d '40 hours ago' media/old.cli
  touch -d '2 days' media/ahead.cli
  expect 0 who media
  # The smaller units may be more by the time that they are looked at.
  [ "$(sed -E 's/  */ /g; s/[0-9]+ (s|min)$/N \1/' out)" = "workstation state age
a stale 1 h
ahead stale N s
b stale N s
min stale N min
old stale 1 d" ] || { cat out; fail "another list"; }
  expect 0 who media --json
  is_told ahead age_s 0
  is_told a this False
  [ "$(told_of old age_s)" -ge 144000 ] || fail "the age is $(told_of old age_s)"
  is folder "$PWD/media"
  expect 0 who media/../media --quiet
  [ ! -s out ] || { cat out; fail "words in spite of --quiet"; }
}

case_who_is_not_fooled_by_what_lies_in_the_folder() {
  mkdir media media/folder.cli
  mkfifo media/fifo.cli
  echo secret >secret
  ln -s ../secret media/link.cli
  ln -s nowhere media/nothing.cli
  touch media/$'a\nb\e[31m.cli' media/$'raw\xFF.cli' media/'*.cli' media/'live    1 s.cli'
  expect 0 who media
  [ "$(wc -l <out)" = 5 ] || { cat out; fail "another number of lines"; }
  grep -qF 'a\x0Ab\x1B[31m' out && grep -qF 'raw\xFF' out || { cat out; fail "other names"; }
  expect 0 who media --json
  is_told $'a\nb\e[31m' state stale
  is logins.3.workstation_bytes '"raw\xFF"'
  [ "$(cat secret)" = secret ] && [ -p media/fifo.cli ] || fail "something was touched"
}

case_who_lists_thousands() {
  mkdir media
  (cd media && seq -f 'station%05g.cli' 5000 | xargs touch)
  expect 0 who media --json
  python3 -c 'import json; rows = json.load(open("out"))["logins"]
names = [row["workstation"] for row in rows]
assert len(names) == 5000 and names == sorted(names) and {row["state"] for row in rows} == {"stale"}' ||
    fail "another list"
}

case_who_may_only_read_sees_who_is_logged_in() {
  is_root || skip "only root can run the tool as somebody else"
  umask 077
  mkdir media
  touch media/secret.cli
  umask 022
  chmod 755 media
  umask 077
  start_login
  umask 022
  as_nobody who media --json
  [ "$code" = 0 ] || { cat err; fail "exit code $code"; }
  is_told "$station" state live
  is_told secret state unknown
  is_told secret why "Permission denied"
  as_nobody who media
  grep -q "^secret  *unknown  *[0-9]* s  Permission denied" out || { cat out; fail "other words"; }
  as_nobody logout media --force
  [ "$code" = 4 ] || { cat err; fail "exit code $code"; }
  [ -e "$own" ] || fail "it was deleted"
  end_login INT 130
  chmod 711 media
  as_nobody who media
  [ "$code" = 4 ] || { cat out; fail "a folder that may not be listed: exit code $code"; }
  as_nobody login media
  [ "$code" = 4 ] || { cat err; fail "exit code $code"; }
  grep -qF 'Permission denied' err || { cat err; fail "it says something else"; }
}

case_a_lock_file_that_may_not_be_read_goes_by_force_alone() {
  is_root || skip "only root can run the tool as somebody else"
  mkdir media
  chown 65534 media
  touch "$own"
  chmod 600 "$own"
  as_nobody logout media
  [ "$code" = 4 ] || { cat err; fail "exit code $code"; }
  says "Permission denied; --force deletes it all the same"
  as_nobody logout media --force --json
  [ "$code" = 0 ] || { cat out; fail "exit code $code"; }
  is was unknown
  [ ! -e "$own" ] || fail "it is still there"
}

# Between the question and the deletion.
case_no_login_begins_while_a_leftover_is_deleted() {
  may_trace
  mkdir media
  touch "$own"
  strace -f -qq -o trace -e trace=unlink -e inject=unlink:delay_enter=3000000 "$fsys" logout media \
    >words 2>why &
  local logout=$!
  until_true "'$fsys' who media | grep -q ' live '"
  expect 10 login media
  wait "$logout" || { cat why; fail "it has another exit code"; }
  [ ! -e "$own" ] || fail "it is still there"
}

case_a_name_that_is_taken_by_something_else_is_left_alone() {
  mkdir media
  echo secret >secret
  local what command
  for what in 'ln -s ../secret' 'ln -s nowhere' mkfifo mkdir; do
    $what "$own"
    for command in login logout 'logout --force'; do
      # shellcheck disable=SC2086
      expect 9 $command media
      says "it is no lock file"
      # shellcheck disable=SC2086
      expect 9 $command media --json
      is error.kind "not a regular file"
    done
    [ -e "$own" ] || [ -L "$own" ] || fail "$what: it was deleted"
    [ ! -e media/nowhere ] || fail "it was made"
    [ -d "$own" ] && rmdir "$own" || rm "$own"
  done
  [ "$(cat secret)" = secret ] || fail "it was changed"
}

case_a_folder_that_is_none_is_refused() {
  touch file
  local command
  for command in login logout who; do
    expect 3 $command none
    says "there is no such folder"
    expect 3 $command file
    expect 2 $command ''
    expect 2 $command '\\server\share'
    says "no folder here"
    expect 2 $command
  done
  [ ! -e none ] || fail "it was made"
}

case_a_workstation_without_a_proper_name_is_not_logged_in() {
  is_root && unshare -u true 2>err || skip "no namespaces here"
  mkdir media
  local name command
  for name in '' a/b ../b; do
    for command in login logout; do
      unshare -u python3 -c 'import socket, subprocess, sys
socket.sethostname(sys.argv[1]); sys.exit(subprocess.call(sys.argv[2:]))' \
        "$name" "$fsys" $command media >out 2>err </dev/null
      [ $? = 1 ] || { cat out err; fail "$command as \"$name\" has another exit code"; }
      says "which is no file's name"
    done
  done
  [ -z "$(find . -name '*.cli')" ] || fail "a file was made"
}

case_on_a_share_a_login_elsewhere_is_unknown_and_not_stale() {
  in_own_namespace
  mount_share media
  touch media/other.cli "$own"
  expect 0 who media --json
  is_told other state unknown
  is_told other why "its drive tells nothing of other machines' locks"
  is_told "$station" state stale
  expect 0 logout media
  start_login
  sees live
  expect 10 logout media
  end_login TERM 143
  [ ! -e "$own" ] || fail "the file is still there"
}

case_a_share_that_falls_silent_keeps_no_login_for_ever() {
  in_own_namespace
  mount_share media
  start_login
  order s
  local command running=()
  for command in who logout login; do
    timeout 60 "$fsys" $command media >out.$command 2>err.$command </dev/null &
    running+=("$command:$!")
  done
  kill -INT "$login"
  until_true "! kill -0 $login 2>gone || { sleep 0.3; false; }"
  wait "$login"
  [ $? = 130 ] || { cat err; fail "another exit code"; }
  grep -qF 'interrupted; the lock file may still be there' err || { cat err; fail "other words"; }
  for command in "${running[@]}"; do
    wait "${command#*:}"
    [ $? = 6 ] || { cat err.*; fail "${command%:*} has another exit code"; }
    grep -qF "its drive does not answer" "err.${command%:*}" || { cat err.*; fail "other words"; }
  done
}

case_a_lock_file_that_cannot_be_deleted_is_told() {
  is_root && command -v chattr >/dev/null || skip "only root can keep a file from going"
  start_login
  chattr +i "$own" 2>why || { rm "$own"; skip "no file can be kept here: $(head -n 1 why)"; }
  kill -INT "$login"
  wait "$login"
  local code=$?
  chattr -i "$own"
  [ "$code" = 130 ] || { cat err; fail "exit code $code"; }
  grep -qF 'interrupted; the lock file may still be there' err || { cat err; fail "other words"; }
}

case_a_login_whose_words_nobody_reads_ends_and_logs_out() {
  mkdir media
  mkfifo words
  exec 3<>words
  timeout 30 "$fsys" login media >words 2>err 3>&- &
  login=$!
  head -n 1 words >first
  exec 3>&-
  rm "$own"
  wait "$login"
  [ $? = 6 ] || { cat err; fail "another exit code"; }
  says "Broken pipe"
  timeout 30 "$fsys" login media >/dev/full 2>err
  [ $? = 6 ] || { cat err; fail "another exit code"; }
  [ ! -e "$own" ] || fail "the file is still there"
}

case_who_beside_logins_that_come_and_go_lists_none_that_is_gone() {
  mkdir media
  python3 -c 'import os
while True:
    for i in range(100): open("media/station%d.cli" % i, "w").close()
    for i in range(100): os.remove("media/station%d.cli" % i)' 2>err &
  local others=$! turn
  for turn in $(seq 100); do
    expect 0 who media --json
    ! grep -q '"why"' out || { cat out; fail "turn $turn: one is told that is gone"; }
  done
  kill "$others"
}
