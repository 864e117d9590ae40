# Completion of fsys(1) for bash.                                            -*- shell-script -*-
# shellcheck shell=bash
# What there is to complete is asked of the tool itself, by its own --help: nothing is listed here.

# Reads a command's help; prints what it takes, a line each:
#   command NAME, option NAME KIND ("-": without a value) HOW MANY, word NAME KIND (in their order)
_fsys_takes() {
  awk '
    /^[A-Z][a-z]+:$/ { section = $1; next }
    /^Usage: / { sub(/^.*\[OPTIONS\] ?/, ""); count = split($0, usage, " "); next }
    section == "Subcommands:" && /^  [a-z]/ { print "command", $1 }
    section == "Positionals:" && /^  [^ ]/ { kinds[++known] = / (TEXT|FOLDER)[ :]/ ? "text" : "number" }
    section == "Options:" && /^  -/ {
      # "  -q,--quiet   What it does" takes no value, "  --level KIND   What it does" does.
      kind = /^  [^ ]+ [^ ]/ && $2 !~ /^(Needs|Excludes):$/ ? $2 : "-"
      many = $3 == "x" ? $4 : 1
      n = split($1, names, ",")
      for (i = 1; i <= n; ++i) print "option", names[i], kind, many
    }
    END { for (i = 1; i <= count; ++i) if (usage[i] != "SUBCOMMAND")
      print "word", usage[i], i <= known ? kinds[i] : kinds[known] }'
}

# The functions below share the locals of _fsys.

# Asks what the command so far takes.
_fsys_ask() {
  local what name kind many
  commands=() values=() options=() counts=()
  while read -r what name kind many; do
    case $what in
      command) commands+=("$name") ;;
      option) options[$name]=$kind counts[$name]=$many ;;
      word) values+=("$name $kind") ;;
    esac
  done < <("$tool" "${command[@]}" --help 2>/dev/null </dev/null | _fsys_takes)
}

_fsys_is_command() {
  local name
  for name in "${commands[@]}"; do [ "$name" != "$1" ] || return 0; done
  return 1
}

# Goes through the words before the one that is completed.
_fsys_walk() {
  local index word left
  _fsys_ask
  for ((index = 1; index < cword; ++index)); do
    word=${words[index]}
    if [ -n "$awaited" ]; then
      ((--left)) || awaited=
    elif [ "$dashes" = no ] && [ "$word" = -- ]; then
      dashes=yes
    elif [ "$dashes" = no ] && [[ $word == -?* ]]; then
      [[ $word == *=* || ${options[$word]:--} == - ]] || { awaited=$word left=${counts[$word]}; }
    elif _fsys_is_command "$word"; then
      command+=("$word")
      _fsys_ask
    else
      given=$((given + 1))
    fi
  done
  # "--level=h": bash-completion has parted it.
  if $split && [ -n "${options[$prev]:-}" ]; then awaited=$prev; fi
}

_fsys_offer() { mapfile -t COMPREPLY < <(compgen -W "$*" -- "$cur"); }

# The value of an option.
_fsys_option_value() {
  local kind=${options[$awaited]}
  case $kind in
    *:\{*\}) kind=${kind#*\{}; kind=${kind%\}}; _fsys_offer "${kind//,/ }" ;;
    FOLDER) _filedir -d ;;
    TEXT) _filedir ;;
  esac
}

# A value that stands by itself; the last one may be there any number of times.
_fsys_value() {
  local last=$((${#values[@]} - 1)) name kind
  [ "$last" -ge 0 ] || return 0
  if [ "$given" -gt "$last" ]; then
    [[ ${values[last]} == *...* ]] || return 0
    given=$last
  fi
  read -r name kind <<<"${values[given]}"
  case $kind:${name#[} in
    number:* | *:COOKIE* | *:NAME* | *:EXTENSION*) ;;
    *:FOLDER* | *:MEDIA*) _filedir -d ;;
    *) _filedir ;;
  esac
}

_fsys() {
  local cur prev words cword split
  _init_completion -s || return
  local tool=${words[0]/#\~/$HOME}
  local -a command=()    # as far as it stands there
  local -a commands=()   # that may follow
  local -A options=()    # and their kinds
  local -A counts=()     # and how many values each takes
  local -a values=()     # and their kinds
  local given=0          # values that stand there
  local dashes=no        # whether "--" does
  local awaited=         # the option whose value is completed

  _fsys_walk
  if [ -n "$awaited" ]; then
    _fsys_option_value
  elif [ "$dashes" = no ] && [[ $cur == -* ]]; then
    _fsys_offer "${!options[*]}"
  elif [ ${#commands[@]} -gt 0 ]; then
    _fsys_offer "${commands[*]}"
  else
    _fsys_value
  fi
} && complete -F _fsys fsys
