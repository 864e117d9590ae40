# shellcheck shell=bash
# What scripts whose functions are test cases have in common. Sourced by them. A case works in a folder
# of its own; one that cannot run here says why and ends with 77.

# With what runs in the background.
fail() {
  local running
  mapfile -t running < <(jobs -rp)
  [ ${#running[@]} = 0 ] || kill "${running[@]}"
  echo "FAILED: $*"
  exit 1
}
skip() { echo "skipped: $*"; exit 77; }
same() { cmp -- "$1" "$2" || fail "$1 and $2 differ"; }
is_root() { [ "$(id -u)" = 0 ]; }
# Whether a program is, which is the tool unless another is named. The whole list is read: a reader
# that leaves early makes nm, and with it the pipe, a failure.
is_sanitized() { nm -D "${1:-$fsys}" 2>/dev/null | grep -E '__asan_init|__tsan_init' >/dev/null; }
# Mounts a network's drive on a folder, there only. It obeys orders of a letter: s for silence, a to
# answer, d to take its time, b to fail reads of the second half of files, and again not to. No other
# process holds its lines, so that it ends with the case.
mount_share() {
  [ -c /dev/fuse ] || skip "there is no /dev/fuse"
  [ -x "${FSYS_SHARE_SERVER:-}" ] || skip "FSYS_SHARE_SERVER names no program"
  is_sanitized "$FSYS_SHARE_SERVER" &&
    export ASAN_OPTIONS=detect_leaks=0 TSAN_OPTIONS=report_thread_leaks=0
  mkdir "$1"
  coproc share { exec "$FSYS_SHARE_SERVER" "$1" media@server:/share; }
  IFS= read -r -d '' -n 1 -u "${share[0]}" _ || skip "no share can be mounted here"
}
order() {
  printf %s "$1" >&"${share[1]}" && IFS= read -r -d '' -n 1 -u "${share[0]}" _ ||
    fail "the share does not obey"
}
# Until a condition holds, at most ten seconds, or as many as are given.
until_true() {
  local tries
  for tries in $(seq $((20 * ${2:-10}))); do
    if eval "$1"; then return 0; fi
    sleep 0.05
  done
  fail "never came true: $1"
}
