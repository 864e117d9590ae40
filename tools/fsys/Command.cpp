#include "tools/fsys/Command.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <new>

#include "platform/OS.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/Text.h"

void Command::attach(CLI::App& app) {
  app_ = define(app);
  app_->add_flag("--json", json_, "Print one JSON object instead of words");
  app_->add_flag("--quiet,-q", quiet_, "No progress bar and no words on success");
  app_->add_flag("--verbose", verbose_, "Show the engine's own messages on standard error");
}

std::string Command::name() const {
  const CLI::App* group = app_->get_parent();
  bool isGrouped = group->get_parent() != nullptr;
  return isGrouped ? group->get_name() + " " + app_->get_name() : app_->get_name();
}

bool Command::wasNamed() const { return app_ && app_->parsed(); }

ExitCode Command::run() {
  results_["command"] = name();
  ExitCode code = execute();
  results_["ok"] = code == ExitCode::eSuccess;
  if (json_) printJson(results_);
  return code;
}

// Standard output that takes nothing more is told of on standard error, once.
void Command::report(const ToolError& error, int exitCode) {
  bool isOutputLost = std::ferror(stdout) != 0;
  std::clearerr(stdout);
  if (!json_ || isOutputLost) {
    std::fprintf(stderr, "fsys %s: %s\n", name().c_str(), error.what());
    return;
  }
  try {
    noteFailure(error, exitCode);
    putJson(results_);
  } catch (const std::bad_alloc&) {
    printShortFailure(output(), error.code(), exitCode);
  }
}

void Command::noteFailure(const ToolError& error, int exitCode) {
  Json failure;
  failure["kind"] = nameOf(error.code());
  failure["exit_code"] = exitCode;
  failure["doing"] = error.doing();
  putName(failure, "file", error.file());
  failure["why"] = error.why();
  if (!error.remark().empty()) failure["remark"] = error.remark();
  results_["ok"] = false;
  results_["error"] = failure;
}

void Command::printJson(const Json& json) const {
  putJson(json);
  checkOutput();
}

void Command::putJson(const Json& json) const {
  if (tellsLines())
    json.printOnALine(output());
  else
    json.print(output());
  std::fputc('\n', output());
}

void Command::tellNow(const Json& json) const {
  if (json_) printJson(json);
}

void Command::say(const std::string& line) const {
  if (!saysWords()) return;
  std::fprintf(output(), "%s\n", line.c_str());
  checkOutput();
}

// The error number is that of what was printed last. A signal may have cut that off.
void Command::checkOutput() {
  int error = errno;
  if (std::ferror(stdout) == 0) return;
  Interrupt::check();
  throw ToolError(ExitCode::eIo, "writing to standard output", "", std::strerror(error));
}

CLI::App* Command::addCommand(CLI::App& app, const char* name, const char* what) {
  return app.add_subcommand(name, what);
}

// A group is made by the first of its commands.
CLI::App* Command::addCommand(CLI::App& app, const Group& group, const char* name,
                              const char* what) {
  for (CLI::App* there : app.get_subcommands([](CLI::App*) { return true; }))
    if (there->get_name() == group.name) return there->add_subcommand(name, what);
  CLI::App* made = app.add_subcommand(group.name, group.what);
  made->require_subcommand(1);
  return made->add_subcommand(name, what);
}

void Command::addWord(CLI::App* app, const char* name, std::string& value, const char* what) {
  app->add_option(name, value, what)->required();
}

void Command::addFlag(CLI::App* app, const char* name, bool& value, const char* what) {
  app->add_flag(name, value, what);
}

CLI::Option* Command::addSize(CLI::App* app, const std::string& name, uint64_t& value,
                              uint64_t least, uint64_t most, const std::string& what) {
  auto take = [&value, least, most](const std::string& word) {
    uint64_t bytes = 0;
    if (!parseSize(word, bytes))
      throw CLI::ValidationError("not a size: " + inQuotes(word) +
                                 " (a number, or one with K, M, G or T)");
    if (bytes < least || bytes > most)
      throw CLI::ValidationError(inQuotes(word) + " is not between " + sizeText(least) + " and " +
                                 sizeText(most));
    value = bytes;
  };
  return app->add_option_function<std::string>(name, take, what)->type_name("SIZE");
}

void printShortFailure(FILE* to, ExitCode kind, int exitCode) {
  std::fprintf(to,
               "{\n  \"ok\": false,\n  \"error\": {\n    \"kind\": \"%s\",\n"
               "    \"exit_code\": %d,\n    \"why\": \"no memory to say more\"\n  }\n}\n",
               nameOf(kind), exitCode);
}

void putName(Json& json, const std::string& key, const std::string& name) {
  json[key] = name;
  if (!isUtf8(name)) json[key + "_bytes"] = inQuotes(name);
}

void putLatency(Json& json, const LatencyStats& latency) {
  json["p50_ms"] = latency.percentile(0.5);
  json["p99_ms"] = latency.percentile(0.99);
  json["worst_ms"] = latency.worst();
}

std::string latencyText(const LatencyStats& latency) {
  return text("p50 %.2f ms, p99 %.2f ms, worst %.2f ms", latency.percentile(0.5),
              latency.percentile(0.99), latency.worst());
}

Meter::Meter() : begin_ms_(Qv::now()), beginCpu_ms_(OS()->getSystemInfo()->getProcessCpu_ms()) {}

double Meter::elapsed_ms() const { return Qv::now() - begin_ms_; }

double Meter::cpu_ms() const { return OS()->getSystemInfo()->getProcessCpu_ms() - beginCpu_ms_; }

double Meter::cpuPerMb_us(uint64_t bytes) const {
  return bytes > 0 ? cpu_ms() * 1e9 / static_cast<double>(bytes) : 0;
}
