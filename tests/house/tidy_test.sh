#!/usr/bin/env bash
# Each rule of tidy.sh is broken once, in a tree of its own, and must be found; the whole tree passes.
set -euo pipefail
here=$(readlink -f "$(dirname "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

fresh_tree() {
  rm -rf "$work/tree"
  mkdir -p "$work"/tree/{fsys,include/fsys,platform/{common,linux,fake},tests,tools}
  cd "$work/tree"
  echo '#include <linux/fs.h>' >platform/linux/Disk.cpp
  echo '#include "fsys/DiskManager.h"' >fsys/FsysFileIo.cpp
  echo '#include "fsys/SystemCache.h"' >fsys/DiskManager.cpp
  echo '#include "fsys/MediaDrive.h"' >include/fsys/MediaFileInfo.h
  : >include/fsys/MediaDrive.h
  printf '// Good: a class.\n// Threads    any.\nclass FSYS_EXPORT Good {\n};\n' >include/fsys/Good.h
  : >tests/ATest.cpp
  echo "[{ \"file\": \"$PWD/tests/ATest.cpp\" }]" >commands.json
}
verdict() { "$here/tidy.sh" "$work/tree" "$work/tree/commands.json" 2>&1; }

# finds WHAT FILE TEXT: with TEXT in FILE, tidy fails and names the file.
finds() {
  local what=$1 file=$2 text=$3 said
  fresh_tree
  mkdir -p "$(dirname "$file")"
  printf '%b\n' "$text" >>"$file"
  if said=$(verdict); then
    echo "not found: $what"
    status=1
  elif [[ $said != *"$file"* ]]; then
    printf 'found, but the file is not named: %s\n%s\n' "$what" "$said"
    status=1
  fi
}

# passes WHAT FILE TEXT: with TEXT in FILE, tidy has nothing to say.
passes() {
  local what=$1 file=$2 text=$3 said
  fresh_tree
  mkdir -p "$(dirname "$file")"
  printf '%b\n' "$text" >>"$file"
  if ! said=$(verdict); then
    printf 'not to be found: %s\n%s\n' "$what" "$said"
    status=1
  fi
}

fresh_tree
verdict >/dev/null || { echo "a tidy tree does not pass:"; verdict || true; status=1; }

finds "a system header in a platform declaration" platform/A.h '#include <unistd.h>'
finds "an internal platform header in a declaration" platform/A.h '#include "platform/linux/B.h"'
finds "the system in common" platform/common/A.cpp '#include <sys/stat.h>'
finds "the system in the fake" platform/fake/A.cpp '#include <fcntl.h>'
finds "the library in the fake" platform/fake/A.cpp '#include "fsys/Fsys.h"'
finds "the library in the Linux platform" platform/linux/A.cpp '#include "fsys/Fsys.h"'
finds "an internal header in a public one" include/fsys/A.h '#include "fsys/Internal.h"'
finds "the platform's inside in a public header" include/fsys/A.h '#include "platform/linux/A.h"'
finds "the system in the library" fsys/A.cpp '#include <sys/mman.h>'
finds "a lock of the standard library's" fsys/A.cpp '#include <mutex>'
finds "a clock of the standard library's" fsys/A.cpp '#include <chrono>'
finds "another place for the registry" fsys/FileRequest.cpp '#include "fsys/DiskManager.h"'
finds "the registry in an engine header" include/fsys/FsysPoll.h '#include "fsys/DiskManager.h"'
for header in VolumeRegistry DriveQuestions; do
  finds "storage's inside in the engine" fsys/FsysPoll.cpp "#include \"fsys/$header.h\""
  passes "storage's inside in storage" fsys/DiskManagerTasks.cpp "#include \"fsys/$header.h\""
done
finds "the catalogue in a storage header" include/fsys/MediaDrive.h '#include "fsys/SystemCache.h"'
finds "the engine in the catalogue" fsys/SystemCache.cpp '#include "fsys/FsysFile.h"'
finds "loki somewhere else" fsys/DiskManager.cpp '#include <loki/Singleton.h>'
finds "the catalogue's map in storage" fsys/DiskManager.cpp '#include "fsys/CookieMap.h"'
for file in Fsys FsysFileIo FsysFunctions FsysBuf FsysPoll FileRequest SyncFileRequest IoCompletion \
  ServedTransfer CloseTask DeliveryScope WriteMemRef; do
  finds "another call of the registry in $file" "fsys/$file.cpp" 'void f() { DiskManager::init(); }'
  finds "another call of links in $file" "fsys/$file.cpp" 'void f() { MaterialLink::remove(x); }'
done
finds "another call of the catalogue" fsys/DiskManager.cpp 'void f() { SystemCache::init(); }'
finds "another call of the catalogue" fsys/MediaDrive.cpp 'void f() { SystemCache::init(); }'
passes "the calls that are allowed" fsys/FsysFileIo.cpp \
  'void f() { DiskManager::getVolume(x); MaterialLink::getLinkedFilename(x); }'
passes "the calls that are allowed" fsys/DiskManager.cpp \
  'void f() { SystemCache::addMediaLocation(x); SystemCache::removeMediaLocation(x); }'
finds "a test that nobody builds" tests/OtherTest.cpp ''
finds "a long file" fsys/A.cpp "$(printf '//\\n%.0s' {1..501})"
finds "a long line" fsys/A.cpp "// $(printf 'x%.0s' {1..98})"
body=$(printf '  g();\\n%.0s' {1..70})
finds "a long function" fsys/A.cpp "void f() {\n$body}"
finds "a long function with a wrapped signature" tools/A.cpp "void f(int a,\n       int b) {\n$body}"
finds "a long constructor" platform/linux/A.cpp "A::A(int a)\n    : a_(a),\n      b_(a) {\n$body}"
finds "a long test" tests/ATest.cpp "TEST_F(ATest,\n       Works) {\n$body}"
finds "a long benchmark" bench/A.cpp "static void run() {\n$body}"
finds "a long function of a class" tools/A.h "class A {\npublic:\n  void f() const {\n$body  }\n};"
passes "a long class" tools/A.h "class A {\npublic:\n  A() { g(); }\n$body};"
passes "a long class behind a member with a remark" tools/A.h \
  "struct A {\n  int a = 0;  // of it\n};\nclass B {\npublic:\n$body  struct C {\n    int c;\n  };\n};"
passes "a function of 70 lines" fsys/A.cpp "void f() {\n${body#  g();\\n  g();\\n}}"
finds "a left-over" fsys/A.cpp '// TO''DO later'
finds "a sleeping test" tests/ATest.cpp 'std::this_thread::sleep''_for(1s);'
finds "a test that cannot fail" tests/ATest.cpp 'EXPECT_TRUE(tr''ue);'
finds "a silent skip" tests/ATest.cpp 'GTEST_SKIP()'';'
finds "a class without a comment" include/fsys/A.h 'class FSYS_EXPORT A {\n};'
finds "a class without a contract" include/fsys/A.h '// A: something.\nclass FSYS_EXPORT A {\n};'
[ "$status" = 0 ] && echo "every rule bites"
exit "$status"
