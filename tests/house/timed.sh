#!/usr/bin/env bash
# Runs a test. One that takes too long is a failure: the stacks of all its threads are printed, and
# it is ended, with everything that it started. Usage: timed.sh SECONDS PROGRAM [ARGUMENT...]
# Ends with the program's exit code, or with 124. With FSYS_SOAK, the minutes of what goes on by the
# clock, it has two hours more than those.
limit_s=$1
shift
soak=${FSYS_SOAK:-0}
if [[ $soak =~ ^[1-9][0-9]*$ ]]; then limit_s=$((limit_s + soak * 60 + 7200)); fi

# A shell would have what runs in the background ignore Ctrl-C and read nothing.
env --default-signal=INT,QUIT "$@" <&0 &
test=$!
late=no
trap 'late=yes' USR1
# Reads what nobody writes: it can wait without a process of its own that would be left behind.
( read -rt "$limit_s" _ <> <(:); kill -USR1 $$ ) </dev/null >/dev/null 2>&1 &
watch=$!
trap 'kill -KILL "$watch"; kill "$test"; exit 130' INT TERM
wait "$test"
code=$?
if [ "$late" = no ]; then
  kill -KILL "$watch"
  exit "$code"
fi

# The processes below a process, itself first.
family() {
  local child
  echo "$1"
  for child in $(cat "/proc/$1/task/"*/children 2>/dev/null); do family "$child"; done
}
echo
echo "timed out: after $limit_s s it had not ended: $*"
processes=$(family "$test")
for process in $processes; do
  name=$(cat "/proc/$process/comm" 2>/dev/null) || continue
  case $name in bash | sh | sleep) continue ;; esac
  echo "--- the stacks of $name, process $process"
  if command -v gdb >/dev/null; then
    timeout -k 1 20 gdb -nx -batch -iex 'set debuginfod enabled off' -iex 'set pagination off' \
      -p "$process" -ex 'thread apply all backtrace' </dev/null 2>&1 | grep -v '^\[New LWP\|^$'
  else
    echo "gdb is not installed: they are not known"
  fi
done
# shellcheck disable=SC2086  # one word a process
kill -KILL $processes 2>/dev/null
exit 124
