#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "tools/fsys/Json.h"
#include "tools/fsys/LatencyStats.h"
#include "tools/fsys/ToolError.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

// Command: what every command of the tool has: its common options, its results, its output.
// Story      main makes one of each kind; each registers its options; the one that was named runs.
//            It says its results in words, and collects them for --json, which prints one object
//            instead of the words. It ends when standard output takes nothing more.
// Threads    the main thread.
class Command {
public:
  Command() = default;
  virtual ~Command() = default;
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  // Adds the command to the command line.
  void attach(CLI::App& app);
  bool wasNamed() const;
  // As it is written behind "fsys", with the name of its group.
  std::string name() const;
  // Runs; prints its results unless it throws.
  ExitCode run();
  // Prints a failure: on standard error in words, or as the one JSON object. Where there is no
  // memory for that object it is a short one.
  void report(const ToolError& error, int exitCode);

  bool isVerbose() const { return verbose_; }
  bool wantsJson() const { return json_; }
  // Whether say() says anything.
  bool saysWords() const { return !json_ && !quiet_; }
  // Whether it transfers media: then the engine is there while it runs.
  virtual bool usesEngine() const { return true; }

protected:
  virtual CLI::App* define(CLI::App& app) = 0;
  virtual ExitCode execute() = 0;
  // Whether standard output belongs to data; words go to standard error then.
  virtual bool outputIsData() const { return false; }
  // Whether it prints many objects, each on a line of its own.
  virtual bool tellsLines() const { return false; }

  void say(const std::string& line) const;
  bool wantsProgress() const { return !quiet_; }
  Json& results() { return results_; }
  // Prints an object before the last one, for commands that go on: where objects are wanted.
  void tellNow(const Json& json) const;

  // Group: a name in front of the names of several commands, and what they have in common.
  struct Group {
    const char* name;
    const char* what;
  };
  // Adds a command, to its group if it has one.
  static CLI::App* addCommand(CLI::App& app, const char* name, const char* what);
  static CLI::App* addCommand(CLI::App& app, const Group& group, const char* name,
                              const char* what);
  // A word that must be there, and a flag.
  static void addWord(CLI::App* app, const char* name, std::string& value, const char* what);
  static void addFlag(CLI::App* app, const char* name, bool& value, const char* what);
  // Adds a size option, bounded.
  static CLI::Option* addSize(CLI::App* app, const std::string& name, uint64_t& value,
                              uint64_t least, uint64_t most, const std::string& what);

private:
  FILE* output() const { return outputIsData() ? stderr : stdout; }
  void noteFailure(const ToolError& error, int exitCode);
  void printJson(const Json& json) const;
  void putJson(const Json& json) const;
  // Throws when standard output takes nothing more.
  static void checkOutput();

  CLI::App* app_ = nullptr;
  Json results_;
  bool json_ = false;
  bool quiet_ = false;
  bool verbose_ = false;
};

// The JSON object of a failure that there is no memory to say more about.
void printShortFailure(FILE* to, ExitCode kind, int exitCode);
// A name in a JSON object; one that is no UTF-8 stands under KEY_bytes as well, escaped.
void putName(Json& json, const std::string& key, const std::string& name);
// p50, p99 and worst, in ms.
void putLatency(Json& json, const LatencyStats& latency);
std::string latencyText(const LatencyStats& latency);

// Meter: wall time and processor time of a stretch of work.
class Meter {
public:
  Meter();
  double elapsed_ms() const;
  double cpu_ms() const;
  // Processor time for each megabyte, in microseconds. 0 for no bytes.
  double cpuPerMb_us(uint64_t bytes) const;

private:
  double begin_ms_;
  double beginCpu_ms_;
};
