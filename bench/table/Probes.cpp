#include "bench/table/Probes.h"

#include <cstdio>
#include <cstdlib>

#include "bench/table/Child.h"
#include "bench/table/Statistics.h"
#include "bench/table/Trace.h"

namespace {

constexpr unsigned kIdleProcesses = 5;

std::vector<std::string> command(const std::string& probe, const Workload::File& file,
                                 const std::string& spare, uint64_t bytes = 0) {
  return {Child::self(),
          "--probe",
          probe,
          "--probe-file",
          file.path,
          "--probe-number",
          std::to_string(file.number),
          "--probe-spare",
          spare,
          "--probe-bytes",
          std::to_string(bytes)};
}

Probes::Outcome number(const Child::Result& result, const char* key) {
  if (result.status != 0)
    return {std::nullopt, "the probe ended with status " + std::to_string(result.status)};
  size_t place = result.output.find(std::string(key) + "=");
  if (place == std::string::npos) return {std::nullopt, "the probe says nothing: " + result.output};
  return {std::atof(result.output.c_str() + place + std::string(key).size() + 1), ""};
}

Probes::Calls traced(const std::vector<std::string>& probe, const std::string& trace,
                     Trace::eThreads threads) {
  if (Child::run({"strace", "-V"}).status != 0) return {{}, "strace is not installed"};
  std::vector<std::string> words{"strace", "-f", "-o", trace};
  words.insert(words.end(), probe.begin(), probe.end());
  Child::Result result = Child::run(words);
  if (result.status != 0) return {{}, "strace ended with status " + std::to_string(result.status)};
  std::optional<Trace::Calls> calls = Trace::callsBetweenMarks(trace, threads);
  if (!calls) return {{}, "the trace holds no marks"};
  return {*calls, ""};
}

}  // namespace

Probes::Outcome Probes::Calls::per(double what) const {
  if (!why.empty()) return {std::nullopt, why};
  double all = 0;
  for (const auto& [name, count] : each) all += static_cast<double>(count);
  return {all / what, ""};
}

Probes::Outcome Probes::callsInHits(const Workload::File& file, const std::string& trace) {
  return traced(command("hits", file, ""), trace, Trace::eMarking).per(kHits);
}

Probes::Outcome Probes::allocationsInHits(const Workload::File& file) {
  return number(Child::run(command("hit-allocations", file, "")), "a_hit");
}

// The engine's own thread stays away: its passes would wait for ours, and ours for them. A process
// is over within a disturbance of the machine, so several are asked.
Probes::Outcome Probes::idlePass_us(const Workload::File& file) {
  std::vector<double> passes_us;
  for (unsigned i = 0; i < kIdleProcesses; ++i) {
    Outcome pass = number(
        Child::run(command("idle", file, ""), {"FSYS_CONFIG_ReadPollDelay=3600000"}), "pass_us");
    if (!pass.value) return pass;
    passes_us.push_back(*pass.value);
  }
  return {Statistics::median(passes_us), ""};
}

Probes::Outcome Probes::allocationsPerRead(const Workload::File& file, const std::string& spare) {
  return number(Child::run(command("allocations", file, spare)), "a_read");
}

Probes::Outcome Probes::allocationsPerWrite(const Workload::File& file, const std::string& spare) {
  return number(Child::run(command("allocations", file, spare)), "a_write");
}

Probes::Calls Probes::callsInStaged(const Workload& work, const std::string& trace) {
  return traced(command("staged", work.files[0], "", work.bytesPerFile), trace, Trace::eAll);
}

Probes::Outcome Probes::copiedWrites(const Workload::File& file, const std::string& spare) {
  return number(Child::run(command("addresses", file, spare)), "elsewhere");
}

Probes::Memory Probes::memory(const Workload::File& file, uint64_t bytes) {
  Child::Result result = Child::run(command("memory", file, "", bytes));
  auto value = [&](const char* key) { return number(result, key).value.value_or(0); };
  return {number(result, "settled_s"), value("start_mib"), value("most_mib"), value("end_mib"),
          value("limit_mib")};
}
