# shellcheck shell=bash disable=SC2154
# What the tool says: of the machine, of itself, while it works. Sourced by tool_test.sh.

case_doctor_says_how_files_are_transferred() {
  FSYS_IO=threads expect 0 doctor --json
  is transfers.by threads
  is transfers.why FSYS_IO=threads
  is path.name .
  random_file source 5000
  expect 0 doctor source
  tells "direct transfers"
  tells "RLIMIT_MEMLOCK"
  tells "sectors of"
}

case_every_command_has_help_and_the_manual_page_names_it() {
  local command page
  page=$(dirname "$demo")/fsys.1
  for command in read write copy verify doctor demo; do
    expect 0 "$command" --help
    grep -q "^\.B fsys $command" "$page" || fail "the manual page has no $command"
    grep -oE -- '^ *(-[a-z],)?--[a-z-]+' out | grep -oE -- '--[a-z-]+'  | sort -u | while read -r option; do
      grep -qF -- "${option//-/\\-}" "$page" || { echo "$option"; exit 1; }
    done || fail "the manual page lacks an option of $command"
  done
}
