#include "CommandLine.h"

#include <cstdlib>
#include <iostream>
#include <iterator>

#include "Failure.h"
#include "Interrupt.h"

CommandLine::CommandLine(int count, char** words, const Known& known, const std::string& usage) {
  for (int i = 1; i < count; ++i) {
    const std::string word = words[i];
    const auto option = known.find(word);
    const bool isWord = option == known.end() && word.rfind("--", 0) != 0 && word_.empty();
    if (isWord) {
      word_ = word;
    } else if (option == known.end() || (option->second == eValue && i + 1 == count)) {
      throw Failure(Failure::eUsage, "\"" + word + "\" is not understood\n" + usage);
    } else {
      values_.emplace(word, option->second == eValue ? words[++i] : "");
    }
  }
  if (word_.empty()) throw Failure(Failure::eUsage, "no cookie is given\n" + usage);
}

std::vector<std::string> CommandLine::all(const std::string& option) const {
  std::vector<std::string> values;
  const auto [begin, end] = values_.equal_range(option);
  for (auto each = begin; each != end; ++each) values.push_back(each->second);
  return values;
}

void CommandLine::each(const std::string& option,
                       const std::function<void(const std::string&)>& tell) const {
  for (const std::string& value : all(option)) {
    if (value != "-") tell(value);
    for (std::string line; value == "-" && !Interrupt::isRequested();) {
      if (!std::getline(std::cin, line)) break;
      tell(line);
    }
  }
  if (Interrupt::isRequested()) throw Failure(Failure::eInterrupted, "interrupted");
}

std::string CommandLine::last(const std::string& option, const std::string& otherwise) const {
  const auto [begin, end] = values_.equal_range(option);
  return begin == end ? otherwise : std::prev(end)->second;
}

double CommandLine::number(const std::string& option, double otherwise) const {
  return has(option) ? toNumber(last(option, "")) : otherwise;
}

double CommandLine::toNumber(const std::string& text) {
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  constexpr double kMost = 1e9;
  if (text.empty() || *end != '\0' || !(number >= 0 && number <= kMost))
    throw Failure(Failure::eUsage, "\"" + text + "\" is no number from 0 to a thousand million");
  return number;
}
