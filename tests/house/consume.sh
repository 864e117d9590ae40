# shellcheck shell=bash disable=SC2154
# Sourced, where CMake, the compiler, the house's folder `here`, the tree `root` and a folder `work`
# are known.

# consume PREFIX TRY: a consumer is built from the installed tree, with CMake and with pkg-config,
# and runs. TRY names the folder that it is built in.
consume() {
  local prefix=$1 try=$2 libdir operator
  libdir=$(dirname "$(find "$prefix" -name libfsys.so)")
  "$cmake" -S "$here/consumer" -B "$work/$try" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$prefix" >"$work/$try.log" 2>&1 || { cat "$work/$try.log"; return 1; }
  "$cmake" --build "$work/$try" >"$work/$try.log" 2>&1 || { cat "$work/$try.log"; return 1; }
  "$work/$try/consumer"
  export PKG_CONFIG_PATH=$libdir/pkgconfig
  # shellcheck disable=SC2046  # one word a flag
  "$compiler" -std=c++20 "$here/consumer/main.cpp" -o "$work/$try-pc" $(pkg-config --cflags --libs fsys)
  LD_LIBRARY_PATH=$libdir "$work/$try-pc"
  # One heap: the C++ library's own allocations come from libfsys too.
  LD_LIBRARY_PATH=$libdir LD_BIND_NOW=1 LD_DEBUG=bindings "$work/$try-pc" 2>"$work/bindings"
  for operator in _Znwm _ZdlPv; do
    grep -q "libstdc++.* to .*libfsys.*symbol .$operator'" "$work/bindings" ||
      { echo "the C++ library does not bind $operator to libfsys"; return 1; }
  done
  [ "$(pkg-config --modversion fsys)" = "$(sed -n 's/.*fsys VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")" ]
  # Nothing in the tree points to the folders `nowhere`: where it was built, or lay before.
  if grep -rlF "${nowhere[@]/#/-e}" "$prefix" \
    --include='*.cmake' --include='*.pc' --include='*.h'; then
    echo "the installed files above name a folder of this machine"
    return 1
  fi
  echo "$try: built and run, with find_package and with pkg-config"
}
