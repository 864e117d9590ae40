#include "tools/fsys/demo/FolderBay.h"

#include <cerrno>
#include <cstdio>

#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr const char* kSuffix = ".away";

}  // namespace

FolderBay::FolderBay(const std::string& root) : root_(root), away_(root + kSuffix) {}

FolderBay::~FolderBay() {
  if (isOut_ && std::rename(away_.c_str(), root_.c_str()) != 0)
    std::fprintf(stderr, "fsys demo: the drive stays at %s\n", away_.c_str());
}

std::string FolderBay::kind() const { return "a folder"; }

const char* FolderBay::way() const { return "renamed"; }

void FolderBay::takeOut() {
  if (std::rename(root_.c_str(), away_.c_str()) != 0)
    throw systemError("taking away", root_, errno);
  isOut_ = true;
}

void FolderBay::putBack() {
  if (std::rename(away_.c_str(), root_.c_str()) != 0)
    throw systemError("bringing back", root_, errno);
  isOut_ = false;
}
