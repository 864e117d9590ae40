#include "tests/soak/SoakOptions.h"

#include <cstdlib>
#include <string_view>

namespace {

constexpr double kMostMinutes = 7 * 24 * 60;

bool readNumber(const char* word, double& number) {
  char* end = nullptr;
  number = std::strtod(word, &end);
  return end != word && *end == '\0' && number > 0;
}

}  // namespace

const char* SoakOptions::usage() {
  return "Usage: fsys_soak [--minutes M] [--seed S] [--late-is-told] [FOLDER...]\n"
         "\n"
         "  --minutes M     how long it goes on (60)\n"
         "  --seed S        what is thrown (1)\n"
         "  --late-is-told  what is late is told and not judged: where all is slowed down\n"
         "  FOLDER          where the media lies; without one, in a folder of its own here\n";
}

bool SoakOptions::read(int count, const char* const* words) {
  for (int i = 1; i < count; ++i) {
    const std::string_view word = words[i];
    double number = 0;
    if (word == "--late-is-told") {
      judgesLateness = false;
    } else if (word == "--minutes" || word == "--seed") {
      if (++i == count || !readNumber(words[i], number) || number > 1e15) return false;
      if (word == "--seed")
        seed = static_cast<uint64_t>(number);
      else
        minutes = number;
    } else if (word.starts_with("-") || word.empty()) {
      return false;
    } else {
      folders.emplace_back(word);
    }
  }
  return minutes <= kMostMinutes;
}
