# shellcheck shell=bash disable=SC2154
# The login to shared media where its drive is slow, full or read-only, knows no locks, or where a
# call for the lock file fails. Sourced by tool_test.sh.

# As inject, but only of the calls for the lock file.
inject_own() {
  local calls=$1
  shift
  code=0
  timeout -s KILL 60 strace -f -qq -o trace -P "$PWD/$own" -e "trace=${calls%%:*}" \
    -e "inject=$calls" "$fsys" "$@" >out 2>err || code=$?
  was_injected || { cat trace; fail "nothing was injected"; }
}
has_code() { [ "$code" = "$1" ] || { cat trace out err; fail "exit code $code instead of $1"; }; }

# Longer than the half second after which a drive is usually taken for silent.
late=delay_enter=700000
# A login in the background whose calls for that path have this done to them. The tracer is not its
# parent, so that it can be sent signals and waited for.
start_traced_login() {
  local path=$1 calls=$2
  env --default-signal=INT strace -D -f -qq -o trace -P "$path" -e "trace=${calls%%:*}" \
    -e "inject=$calls" "$fsys" login "${3:-media}" >words 2>err </dev/null &
  login=$!
  until_true '[ -s words ] || ! kill -0 $login 2>gone' 60
  [ -s words ] || { cat trace err; fail "it does not log in"; }
}

# The signal comes while its file is being looked at.
case_a_share_that_is_slow_for_a_moment_spoils_neither_login_nor_logout() {
  may_trace
  in_own_namespace
  mount_share media
  local turn
  for turn in 1 2; do
    # What is there, and what is not, are looked at in two ways.
    if [ "$turn" = 2 ]; then touch "$own"; fi
    start_traced_login "$PWD/$own" "newfstatat:$late"
    end_login INT 130
    grep -q DELAYED trace || fail "nothing was late"
    [ ! -e "$own" ] || { cat err; fail "the file is still there"; }
    grep -qF interrupted err && ! grep -qF 'may still be there' err || { cat err; fail "other words"; }
    rm words
  done
}

case_a_folder_that_is_told_late_is_there() {
  may_trace
  in_own_namespace
  mount_share media
  local command code folder
  for folder in media media/../media; do
    start_traced_login "$PWD/media" "newfstatat,readlink:$late" "$folder"
    end_login INT 130
    [ ! -e "$own" ] || fail "the file is still there"
    rm words
    for command in who logout; do
      strace -f -qq -o trace -P "$PWD/media" -e trace=newfstatat,readlink \
        -e "inject=newfstatat,readlink:$late" "$fsys" "$command" "$folder" >out 2>err ||
        { cat trace err; fail "$command $folder has another exit code"; }
      grep -q DELAYED trace || fail "$command $folder: nothing was late"
    done
  done
}

# Another has the lock by the time of the login, and had no file when that looked.
case_a_lock_that_another_takes_meanwhile_is_told_as_such() {
  may_trace
  mkdir media
  python3 -c 'import fcntl, signal, sys
with open(sys.argv[1], "w") as file:
    fcntl.lockf(file, fcntl.LOCK_EX)
    open("held", "w").close()
    signal.pause()' "$own" 2>why &
  until_true '[ -e held ]'
  inject_own newfstatat:error=ENOENT:when=1 login media
  kill $!
  has_code 10
  says "a process of this workstation is logged in"
}

# The lock comes sixth: the look asks for the flags, sets them, and asks who has the lock.
case_a_login_whose_lock_fails_is_none() {
  may_trace
  mkdir media
  touch "$own"
  local failure
  for failure in "EIO 6" "ESTALE 6" "ENOSPC 5" "EAGAIN 4"; do
    inject_own "fcntl:error=${failure% *}:when=6" login media
    has_code "${failure#* }"
    grep -q 'F_OFD_SETLK.*INJECTED' trace || { cat trace; fail "another call failed"; }
    ! grep -qF "logged in" err || { cat err; fail "somebody is said to be logged in"; }
    sees stale
  done
}

case_a_lock_file_that_may_not_be_opened_is_not_taken_for_a_login() {
  may_trace
  mkdir media
  touch "$own"
  # The look opens it first.
  inject_own openat:error=EACCES:when=2 login media
  has_code 4
  grep -q 'O_RDWR.*INJECTED' trace || { cat trace; fail "another call failed"; }
  says "Permission denied"
  ! grep -qF "logged in" err || { cat err; fail "somebody is said to be logged in"; }
}

case_a_leftover_that_another_deletes_meanwhile_is_gone() {
  may_trace
  mkdir media
  touch "$own"
  inject_own unlink:error=ENOENT logout media --json
  has_code 0
  is was_there False
  inject_own unlink:error=ENOENT logout media --force
  has_code 0
  tells "is not there"
  start_login
  inject_own unlink:error=ENOENT logout media --force
  has_code 0
  end_login INT 130
}

# The question comes third.
case_where_locks_are_not_known_it_is_not_told_who_is_logged_in() {
  may_trace
  mkdir media
  touch "$own"
  local error
  for error in ENOLCK EOPNOTSUPP; do
    inject_own fcntl:error=$error:when=3 logout media
    has_code 10
    grep -q 'F_OFD_GETLK.*INJECTED' trace || { cat trace; fail "another call failed"; }
    says "it cannot be told whether it is held: its drive knows no locks"
    says "--force deletes it all the same"
    [ -e "$own" ] || fail "it was deleted"
    inject_own fcntl:error=$error:when=3 who media
    has_code 0
    grep -q "^$station  *unknown .* its drive knows no locks" out || { cat out; fail "other words"; }
    # The question, and the lock of its own.
    start_traced_login "$PWD/$own" fcntl:error=$error:when=3+3
    end_login INT 130
    grep -q 'F_OFD_SETLK.*INJECTED' trace || { cat trace; fail "it has a lock"; }
    [ ! -e "$own" ] || fail "the file is still there"
    rm words
    touch "$own"
    inject_own fcntl:error=$error:when=3 logout media --force --json
    has_code 0
    is was unknown
    touch "$own"
  done
  inject_own fcntl:error=EIO:when=3 logout media
  has_code 6
  says "asking who holds"
  [ -e "$own" ] || fail "it was deleted"
}

case_a_login_on_a_full_or_read_only_drive_says_so() {
  in_own_namespace
  mount_memory media 1M,nr_inodes=8
  local number=0
  while touch "media/$((++number))" 2>why; do [ "$number" -lt 100 ] || skip "it is never full"; done
  expect 5 login media
  says "No space left on device"
  [ ! -e "$own" ] || fail "a file was made"
  rm media/1
  mount -o remount,ro media 2>why || skip "it cannot be made read-only: $(head -n 1 why)"
  expect 4 login media
  says "Read-only file system"
  [ ! -e "$own" ] || fail "a file was made"
}
