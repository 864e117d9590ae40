# shellcheck shell=bash disable=SC2154
# What bash offers for the word that is being typed. Sourced by tool_test.sh.

# Prints what is offered for the last of the words, one a line, sorted.
offered() {
  local library=/usr/share/bash-completion/bash_completion
  [ -r "$library" ] || skip "bash-completion is not installed"
  # As readline calls it: what is typed is parted at '=' and ':' too.
  BASH_COMPLETION_COMPAT_DIR=/none bash --norc -c '
    source "$1" && source "$2" || exit
    shift 2
    COMP_WORDS=()
    for word; do
      if [[ $word == --*=* ]]; then COMP_WORDS+=("${word%%=*}" = "${word#*=}"); else COMP_WORDS+=("$word"); fi
    done
    [ "${COMP_WORDS[-1]}" != "" ] || [ "${COMP_WORDS[-2]}" != = ] || unset "COMP_WORDS[-1]"
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMP_LINE="$*" COMP_POINT=${#COMP_LINE}
    COMPREPLY=()
    _fsys fsys "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    [ ${#COMPREPLY[@]} = 0 ] || printf "%s\n" "${COMPREPLY[@]}" | sort
    ' _ "$library" "$(dirname "$demo")/fsys.bash" "$fsys" "$@"
}
# offers WORD... := OFFERED...: just these.
offers() {
  local said
  local -a typed=()
  while [ "$1" != := ]; do typed+=("$1"); shift; done
  shift
  said=$(offered "${typed[@]}" 2>&1 | tr '\n' ' ')
  said=${said% }
  [ "$said" = "$*" ] || fail "fsys ${typed[*]}: offered is \"$said\", not \"$*\""
}

# Whether every command and option that --help has is offered, here and below.
every_word_below() {
  local words name
  local -a commands
  expect 0 "$@" --help
  words=$(sed -nE '/^Options:/,/^$/s/^  ((-[a-z],)?--[a-z0-9-]+).*/\1/p' out | tr , '\n' | sort)
  [ -n "$words" ] || fail "no options in the help of fsys $*"
  [ "$(offered "$@" -)" = "$words" ] || fail "fsys $* -: offered: $(offered "$@" - | xargs)"
  mapfile -t commands < <(sed -nE '/^Subcommands:/,$s/^  ([a-z]+) .*/\1/p' out | sort)
  [ ${#commands[@]} -gt 0 ] || return 0
  [ "$(offered "$@" "" | xargs)" = "${commands[*]}" ] || fail "fsys $*: other commands are offered"
  for name in "${commands[@]}"; do every_word_below "$@" "$name"; done
}
case_every_command_and_option_is_offered() {
  offered "" >all
  [ "$(wc -l <all)" -ge 20 ] || fail "only offered: $(xargs <all)"
  every_word_below
}

case_what_is_begun_is_ended() {
  offers loc := locations
  offers li := link
  offers locations re := remove rename
  offers link c := check create
  offers nonsense :=
  offers read nonsense locations :=
  offers write --p := --pattern
  offers --ver := --version
}

case_fixed_values_are_offered() {
  offers find --level "" := auto high proxy
  offers find --level h := high
  offers find --level=p := proxy
  offers find --level= := auto high proxy
  offers best --match "" := best-fit most-free
  offers find --json --level high V4K7Q2M9A00 --level a := auto
}

case_files_and_folders_are_offered_where_they_fit() {
  mkdir folder
  touch file 'with space'
  offers read "" := file folder with space
  offers read --block 1M f := file folder
  offers copy file fo := folder
  offers copy file file file 'fi' := file
  offers read --to f := file folder
  offers read --to copy --force f := file folder
  offers drives --project "" := folder
  offers locations list --project "" := folder
  offers locations list --project=f := folder
  offers link create file f := file folder
  offers read -- f := file folder
  touch -- --file
  offers read -- --f := --file
  offers copy --quiet file 'fi' := file
}

case_nothing_is_offered_where_there_is_nothing_to_know() {
  touch file
  offers find "" :=
  offers read --block "" :=
  offers read file "" :=
  offers task set "" :=
  offers task set Record "" := file
  offers proxy name file "" :=
  offers proxy name file mov "" :=
  offers time "" :=
}

# As a tool that takes a folder says it.
case_folders_alone_are_offered_where_one_is_asked_for() {
  local tool=$fsys
  mkdir folder
  touch file
  printf '#!/bin/sh\ncat "%s/help"\n' "$PWD" >stand_in
  printf 'Usage: fsys [OPTIONS] [FOLDER]\n\nPositionals:\n  FOLDER TEXT    It\n' >help
  chmod +x stand_in
  fsys=$PWD/stand_in
  offers f := folder
  fsys=$tool
}

# A tool that is not there, or an older one, is no reason to fail.
case_without_the_tool_nothing_is_offered() {
  local tool=$fsys
  fsys=$PWD/none
  offers "" :=
  offers read "" :=
  fsys=$tool
}

case_an_option_of_two_values_is_completed_twice() {
  mkdir one two
  touch file
  offers demo --drives "" := one two
  offers demo --drives one "" := one two
  offers demo --drives one two "" := one two
  offers demo --drives one two one "" :=
  offers demo --work one "" := one two
}
