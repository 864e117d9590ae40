#include "tools/fsys/CopyCommand.h"

#include <CLI/CLI.hpp>

#include "tools/fsys/EngineSession.h"
#include "tools/fsys/FileCopier.h"
#include "tools/fsys/Limits.h"
#include "tools/fsys/NumberRange.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Progress.h"
#include "tools/fsys/Text.h"

CLI::App* CopyCommand::define(CLI::App& app) {
  block_ = Limits::kDefaultBlock;
  inFlight_ = Limits::kDefaultReadsInFlight;
  CLI::App* command =
      app.add_subcommand("copy", "Copy files; a copy gets its name when it is whole");
  command->add_option("SRC... DST", names_, "Files, and a name or a folder")
      ->required()
      ->expected(2, CLI::detail::expected_max_vector_size);
  addSize(command, "--block", block_, 1, Limits::kMostBlock, "Bytes a transfer (1 MiB)");
  command->add_option("--inflight", inFlight_, "Reads, and as many writes, in flight (8)")
      ->transform(NumberRange(1u, Limits::kMostInFlight));
  command->add_flag("--force", force_, "Replace what has the name already");
  return command;
}

ExitCode CopyCommand::execute() {
  std::string destination = names_.back();
  std::vector<std::string> sources(names_.begin(), names_.end() - 1);
  if (sources.size() > 1 && !factsOf(destination).isFolder)
    throw ToolError(ExitCode::eUsage, "copying to", destination,
                    "several files need a folder that exists");
  uint64_t total = 0;
  for (const std::string& source : sources) total += factsOf(source).size;
  Progress progress("copying", total, wantsProgress());
  FileCopier copier({static_cast<uint32_t>(block_), inFlight_, inFlight_, force_});
  std::vector<std::string> made;
  uint64_t bytes = 0;
  Meter meter;
  for (const std::string& source : sources) {
    std::string target = FileCopier::destinationOf(source, destination);
    try {
      bytes += copier.copy(source, target, progress);
    } catch (ToolError& error) {
      tell(made, bytes, meter);
      std::string remark;
      if (sources.size() > 1)
        remark = text("%zu of %zu files are copied", made.size(), sources.size());
      if (error.code() == ExitCode::eInterrupted)
        remark +=
            (remark.empty() ? "" : ", ") + ("nothing is left of the copy " + inQuotes(target));
      throw error.withRemark(remark);
    }
    made.push_back(target);
  }
  putLatency(results()["reads"], copier.reads());
  putLatency(results()["writes"], copier.writes());
  tell(made, bytes, meter);
  say("reads: " + latencyText(copier.reads()));
  say("writes: " + latencyText(copier.writes()));
  return ExitCode::eSuccess;
}

void CopyCommand::tell(const std::vector<std::string>& made, uint64_t bytes, const Meter& meter) {
  double elapsed_ms = meter.elapsed_ms();
  Json& json = results();
  json["files"] = Json::array();
  for (const std::string& name : made) {
    Json entry;
    putName(entry, "file", name);
    json["files"].push_back(entry);
  }
  json["bytes"] = bytes;
  json["elapsed_ms"] = elapsed_ms;
  json["mb_per_s"] = megabytesPerSecond(bytes, elapsed_ms);
  json["cpu_us_per_mb"] = meter.cpuPerMb_us(bytes);
  json["transport"] = EngineSession::transport();
  if (made.empty()) return;
  say(text("%zu file%s, %s in %.3f s: %.1f MB/s, safe on the drive (%s)", made.size(),
           made.size() == 1 ? "" : "s", sizeText(bytes).c_str(), elapsed_ms / 1000,
           megabytesPerSecond(bytes, elapsed_ms), EngineSession::transport().c_str()));
}
