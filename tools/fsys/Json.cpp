#include "tools/fsys/Json.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <utility>

#include "tools/fsys/Text.h"

namespace {

constexpr size_t kLongestNumber = 32;
constexpr const char* kReplacement = "\xEF\xBF\xBD";

// The shortest text that is this number again, and shows that it is no integer.
std::string printed(double value) {
  if (!std::isfinite(value)) return "null";
  char text[kLongestNumber];
  char* end = std::to_chars(text, text + sizeof text, value).ptr;
  std::string result(text, end);
  return result.find_first_of(".e") == std::string::npos ? result + ".0" : result;
}

void printEscaped(FILE* to, unsigned char byte) {
  static const char escaped[] = "\"\\\b\f\n\r\t";
  static const char names[] = "\"\\bfnrt";
  const char* place = byte ? std::strchr(escaped, byte) : nullptr;
  if (place)
    std::fprintf(to, "\\%c", names[place - escaped]);
  else if (byte < 0x20)
    std::fprintf(to, "\\u%04x", static_cast<unsigned>(byte));
  else
    std::fputc(byte, to);
}

void printText(FILE* to, const std::string& text) {
  std::fputc('"', to);
  for (size_t at = 0; at < text.size();) {
    size_t length = utf8LengthAt(text, at);
    if (length == 0)
      std::fputs(kReplacement, to);
    else if (length == 1)
      printEscaped(to, static_cast<unsigned char>(text[at]));
    else
      std::fwrite(text.data() + at, 1, length, to);
    at += std::max<size_t>(length, 1);
  }
  std::fputc('"', to);
}

}  // namespace

Json::Json(bool value) : kind_(ePrinted), text_(value ? "true" : "false") {}
Json::Json(double value) : kind_(ePrinted), text_(printed(value)) {}
Json::Json(std::string value) : kind_(eText), text_(std::move(value)) {}

Json Json::array() {
  Json empty;
  empty.kind_ = eArray;
  return empty;
}

Json& Json::operator[](const std::string& key) {
  auto place = std::find(keys_.begin(), keys_.end(), key);
  if (place != keys_.end()) return values_[static_cast<size_t>(place - keys_.begin())];
  values_.reserve(values_.size() + 1);
  keys_.push_back(key);
  kind_ = eObject;
  return values_.emplace_back();
}

void Json::push_back(Json value) {
  values_.push_back(std::move(value));
  kind_ = eArray;
}

void Json::printBreak(FILE* to, eLayout layout, size_t depth) {
  if (layout == eInLines) std::fprintf(to, "\n%*s", static_cast<int>(2 * depth), "");
}

void Json::print(FILE* to, eLayout layout, size_t depth) const {
  if (kind_ == eNull) std::fputs("null", to);
  if (kind_ == ePrinted) std::fputs(text_.c_str(), to);
  if (kind_ == eText) printText(to, text_);
  if (kind_ != eArray && kind_ != eObject) return;
  std::fputc(kind_ == eArray ? '[' : '{', to);
  for (size_t i = 0; i < values_.size(); ++i) {
    if (i > 0) std::fputs(layout == eInLines ? "," : ", ", to);
    printBreak(to, layout, depth + 1);
    if (kind_ == eObject) {
      printText(to, keys_[i]);
      std::fputs(": ", to);
    }
    values_[i].print(to, layout, depth + 1);
  }
  if (!values_.empty()) printBreak(to, layout, depth);
  std::fputc(kind_ == eArray ? ']' : '}', to);
}
