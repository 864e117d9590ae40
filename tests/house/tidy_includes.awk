# Input: "file line include". Prints each include that the table does not allow.
#
#   folder             may include                                        never
#   platform/*.h       platform/*.h, standard library                     anything else
#   platform/common/   the same, and its own                              anything else
#   platform/fake/     the same, common/ and its own                      Linux headers, fsys/
#   platform/linux/    the same, Linux headers, its three libraries       fsys/
#   include/fsys/      public headers, platform/*.h, standard library     internal headers
#   fsys/              fsys/, platform/*.h, standard library              the system; threads, clocks, files
#
# Of the subsystems, only the catalogue includes another one's headers freely (storage's); the others
# do it in the .cpp files that are named below.
BEGIN {
  split("Fsys FsysFile FileRequest CompletionInfo iMemHolder MemRef SyncFileRequest FsysBuf MemBlock " \
        "WriteMemRef FsysPoll IoCompletion", engine, " ")
  split("DriveId MaterialFilename MediaDrive VolumeInfo DiskManager", storage, " ")
  split("DecodeFormat MediaFileInfo MaterialLink FsysDirectoryEntry SystemCache MediaLocationInfo " \
        "MediaDeletion MediaName ScanTally",
        catalogue, " ")
  for (i in engine) home[engine[i]] = "engine"
  for (i in storage) home[storage[i]] = "storage"
  for (i in catalogue) home[catalogue[i]] = "catalogue"
  home["NetLogin"] = "login"
  home["Volume"] = home["DriveQuestions"] = "storage"
  home["CookieMap"] = home["CookieBlock"] = "catalogue"
}

function bad(why) { print $1 ":" $2 ": " $3 "   [" why "]" }
function standard(name) { return name ~ /^<[a-z_0-9]+>$/ }
function declared(name) { return name ~ /^"platform\/[A-Za-z]+\.h"$/ }
function internal(name) {
  return name ~ /^"fsys\// && system("test -f include/" substr(name, 2, length(name) - 2)) != 0
}
# The subsystem of a file or header of ours; a file with a longer name belongs to the one it begins with.
function subsystem(path, stem, best, name) {
  stem = path
  sub(/.*\//, "", stem)
  sub(/\.(cpp|h)"?$/, "", stem)
  if (stem in home) return home[stem]
  best = ""
  for (name in home)
    if (index(stem, name) == 1 && length(name) > length(best)) best = name
  return best == "" ? "" : home[best]
}
function crossing(from, to) {
  if ($1 ~ /\.cpp$/) {
    if (from == "engine" && $3 ~ /"fsys\/(DiskManager|MaterialLink|MediaDrive)\.h"/)
      return $1 ~ /^fsys\/(FsysFile[A-Za-z]*|IoCompletion)\.cpp$/
    if (from == "storage" && $3 == "\"fsys/SystemCache.h\"") return 1
  }
  return from == "catalogue" && to == "storage"
}

$1 ~ /^platform\/[^\/]+\.h$/ {
  if (!standard($3) && !declared($3)) bad("platform/*.h includes platform/*.h and the standard library")
}
$1 ~ /^platform\/common\// {
  if (!standard($3) && !declared($3) && $3 !~ /^"platform\/common\//)
    bad("platform/common includes platform/*.h, itself and the standard library")
}
$1 ~ /^platform\/fake\// {
  if (!standard($3) && !declared($3) && $3 !~ /^"platform\/(common|fake)\//)
    bad("platform/fake includes platform/*.h, platform/common, itself and the standard library")
}
$1 ~ /^platform\/linux\// {
  if ($3 ~ /^"/ && !declared($3) && $3 !~ /^"platform\/(common|linux)\//)
    bad("platform/linux includes nothing else of ours than platform/")
  if ($3 ~ /^<(fsys|loki|gtest|gmock|nlohmann|CLI|benchmark|rapidcheck|boost)\//)
    bad("platform/linux includes Linux headers, liburing, libmount and the allocator")
}
$1 ~ /^include\/fsys\// {
  if (!standard($3) && !declared($3) && $3 !~ /^"fsys\//)
    bad("include/fsys includes public headers, platform/*.h and the standard library")
  else if (internal($3))
    bad("a public header includes an internal one")
}
$1 ~ /^fsys\// {
  if ($3 ~ /^<loki\// && $1 == "fsys/SystemCache.cpp") next
  if (!standard($3) && !declared($3) && $3 !~ /^"fsys\//)
    bad("fsys includes fsys/, platform/*.h and the standard library")
}
$1 ~ /^(fsys|include\/fsys)\// {
  if ($3 ~ /^<(thread|mutex|shared_mutex|condition_variable|semaphore|latch|barrier|future|stop_token|chrono|filesystem|fstream|ctime)>$/)
    bad("the operating system is reached through OS()")
  # What belongs to none by its name is the engine's, or serves all: neither knows the others.
  from = subsystem($1) == "" ? "engine" : subsystem($1)
  to = $3 ~ /^"fsys\// ? subsystem($3) : ""
  if (from != "" && to != "" && from != to && !crossing(from, to))
    bad("the " from " does not include the " to " here")
}
