#include "platform/common/TextFormat.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <string_view>

#include "platform/LightweightString.h"

namespace {

// The text of one conversion, whose format the caller of Log and its family wrote and the compiler
// checked there.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
template <typename T>
void appendOne(std::string& text, const std::string& conversion, T value) {
  int length = std::snprintf(nullptr, 0, conversion.c_str(), value);
  if (length < 0) return;
  size_t start = text.size();
  text.resize(start + static_cast<size_t>(length) + 1);
  std::snprintf(&text[start], static_cast<size_t>(length) + 1, conversion.c_str(), value);
  text.resize(start + static_cast<size_t>(length));
}
#pragma GCC diagnostic pop

// TextFormatter: walks a format once and takes the arguments as it meets their conversions.
class TextFormatter {
public:
  TextFormatter(const char* format, va_list arguments) : next_(format) {
    va_copy(arguments_, arguments);
  }
  ~TextFormatter() { va_end(arguments_); }
  TextFormatter(const TextFormatter&) = delete;
  TextFormatter& operator=(const TextFormatter&) = delete;

  std::string run() {
    while (*next_) {
      if (*next_ != '%') {
        text_.push_back(*next_++);
      } else {
        takeConversion();
      }
    }
    return std::move(text_);
  }

private:
  void takeConversion() {
    conversion_.assign(1, *next_++);
    size_.clear();
    while (*next_ && std::string_view("-+ #0123456789.*'").find(*next_) != std::string_view::npos)
      takeFlag();
    while (*next_ && std::string_view("hlLqjzt").find(*next_) != std::string_view::npos)
      size_.push_back(*next_++);
    if (!*next_) return;
    char kind = *next_++;
    bool wide = size_ == "l" && (kind == 's' || kind == 'c');
    if (!wide) conversion_ += size_;
    conversion_.push_back(wide ? 's' : kind);
    append(kind, wide);
  }

  // A width or precision that is an argument is written into the conversion.
  void takeFlag() {
    if (*next_ == '*') {
      int number = va_arg(arguments_, int);
      bool precision = conversion_.back() == '.';
      if (precision && number < 0)
        conversion_.pop_back();  // a negative precision counts as none
      else
        conversion_ += std::to_string(number);
    } else {
      conversion_.push_back(*next_);
    }
    ++next_;
  }

  void append(char kind, bool wide) {
    switch (kind) {
      case '%':
        text_.push_back('%');
        break;
      case 'd':
      case 'i':
        appendInteger<int, long, long long>();
        break;
      case 'u':
      case 'o':
      case 'x':
      case 'X':
        appendInteger<unsigned, unsigned long, unsigned long long>();
        break;
      case 'f':
      case 'F':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
      case 'a':
      case 'A':
        if (size_ == "L")
          appendOne(text_, conversion_, va_arg(arguments_, long double));
        else
          appendOne(text_, conversion_, va_arg(arguments_, double));
        break;
      case 'c':
        if (wide)
          appendWideCharacter(static_cast<wchar_t>(va_arg(arguments_, wint_t)));
        else
          appendOne(text_, conversion_, va_arg(arguments_, int));
        break;
      case 's':
        if (wide)
          appendWide(va_arg(arguments_, const wchar_t*));
        else
          appendNarrow(va_arg(arguments_, const char*));
        break;
      case 'p':
        appendOne(text_, conversion_, va_arg(arguments_, void*));
        break;
      case 'n':
        static_cast<void>(va_arg(arguments_, void*));
        break;
      default:
        text_ += conversion_;
    }
  }

  template <typename Plain, typename Long, typename LongLong>
  void appendInteger() {
    if (size_ == "l")
      appendOne(text_, conversion_, va_arg(arguments_, Long));
    else if (size_ == "ll" || size_ == "q")
      appendOne(text_, conversion_, va_arg(arguments_, LongLong));
    else if (size_ == "z" || size_ == "t")
      appendOne(text_, conversion_, va_arg(arguments_, size_t));
    else if (size_ == "j")
      appendOne(text_, conversion_, va_arg(arguments_, intmax_t));
    else
      appendOne(text_, conversion_, va_arg(arguments_, Plain));
  }

  void appendNarrow(const char* argument) {
    appendOne(text_, conversion_, argument ? argument : "(null)");
  }
  void appendWide(const wchar_t* argument) {
    appendNarrow(argument ? toUTF8(LightweightString<wchar_t>(argument)).c_str() : nullptr);
  }
  void appendWideCharacter(wchar_t character) {
    appendNarrow(toUTF8(LightweightString<wchar_t>(&character, 1)).c_str());
  }

  const char* next_;
  va_list arguments_;
  std::string text_;
  std::string conversion_;  // the one at hand, without its size when the argument is wide
  std::string size_;
};

}  // namespace

std::string formatText(const char* format, va_list arguments) {
  return TextFormatter(format, arguments).run();
}
