#include "bench/table/Probes.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "bench/table/Child.h"
#include "bench/table/LookUps.h"
#include "bench/table/Statistics.h"
#include "bench/table/Trace.h"

namespace {

constexpr unsigned kIdleProcesses = 5;
// The engine's own thread stays away: its passes would wait for ours, and ours for them.
const std::vector<std::string> kQuietEngine = {"FSYS_CONFIG_ReadPollDelay=3600000"};

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

Probes::Outcome number(const Child::Result& result, const std::string& key) {
  if (result.status != 0)
    return {std::nullopt, "the probe ended with status " + std::to_string(result.status)};
  size_t place = result.output.find(key + "=");
  if (place == std::string::npos) return {std::nullopt, "the probe says nothing: " + result.output};
  return {std::atof(result.output.c_str() + place + key.size() + 1), ""};
}

// The same of a probe that says "KEY: why" where it has no number.
Probes::Outcome numberOrWhy(const Child::Result& result, const std::string& key) {
  size_t place = result.output.find(key + ": ");
  if (result.status != 0 || place == std::string::npos) return number(result, key);
  place += key.size() + 2;
  return {std::nullopt, result.output.substr(place, result.output.find('\n', place) - place)};
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

// A process is over within a disturbance of the machine, so several are asked.
Probes::Outcome Probes::idlePass_us(const Workload::File& file) {
  std::vector<double> passes_us;
  for (unsigned i = 0; i < kIdleProcesses; ++i) {
    Outcome pass = number(Child::run(command("idle", file, ""), kQuietEngine), "pass_us");
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

Probes::PassAmongDrives Probes::passAmongDrives(const Workload::File& file,
                                                const std::string& folder) {
  Child::Result result = Child::run(command("idle-drives", file, folder), kQuietEngine);
  return {number(result, "ratio"), number(result, "none_us").value.value_or(0),
          number(result, "many_us").value.value_or(0)};
}

std::vector<Probes::LookUp> Probes::lookUps(const std::string& folder) {
  Child::Result times = Child::run(command("look-ups", {}, folder));
  Child::Result allocations = Child::run(command("look-up-allocations", {}, folder));
  std::vector<LookUp> lookUps;
  for (const std::string key : LookUps::kKeys)
    lookUps.push_back({key, number(times, key + "_us"), number(times, key + "_slowest_us"),
                       number(allocations, key + "_a")});
  return lookUps;
}

Probes::Calls Probes::callsInScan(const Workload::File& media, const std::string& trace) {
  return traced(command("catalogue-scan", media, ""), trace, Trace::eAll);
}

Probes::Outcome Probes::callsInFinds(const Workload::File& media, const std::string& trace) {
  return traced(command("catalogue-find", media, ""), trace, Trace::eMarking).per(1);
}

Probes::ScanMemory Probes::scanMemory(const Workload::File& media) {
  Child::Result result = Child::run(command("catalogue-memory", media, ""));
  return {number(result, "bytes_a_file"), number(result, "most_a_file").value.value_or(0),
          number(result, "with_proxies")};
}

Probes::AmongSlow Probes::lookUpsAmongSlow(const Workload::File& media, const std::string& volume) {
  Child::Result result = Child::run(command("catalogue-slow", media, volume));
  auto value = [&](const char* key) { return number(result, key).value.value_or(0); };
  return {numberOrWhy(result, "p99_us"), value("alone_us"), value("slowest_us"), value("lookups"),
          value("scan_s")};
}

Probes::Listing Probes::listing(const std::string& folder) {
  const std::filesystem::path tool =
      std::filesystem::path(Child::self()).parent_path().parent_path() / "tools" / "fsys";
  if (!std::filesystem::exists(tool)) {
    const Outcome none = {std::nullopt, "the tool was not built beside: " + tool.string()};
    return {none, none};
  }
  Child::Result result = Child::run(command("drives", {tool.string()}, folder));
  return {numberOrWhy(result, "listed_ms"), numberOrWhy(result, "hung_ms")};
}
