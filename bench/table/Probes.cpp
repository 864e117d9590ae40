#include "bench/table/Probes.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "bench/table/Child.h"

namespace {

// The call that marks the hits: one that nobody else makes, with an argument that nobody else has.
constexpr const char* kMark = "getsid(-77";

std::vector<std::string> command(const std::string& probe, const Workload::File& file,
                                 const std::string& spare) {
  return {Child::self(),
          "--probe",
          probe,
          "--probe-file",
          file.path,
          "--probe-number",
          std::to_string(file.number),
          "--probe-spare",
          spare};
}

Probes::Outcome number(const Child::Result& result, const char* key) {
  if (result.status != 0)
    return {std::nullopt, "the probe ended with status " + std::to_string(result.status)};
  size_t place = result.output.find(std::string(key) + "=");
  if (place == std::string::npos) return {std::nullopt, "the probe says nothing"};
  return {std::atof(result.output.c_str() + place + std::string(key).size() + 1), ""};
}

// Lines of the marking thread between the two marks. What another thread's call interrupted is told
// in two lines: the second of them is no call.
Probes::Outcome callsBetweenMarks(const std::string& trace) {
  std::ifstream lines(trace);
  std::string line, thread;
  uint64_t calls = 0;
  while (std::getline(lines, line)) {
    size_t space = line.find(' ');
    if (space == std::string::npos) continue;
    std::string who = line.substr(0, space);
    std::string what = line.substr(line.find_first_not_of(' ', space));
    bool mark = what.rfind(kMark, 0) == 0;
    if (mark && thread.empty()) {
      thread = who;
    } else if (mark) {
      return {static_cast<double>(calls), ""};
    } else if (who == thread && what.rfind("<...", 0) != 0 && what.rfind("---", 0) != 0) {
      ++calls;
    }
  }
  return {std::nullopt, "the trace holds no marks"};
}

}  // namespace

Probes::Outcome Probes::callsInHits(const Workload::File& file, const std::string& trace) {
  if (Child::run({"strace", "-V"}).status != 0) return {std::nullopt, "strace is not installed"};
  std::vector<std::string> traced{"strace", "-f", "-o", trace};
  for (const std::string& word : command("hits", file, "")) traced.push_back(word);
  Child::Result result = Child::run(traced);
  if (result.status != 0)
    return {std::nullopt, "strace ended with status " + std::to_string(result.status)};
  return callsBetweenMarks(trace);
}

// The engine's own thread stays away: its passes would wait for ours, and ours for them.
Probes::Outcome Probes::idlePass_us(const Workload::File& file) {
  Child::Result result =
      Child::run(command("idle", file, ""), {"FSYS_CONFIG_ReadPollDelay=3600000"});
  return number(result, "pass_us");
}

Probes::Outcome Probes::allocationsPerRead(const Workload::File& file, const std::string& spare) {
  return number(Child::run(command("allocations", file, spare)), "a_read");
}

Probes::Outcome Probes::allocationsPerWrite(const Workload::File& file, const std::string& spare) {
  return number(Child::run(command("allocations", file, spare)), "a_write");
}
