# shellcheck shell=bash disable=SC2154
# fio as a judge that shares no code with us: what the tool writes fio verifies, and what fio writes
# the tool reads for us to check. Sourced by tool_test.sh.

may_judge() { command -v fio >/dev/null || skip "there is no fio"; }

# Runs fio on a file in blocks: FILE BLOCK SIZE, then options. Leaves what it said and `code`.
run_fio() {
  local file=$1 block=$2 size=$3
  shift 3
  code=0
  fio --name=judge --filename="$file" --bs="$block" --size="$size" --ioengine=psync \
    --verify_state_save=0 --verify_fatal=1 "$@" >judged 2>&1 </dev/null || code=$?
}
# A file whose blocks each hold their own offset, eight bytes of it, again and again.
offsets_file() {
  python3 - "$@" <<'PYTHON'
import struct
import sys

name, block, size = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
with open(name, "wb") as file:
    for begin in range(0, size, block):
        file.write((struct.pack("<Q", begin) * (block // 8 + 1))[:block])
PYTHON
}
# The offset of the first wrong byte, as fio tells it; empty when it found none.
fio_says_bad() {
  local block within
  block=$(sed -nE 's/.*verify failed at file .* offset ([0-9]+),.*/\1/p' judged | head -n 1)
  within=$(sed -nE 's/.*bad pattern block offset ([0-9]+).*/\1/p' judged | head -n 1)
  [ -z "$block" ] || echo $((block + within))
}
# Checks the headers and sums of fio's own blocks: FILE BLOCK. Says what it found bad first.
check_headers() {
  python3 - "$@" <<'PYTHON'
import struct
import sys

TABLE = []
for byte in range(256):
    for _ in range(8):
        byte = byte >> 1 ^ (0x82F63B78 if byte & 1 else 0)
    TABLE.append(byte)


def crc32c(data):
    crc = 0xFFFFFFFF
    for byte in data:
        crc = TABLE[(crc ^ byte) & 0xFF] ^ crc >> 8
    return crc


HEADER = struct.Struct("<HHIQQIIHHI")
name, block = sys.argv[1], int(sys.argv[2])
with open(name, "rb") as file:
    content = file.read()
if len(content) == 0 or len(content) % block != 0:
    sys.exit(f"the file has {len(content)} bytes")
for begin in range(0, len(content), block):
    data = content[begin:begin + block]
    magic, _, length, _, offset, _, _, _, _, of_header = HEADER.unpack_from(data)
    (of_body,) = struct.unpack_from("<I", data, HEADER.size)
    header_right = crc32c(data[:HEADER.size - 4]) == of_header
    body_right = crc32c(data[HEADER.size + 4:]) == of_body
    if (magic, length, offset) != (0xACCA, block, begin) or not header_right or not body_right:
        sys.exit(f"bad block at {begin}")
PYTHON
}

# Blocks of fio's, blocks of the tool's, and a count: ends lie on sectors, on pages, and on neither.
# Each is tried with a flipped byte at the beginning, within and at the end; in short only one.
each_shape() {
  local trial=$1 shapes=("512 4096 1000" "1000 65537 777" "65536 1M 17" "4096 1M 300" "4096 1000 77"
    "511 512 1999" "1048577 256K 3")
  local number shape places
  for number in $(seq 0 $(($(turns 3 ${#shapes[@]}) - 1))); do
    read -ra shape <<<"${shapes[number]}"
    read -ra places <<<"$(turns $((number % 3)) "0 1 2")"
    "$trial" "${shape[@]}" "${places[@]}"
  done
}
# Where a byte is flipped in a file of that size, by the number of the place.
place() { case $2 in 0) echo 0 ;; 1) echo $(($1 / 3)) ;; *) echo $(($1 - 1)) ;; esac; }

fio_verifies() {
  local block=$1 ours=$2 size=$(($1 * $3)) at name
  shift 3
  local asked=(--rw=read --verify=pattern --verify_pattern=%o)
  offsets_file source "$block" "$size"
  rm -f written copied
  "$fsys" write written --block "$ours" <source >out 2>err || fail "$(cat err)"
  expect 0 copy source copied --block "$ours" --force
  for name in written copied; do
    run_fio "$name" "$block" "$size" "${asked[@]}"
    [ "$code" = 0 ] || { cat judged; fail "$name in blocks of $ours: fio finds it wrong"; }
    grep -q "io=0" judged && { cat judged; fail "fio read nothing"; }
  done
  for at in "$@"; do
    at=$(place "$size" "$at")
    cp source broken
    flip broken "$at"
    rm -f written
    "$fsys" write written --block "$ours" <broken >out 2>err || fail "$(cat err)"
    run_fio written "$block" "$size" "${asked[@]}"
    [ "$code" != 0 ] || fail "fio does not see the flipped byte at $at"
    [ "$(fio_says_bad)" = "$at" ] || { cat judged; fail "the flipped byte is at $at"; }
  done
}
case_what_the_tool_writes_fio_verifies_and_finds_one_flipped_byte() {
  may_judge
  each_shape fio_verifies
}

fio_is_verified() {
  local block=$1 ours=$2 size=$(($1 * $3)) at found
  shift 3
  rm -f written
  run_fio written "$block" "$size" --rw=randwrite --verify=pattern --verify_pattern=%o --do_verify=0
  [ "$code" = 0 ] || { cat judged; fail "fio cannot write"; }
  offsets_file wanted "$block" "$size"
  for at in none "$@"; do
    [ "$at" = none ] || at=$(place "$size" "$at")
    cp written broken
    [ "$at" = none ] || flip broken "$at"
    "$fsys" read broken --block "$ours" --to - >seen 2>err || fail "$(cat err)"
    # cmp counts from 1.
    found=$(cmp -l wanted seen | awk '{ print $1 - 1 }' | xargs)
    [ "${found:-none}" = "$at" ] || fail "bad bytes at ${found:-none}, and the flipped one at $at"
  done
}
case_what_fio_writes_the_tool_reads_and_one_flipped_byte_is_found() {
  may_judge
  each_shape fio_is_verified
}

case_headers_of_fio_stand_whichever_way_they_went() {
  may_judge
  local block size asked
  for block in 1000 $(turns "" 4096) 65536; do
    size=$((block * (200000 / block)))
    rm -f source copied
    run_fio source "$block" "$size" --rw=randwrite --verify=crc32c --do_verify=0
    [ "$code" = 0 ] || { cat judged; fail "fio cannot write"; }
    "$fsys" read source --block 10007 --to - >seen 2>err || fail "$(cat err)"
    check_headers seen "$block" || fail "blocks of $block: what was read is wrong"
    "$fsys" write copied --block 33333 <source >out 2>err || fail "$(cat err)"
    asked=(--rw=randwrite --verify=crc32c --verify_only)
    run_fio copied "$block" "$size" "${asked[@]}"
    [ "$code" = 0 ] || { cat judged; fail "blocks of $block: fio finds the copy wrong"; }
    # One bit, in the last block but one: both name that block.
    flip copied $((size - block - 1))
    "$fsys" read copied --to - >seen 2>err || fail "$(cat err)"
    [ "$(check_headers seen "$block" 2>&1)" = "bad block at $((size - 2 * block))" ] ||
      fail "blocks of $block: the flipped byte was not found in what was read"
    run_fio copied "$block" "$size" "${asked[@]}"
    [ "$code" != 0 ] || fail "blocks of $block: fio does not see the flipped byte"
    grep -q "offset $((size - 2 * block))," judged ||
      { cat judged; fail "blocks of $block: fio finds another block"; }
  done
}
