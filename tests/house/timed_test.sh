#!/usr/bin/env bash
# A test that hangs ends with every stack; any other is left as it is.
# Usage: timed_test.sh PROGRAM_THAT_HANGS
set -uo pipefail
hangs=$1
timed=$(dirname "$(readlink -f "$0")")/timed.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
status=0
complain() { echo "$*"; status=1; }
says() { grep -qF -- "$1" said || { complain "not said: $1"; cat said; }; }
# Killed: no process any more, or one that waits to be forgotten.
gone() {
  local tries
  for tries in $(seq 100); do
    grep -qs '^State:.*[RSD] (' "/proc/$(cat pid)/status" || return 0
    sleep 0.05
  done
  complain "the process is still there"
}

# What ends in time: its words, its input, its exit code, its signals.
echo input | "$timed" 60 sh -c 'cat; echo words; exit 77' >said 2>&1
[ $? = 77 ] || complain "another exit code"
[ "$(cat said)" = $'input\nwords' ] || complain "other words: $(cat said)"
"$timed" 60 sh -c 'kill -SEGV $$' >said 2>&1
[ $? = 139 ] || complain "a crash has another exit code"
"$timed" 60 sh -c 'kill -INT $$; echo ignored' >said 2>&1
[ $? = 130 ] || complain "Ctrl-C was ignored: $(cat said)"
SECONDS=0
"$timed" 60 true | cat
[ "$SECONDS" -lt 30 ] || complain "who reads what it prints must wait for the limit"

# A long form has longer: what would be late is not.
FSYS_SOAK=1 "$timed" 1 bash -c 'read -rt 2 <> <(:); exit 3' >said 2>&1
[ $? = 3 ] || complain "a long form was ended: $(cat said)"
FSYS_SOAK=0 "$timed" 1 bash -c 'read -rt 30 <> <(:); exit 3' >said 2>&1
[ $? = 124 ] || complain "FSYS_SOAK=0 is taken for a long form"

# What hangs, behind a shell as in the tool's tests.
cat >starts <<'SCRIPT'
echo begun
"$1" &
echo $! >pid
wait
SCRIPT
"$timed" 2 bash starts "$hangs" >said 2>&1
[ $? = 124 ] || complain "a test that hangs has another exit code"
says begun
says "timed out: after 2 s it had not ended: bash starts $hangs"
says "the stacks of $(basename "$hangs"), process $(cat pid)"
gone
if command -v gdb >/dev/null; then
  says waitForWhatNeverComes
  says waitInAnotherThread
else
  says "gdb is not installed"
  [ "$status" = 0 ] && { echo "skipped: there is no gdb, so no stack was seen"; exit 77; }
fi

# Without gdb it ends all the same, and says what is missing.
mkdir bin
for program in bash sh env sleep cat grep timeout; do ln -s "$(command -v "$program")" bin/; done
PATH=$work/bin "$timed" 1 bash starts "$hangs" >said 2>&1
[ $? = 124 ] || complain "without gdb the exit code is another"
says "gdb is not installed"
gone
[ "$status" = 0 ] && echo "a test that hangs ends with every stack"
exit "$status"
