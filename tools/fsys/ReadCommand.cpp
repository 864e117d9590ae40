#include "tools/fsys/ReadCommand.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/fsys/EngineSession.h"
#include "tools/fsys/Limits.h"
#include "tools/fsys/NumberRange.h"
#include "tools/fsys/PartFile.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Progress.h"
#include "tools/fsys/ReadStream.h"
#include "tools/fsys/Text.h"

CLI::App* ReadCommand::define(CLI::App& app) {
  block_ = Limits::kDefaultBlock;
  inFlight_ = Limits::kDefaultReadsInFlight;
  CLI::App* command = app.add_subcommand("read", "Stream a file and say how fast it came");
  command->add_option("FILE", file_, "The file")->required();
  addSize(command, "--block", block_, 1, Limits::kMostBlock, "Bytes a read (1 MiB)");
  command->add_option("--inflight", inFlight_, "Reads in flight (8)")
      ->transform(NumberRange(1u, Limits::kMostInFlight));
  CLI::Option* repeat = command->add_option("--repeat", repeat_, "How often it is read (1)")
                            ->transform(NumberRange(uint64_t{1}, uint64_t{1000000}));
  CLI::Option* to =
      command->add_option("--to", to_, "Write the bytes to this file; - is standard output");
  to->excludes(repeat);
  command->add_flag("--force", force_, "Replace the file that --to names")->needs(to);
  return command;
}

ExitCode ReadCommand::execute() {
  EngineFile file(file_, EngineFile::eRead, static_cast<uint32_t>(block_));
  uint64_t size = file.size();
  putName(results(), "file", file_);
  results()["size"] = size;
  if (to_.empty()) {
    stream(file, size, nullptr);
  } else if (outputIsData()) {
    PlainFile output = PlainFile::standardOutput();
    stream(file, size, &output);
  } else {
    PartFile part(to_, factsOf(file_).mode, force_);
    {
      PlainFile output = PlainFile::openForWriting(part.name(), to_);
      stream(file, size, &output);
    }
    checkSize(file, size);
    part.commit();
    putName(results(), "to", to_);
    return ExitCode::eSuccess;
  }
  checkSize(file, size);
  return ExitCode::eSuccess;
}

// What was read of a file that changes is no state that it ever had.
void ReadCommand::checkSize(const EngineFile& file, uint64_t size) {
  if (file.size() != size)
    throw ToolError(ExitCode::eIo, "reading", file.name(), "it changed its size meanwhile");
}

void ReadCommand::stream(EngineFile& file, uint64_t size, PlainFile* to) {
  Progress progress("reading", size * repeat_, wantsProgress());
  Meter meter;
  ReadStream stream(file, ReadStream::wholeFile(size, static_cast<uint32_t>(block_), repeat_),
                    inFlight_);
  Block block;
  try {
    while (stream.next(block)) {
      if (to) to->write(block.bytes(), block.range.length);
      progress.add(block.range.length);
    }
  } catch (ToolError& error) {
    results()["bytes"] = stream.bytes();
    std::string left = to_.empty() || outputIsData() ? "" : "; " + inQuotes(to_) + " was not made";
    throw error.withRemark(sizeText(stream.bytes()) + " of " + inQuotes(file_) + " were read" +
                           left);
  }
  tell(file, stream, meter);
}

void ReadCommand::tell(const EngineFile& file, const ReadStream& stream, const Meter& meter) {
  double elapsed_ms = meter.elapsed_ms();
  double cpu_us = meter.cpuPerMb_us(stream.bytes());
  uint32_t hits = file->GetCacheHits();
  Json& json = results();
  json["bytes"] = stream.bytes();
  json["reads"] = stream.latency().count();
  json["block"] = block_;
  json["in_flight"] = inFlight_;
  json["repeat"] = repeat_;
  json["elapsed_ms"] = elapsed_ms;
  json["mb_per_s"] = megabytesPerSecond(stream.bytes(), elapsed_ms);
  putLatency(json, stream.latency());
  json["cache_hits"] = hits;
  json["cpu_us_per_mb"] = cpu_us;
  json["transport"] = EngineSession::transport();
  say(text("%s in %.3f s: %.1f MB/s (%s a read, %u in flight, %s)",
           sizeText(stream.bytes()).c_str(), elapsed_ms / 1000,
           megabytesPerSecond(stream.bytes(), elapsed_ms), sizeText(block_).c_str(), inFlight_,
           EngineSession::transport().c_str()));
  say("completion time: " + latencyText(stream.latency()));
  say(text("cache hits: %u of %llu reads; processor: %.1f us a MB", hits,
           static_cast<unsigned long long>(stream.latency().count()), cpu_us));
}
