#!/usr/bin/env bash
# Builds the Debian packages of this tree, as its files are now, into build/packages. Needs no root.
# What it was built from, and in, stays in build/packages/src. Usage: package.sh [JOBS]
set -euo pipefail
cd "$(readlink -f "$(dirname "$0")/..")"
jobs=${1:-$(nproc)}
folder=build/packages

rm -rf "$folder"
mkdir -p "$folder/src"
# What git knows or has not been told to ignore, without what was deleted.
comm -z23 <(git ls-files -z --cached --others --exclude-standard | sort -z) \
  <(git ls-files -z --deleted | sort -z) | xargs -0 cp -p --parents -t "$folder/src"
cp -pr packaging/debian "$folder/src/debian"

if command -v ccache >/dev/null; then
  # debhelper gives the build a home folder of its own, where the cache would be empty each time.
  CCACHE_DIR=$(ccache --get-config cache_dir)
  export CCACHE_DIR CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
cd "$folder/src"
dpkg-buildpackage --build=binary --no-sign -j"$jobs" >../build.log 2>&1 ||
  { cat ../build.log; exit 1; }
cd ..
for package in *.deb; do echo "$folder/$package: $(stat -c %s "$package") bytes"; done
