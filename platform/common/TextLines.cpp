#include "platform/common/TextLines.h"

#include <algorithm>

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kCarriageReturnLineFeed = "\r\n";

std::string_view endingOf(std::string_view line, std::string_view ending) {
  return line.ends_with('\r') ? kCarriageReturnLineFeed : ending;
}

std::string_view markOf(const TextLines::Lines& lines) {
  bool needed = !lines.empty() && lines[0].view().starts_with(kByteOrderMark);
  return needed ? kByteOrderMark : std::string_view();
}

}  // namespace

TextLines::Lines TextLines::split(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  Lines lines(static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
  while (!text.empty()) {
    size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    if (end != text.npos && line.ends_with('\r')) line.remove_suffix(1);
    // An empty line needs no text of its own.
    lines.add(line.empty() ? LightweightString<char>() : LightweightString<char>(line));
  }
  return lines;
}

bool TextLines::join(const Lines& lines, std::string_view ending, uint64_t mostBytes,
                     std::string& text) {
  text.clear();
  uint64_t bytes = markOf(lines).size();
  for (const LightweightString<char>& line : lines)
    bytes += line.size() + endingOf(line.view(), ending).size();
  if (bytes > mostBytes) return false;
  text.reserve(bytes);
  text.append(markOf(lines));
  for (const LightweightString<char>& line : lines)
    text.append(line.view()).append(endingOf(line.view(), ending));
  return true;
}
