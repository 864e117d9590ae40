#!/usr/bin/env bash
# packaging/abi.sh finds what breaks programs: a small library is changed, each time in one place.
# Usage: abi_test.sh ROOT COMPILER
set -euo pipefail
root=$1
compiler=$2
command -v abidiff >/dev/null || { echo "skipped: abidiff is not installed"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
status=0
soname=libshelf.so.1
flags=(-femit-class-debug-always)
complain() { echo "$*"; status=1; }

fresh() {
  rm -rf headers inside
  mkdir -p headers inside
  cat >headers/Shelf.h <<'TEXT'
#pragma once
#include <string>
#define SHOWN __attribute__((visibility("default")))
enum class Order { eByName = 1, eBySize = 2 };
struct Book { int pages = 0; std::string name; };
class iLamp {
public:
  virtual void light() = 0;
  virtual void dim() = 0;
};
class SHOWN Shelf {
public:
  virtual ~Shelf();
  bool put(const Book& book, Order order);
  iLamp* lamp();
private:
  struct Inside* inside_ = nullptr;
  int books_ = 0;
};
SHOWN int shelves(int room);
TEXT
  cat >inside/Shelf.cpp <<'TEXT'
#include "Shelf.h"
struct Inside { int dust = 0; };
Shelf::~Shelf() { delete inside_; }
bool Shelf::put(const Book& book, Order order) { books_ += book.pages; return order == Order::eByName; }
iLamp* Shelf::lamp() { if (!inside_) inside_ = new Inside; return nullptr; }
int shelves(int room) { return room; }
TEXT
}
make_library() {
  "$compiler" -std=c++20 -shared -fPIC -g -fvisibility=hidden "${flags[@]}" -Iheaders inside/Shelf.cpp \
    -Wl,-soname,$soname -o libshelf.so
}
abi() { "$root/packaging/abi.sh" "$1" "$work/libshelf.so" "$work/headers" "$work/shelf.abi.gz" >said 2>&1; }
# finds WHAT WORD FILE SED: the check fails once the file is changed, and says the word.
finds() {
  fresh
  sed -i "$4" "$3"
  make_library
  if abi check; then
    complain "not found: $1"
  elif ! grep -qF -- "$2" said; then
    complain "found, but not said: $1"
    cat said
  fi
}
passes() {
  fresh
  sed -i "$3" "$2"
  make_library
  abi check || { complain "a failure: $1"; cat said; }
}

fresh
make_library
abi check && complain "a check passes without a baseline"
abi renew || { cat said; complain "there is no baseline"; }
passes "the library as it was" headers/Shelf.h ''
passes "a change inside" inside/Shelf.cpp 's/int dust = 0;/int dust = 0; int moths = 0;/'

breaks="would break"
finds "a function that went" "$breaks" inside/Shelf.cpp '/^int shelves/d'
finds "a function that takes something else" "$breaks" inside/Shelf.cpp 's/^int shelves(int room)/int shelves(Order room)/;s/return room;/return room == Order::eByName;/'
finds "a member more" "int pens" headers/Shelf.h 's/int pages = 0;/int pages = 0; int pens = 0;/'
finds "a member of another size" "pages" headers/Shelf.h 's/int pages/long pages/'
finds "a private member more" "int pens_" headers/Shelf.h 's/int books_ = 0;/int books_ = 0; int pens_ = 0;/'
finds "a virtual function in between" "flicker" headers/Shelf.h 's/virtual void dim/virtual void flicker() {}\n  &/'
finds "another order of virtual functions" "vtable" headers/Shelf.h '/virtual void light/d;s/virtual void dim() = 0;/&\n  virtual void light() = 0;/'
finds "another number of an enumerator" "eBySize" headers/Shelf.h 's/eBySize = 2/eBySize = 3/'
finds "a function more" "./run abi renew" inside/Shelf.cpp 's/^int shelves.*/&\nint SHOWN lamps(int room) { return room; }/'
soname=libshelf.so.2
finds "another SONAME" "SONAME" headers/Shelf.h ''
soname=libshelf.so.1
flags=()
finds "an interface that is only declared" "only declares these: iLamp" headers/Shelf.h ''
strip libshelf.so
abi check && complain "a check passes without debug information"
abi renew && complain "a baseline without debug information"
[ "$status" = 0 ] && echo "every difference is found"
exit "$status"
