# shellcheck shell=bash disable=SC2154
# The n-th system call of a kind fails, for n = 1, 2, 3 and so on until none is left to fail: strace
# has them fail, which knows nothing of us. Sourced by tool_test.sh.
#
# Whatever fails, the tool ends within ten seconds, with an exit code that says of what kind the
# failure was and words that begin with its name; exit code 0 means that every byte is right; any
# other leaves nothing half done. EINVAL, ENOENT and their like are not tried: they have meanings of
# their own, which the callers know.

all_errors=(EIO ENOSPC EINTR EAGAIN ENOMEM)
tried=0

# Names the injection that is being tried.
wrong() { cat out err; fail "fsys $what with $1: $2"; }

# What holds of every command; `sound` says what holds of this one, in words when it does not.
check_injected() {
  local why
  case $code in
    0) ;;
    5 | 6 | 10)
      grep -q "^fsys $what: ." err || wrong "$1" "exit code $code, and no word why" ;;
    137) wrong "$1" "it had not ended after ${patience:-10} seconds" ;;
    *)
      [[ " ${more_codes:-} " == *" $code "* ]] && grep -q "^fsys $what: ." err ||
        wrong "$1" "exit code $code, which says nothing of the kind" ;;
  esac
  why=$(sound) || wrong "$1" "exit code $code; $why"
  [ -z "$(find . -name '.fsys-*')" ] || is_swept || wrong "$1" "left behind: $(find . -name '.fsys-*')"
}

# Whether what was left behind goes with the next run. Only a list's may.
is_swept() { false; }

# How often the tool makes that call before it comes to a command: the loader's are not ours. Calls
# are counted a thread, so that blocks are small enough for each thread to have more than so many.
calls_of_the_loader() {
  strace -f -qq -e "trace=$1" -o trace "$fsys" --version >/dev/null
  wc -l <trace
}

# How a call is made to fail. A brk tells no error: it answers that the memory ends below what was
# asked for.
failure_of() { if [ "$1" = brk ]; then echo "brk:retval=0"; else echo "$1:error=$2"; fi; }

# Has the n-th call of that name fail; `once` runs the tool. In short only every few, with one error
# each and at most `brief_limit` of them; in long every one with every error. Counts in `failures`.
sweep_call() {
  local call=$1 stride limit nth error errors how fired=0
  stride=$(turns "$brief_stride" 1)
  limit=$(turns "$brief_limit" 1000)
  for ((nth = $(calls_of_the_loader "$call") + 1; ; nth += stride)); do
    errors=("${all_errors[@]}")
    [ "$(turns one "$full_errors")" = all ] || errors=("${all_errors[tried % 5]}")
    for error in "${errors[@]}"; do
      how=$(failure_of "$call" "$error"):when=$nth
      once "$how"
      was_injected || break 2
      tried=$((tried + 1))
      fired=$((fired + 1))
      check_injected "$how"
    done
    [ "$fired" -lt "$limit" ] || break
  done
  echo "$call: $fired failures"
  failures=$((failures + fired))
}

# Each of the calls. Of those that stand for one another (mmap|brk: memory comes by the one or the
# other, as the build has it) at least one must have failed. As long as another test has a share
# mounted, what looks at drives works in a child, whose calls count from one: it is tried again.
sweep_each() {
  local calls call failures round
  brief_stride=${brief_stride:-5}
  brief_limit=${brief_limit:-2}
  full_errors=${full_errors:-all}
  for calls in $1; do
    failures=0
    for ((round = 0; failures == 0 && round < 1000; ++round)); do
      for call in ${calls//|/ }; do sweep_call "$call"; done
    done
    [ "$failures" -gt 0 ] || fail "no $calls of fsys $what ever failed"
  done
  echo "fsys $what: $tried failures in all"
}

# The calls that are always made, and those of a ring or of threads.
sweep() {
  local transfers=$1
  expect 0 doctor --json
  if [ "$(json transfers.by)" = ring ]; then transfers="io_uring_enter io_uring_setup eventfd2"; fi
  sweep_each "$transfers $2"
}

# What a command that failed may leave, and what is there else: the source's bytes. After a failure
# only the name's safety is then in doubt, and that is said.
no_target() { [ "$code" != 0 ] && [ ! -e target ]; }
as_before() { [ "$code" != 0 ] && [ "$(head -c 20 target)" = precious ]; }
is_whole() {
  [ "$code" = 0 ] || grep -q "it is whole and has its name" err || { echo "$1"; return 1; }
  cmp source target
}

case_copy_is_truthful_whatever_call_fails() {
  may_trace
  random_file source 300001
  what=copy
  once() { rm -f target; inject "$1" copy source target --block 8K; }
  sound() { no_target || is_whole "a copy is there"; }
  sweep "pread64 pwrite64" "openat newfstatat statx fsync renameat2 mmap clone3 pipe2"
}

case_copy_with_force_keeps_the_old_file_whatever_call_fails() {
  may_trace
  random_file source 300001
  what=copy
  once() { echo precious >target; inject "$1" copy source target --force --block 8K; }
  sound() { as_before || is_whole "the old file is gone"; }
  sweep "pread64 pwrite64" "openat fsync rename"
}

case_read_is_truthful_whatever_call_fails() {
  may_trace
  random_file source 300001
  what="read"
  once() { rm -f target; inject "$1" read source --to target --block 8K; }
  sound() { no_target || is_whole "a half file is there"; }
  sweep "pread64" "openat newfstatat mmap clone3 fsync renameat2"
}

# Of a write that failed: what it says is left is what is left, and it is right.
left_is_right() {
  local size
  size=$(stat -c %s target)
  cmp -n "$size" whole target || return 1
  # A failure before anything was opened says no size; the file is then as it was.
  if grep -q '"size"' out; then is size "$size"; else cmp -n "$size" start target; fi
}
json_says_why() {
  is error.exit_code "$code"
  echo "fsys write: $(json error.why)" >>err
}

case_write_is_truthful_whatever_call_fails() {
  may_trace
  random_file whole 300001
  what="write"
  once() {
    rm -f target
    inject "$1" write target --block 8K --flush-every 100K --json <whole
    [ "$code" = 0 ] || json_says_why
  }
  sound() {
    [ "$code" = 0 ] && { cmp whole target; return; }
    # Nothing of it is written: there is no file.
    [ ! -e target ] || { [ -s target ] && left_is_right; }
  }
  sweep "pwrite64" "openat newfstatat statx mmap clone3 ppoll fsync"
}

case_writing_on_is_truthful_whatever_call_fails() {
  may_trace
  random_file whole 300001
  head -c 5000 whole >start
  tail -c +5001 whole >source
  what="write"
  # Neither the end where it goes on nor its blocks are sectors: they are gathered.
  once() {
    cp start target
    inject "$1" write target --block 40000 --json <source
    [ "$code" = 0 ] || json_says_why
  }
  sound() {
    [ "$code" = 0 ] && { cmp whole target; return; }
    [ "$(stat -c %s target)" -ge 5000 ] || { echo "the file was cut"; return 1; }
    left_is_right
  }
  sweep "" "pwrite64 openat newfstatat mmap clone3 ppoll sync_file_range"
}

case_a_gathered_block_is_not_counted_when_the_write_that_sends_it_fails() {
  may_trace
  random_file whole 300001
  head -c 5000 whole >target
  # Three blocks are gathered; the fourth sends them all, once, when the drive is full.
  inject pwrite64:error=ENOSPC:when=1 write target --block 40000 --json < <(tail -c +5001 whole)
  was_injected || fail "no write failed"
  [ "$code" = 5 ] || { cat out; fail "exit code $code"; }
  is bytes 0
  is size 5000
  cmp -n 5000 whole target && [ "$(stat -c %s target)" = 5000 ] || fail "more is left, or less"
}

case_verify_is_truthful_whatever_call_fails() {
  may_trace
  what=verify
  once() { rm -f target; inject "$1" verify target --size 300001 --seed 4 --block 8K; }
  sound() {
    [ "$code" = 0 ] || [ -e target ] || return 0
    "$fsys" verify target --check-only --size 300001 --seed 4 --quiet
  }
  sweep "pread64 pwrite64" "openat newfstatat mmap clone3"
}

case_doctor_is_truthful_whatever_call_fails() {
  may_trace
  what=doctor
  once() { inject "$1" doctor .; }
  sound() { [ "$code" != 0 ] || grep -q '^transfers  *\(a ring\|threads\)' out; }
  sweep "" "openat newfstatat mmap pwrite64 clone3"
}

case_the_demo_is_truthful_whatever_call_fails() {
  may_trace
  make_media 60000
  what=demo
  # What the registry or the catalogue could not do is not there, or is found by the checks.
  more_codes="3 7" patience=60 quickly=--seccomp-bpf
  once() { inject "$1" demo media --work work --seconds 0.2; }
  sound() {
    [ -z "$(ls -A work)" ] || { echo "left behind: $(ls -A work)"; return 1; }
    [ "$code" != 0 ] || grep -q "every one is right" out
  }
  # It makes very many calls, and each run takes its time.
  brief_stride=40 brief_limit=1 full_errors=one
  sweep "pread64 pwrite64" "openat newfstatat fsync renameat2 mmap clone3"
}

case_a_refused_ring_is_told_and_threads_take_its_place() {
  may_trace
  random_file source 3000001
  local refusal why
  unset FSYS_IO
  for refusal in "EPERM rings are not permitted here" "ENOMEM there is no memory for a ring" \
    "ENOSYS the kernel has no ring that can be used"; do
    inject "io_uring_setup:error=${refusal%% *}" doctor --json
    was_injected || fail "$refusal: no ring was refused"
    [ "$code" = 0 ] || { cat err; fail "doctor has exit code $code"; }
    why=${refusal#* }
    is transfers.by threads
    is transfers.why "$why"
    inject "io_uring_setup:error=${refusal%% *}" copy source target --force --json
    was_injected || fail "$refusal: no ring was refused"
    [ "$code" = 0 ] || { cat out; fail "copy has exit code $code"; }
    is transport "threads ($why)"
    same source target
    strace -f -qq -o trace -e trace=pread64,io_uring_setup \
      -e "inject=io_uring_setup:error=${refusal%% *}" "$fsys" read source >out 2>err ||
      fail "$refusal: reading failed"
    grep -q 'pread64.* = 1048576$' trace || fail "$refusal: nothing was read by threads"
  done
  # One ring of the two.
  inject "io_uring_setup:error=EPERM:when=2" copy source target --force
  was_injected || fail "the second ring was not refused"
  [ "$code" = 0 ] || { cat err; fail "with one ring: exit code $code"; }
  same source target
}

# A list that is to be changed, and what it may then be: as it was, or as it is to be.
given_list() {
  mkdir -p one two three .state/fsys
  printf '%s\n' "$PWD/one/" >old
  printf '%s\n' "$PWD/one/" "$PWD/two/" >new
}
is_swept_by_the_next_change() {
  "$fsys" locations add three --quiet || return 1
  [ -z "$(find . -name '.fsys-*')" ]
}
list_is_sound() {
  cmp -s "$1" .state/fsys/DefNetDrive.txt && return
  [ "$code" != 0 ] || { echo "it was not done"; return 1; }
  cmp "$2" .state/fsys/DefNetDrive.txt
}
list_calls="openat newfstatat fcntl pwrite64 fsync fchmod rename getdents64 readlink mmap|brk"

# Of the command, and of the files with the list before it and after it.
change_is_truthful() {
  local change=$1 before=$2 after=$3
  may_trace
  given_list
  what="locations $change"
  once() { cp "$before" .state/fsys/DefNetDrive.txt; inject "$1" locations "$change" two; }
  sound() { list_is_sound "$after" "$before"; }
  is_swept() { is_swept_by_the_next_change; }
  sweep_each "$list_calls"
}

case_adding_a_location_is_truthful_whatever_call_fails() { change_is_truthful add old new; }

case_removing_a_location_is_truthful_whatever_call_fails() { change_is_truthful remove new old; }

# Whatever fails, the folders are there or not yet, and nothing else is.
case_preparing_a_drive_is_truthful_whatever_call_fails() {
  may_trace
  what=prepare
  once() { rm -rf media; mkdir media; inject "$1" prepare media; }
  sound() {
    local here
    here=$(find media -mindepth 1 -printf '%P ' | sort)
    [ "$code" != 0 ] || { [ -d media/Material ] && [ -d media/Sound ]; } || { echo "$here"; return 1; }
    case $here in "" | "Material " | "Material Sound " | "Sound Material ") ;; *) echo "$here"; return 1 ;; esac
  }
  sweep_each "openat newfstatat mkdir mmap"
}

# The name is the old one or the new one, and a name that was not written is said.
case_renaming_a_drive_is_truthful_whatever_call_fails() {
  may_trace
  mkdir -p media/Material media/Sound
  expect 0 locations add media
  what="locations rename"
  once() { echo name=old >media/Material/MediaSpaceInfo.txt; inject "$1" locations rename media new; }
  sound() {
    [ "$(cat media/Material/MediaSpaceInfo.txt)" = name=new ] && return
    [ "$code" != 0 ] && [ "$(cat media/Material/MediaSpaceInfo.txt)" = name=old ]
  }
  is_swept() { "$fsys" locations rename media next --quiet && [ -z "$(find . -name '.fsys-*')" ]; }
  sweep_each "openat newfstatat pwrite64 fsync rename getdents64 mmap"
}

case_a_name_that_did_not_get_to_its_disk_is_told() {
  may_trace
  mkdir -p media/Material media/Sound
  expect 0 locations add media
  expect 0 locations rename media old
  # The system says that it was done, and it was not.
  inject "rename:retval=0:when=1" locations rename media new
  was_injected || fail "nothing was injected"
  [ "$code" = 6 ] || { cat out err; fail "exit code $code"; }
  says "the name was not written"
  [ "$(cat media/Material/MediaSpaceInfo.txt)" = name=old ] || fail "it is there"
}

# Whatever fails, a login ends logged out, or as one that others see as a leftover; and another
# workstation's file is never touched.
given_login() {
  may_trace
  own=media/$(uname -n).cli
  mkdir media
  touch media/other.cli
}

case_logging_out_is_truthful_whatever_call_fails() {
  given_login
  what=logout
  once() { touch "$own"; inject "$1" logout media; }
  sound() {
    [ -e media/other.cli ] || { echo "another workstation's file is gone"; return 1; }
    [ "$code" != 0 ] || [ ! -e "$own" ] || { echo "it was not deleted"; return 1; }
  }
  sweep_each "openat newfstatat fcntl unlink"
}

case_asking_who_is_logged_in_is_truthful_whatever_call_fails() {
  given_login
  what="who"
  once() { touch "$own"; inject "$1" who media; }
  sound() {
    [ -e media/other.cli ] && [ -e "$own" ] || { echo "a file is gone"; return 1; }
    [ "$code" != 0 ] || [ "$(grep -cE ' (stale|unknown) ' out)" = 2 ] || { cat out; return 1; }
  }
  sweep_each "openat newfstatat statx fcntl getdents64"
}

# It ends when its file is taken away. A lock that is refused (EAGAIN) is told as a missing right.
case_logging_in_is_truthful_whatever_call_fails() {
  given_login
  what=login more_codes=4
  once() {
    rm -f "$own"
    (until [ -e "$own" ]; do sleep 0.05; done; rm "$own") &
    local taker=$!
    inject "$1" login media
    kill "$taker" 2>/dev/null
    wait "$taker"
  }
  sound() {
    [ -e media/other.cli ] || { echo "another workstation's file is gone"; return 1; }
    [ "$code" = 0 ] || return 0
    ! grep -E 'F_OFD_SETLK.*INJECTED' trace | grep -qv EINTR || { echo "it had no lock"; return 1; }
    grep -q 'the lock file is gone' out || { echo "no word why"; return 1; }
  }
  sweep_each "openat newfstatat fcntl"
}
