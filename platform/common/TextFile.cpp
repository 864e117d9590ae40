#include "platform/TextFile.h"

#include <optional>
#include <string>
#include <utility>

#include "platform/DriveErrand.h"
#include "platform/common/TextLines.h"
#include "platform/common/WholeFile.h"

namespace {

// What came of reading a file.
struct Read {
  TextFile::eLoad how = TextFile::eFailed;
  TextLines::Lines lines;
};

bool failed(uint32_t error) {
  OS()->getErrors()->setLastError(error);
  return false;
}

Read readLines(const PathString& name) {
  std::string text;
  WholeFile::eRead how = WholeFile::read(name, TextFile::kMostBytes, text);
  if (how == WholeFile::eIsUnreadable) return {};
  if (how == WholeFile::eIsMissing) return {TextFile::eMissing, {}};
  return {TextFile::eLoaded, TextLines::split(text)};
}

// KeptError: a success leaves the thread's last error as it was.
class KeptError {
public:
  KeptError() : error_(OS()->getErrors()->getLastError()) {}
  bool keepIf(bool success) const {
    if (success) OS()->getErrors()->setLastError(error_);
    return success;
  }

private:
  uint32_t error_;
};

}  // namespace

TextFile::eLoad TextFile::load() {
  KeptError error;
  lines_.clear();
  failedToLoad_ = true;
  auto read = askDrive(name_, [name = name_] { return readLines(name); }, kPatience_ms);
  if (!read || read->how == eFailed) return eFailed;
  lines_.swap(read->lines);
  failedToLoad_ = false;
  error.keepIf(read->how == eLoaded);
  return read->how;
}

bool TextFile::save(unsigned endOfLine, eLinks links) {
  KeptError error;
  if (failedToLoad_) return failed(eOsInvalid);
  std::string text;
  const char* ending = endOfLine == eCarriageReturnLineFeed ? "\r\n" : "\n";
  if (!TextLines::join(lines_, ending, kMostBytes, text)) return failed(eOsTooLarge);
  auto how = links == eReplaceLinks ? WholeFile::eReplace : WholeFile::eFollow;
  auto replace = [name = name_, text = std::move(text), how] {
    return WholeFile::replace(name, text, how);
  };
  return error.keepIf(askDrive(name_, std::move(replace), kPatience_ms).value_or(false));
}

bool TextFile::remove() {
  KeptError error;
  auto removed = askDrive(name_, [name = name_] { return WholeFile::remove(name); }, kPatience_ms);
  return error.keepIf(removed.value_or(false));
}

LightweightString<char> TextFile::operator[](size_t line) const {
  return line < lines_.size() ? lines_[line] : LightweightString<char>();
}

bool TextFile::appendLine(const LightweightString<char>& line) {
  if (!isLine(line.view())) return false;
  lines_.add(line);
  return true;
}

void TextFile::removeLine(size_t line) {
  if (line < lines_.size()) lines_.removeIdx(line);
}

bool TextFile::isLine(std::string_view text) {
  constexpr std::string_view kNone("\n\0", 2);
  return text.find_first_of(kNone) == text.npos && !text.ends_with('\r');
}
