#!/usr/bin/env bash
# ./run knows its commands, refuses others, and every group of packages that it names is listed.
# Usage: run_test.sh ROOT
set -euo pipefail
cd "$1"
list=packaging/debian-packages.txt
status=0
complain() { echo "$*"; status=1; }

bash -n run || complain "run does not parse"
bash -n .ci/run || complain ".ci/run does not parse"
for word in demo test check package abi docs soak long coverage bench plot fuzz help; do
  ./run help | grep "^  $word" >/dev/null || complain "help does not explain $word"
done
if ./run nonsense >/dev/null 2>&1; then complain "an unknown command was taken"; fi
[[ $(./run nonsense 2>&1 || true) == *'unknown command "nonsense"'* ]] || complain "no word about the unknown command"

# Each line is a heading, a package with its reason, a comment, or empty.
while IFS= read -r line; do
  [[ $line =~ ^(|#.*|\[[a-z]+\]|[a-z0-9.+-]+[[:space:]]+#\ .+)$ ]] || complain "$list: '$line'"
done <"$list"
for group in $(sed -nE 's/^ *(need|install_groups) ([a-z ]+).*/\2/p' run) base; do
  grep -qxF "[$group]" "$list" || complain "run asks for the group '$group', which is not in $list"
done

# listed PACKAGE GROUP FOLDER WORD: the package is in the group exactly while the folder's sources
# hold the word: nothing is installed for nobody, and nothing is missing on a fresh machine.
listed() {
  local package=$1 group=$2 folder=$3 word=$4 inGroup=no used=no
  awk -v group="[$group]" '/^\[/ { in_group = $0 == group } in_group { print $1 }' "$list" |
    grep -qxF "$package" && inGroup=yes
  grep -rqF --include='*.cpp' --include='*.h' --include='*.sh' --include='*.awk' -- "$word" $folder && used=yes
  [ "$inGroup" = "$used" ] || complain "$package: in [$group]: $inGroup; used by $folder: $used"
}
listed liburing-dev base platform/linux '#include <liburing.h>'
listed libmount-dev base platform/linux '#include <libmount'
listed libtbb-dev base platform/linux '#include <tbb/scalable_allocator.h>'
listed libloki-dev base fsys '#include <loki/'
listed libcli11-dev base tools '#include <CLI/'
listed ffmpeg demo tools ffmpeg
listed e2fsprogs demo tools mkfs.ext4
listed mount demo tools 'mount -o loop'
listed util-linux demo tools 'unshare -m'
listed ffmpeg test tests/integration ffmpeg
listed libavformat-dev test examples/ffmpeg '#include <libavformat/'
listed libavcodec-dev test examples/ffmpeg '#include <libavcodec/'
listed libavutil-dev test examples/ffmpeg '#include <libavutil/'
listed libgstreamer1.0-dev test examples/gstreamer '#include <gst/'
listed libgstreamer-plugins-base1.0-dev test examples/gstreamer '#include <gst/app/'
listed gstreamer1.0-plugins-base test tests/examples decodebin
listed gstreamer1.0-plugins-good test tests/examples wavparse
listed gstreamer1.0-tools test tests/examples gst-launch-1.0
listed libfuse3-dev test tests/share '#include <fuse.h>'
listed libfuse3-dev bench bench MountedShare.h
listed libgtest-dev test tests '#include <gtest/'
listed libgmock-dev test tests '#include <gmock/'
listed librapidcheck-dev test tests '#include <rapidcheck'
listed libbenchmark-dev test bench '#include <benchmark/'
listed libbenchmark-dev bench bench/table '#include <benchmark/'
listed python3 test tests/tool python3
listed gdb test tests/house 'gdb -'
listed binutils test tests/house 'nm '
listed e2fsprogs test tests/support mkfs.ext4
listed util-linux test tests/support losetup
listed mount test tests 'mount '
listed samba test tests/integration smbd
listed smbclient test tests/integration smbclient
listed strace test bench '"strace"'
listed fio test tests/tool 'fio --'
listed abigail-tools test tests/house abidiff
listed doxygen docs doc/doxygen doxygen
listed python3 docs doc/doxygen python3
listed bash-completion test tests/tool /usr/share/bash-completion
listed strace bench bench '"strace"'
listed libuv1-dev test bench '#include <uv.h>'
listed nlohmann-json3-dev test bench '#include <nlohmann/'
listed nlohmann-json3-dev bench bench '#include <nlohmann/'
listed libuv1-dev bench bench '#include <uv.h>'

# The labels of the tests, those that are explained, and those that ./run names are the same.
labels=$( (sed -nE 's/^fsys_tests\([a-z_]+ ([a-z]+) .*/\1/p' tests/CMakeLists.txt
  sed -nE 's/^tool_cases\("?([a-z;]+)"? .*/\1/p' tests/tool/CMakeLists.txt | tr ';' '\n'
  grep -ohE 'LABELS [a-z]+' tests/*/CMakeLists.txt bench/CMakeLists.txt | cut -d' ' -f2) | sort -u)
[ "$labels" = "$(sed -nE 's/^\| `([a-z]+)` \|.*/\1/p' CONTRIBUTING.md | sort -u)" ] ||
  complain "CONTRIBUTING.md explains other labels than: $(xargs <<<"$labels")"
for label in $(grep -oE -- "-LE? '[a-z|]+'" run | grep -oE '[a-z]+' | sort -u); do
  grep -qxF "$label" <<<"$labels" || complain "run names the label '$label', which no test has"
done
for sources in $(sed -nE 's/^fsys_tests\(.* ([^ ]+)\)/\1/p' tests/CMakeLists.txt); do
  compgen -G "tests/$sources" >/dev/null || complain "no test is in tests/$sources"
done

# A program that was killed leaves its folder in the clone: that is nobody's change.
prefixes=$(grep -rhoE --include='*.cpp' '(/tmp)?/fsys-[a-z]+-XXXXXX' tests bench | grep -v ^/tmp |
  sort -u)
[ -n "$prefixes" ] || complain "no program makes a folder of its own?"
for prefix in $prefixes; do
  grep -qxF "${prefix%XXXXXX}*/" .gitignore || complain ".gitignore does not hold ${prefix%XXXXXX}*/"
done
exit "$status"
