#include "tools/fsys/demo/DemoFolders.h"

#include <ftw.h>
#include <limits.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "tools/fsys/PlainFile.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"
#include "tools/fsys/demo/DemoInventory.h"

namespace {

constexpr const char* kWorking = "working in";

std::string requireEmpty(const std::string& name) {
  FileFacts facts = factsOf(name);
  if (!facts.exists) throw ToolError(ExitCode::eNotFound, kWorking, name, "no such folder");
  if (!facts.isFolder) throw ToolError(ExitCode::eNotAFile, kWorking, name, "it is no folder");
  if (!DemoInventory::isEmpty(name))
    throw ToolError(ExitCode::eExists, kWorking, name, "it is not empty");
  return bytesOf(absolutePath(name));
}

void makeFolder(const std::string& name) {
  if (::mkdir(name.c_str(), 0777) != 0) throw systemError("making the folder", name, errno);
}

// Failure: what could not be removed first. It takes no memory: there may be none.
struct Failure {
  int error = 0;
  char path[PATH_MAX] = "";

  void note(int why, const char* what) {
    if (error != 0) return;
    error = why;
    std::strncpy(path, what, sizeof path - 1);
  }
};
Failure failure;

int removeEntry(const char* path, const struct stat*, int, FTW* at) {
  if (at->level > 0 && std::remove(path) != 0) failure.note(errno, path);
  return 0;
}

// Removes all that is in the folder and can be, whatever else cannot.
void empty(const std::string& folder) {
  constexpr int kDescriptors = 16;
  if (::nftw(folder.c_str(), &removeEntry, kDescriptors, FTW_DEPTH | FTW_PHYS | FTW_MOUNT) != 0)
    failure.note(errno, folder.c_str());
}

}  // namespace

DemoFolders::DemoFolders(const std::string& work, const std::vector<std::string>& drives, bool keep)
    : work_(requireEmpty(work)) {
  for (const std::string& drive : drives) drives_.push_back(requireEmpty(drive));
  if (!keep) toEmpty_ = drives_;
  if (!keep) toEmpty_.push_back(work_);
  if (!drives_.empty()) return;
  for (const char* name : {"/one", "/two"}) drives_.push_back(work_ + name);
  try {
    for (const std::string& drive : drives_) makeFolder(drive);
  } catch (...) {
    empty(work_);
    throw;
  }
}

void DemoFolders::clear() {
  failure = Failure();
  for (const std::string& folder : std::exchange(toEmpty_, {})) empty(folder);
  if (failure.error != 0)
    throw systemError("removing", failure.path, failure.error).withRemark("it is left there");
}

// The failure that ended the day is the one that counts.
DemoFolders::~DemoFolders() {
  try {
    clear();
  } catch (const ToolError& error) {
    std::fprintf(stderr, "fsys demo: %s\n", error.what());
  } catch (const std::bad_alloc&) {
    std::fputs("fsys demo: no memory to say what is left there\n", stderr);
  }
}
