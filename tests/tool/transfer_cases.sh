# shellcheck shell=bash disable=SC2154
# What is read, written, copied and verified. Sourced by tool_test.sh.

case_reading_gives_every_byte_whatever_the_block() {
  random_file source 3000017
  local block
  for block in 511 4096 65537 1M 16M; do
    "$fsys" read source --block "$block" --inflight 5 --to - >copy 2>/dev/null || fail "block $block"
    same source copy
  done
}

case_reading_to_a_file_refuses_an_existing_one_without_force() {
  random_file source 100000
  echo precious >target
  expect 8 read source --to target
  says '"target"'
  [ "$(cat target)" = precious ] || fail "the file was touched"
  expect 0 read source --to target --force
  same source target
  no_leftovers
}

case_reading_says_its_figures_in_json() {
  random_file source 1000000
  expect 0 read source --block 100000 --repeat 3 --json
  is ok True
  is bytes 3000000
  is reads 30
  json mb_per_s >/dev/null && json p50_ms >/dev/null && json p99_ms >/dev/null &&
    json worst_ms >/dev/null && json cache_hits >/dev/null || fail "a figure is missing"
}

case_reading_the_same_small_file_again_hits_the_cache() {
  random_file source 65536
  expect 0 read source --block 65536 --inflight 1 --repeat 20 --json
  is reads 20
  # The first answer may still be on its way out when the second question comes.
  [ "$(json cache_hits)" -ge 10 ] || fail "only $(json cache_hits) hits"
}

case_reading_an_empty_file_gives_nothing() {
  : >source
  expect 0 read source --json
  is bytes 0
  is reads 0
}

case_reading_many_large_blocks_keeps_memory_bounded() {
  is_sanitized && skip "a sanitizer needs more memory"
  truncate -s 3G source
  ( ulimit -v 2000000; "$fsys" read source --block 64M --inflight 4 >out 2>err </dev/null ) ||
    { cat err; fail "reading 3 GiB in blocks of 64 MiB needs more than 2 GB"; }
}

case_writing_standard_input_in_unaligned_blocks_is_right() {
  random_file source 2500003
  local block
  for block in 1000 4096 65537 1M; do
    "$fsys" write copy --truncate --block "$block" <source >out 2>err || fail "block $block"
    same source copy
  done
}

case_writing_onto_an_existing_file_continues_and_says_so() {
  random_file source 10001
  cp source copy
  "$fsys" write copy <source >out 2>err || fail "$(cat err)"
  tells "continues at its end"
  cat source source >wanted
  same wanted copy
}

case_truncate_begins_anew() {
  random_file source 10001
  random_file copy 99999
  "$fsys" write copy --truncate <source >out 2>err || fail "$(cat err)"
  same source copy
}

case_a_pattern_that_was_written_is_verified() {
  expect 0 write target --pattern --size 1000003 --seed 9 --block 4096
  expect 0 verify target --check-only --seed 9
  expect 7 verify target --check-only --seed 8
  says "offset 16"
  says "seed 9"
}

case_a_small_file_has_exactly_its_bytes() {
  printf x >source
  "$fsys" write copy --json <source >out 2>err || fail "$(cat err)"
  is size 1
  is padding 0
  same source copy
}

case_writing_beyond_the_size_limit_keeps_what_is_good_and_says_it() {
  ( ulimit -f 2048; trap '' XFSZ
    exec "$fsys" write target --pattern --size 8M --seed 1 --block 256K ) >out 2>err </dev/null
  [ $? = 6 ] || fail "the exit code is another"
  says '"target"'
  says "were written"
  "$fsys" verify target --check-only --seed 1 >out 2>err || fail "what is there is wrong: $(cat err)"
}

case_copying_into_a_folder_and_to_a_name() {
  random_file one 1000001
  random_file two 70000
  : >empty
  mkdir folder
  expect 0 copy one two empty folder
  same one folder/one
  same two folder/two
  same empty folder/empty
  expect 0 copy one three
  same one three
  no_leftovers
}

case_copying_says_its_figures_in_json() {
  random_file one 1000001
  random_file two 70000
  mkdir folder
  expect 0 copy one two folder --json
  is ok True
  is command copy
  is files.0.file folder/one
  is files.1.file folder/two
  is bytes 1070001
  [[ $(json transport) =~ ^(ring$|threads) ]] || fail "transfers by $(json transport)"
  local figure
  for figure in elapsed_ms mb_per_s cpu_us_per_mb reads.p50_ms reads.p99_ms reads.worst_ms \
    writes.p50_ms writes.p99_ms writes.worst_ms; do
    [[ $(json "$figure") =~ ^[0-9]+(\.[0-9]+)?(e-?[0-9]+)?$ ]] || fail "$figure is $(json "$figure")"
  done
}

case_copying_refuses_what_exists_and_force_replaces_it() {
  random_file source 5000
  echo precious >target
  expect 8 copy source target
  [ "$(cat target)" = precious ] || fail "the file was touched"
  expect 0 copy source target --force
  same source target
  expect 8 copy source source --force
  says "same file"
  no_leftovers
}

case_copying_keeps_the_permissions() {
  random_file source 5000
  chmod 640 source
  expect 0 copy source target
  [ "$(stat -c %a target)" = 640 ] || fail "mode $(stat -c %a target)"
}

case_several_sources_need_a_folder() {
  random_file one 10
  random_file two 10
  expect 2 copy one two three
  says '"three"'
}

case_verify_names_the_first_bad_offset() {
  expect 0 verify target --size 5M --seed 77
  flip target 3333333
  expect 7 verify target --check-only --seed 77 --json
  is first_bad_offset 3333333
  is error.kind verification
}

case_verify_says_what_lies_in_the_wrong_place() {
  expect 0 verify target --size 64K --seed 5
  dd if=target of=target bs=512 count=1 skip=100 seek=7 conv=notrunc status=none
  expect 7 verify target --check-only --seed 5
  says "offset 3593"
  says "stamped for offset 51200"
  dd if=/dev/zero of=target bs=512 count=1 seek=3 conv=notrunc status=none
  expect 7 verify target --check-only --seed 5
  says "zeros"
}

case_verify_finds_a_wrong_length() {
  expect 0 verify target --size 70000 --seed 5
  expect 7 verify target --check-only --seed 5 --size 70001
  says "70000"
}

case_verify_refuses_a_file_that_exists() {
  echo precious >target
  expect 8 verify target --size 4K
  [ "$(cat target)" = precious ] || fail "the file was touched"
  expect 0 verify target --size 4K --force --remove
  [ ! -e target ] || fail "the file is still there"
}
