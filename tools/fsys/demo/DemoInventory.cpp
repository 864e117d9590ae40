#include "tools/fsys/demo/DemoInventory.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>

#include "tools/fsys/ToolError.h"

namespace {

using Visit = std::function<void(const std::string& path, bool isFolder)>;

struct Closing {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

ToolError listingFailed(const std::string& folder, int error) {
  return systemError("listing", folder, error);
}

bool isFolder(const std::string& path) {
  struct stat found = {};
  if (::lstat(path.c_str(), &found) != 0) throw listingFailed(path, errno);
  return S_ISDIR(found.st_mode);
}

// The standard library's walk of a folder ends the process where there is no memory.
void walk(const std::string& folder, const Visit& visit) {
  std::unique_ptr<DIR, Closing> open(::opendir(folder.c_str()));
  if (!open) throw listingFailed(folder, errno);
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(open.get());
    if (!entry && errno != 0) throw listingFailed(folder, errno);
    if (!entry) return;
    if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
    std::string path = folder + "/" + entry->d_name;
    visit(path, isFolder(path));
  }
}

void addBelow(const std::string& folder, std::vector<std::string>& files) {
  walk(folder, [&files](const std::string& path, bool isIt) {
    if (isIt)
      addBelow(path, files);
    else
      files.push_back(path);
  });
}

}  // namespace

std::vector<std::string> DemoInventory::filesIn(const std::string& folder) {
  std::vector<std::string> files;
  walk(folder, [&files](const std::string& path, bool isIt) {
    if (!isIt) files.push_back(path);
  });
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::string> DemoInventory::filesBelow(const std::string& folder) {
  std::vector<std::string> files;
  addBelow(folder, files);
  std::sort(files.begin(), files.end());
  return files;
}

bool DemoInventory::isEmpty(const std::string& folder) {
  bool isIt = true;
  walk(folder, [&isIt](const std::string&, bool) { isIt = false; });
  return isIt;
}
