#pragma once

#include <CLI/CLI.hpp>
#include <charconv>
#include <sstream>
#include <string>
#include <system_error>
#include <type_traits>

// NumberRange: the check of an option that is a decimal number between two others, both included.
// Story      Of a whole number it is a transform, which takes leading zeros away: with them, or as
//            0x10, the parser would read another number.
// Threads    any.
// Errors     what is no number, or none as a whole, is refused like one that is too large.
class NumberRange : public CLI::Validator {
public:
  template <typename Number>
  NumberRange(Number least, Number most) : Validator("") {
    std::ostringstream limits;
    limits << CLI::detail::type_name<Number>() << " in [" << least << " - " << most << "]";
    description(limits.str());
    func_ = [least, most](std::string& word) -> std::string {
      Number number{};
      const char* end = word.data() + word.size();
      auto [next, error] = std::from_chars(word.data(), end, number);
      bool isNumber = error == std::errc() && next == end;
      if (!isNumber || !(number >= least && number <= most))
        return "Value " + word + " not in range " + std::to_string(least) + " to " +
               std::to_string(most);
      if constexpr (std::is_integral_v<Number>) word = std::to_string(number);
      return {};
    };
  }
};
