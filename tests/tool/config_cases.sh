# shellcheck shell=bash disable=SC2154
# A configuration file on a drive that does not answer. Sourced by tool_test.sh.

# Runs the tool where the drive silent/1 never answers; it must end in time, with exit code 0.
ends_in_time() {
  took_ms env "$1" "$FSYS_SILENT_MOUNT" 1 silent timeout -s KILL 20 "$fsys" "${@:2}"
  echo "${*:2}: $took ms with $1"
  rmdir silent/1
  [ "$took_code" = 0 ] || { cat out err; fail "fsys ${*:2}: exit code $took_code"; }
  [ "$took" -lt 5000 ] || fail "it was waited for"
  says "silent/1"
  says "fsys.conf is not read, the defaults are used"
}

case_a_configuration_file_that_is_never_read_keeps_nobody_waiting() {
  is_root || skip "mounting needs root"
  [ -c /dev/fuse ] || skip "there is no /dev/fuse"
  [ -x "${FSYS_SILENT_MOUNT:-}" ] || skip "FSYS_SILENT_MOUNT names no program"
  is_sanitized && export ASAN_OPTIONS=detect_leaks=0 TSAN_OPTIONS=report_thread_leaks=0
  mkdir silent
  random_file source 100000
  local where
  for where in "XDG_CONFIG_HOME=$PWD/silent/1" "FSYS_CONFIG=$PWD/silent/1/fsys.conf"; do
    ends_in_time "$where" drives --json
    drive_is silent/1 why "does not answer"
    ends_in_time "$where" read source --json
    is ok True
    is bytes 100000
    ends_in_time "$where" copy source copied
    same source copied
    rm copied
  done
}
