// run_bench: the engine beside the bare system, in one table.

#include <sys/utsname.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

#include "bench/table/Contest.h"
#include "bench/table/HostMemory.h"
#include "bench/table/Interrupted.h"
#include "bench/table/Options.h"
#include "bench/table/PageCacheSide.h"
#include "bench/table/Probes.h"
#include "bench/table/Suite.h"
#include "bench/table/Table.h"
#include "fsys/Fsys.h"
#include "platform/OS.h"

namespace {

constexpr uint64_t kMib = 1 << 20;
constexpr uint64_t kBurst = 1024 * kMib;  // what is held of reads at once, besides the page cache
constexpr uint64_t kQuickTouch = 64 * kMib;
constexpr unsigned kLibuvThreads = 16;  // the most reads that a workload has under way

enum Exit { eOk = 0, eMissedBars = 1, eBroken = 2, eWrongTransfer = 3 };

void describe(CLI::App& app, Options& options) {
  app.add_option("--dir", options.folder, "folder for the files of the run");
  app.add_option("--cached-dir", options.cachedFolder,
                 "folder in memory, for the file that is read from the page cache");
  app.add_option("--read-mib", options.readMib, "size of what is read in a round")
      ->check(CLI::Range(32, 1 << 20));
  app.add_option("--write-mib", options.writeMib, "size of what is written in a round")
      ->check(CLI::Range(1, 1 << 20));
  app.add_option("--staged-mib", options.stagedMib, "the same for staged writes")
      ->check(CLI::Range(1, 1 << 20));
  app.add_option("--rounds", options.rounds, "counted rounds of each side")
      ->check(CLI::Range(1, 1000));
  app.add_option("--trips", options.trips, "round trips in a round")->check(CLI::Range(1, 1 << 20));
  app.add_option("--hits", options.hits, "cache hits in a round")->check(CLI::Range(1, 1 << 30));
  app.add_option("--catalogue-files", options.catalogueFiles,
                 "files in the largest of the catalogue's folders")
      ->check(CLI::Range(100, 1 << 30));
  app.add_option("--only", options.only, "measure the rows whose name holds this");
  app.add_option("--json", options.json, "write the figures to this file too");
  app.add_flag("--quick", options.quick, "a tiny run: shows that it works, measures nothing");
  app.add_flag("--strict", options.strict, "a missed bar is a failure");
  app.add_option("--probe", options.probe)->group("");
  app.add_option("--probe-file", options.probeFile)->group("");
  app.add_option("--probe-spare", options.probeSpare)->group("");
  app.add_option("--probe-number", options.probeNumber)->group("");
  app.add_option("--probe-bytes", options.probeBytes)->group("");
}

// What else the machine is doing: figures of a busy one say little.
std::string load() {
  double averages[1] = {0};
  char text[32];
  if (getloadavg(averages, 1) != 1) return "unknown";
  std::snprintf(text, sizeof text, "%.1f", averages[0]);
  return text;
}

std::string processor() {
  std::ifstream lines("/proc/cpuinfo");
  std::string line;
  while (std::getline(lines, line))
    if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
  return "unknown";
}

Facts factsOf(const Options& options, const Suite& suite, const std::string& loadBefore,
              uint64_t touched) {
  utsname system{};
  uname(&system);
  iAsyncIo::Description io = OS()->getAsyncIo()->describe();
  Facts facts;
  facts.entries = {
      {"machine", processor() + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) +
                      " processors, Linux " + system.release},
      {"load", loadBefore + " before, " + load() + " after"},
      {"engine", io.ring ? "ring" : std::string("threads: ") + io.why},
      {"transfers",
       suite.isDirect() ? "direct" : "through the page cache: the folder takes no direct ones"},
      {"folders", options.folder + " on " + Scratch::kindOf(options.folder) +
                      "; the file in the page cache: " + options.cachedFolder + " on " +
                      Scratch::kindOf(options.cachedFolder)},
      {"page cache", suite.caches().whatWasDone()},
      {"memory", std::to_string(touched / kMib) + " MiB touched once before"},
      {"rounds", std::to_string(options.rounds) +
                     " of each side in turn, A B C B C A, after one uncounted; " +
                     std::to_string(options.rounds * Contest::kClose) + " where sides are close"},
      {"sizes", std::to_string(options.readMib) + " MiB read, " + std::to_string(options.writeMib) +
                    " MiB written, " + std::to_string(options.stagedMib) + " MiB staged"},
      {"figures",
       "medians of rounds; compared: medians of neighbouring pairs +- their standard error; MB is "
       "10^6 "
       "bytes"},
      {"noise", options.quick ? "a tiny run: the figures say nothing"
                              : "a shared machine shows in these figures; repeat a close result"},
  };
  return facts;
}

int verdictOf(const Suite& suite, const Options& options) {
  unsigned missed = 0;
  for (const Row& row : suite.rows())
    for (const Bar& bar : row.bars) missed += bar.verdict == Bar::eMissed;
  std::printf("\n%u bars missed, %llu transfers wrong\n", missed,
              static_cast<unsigned long long>(suite.wrong()));
  if (suite.wrong() > 0) return eWrongTransfer;
  return options.strict && missed > 0 ? eMissedBars : eOk;
}

int measure(Options& options) {
  Interrupted::listen();
  std::string loadBefore = load();
  options.fit(Scratch::freeBytes(options.folder));
  PageCacheSide::setLibuvThreads(kLibuvThreads);
  uint64_t touched =
      HostMemory::touch(options.quick ? kQuickTouch : options.readMib * kMib + kBurst);
  if (FsysInitialize() != 1) throw std::runtime_error("the engine cannot be started");
  int status;
  {
    Suite suite(options);
    suite.run();
    Facts facts = factsOf(options, suite, loadBefore, touched);
    Table::print(facts, suite.rows());
    status = verdictOf(suite, options);
    if (!options.json.empty() &&
        !Table::writeJson(options.json, facts, suite.rows(), suite.wrong()))
      throw std::runtime_error("cannot write " + options.json);
  }
  FsysUninitialize(Shutdown::eNormal);
  return status;
}

}  // namespace

int main(int count, char** arguments) {
  Options options;
  CLI::App app{"Measures the engine beside a bare ring and prints one table."};
  describe(app, options);
  CLI11_PARSE(app, count, arguments);
  try {
    if (options.probe.empty()) return measure(options);
    return Probes::run(options);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "run_bench: %s\n", failure.what());
    return eBroken;
  }
}
