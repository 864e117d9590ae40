#include "bench/table/Trace.h"

#include <unistd.h>

#include <fstream>

namespace {

constexpr const char* kMark = "getsid(-77";
constexpr pid_t kMarked = -77;

}  // namespace

void Trace::mark() { (void)getsid(kMarked); }

// What another thread's call interrupted is told in two lines: the second of them is no call.
std::optional<Trace::Calls> Trace::callsBetweenMarks(const std::string& trace, eThreads threads) {
  std::ifstream lines(trace);
  std::string line, marking;
  Calls calls;
  while (std::getline(lines, line)) {
    size_t space = line.find(' ');
    size_t begin = line.find_first_not_of(' ', space);
    if (begin == std::string::npos) continue;
    std::string who = line.substr(0, space);
    bool isMark = line.compare(begin, std::string(kMark).size(), kMark) == 0;
    bool isCall = line.compare(begin, 4, "<...") != 0 && line.compare(begin, 3, "---") != 0 &&
                  line.compare(begin, 3, "+++") != 0;
    if (isMark && marking.empty())
      marking = who;
    else if (isMark)
      return calls;
    else if (isCall && (threads == eAll ? !marking.empty() : who == marking))
      ++calls[line.substr(begin, line.find('(', begin) - begin)];
  }
  return std::nullopt;
}
