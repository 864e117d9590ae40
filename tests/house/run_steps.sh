#!/usr/bin/env bash
# ./run asks for the packages that its command needs and that are missing, once; says what was
# skipped and what failed; and ends with the count. It runs in a tree of its own, where whatever it
# calls is a stand-in that writes down what it was asked. Usage: run_steps.sh ROOT
set -uo pipefail
root=$(readlink -f "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$work/tree
state=$work/state
status=0
complain() { echo "$*"; status=1; }

stand_in() {
  printf '#!/usr/bin/env bash\n%s\n' "$2" >"$1"
  chmod +x "$1"
}

make_tree() {
  local name
  rm -rf "$tree" "$state"
  mkdir -p "$state/bin" "$tree"/{packaging,tools,tests/house,fsys,build/packages,doc/doxygen}
  cp "$root/run" "$tree/run"
  cp "$root/packaging/debian-packages.txt" "$tree/packaging/"
  cp "$root/tests/house/report.py" "$tree/tests/house/"
  : >"$state/installed"
  : >"$state/asked"
  export STATE=$state
  stand_in "$tree/tools/demo.sh" 'echo "the demo ran"'
  for name in tests/house/headers.sh tests/house/packages.sh packaging/package.sh packaging/abi.sh \
    doc/doxygen/pages.sh; do
    stand_in "$tree/$name" 'echo "$0 $*" >>"$STATE/called"'
  done
  stand_in "$state/bin/dpkg-query" '
    for word; do grep -xF -- "$word" "$STATE/installed" | sed "s/\$/ installed/"; done; exit 1'
  stand_in "$state/bin/apt-get" '
    [ -e "$STATE/no-network" ] && exit 100
    [ "$1" = install ] || exit 0
    shift
    for word; do [[ $word == -* ]] || echo "$word" | tee -a "$STATE/asked" >>"$STATE/installed"; done'
  stand_in "$state/bin/sudo" '[ "$1" = -n ] && exit 0; exec "$@"'
  stand_in "$state/bin/cmake" '
    [ "$1" = --build ] || exit 0
    mkdir -p "$2/bench" "$2/tests/soak"
    printf "#!/bin/sh\necho soaked \$*\n[ ! -e $STATE/soak-fails ]\n" >"$2/tests/soak/fsys_soak"
    chmod +x "$2/tests/soak/fsys_soak"
    printf "#!/bin/sh\necho the table\n" >"$2/bench/run_bench"
    chmod +x "$2/bench/run_bench"'
  stand_in "$state/bin/ctest" '
    echo "soaks ${FSYS_SOAK:-no}: $*" >>"$STATE/tested"
    while [ "$1" != --output-junit ]; do shift; done
    cp "$STATE/report.xml" "$2"
    [ ! -e "$STATE/ctest-fails" ]'
  stand_in "$state/bin/setarch" 'shift; exec "$@"'
  for name in ccache git clang-format-19 clang-tidy-19 lintian; do
    stand_in "$state/bin/$name" 'cat >/dev/null; exit 0'
  done
  cat >"$state/report.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<testsuite name="(empty)"
	tests="4"
	failures="0"
	disabled="0"
	skipped="2"
	hostname=""
	time="2"
	>
	<testcase name="Ring.Works" classname="Ring.Works" time="0.1" status="run">
		<system-out>/a/b.cpp:1: Skipped
not a skip, for it ran
[  SKIPPED ] nothing
</system-out>
	</testcase>
	<testcase name="Disk.HasLargeSectors" classname="Disk.HasLargeSectors" time="0.1" status="notrun">
		<skipped message="SKIP_REGULAR_EXPRESSION_MATCHED"/>
		<system-out>[ RUN      ] Disk.HasLargeSectors
/a/b.cpp:2: Skipped
no loop device: &lt;refused&gt; &amp; so
on
[  SKIPPED ] Disk.HasLargeSectors (0 ms)
[  SKIPPED ] Disk.HasLargeSectors
</system-out>
	</testcase>
	<testcase name="tool.full_drive" classname="tool.full_drive" time="0.1" status="notrun">
		<skipped message="SKIP_RETURN_CODE=77"/>
		<system-out>skipped: mounting needs root
</system-out>
	</testcase>
	<testcase name="Ring.Ends" classname="Ring.Ends" time="0.1" status="run">
		<system-out></system-out>
	</testcase>
</testsuite>
XML
}

go() { PATH=$state/bin:$PATH "$tree/run" "$@" >"$state/said" 2>&1 </dev/null; }
says() { grep -qF -- "$1" "$state/said" || { complain "not said: $1"; cat "$state/said"; }; }
keeps_quiet() { ! grep -qF -- "$1" "$state/said" || { complain "said: $1"; cat "$state/said"; }; }
asked() { sort "$state/asked" | xargs; }
# The packages under the named headings.
listed() {
  local group
  for group; do
    sed -n "/^\[$group\]\$/,/^\[/p" "$root/packaging/debian-packages.txt" |
      sed -nE 's/^([a-z0-9].*[^ ]) +#.*/\1/p'
  done | sort -u | xargs
}

# asks_for COMMAND GROUP...: the packages of these groups, once and no other.
asks_for() {
  local command=$1
  shift
  make_tree
  go "$command" || true
  [ -n "$(asked)" ] && [ "$(asked)" = "$(listed "$@")" ] ||
    complain "./run $command asked for: $(asked); and needs: $(listed "$@")"
  says "==> installing "
  : >"$state/asked"
  go "$command" || true
  [ -z "$(asked)" ] || complain "./run $command asks again for: $(asked)"
  keeps_quiet "installing"
}
asks_for demo base demo speed
asks_for test base test speed
asks_for bench base bench speed
asks_for plot plot
asks_for check base test check package docs speed
asks_for docs base docs speed
asks_for package base package speed
asks_for abi base package speed
asks_for soak base test speed
asks_for long base test speed
asks_for fuzz base fuzz speed

# The packages are built once in a run, and looked at by each command.
make_tree
go package abi check || complain "./run package abi check fails"
[ "$(grep -c package.sh "$state/called")" = 1 ] || complain "the packages are built more than once"
[ "$(grep -c packages.sh "$state/called")" = 2 ] || complain "the packages are not looked at"
make_tree
stand_in "$state/bin/lintian" 'exit 1'
go package && complain "./run package hides what lintian finds"
says "    failed   lintian"

# The baseline is compared, and renewed if that is asked for.
make_tree
go abi abi renew abi || complain "./run abi fails"
[ "$(sed -nE 's/.*abi.sh ([a-z]+) .*/\1/p' "$state/called" | xargs)" = "check renew check" ] ||
  complain "./run abi calls: $(cat "$state/called")"

# Each fuzz target runs for the time that was asked for; no target at all is a failure.
make_tree
listed base fuzz speed | xargs -n1 >"$state/installed"
go fuzz 5 && complain "./run fuzz takes it that there is no target"
says "there is no fuzz target"
mkdir -p "$tree/build/fuzz/fuzz"
for name in fuzz_good fuzz_better; do
  stand_in "$tree/build/fuzz/fuzz/$name" 'echo "$(basename "$0") ran with $*"'
done
go fuzz 5 || complain "./run fuzz fails"
says "fuzz_good ran with -max_total_time=5 "
says "fuzz_better ran with -max_total_time=5 "
says "2 fuzz targets ran for 5 s each"
stand_in "$tree/build/fuzz/fuzz/fuzz_bad" 'exit 77'
go fuzz 5 && complain "./run fuzz hides a failure"
says "FAILED: fuzz_bad;"
says "fuzz_good ran"

# Only what is missing is asked for.
make_tree
listed base bench speed | xargs -n1 | grep -vx cmake >"$state/installed"
go bench || complain "./run bench fails"
[ "$(asked)" = cmake ] || complain "only cmake was missing, asked was for: $(asked)"
says "==> installing cmake"
says "the table"

# Without a network it says what is missing, and does not go on.
make_tree
touch "$state/no-network"
go bench && complain "./run bench went on without its packages"
says "could not install; these packages are missing: "
says " cmake "
keeps_quiet "the table"
# What only makes things faster or nicer is done without.
make_tree
touch "$state/no-network"
listed base >"$state/list"
xargs -n1 <"$state/list" >"$state/installed"
go demo || complain "./run demo needs more than its base"
says "the demo ran"

# Each test that did not run is named with its reason; the last line is the count.
make_tree
go test || complain "./run test fails"
says "    skipped  Disk.HasLargeSectors: no loop device: <refused> & so; on"
says "    skipped  tool.full_drive: mounting needs root"
keeps_quiet "skipped  Ring"
[ "$(grep -c '^    skipped  ' "$state/said")" = 4 ] || complain "not two skipped tests in each of two runs"
[ "$(tail -n 1 "$state/said")" = "4 passed, 0 failed" ] || complain "the last line: $(tail -n 1 "$state/said")"
# The long forms: in three builds, in as many minutes as are asked for, and nothing after them.
rm "$state/tested"
go long || complain "./run long fails"
for preset in dev asan tsan; do
  grep -q "^soaks 1: --test-dir build/$preset .*-L integration|stress|fault" "$state/tested" ||
    complain "./run long does not test $preset: $(cat "$state/tested")"
done
[ "$(wc -l <"$state/tested")" = 3 ] || complain "./run long tests something else: $(cat "$state/tested")"
[ "$(tail -n 1 "$state/said")" = "6 passed, 0 failed" ] || complain "the last line: $(tail -n 1 "$state/said")"
rm "$state/tested"
go long 5 test || complain "./run long 5 test fails"
[ "$(cut -d: -f1 "$state/tested" | uniq -c | xargs)" = "3 soaks 5 2 soaks no" ] ||
  complain "./run long 5 test: $(cat "$state/tested")"
# The soak, for an hour or for as long as is asked for; how it ends is how ./run ends.
go soak || complain "./run soak fails"
says "soaked --minutes 60 build"
go soak 3 || complain "./run soak 3 fails"
says "soaked --minutes 3 build"
touch "$state/soak-fails"
go soak && complain "./run soak hides a failure"
# A run that fails without naming a test is a failure.
touch "$state/ctest-fails"
go test && complain "./run test hides a failure"
says "    failed   every test: ctest ended with 1 and names no test"
[ "$(tail -n 1 "$state/said")" = "4 passed, 2 failed" ] || complain "the last line: $(tail -n 1 "$state/said")"
# What failed stands together before the count, with the end of what it printed.
sed -i -e 's/failures="0"/failures="1"/' -e '/"Ring.Ends"/{s/status="run"/status="fail"/;n;s/></>first\nlast</}' \
  "$state/report.xml"
go test && complain "./run test hides a test that failed"
[ "$(tail -n 8 "$state/said")" = "==> what failed
    failed   every test: Ring.Ends
      | first
      | last
    failed   the same with threads: Ring.Ends
      | first
      | last
2 passed, 2 failed" ] || complain "not said what failed: $(tail -n 8 "$state/said")"
make_tree
stand_in "$tree/tests/house/headers.sh" 'echo "no such header"; exit 1'
go check && complain "./run check hides a step that failed"
[ "$(tail -n 4 "$state/said")" = "==> what failed
    failed   each header compiles alone
      | no such header
15 passed, 1 failed" ] || complain "not said what failed: $(tail -n 4 "$state/said")"
# A report that cannot be read is one too, and the count still comes.
echo '<broken' >"$state/report.xml"
go test && complain "./run test takes a broken report"
says "    failed   every test: there is no report"
[ "$(tail -n 1 "$state/said")" = "0 passed, 2 failed" ] || complain "the last line: $(tail -n 1 "$state/said")"

[ "$status" = 0 ] && echo "every command asks for its packages once, and ends with the count"
exit "$status"
