# shellcheck shell=bash disable=SC2154
# What the tool says: of the machine, of itself, while it works. Sourced by tool_test.sh.

case_doctor_says_how_files_are_transferred() {
  FSYS_IO=threads expect 0 doctor --json
  is transfers.by threads
  is transfers.why FSYS_IO=threads
  is path.name .
  random_file source 5000
  FSYS_IO='' expect 0 doctor source --json
  [[ $(json transfers.by) =~ ^(ring|threads)$ ]] || fail "transfers by $(json transfers.by)"
  if [ "$(json transfers.by)" = ring ]; then
    is transfers.why ""
  else
    [ -n "$(json transfers.why)" ] || fail "threads, and no word why"
  fi
  [ "$(json transfers.in_flight_limit)" -ge 8 ] || fail "in flight: $(json transfers.in_flight_limit)"
  [[ $(json path.direct) =~ ^(True|False)$ ]] || fail "direct is $(json path.direct)"
  # What the drive says of itself, asked in another way.
  local device sector=512
  device=$(findmnt -n -o SOURCE --target . 2>/dev/null || true)
  if [ -b "$device" ]; then sector=$(blockdev --getss "$device" 2>/dev/null || echo 512); fi
  is path.sector_size "$sector"
  is path.name source
  expect 0 doctor source
  tells "direct transfers"
  tells "RLIMIT_MEMLOCK"
  tells "sectors of"
}

case_every_command_has_help_and_the_manual_page_names_it() {
  local command page
  page=$(dirname "$demo")/fsys.1
  for command in read write copy verify doctor demo drives "locations list" "locations add" \
    "locations remove" "locations rename" "locations check" prepare "task set" "task get" \
    "task clear" best time "unc to" "unc from" scan find shot "media list" "media offline" \
    "link create" "link show" "link check" "proxy name" "proxy parse" rm watch login \
    logout who; do
    # shellcheck disable=SC2086
    expect 0 $command --help
    grep -q "^\.B fsys $command" "$page" || fail "the manual page has no $command"
    grep -oE -- '^ *(-[a-z],)?--[a-z-]+' out | grep -oE -- '--[a-z-]+'  | sort -u | while read -r option; do
      grep -qF -- "${option//-/\\-}" "$page" || { echo "$option"; exit 1; }
    done || fail "the manual page lacks an option of $command"
  done
}

case_a_progress_bar_is_drawn_on_a_terminal_and_nowhere_else() {
  command -v script >/dev/null || skip "there is no script, which makes a terminal"
  truncate -s 20G source
  script -qec "'$fsys' read source --block 1M" terminal >/dev/null 2>&1 </dev/null ||
    { cat terminal; fail "reading failed"; }
  grep -q $'\r.*reading *\[[#.]*\] .*%.*MB/s' terminal || { cat -v terminal; fail "there is no bar"; }
  script -qec "'$fsys' read source --block 1M --quiet" quiet >/dev/null 2>&1 </dev/null
  ! grep -q '%' quiet || { cat -v quiet; fail "a bar in spite of --quiet"; }
  expect 0 read source --block 1M
  ! grep -q $'\r' err out || { cat -v err; fail "a bar where there is no terminal"; }
  [ ! -s err ] || { cat err; fail "words on standard error"; }
}
