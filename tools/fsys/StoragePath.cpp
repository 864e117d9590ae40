#include "tools/fsys/StoragePath.h"

#include <filesystem>
#include <system_error>

#include "platform/LightweightString.h"
#include "platform/TextHelpers.h"
#include "tools/fsys/ToolError.h"

namespace {

PathString currentFolder() {
  std::error_code error;
  std::string folder = std::filesystem::current_path(error).native();
  if (error) throw systemError("asking for the current folder", "", error.value());
  return fromUTF8(std::string_view(folder));
}

PathString resolved(const std::string& name) {
  if (name.empty()) throw ToolError(ExitCode::eUsage, "", "", "the name is empty");
  PathString path = fromUTF8(std::string_view(name));
  if (name.front() != '/') path = joinPaths(currentFolder(), path);
  return getPath(withSeparator(path));
}

}  // namespace

bool isNetworkName(const std::string& name) { return name.rfind("\\\\", 0) == 0; }

PathString absolutePath(const std::string& name) {
  if (isNetworkName(name)) return fromUTF8(std::string_view(name));
  PathString path = resolved(name);
  return path.length() > 1 ? withoutSeparator(path) : path;
}

PathString locationPath(const std::string& name) {
  return isNetworkName(name) ? fromUTF8(std::string_view(name)) : resolved(name);
}

bool isSamePlace(const PathString& a, const PathString& b) {
  return equalsNoCase(getPath(withSeparator(a)).view(), getPath(withSeparator(b)).view());
}
