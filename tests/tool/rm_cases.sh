# shellcheck shell=bash disable=SC2154
# What is deleted, with what it is asked before, and what stays. Sourced by tool_test.sh.

# Media with side files and proxies, beside a tree that is not to be touched.
canary_tree() {
  media_drive raid
  media "raid/Material/$vision.mov" 3000
  media "raid/Material/$vision.mov.qvix"
  media "raid/Material/$vision.mov.partial"
  media "raid/Material/$vision.A0.proxy.360.mov"
  media "raid/Material/$vision.A0.proxy.360.mov.reapeaks"
  mkdir -p "raid/Material/$vision.mov.d" canary
  media "raid/Material/${vision}x.mov"
  media "raid/Material/V${shot}01.mov"
  media "raid/Material/$vision.mova.qvix"
  media canary/bird
}
canary_is_well() {
  local name
  for name in "raid/Material/$vision.mov.d" "raid/Material/${vision}x.mov" "raid/Material/V${shot}01.mov" \
    "raid/Material/$vision.mova.qvix" canary/bird; do
    [ -e "$name" ] || fail "$name is gone"
  done
}
# The files that rm says, with those beside them, in the order of their names.
announced() {
  python3 -c 'import json
files = json.load(open("out"))["files"]
print("\n".join(sorted([f["file"] for f in files] + [b["file"] for f in files for b in f["beside"]])))'
}

case_what_rm_announces_is_what_goes() {
  canary_tree
  find raid canary | sort >before
  expect 0 rm "$vision" --high --proxy --dry-run --json
  is dry_run True
  is files.0.kind proxy
  is files.1.kind high-resolution
  is files.1.deleted False
  announced >said
  find raid canary | sort | cmp - before || fail "a dry run changed something"
  expect 0 rm "$vision" --high --proxy --dry-run
  tells "and beside it \"$PWD/raid/Material/$vision.mov.qvix\""
  tells "nothing was deleted"
  expect 0 rm "$vision" --high --proxy --yes --json
  is files.0.deleted True
  is files.1.deleted True
  is files.1.left '[]'
  find raid canary | sort | comm -13 - before | sed "s|^|$PWD/|" | cmp - said ||
    { cat said; fail "something else went"; }
  canary_is_well
  expect 3 find "$vision"
  expect 3 rm "$vision" --high --yes
}

case_rm_takes_only_the_kind_that_was_named() {
  canary_tree
  expect 2 rm "$vision" --yes
  says "say what"
  expect 2 rm "$vision" --high
  says "there is no terminal to ask on"
  expect 0 rm "$vision" --proxy --yes
  tells "deleted \"$PWD/raid/Material/$vision.A0.proxy.360.mov\""
  [ -e "raid/Material/$vision.mov" ] || fail "the media is gone"
  [ -e "raid/Material/$vision.mov.qvix" ] || fail "its index is gone"
  [ ! -e "raid/Material/$vision.A0.proxy.360.mov.reapeaks" ] || fail "the proxy's peaks are there"
  expect 3 rm "$vision" --proxy --yes
  says "it has no proxy"
  expect 0 rm "$vision" --high --yes
  canary_is_well
  [ ! -e "raid/Material/$vision.mov.partial" ] || fail "a file beside it is left"
}

# The catalogue keeps it among the proxies.
case_a_copy_of_the_media_goes_with_everything_alone() {
  media_drive one
  media_drive two
  media_drive three
  media "one/Material/$vision.mov" 3000
  media "two/Material/$vision.mov" 2000
  media "three/Material/$vision.A2.proxy.360.mov" 100
  expect 0 rm "$vision" --high --proxy --dry-run --json
  tells '"kind": "high-resolution copy"'
  expect 0 rm "$vision" --proxy --yes
  [ ! -e "three/Material/$vision.A2.proxy.360.mov" ] || fail "the proxy is there"
  expect 3 rm "$vision" --proxy --yes
  says "it has no proxy"
  [ -e "one/Material/$vision.mov" ] || fail "the media of the first drive is gone"
  [ -e "two/Material/$vision.mov" ] || fail "the media of the second drive is gone"
  expect 0 rm "$vision" --high --proxy --yes
  [ ! -e "one/Material/$vision.mov" ] || fail "the copy is there"
  [ ! -e "two/Material/$vision.mov" ] || fail "the media is there"
}

# An entry has room for two.
case_a_third_file_of_a_cookie_is_told() {
  local drive
  for drive in one two three; do
    media_drive "$drive"
    media "$drive/Material/$vision.mov"
  done
  expect 0 scan
  tells "1 file is left out: others have the same cookie"
  expect 0 scan --json
  is left_out 1
  is folders.2.files 0
  expect 0 rm "$vision" --high --proxy --yes --json
  is stays.0.path "$PWD/two/Material/$vision.mov"
  is not_looked_at '[]'
  [ -e "two/Material/$vision.mov" ] || fail "it is gone"
  expect 0 scan
  ! grep -q "left out" out || { cat out; fail "something is said to be left out"; }
  mv "two/Material/$vision.mov" "two/Material/${vision,,}.mxf"
  media "two/Material/$vision.A0.proxy.360.mov"
  expect 0 rm "$vision" --proxy --yes
  tells "\"$PWD/two/Material/${vision,,}.mxf\" stays"
  expect 0 rm "$vision" --high --yes
  ! grep -q "stays" out || { cat out; fail "something is said to stay"; }
}

case_where_more_of_a_cookie_may_lie_is_told() {
  in_own_namespace
  mount_share share
  media_drive raid
  media_drive share
  media "raid/Material/$vision.mov"
  # The process that answers for the share.
  answer 6 $'y\n' "kill -STOP \$(pgrep -P $share_PID)"
  order a
  grep -qF "looking for more of it in \"$PWD/share/Material/\": its drive does not answer" shown ||
    { cat shown; fail "it was not told"; }
  [ ! -e "raid/Material/$vision.mov" ] || fail "it was not deleted"
}

case_each_failure_of_rm_is_told() {
  in_own_namespace
  mount_memory disk
  media_drive disk
  local name
  for name in "$vision.mov" "$vision.A0.proxy.90.mov"; do
    media "disk/Material/$name"
    mount --bind "disk/Material/$name" "disk/Material/$name"
    mounted+=("$PWD/disk/Material/$name")
  done
  expect 6 rm "$vision" --high --proxy --yes
  says "deleting \"$PWD/disk/Material/$vision.A0.proxy.90.mov\": Device or resource busy; and 1 more"
  says "deleting \"$PWD/disk/Material/$vision.mov\": Device or resource busy"
}

case_a_failure_of_an_interrupted_rm_is_told() {
  in_own_namespace
  may_trace
  mount_memory disk
  media_drive disk
  media "disk/Material/$vision.mov"
  media "disk/Material/$vision.A0.proxy.90.mov"
  mount --bind "disk/Material/$vision.mov" "disk/Material/$vision.A0.proxy.90.mov"
  mounted+=("$PWD/disk/Material/$vision.A0.proxy.90.mov")
  inject unlinkat:signal=INT:when=1 rm "$vision" --high --proxy --yes
  [ "$code" = 130 ] || { cat out err; fail "exit code $code"; }
  says "deleting \"$PWD/disk/Material/$vision.A0.proxy.90.mov\": Device or resource busy"
  says "interrupted"
}

case_what_nobody_can_look_for_is_not_said_to_be_gone() {
  canary_tree
  answer 3 $'y\n' "mv raid/Material away; touch raid/Material"
  local name
  for name in "$vision.mov" "$vision.mov.qvix" "$vision.mov.partial"; do
    grep -qF "deleting \"$PWD/raid/Material/$name\": Not a directory" shown ||
      { cat shown; fail "$name was not told"; }
  done
}

case_a_symbolic_link_whose_target_has_gone_meanwhile_is_not_said_to_be_gone() {
  in_own_namespace
  mount_memory raid
  media_drive raid
  media elsewhere.mov
  ln -s "$PWD/elsewhere.mov" "raid/Material/$vision.mov"
  answer 4 $'y\n' "rm elsewhere.mov; mount -o remount,ro raid"
  grep -qF "deleting \"$PWD/raid/Material/$vision.mov\": Read-only file system" shown ||
    { cat shown; fail "it was not told"; }
}

# The name is gone, and the media is not.
case_media_on_a_drive_that_is_away_by_the_time_of_the_answer_is_not_said_to_be_gone() {
  in_own_namespace
  local below
  for below in nothing Material; do
    mkdir -p raid/$below
    mount_memory raid
    media_drive raid
    media "raid/Material/$vision.mov"
    answer 3 $'y\n' "umount -l raid"
    mounted=()
    grep -qF "deleting \"$PWD/raid/Material/$vision.mov\": " shown ||
      { cat shown; fail "it does not say which"; }
    "$fsys" locations remove raid --quiet
  done
}

case_rm_says_whose_proxy_goes() {
  media_drive raid
  media "raid/Material/$vision.A2.proxy.360.mov"
  media "raid/Material/$vision.A0.proxy.720.mov"
  local cookie
  for cookie in "$vision" "S${shot}02"; do
    expect 0 rm "$cookie" --proxy --dry-run
    tells "  which is the proxy of $vision, and of S${shot}01 to S${shot}02"
  done
  [ "$(grep -c "which is the proxy" out)" = 1 ] || { cat out; fail "too much"; }
  expect 0 rm "S${shot}02" --proxy --dry-run --json
  is files.0.cookies "['$vision', 'S${shot}01', 'S${shot}02']"
  media "raid/Material/V${shot}01.A1.proxy.360.mov"
  expect 0 rm "V${shot}01" --proxy --dry-run
  tells "  which is the proxy of V${shot}01, and of S${shot}01"
}

case_rm_says_of_a_link_that_it_is_one_and_what_stays() {
  media_drive raid
  mkdir raid/Material/below
  media elsewhere.mov
  media raid/Material/below/reel.mov
  media "raid/Material/V${shot}03.mov.qvix"
  expect 0 link create "raid/Material/$vision.mov" elsewhere.mov
  expect 0 link create "raid/Material/$vision.A0.proxy.360.mov" away.mov
  expect 0 link create "raid/Material/V${shot}02.mov" raid/Material/below/reel.mov
  expect 0 link create "raid/Material/V${shot}03.mov" "raid/Material/V${shot}03.mov.qvix"
  expect 0 link create "raid/Material/V${shot}04.mov" "raid/Material/V${shot}04.A0.proxy.360.mov"
  media "raid/Material/V${shot}04.A0.proxy.360.mov"
  expect 0 rm "$vision" --high --proxy --dry-run
  tells "(high-resolution, 512 bytes, a link to \"$PWD/elsewhere.mov\", which stays)"
  tells "(proxy, 512 bytes, a link to \"$PWD/away.mov\", which is missing)"
  expect 0 rm "V${shot}02" --high --dry-run
  tells "a link to \"$PWD/raid/Material/below/reel.mov\", which goes too)"
  expect 0 rm "V${shot}03" --high --dry-run
  tells "a link to \"$PWD/raid/Material/V${shot}03.mov.qvix\", which goes too)"
  expect 0 rm "V${shot}04" --high --dry-run
  tells ", which stays)"
  expect 0 rm "V${shot}04" --high --proxy --dry-run
  tells ", which goes too)"
}

# Runs rm on a terminal and answers its question with those keys, once it is asked; its exit code
# must be the first argument, the third a command that runs in between, the fourth an option. What
# typed_ahead has is typed before it is asked; out_to and err_to name files that take its outputs.
# Leaves what was shown.
answer() {
  local code=0
  meanwhile=${3:-} timeout 20 python3 -c 'import os, pty, sys
child, terminal = pty.fork()
if child == 0:
  for number, key in (1, "out_to"), (2, "err_to"):
    if key in os.environ: os.dup2(os.open(os.environ[key], os.O_WRONLY | os.O_CREAT | os.O_TRUNC), number)
  os.execv(sys.argv[2], sys.argv[2:])
shown, asked = b"", False
os.write(terminal, os.environ.get("typed_ahead", "").encode())
while True:
  try: got = os.read(terminal, 1000)
  except OSError: break
  if not got: break
  shown += got
  if not asked and b"[y/N]" in shown:
    asked = True
    os.system(os.environ.get("meanwhile", ""))
    os.write(terminal, sys.argv[1].encode())
sys.stdout.buffer.write(shown)
sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))' "$2" "$fsys" rm "$vision" --high ${4:+"$4"} >shown || code=$?
  [ "$code" = "$1" ] || { cat -v shown; fail "exit code $code instead of $1"; }
}

case_rm_asks_on_a_terminal() {
  canary_tree
  answer 1 $'n\n'
  grep -q 'Delete 3 files? \[y/N\]' shown || { cat shown; fail "it did not ask"; }
  answer 1 $'\n'
  answer 1 $'yesterday\n'
  answer 1 $'\x04'
  answer 130 $'\x03'
  [ -e "raid/Material/$vision.mov" ] || fail "it was deleted"
  answer 0 $'Yes\n'
  [ ! -e "raid/Material/$vision.mov" ] || fail "it was not deleted"
  canary_is_well
  media "raid/Material/$vision.mov"
  answer 0 $'y\n'
  [ ! -e "raid/Material/$vision.mov" ] || fail "it was not deleted"
}

case_an_answer_that_was_typed_before_the_question_does_not_count() {
  canary_tree
  typed_ahead=$'y\n' answer 1 $'n\n'
  [ -e "raid/Material/$vision.mov" ] || fail "it was deleted"
}

case_a_link_goes_with_the_folder_below_it_and_its_target_elsewhere_stays() {
  media_drive raid
  mkdir -p "raid/Material/$vision/deep" elsewhere
  media "raid/Material/$vision/reel.mov"
  media "raid/Material/$vision/deep/more"
  media elsewhere/reel.mov
  ln -s "$PWD/elsewhere" "raid/Material/$vision/out"
  expect 0 link create "raid/Material/$vision.mov" "raid/Material/$vision/reel.mov"
  expect 0 link create "raid/Material/V${shot}01.mov" elsewhere/reel.mov
  expect 0 link create "raid/Material/V${shot}02.mov" raid/Sound/x
  expect 0 rm "$vision" --high --dry-run
  tells "all of the folder \"$PWD/raid/Material/$vision/\""
  expect 0 rm "$vision" --high --yes --json
  is files.0.folder "$PWD/raid/Material/$vision/"
  [ ! -e "raid/Material/$vision" ] || fail "the folder is there"
  [ ! -e "raid/Material/$vision.mov" ] || fail "the link is there"
  [ -e elsewhere/reel.mov ] || fail "what a symbolic link leads to is gone"
  expect 0 rm "V${shot}01" --high --yes --json
  tells '"beside": []'
  ! grep -q '"folder"' out || fail "a folder elsewhere was named"
  [ -e elsewhere/reel.mov ] || fail "the target is gone"
  expect 0 rm "V${shot}02" --high --yes
  [ -d raid/Sound ] || fail "the other media folder is gone"
}

case_a_link_that_leads_elsewhere_by_the_time_of_the_answer_stays() {
  media_drive raid
  mkdir -p raid/Material/a raid/Material/b
  media raid/Material/a/reel.mov
  media raid/Material/b/reel.mov
  expect 0 link create "raid/Material/$vision.mov" raid/Material/a/reel.mov
  answer 6 $'y\n' "'$fsys' link create 'raid/Material/$vision.mov' raid/Material/b/reel.mov --replace --quiet"
  grep -q 'it has changed meanwhile, and stays' shown || { cat shown; fail "it did not say so"; }
  [ -e raid/Material/a/reel.mov ] || fail "the folder that was said is gone"
  [ -e raid/Material/b/reel.mov ] || fail "a folder that was not said is gone"
  [ -e "raid/Material/$vision.mov" ] || fail "the link is gone"
}

# None of the two is below the link, so that neither goes with it.
case_a_link_to_other_media_by_the_time_of_the_answer_stays() {
  media_drive raid
  media away/one.mov
  media away/two.mov
  expect 0 link create "raid/Material/$vision.mov" away/one.mov
  answer 6 $'y\n' "'$fsys' link create 'raid/Material/$vision.mov' away/two.mov --replace --quiet"
  grep -q 'it has changed meanwhile, and stays' shown || { cat shown; fail "it did not say so"; }
  [ -e "raid/Material/$vision.mov" ] || fail "the link is gone"
}

case_media_that_has_taken_the_place_of_a_link_by_the_time_of_the_answer_stays() {
  media_drive raid
  media elsewhere.mov 3000
  expect 0 link create "raid/Material/$vision.mov" elsewhere.mov
  answer 6 $'y\n' "cp elsewhere.mov 'raid/Material/$vision.mov'"
  grep -q 'it has changed meanwhile, and stays' shown || { cat shown; fail "it did not say so"; }
  same elsewhere.mov "raid/Material/$vision.mov"
  answer 0 $'y\n' "rm 'raid/Material/$vision.mov'"
  ln -s "$PWD/elsewhere.mov" "raid/Material/$vision.mov"
  answer 0 $'y\n'
  [ ! -e "raid/Material/$vision.mov" ] || fail "what is named by a symbolic link was not deleted"
  [ -e elsewhere.mov ] || fail "the target of a symbolic link is gone"
}

case_a_file_that_was_not_said_does_not_go() {
  canary_tree
  answer 6 $'y\n' "touch 'raid/Material/$vision.mov.new'"
  grep -q 'it has changed meanwhile, and stays' shown || { cat shown; fail "it did not say so"; }
  [ -e "raid/Material/$vision.mov.new" ] || fail "what was not said is gone"
  [ -e "raid/Material/$vision.mov" ] || fail "the media is gone"
  answer 0 $'y\n' "rm 'raid/Material/$vision.mov.qvix'"
  [ ! -e "raid/Material/$vision.mov" ] || fail "the media is there"
  canary_is_well
}

case_rm_does_not_ask_where_nothing_says_what_goes() {
  canary_tree
  for option in --json --quiet; do
    answer 2 $'y\n' "" "$option"
    ! grep -q 'y/N' shown || { cat shown; fail "it asked"; }
  done
  [ -e "raid/Material/$vision.mov" ] || fail "it was deleted"
}

case_rm_says_what_goes_where_it_asks() {
  canary_tree
  local line="\"$PWD/raid/Material/$vision.mov\" (high-resolution, "
  answer 1 $'n\n'
  [ "$(grep -cF "$line" shown)" = 1 ] || { cat shown; fail "it was not said once"; }
  out_to=told answer 1 $'n\n'
  sed '/y\/N/,$d' shown >before
  grep -qF "$line" before || { cat shown; fail "it was not said"; }
  grep -qF "  and beside it \"$PWD/raid/Material/$vision.mov.qvix\"" before ||
    { cat shown; fail "not all was said"; }
  tr -d '\r' <before | cmp - told || { cat told; fail "it was not written alike"; }
  out_to=told err_to=why answer 2 $'y\n'
  grep -qF "there is no terminal to ask on" why || { cat why; fail "it says something else"; }
  err_to=why answer 2 $'y\n'
  [ -e "raid/Material/$vision.mov" ] || fail "it was deleted"
  out_to=told answer 0 $'y\n'
  grep -q "^deleted " told || { cat told; fail "it was not told"; }
  media "raid/Material/$vision.mov"
  expect 0 rm "$vision" --high --yes
  [ ! -s err ] || { cat err; fail "it was said to nobody who is asked"; }
  canary_is_well
}

case_what_cannot_be_deleted_is_told() {
  in_own_namespace
  mount_memory disk
  mkdir -p disk/Material disk/Sound
  media "disk/Material/$vision.mov"
  media "disk/Material/$vision.mov.qvix"
  media "disk/Material/$vision.A0.proxy.90.mov"
  expect 0 locations add disk
  mkdir bound
  mount --bind "disk/Material/$vision.mov" "disk/Material/$vision.mov"
  mounted+=("$PWD/disk/Material/$vision.mov")
  expect 6 rm "$vision" --high --proxy --yes --json
  is error.kind input/output
  is files.1.why "Device or resource busy"
  is stays.0.path "$PWD/disk/Material/$vision.mov"
  is files.0.deleted True
  is files.1.deleted False
  [ -e "disk/Material/$vision.mov" ] || fail "it is gone"
  [ ! -e "disk/Material/$vision.A0.proxy.90.mov" ] || fail "the proxy is there"
  expect 6 rm "$vision" --high --yes
  says "deleting \"$PWD/disk/Material/$vision.mov\""
}

case_an_interrupted_rm_tells_what_is_gone() {
  may_trace
  canary_tree
  inject unlinkat:signal=INT:when=1 rm "$vision" --high --proxy --yes --json
  [ "$code" = 130 ] || { cat out err; fail "exit code $code"; }
  is error.kind interrupted
  is files.0.deleted True
  is files.1.deleted False
  [ ! -e "raid/Material/$vision.A0.proxy.360.mov" ] || fail "the proxy is there"
  [ -e "raid/Material/$vision.mov" ] || fail "the media is gone"
}

case_rm_waits_for_a_large_folder_of_a_slow_drive() {
  in_own_namespace
  mount_share share
  media_drive share
  local number
  media "share/Material/$vision.mov"
  for number in $(seq 100 299); do : >"share/Material/$vision.mov.$number"; done
  order d
  expect 0 rm "$vision" --high --dry-run --json
  [ "$(announced | wc -l)" = 201 ] || { cat out; fail "not all was said"; }
}

case_what_may_be_left_on_a_drive_that_is_silent_now_is_not_known() {
  in_own_namespace
  may_trace
  mount_share share
  media_drive share
  media "share/Material/$vision.mov"
  media "share/Material/$vision.mov.qvix"
  # It falls silent when the last is gone.
  strace -f -qq -o trace -e trace=unlinkat -e inject=unlinkat:delay_exit=5000000:when=2 \
    "$fsys" rm "$vision" --high --yes --json >out 2>err </dev/null &
  until_true '[ ! -e "share/Material/$vision.mov.qvix" ]'
  order s
  until_true '[ -s out ]'
  order a
  wait $! && fail "it was said to be well"
  is files.0.deleted True
  is files.0.left.0.path "$PWD/share/Material/$vision.mov.qvix"
  is files.0.left.0.why "its drive does not answer"
}

# A child does the work then, which is not what the terminal belongs to.
case_rm_asks_on_a_terminal_beside_a_programs_drive_too() {
  is_root || skip "mounting needs root"
  [ -c /dev/fuse ] || skip "there is no /dev/fuse"
  [ -x "${FSYS_SILENT_MOUNT:-}" ] || skip "FSYS_SILENT_MOUNT names no program"
  is_sanitized && export ASAN_OPTIONS=detect_leaks=0 TSAN_OPTIONS=report_thread_leaks=0
  canary_tree
  mkdir silent
  export fsys FSYS_SILENT_MOUNT vision
  export -f answer fail
  "$FSYS_SILENT_MOUNT" 1 silent bash -c 'answer 1 $'"'n\n'"'; answer 130 $'"'\x03'"'; answer 0 $'"'y\n'"'' >said 2>&1
  local code=$?
  [ "$code" != 77 ] || skip "$(cat said)"
  [ "$code" = 0 ] || { cat said; fail "exit code $code"; }
  [ ! -e "raid/Material/$vision.mov" ] || fail "it was not deleted"
  canary_is_well
}
