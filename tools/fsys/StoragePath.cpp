#include "tools/fsys/StoragePath.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "platform/TextHelpers.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/ToolError.h"

namespace {

PathString currentFolder() {
  std::error_code error;
  std::string folder = std::filesystem::current_path(error).native();
  if (error) throw systemError("asking for the current folder", "", error.value());
  return fromUTF8(std::string_view(folder));
}

PathString joined(const std::string& name) {
  if (name.empty()) throw ToolError(ExitCode::eUsage, "", "", "the name is empty");
  PathString path = fromUTF8(std::string_view(name));
  return name.front() == '/' ? path : joinPaths(currentFolder(), path);
}

// As the text says, when that is the folder to which the system comes; else that one. Nothing, and
// the last error, when it cannot be told.
std::optional<PathString> above(const PathString& folder, unsigned patience_ms) {
  auto work = [folder]() -> std::optional<PathString> {
    PathString text = getPath(withoutSeparator(folder));
    PathString real;
    PathString byText;
    if (!OS()->getFileManager()->followLinks(joinPaths(folder, L".."), real)) return std::nullopt;
    bool isSame = OS()->getFileManager()->followLinks(text, byText) && byText == real;
    return isSame ? text : real;
  };
  auto asked = askDrive(folder, work, patience_ms);
  return asked ? *asked : std::nullopt;
}

// With a separator at its end. Nothing, and the last error, when it cannot be told. Each `..` is a
// question of its own: which drive to ask is known of a path without them.
std::optional<PathString> resolved(const PathString& path,
                                   unsigned patience_ms = kDrivePatience_ms) {
  std::optional<PathString> whole(L"/");
  std::wstring_view rest = path.view();
  while (whole && !rest.empty()) {
    std::wstring_view name = rest.substr(0, rest.find(L'/'));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    if (name.empty() || name == L".") continue;
    whole = name == L".." ? above(*whole, patience_ms) : joinPaths(*whole, PathString(name));
  }
  return whole ? withSeparator(*whole) : whole;
}

}  // namespace

bool isNetworkName(const std::string& name) { return name.rfind("\\\\", 0) == 0; }

PathString absolutePath(const std::string& name, unsigned patience_ms) {
  if (isNetworkName(name)) return fromUTF8(std::string_view(name));
  PathString path = joined(name);
  std::optional<PathString> whole = resolved(path, patience_ms);
  if (!whole) throw driveError("following", path, OS()->getErrors()->getLastError());
  return whole->length() > 1 ? withoutSeparator(*whole) : *whole;
}

PathString locationPath(const std::string& name) {
  if (isNetworkName(name)) return fromUTF8(std::string_view(name));
  PathString path = joined(name);
  return resolved(path).value_or(getPath(withSeparator(path)));
}

bool isSamePlace(const PathString& a, const PathString& b) {
  return equalsNoCase(getPath(withSeparator(a)).view(), getPath(withSeparator(b)).view());
}
