#!/usr/bin/env bash
# The soak's words: it refuses what it does not know, and an interrupt ends it with what was seen
# until then, and nothing left behind. Usage: words.sh PROGRAM
set -uo pipefail
soak=$1
work=$(mktemp -d "$PWD/fsys-test-XXXXXX")
trap 'rm -rf "$work"' EXIT
status=0
complain() { echo "$*"; status=1; }

for words in --nonsense --minutes '--minutes 0' '--minutes x' '--seed' '--minutes 1e9'; do
  # shellcheck disable=SC2086  # several words
  "$soak" $words >"$work/said" 2>&1 </dev/null
  [ $? = 2 ] || complain "taken: $words"
  grep -q '^Usage: fsys_soak' "$work/said" || complain "no word about: $words"
done
"$soak" "$work/nowhere" >"$work/said" 2>&1 && complain "a folder that is not there was taken"

mkdir "$work/media"
# No file may have more than a megabyte.
(trap '' XFSZ; ulimit -f 1024; timeout 30 "$soak" "$work/media" >"$work/said" 2>&1)
[ $? = 1 ] || complain "no room, and another code"
[ -z "$(ls -A "$work/media")" ] || complain "left without room: $(ls -A "$work/media")"
"$soak" --minutes 60 --seed 5 --late-is-told "$work/media" >"$work/said" 2>&1 </dev/null &
program=$!
# Until it has begun.
while ! grep -q '^all is made' "$work/said"; do kill -0 "$program" || break; done
kill -INT "$program"
wait "$program"
[ $? = 130 ] || complain "an interrupted soak ends with another code"
for line in '^soaking for 60 minutes with seed 5' 'pictures shown' '^interrupted after ' \
  '(seed 5)$'; do
  grep -q -- "$line" "$work/said" || complain "not said: $line"
done
[ -z "$(ls -A "$work/media")" ] || complain "left: $(ls -A "$work/media")"
[ "$status" = 0 ] || cat "$work/said"
exit "$status"
