// Names: any bytes are a name, and come back as they were; path arithmetic keeps its promises.

#include <cstring>
#include <string>

#include "fuzz/Require.h"
#include "platform/LightweightString.h"
#include "platform/OS.h"
#include "platform/PathHelpers.h"
#include "platform/common/NamePattern.h"

namespace {

void checkBytes(std::string_view bytes) {
  PathString wide = fromUTF8(bytes);
  require(toUTF8(wide).view() == bytes, "bytes -> wide -> bytes is the identity");
  std::string back;
  bool named = toPathBytes(wide, back);
  bool mayBeName = bytes.find('\0') == bytes.npos;
  require(named == mayBeName, "every text without NUL is a name, and no other");
  require(back == (named ? bytes : std::string_view()), "a name has exactly its bytes");
  std::wstring literal(literalName(wide).view());
  require(matchesPattern(wide.view(), literal), "a literal name matches itself");
  bool isWhole = wide.view().find(L'.') == std::wstring_view::npos;
  require(!isWhole || !matchesPattern(wide.view(), literal + L".*"), "and no ending that it lacks");
  require(withoutLiteralSigns(literal) == wide.view(), "its signs say what they stand for");
}

// Any wide text; those that are names come back from their bytes.
void checkWide(const uint8_t* data, size_t size) {
  std::wstring wide(size / sizeof(wchar_t), L'\0');
  if (!wide.empty()) std::memcpy(wide.data(), data, wide.size() * sizeof(wchar_t));
  // Mostly numbers that are characters or escapes.
  for (size_t i = 0; i < wide.size(); i += 2) wide[i] &= 0xFFFF;
  PathString text{std::wstring_view(wide)};
  std::string bytes;
  if (toPathBytes(text, bytes))
    require(fromUTF8(bytes) == text, "no two texts name the same file");
  else
    require(bytes.empty(), "what is no name has no bytes");
  std::string shown(toUTF8(text).view());
  require(toUTF8(fromUTF8(shown)).view() == shown, "what is shown can be read back");
}

void checkPath(const PathString& path) {
  const wchar_t mark = OS()->getFileManager()->getSeparator();
  PathString folder = getPath(path);
  PathString name = stripPath(path);
  require(folder.empty() || folder.view().back() == mark, "a folder ends in a separator");
  require(getPath(folder) == folder, "a folder is resolved once for all");
  PathString whole = normalisedPath(path);
  require(normalisedPath(whole) == whole, "a path is normalised once for all");
  require(name.view().find(mark) == std::wstring_view::npos, "a name holds no separator");
  require(path.view().ends_with(name.view()), "a name is the path's end");
  require(path.view().starts_with(stripExtension(path).view()), "only the end is stripped");
  require(stripPath(joinPaths(folder, name)) == name, "what was joined comes apart again");
  PathString fixed = fixForeignOSFileName(path);
  require(fixForeignOSFileName(fixed) == fixed, "a path of this system needs no mending");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  checkBytes(bytes);
  checkWide(data, size);
  checkPath(fromUTF8(bytes));
  return 0;
}
