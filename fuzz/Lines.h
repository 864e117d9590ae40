#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "platform/fake/FakeFileManager.h"

// The lines of a file of the fake's, as whoever reads it is to see them.
namespace Lines {

using Path = LightweightString<wchar_t>;
using Texts = std::vector<std::string>;

// They end in LF or CR LF, the last one need not; a byte order mark is no part of the first.
inline Texts in(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  Texts lines;
  if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (end < text.size() && line.ends_with('\r')) line.remove_suffix(1);
    lines.emplace_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

inline std::string bytesOf(const FakeFileManager& files, const Path& path) {
  const std::vector<unsigned char> bytes = files.bytesOf(path);
  return {bytes.begin(), bytes.end()};
}

inline void put(FakeFileManager& files, const Path& path, std::string_view text) {
  files.addFile(path, std::vector<unsigned char>(text.begin(), text.end()));
}

inline bool hasZero(std::string_view text) { return text.find('\0') != text.npos; }

}  // namespace Lines
