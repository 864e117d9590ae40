# shellcheck shell=bash disable=SC2154
# The process ends at any moment, by SIGKILL. Sourced by tool_test.sh.

killed_at_moments() {
  local moments
  moments=$(turns 25 500)
  # A sanitizer makes each start many times as long; what it looks for shows in a few.
  is_sanitized && moments=$(turns 6 500)
  "$here/kill_moments.py" "$1" "$fsys" "$moments" "${FSYS_SEED:-1}"
}

case_what_was_reported_written_is_there_after_a_kill() { killed_at_moments write; }

case_a_killed_copy_leaves_its_name_to_the_next_one() { killed_at_moments copy; }

case_a_killed_change_of_locations_leaves_the_old_list_or_the_new_one() {
  killed_at_moments locations
}
