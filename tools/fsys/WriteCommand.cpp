#include "tools/fsys/WriteCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <new>
#include <optional>

#include "tools/fsys/DurableFile.h"
#include "tools/fsys/EngineSession.h"
#include "tools/fsys/Limits.h"
#include "tools/fsys/NumberRange.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Progress.h"
#include "tools/fsys/Stamp.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/WriteStream.h"

namespace {

bool closesWell(EngineFile& file) try {
  if (file.isOpen()) file.close();
  return true;
} catch (const std::exception&) {
  return false;
}

}  // namespace

CLI::App* WriteCommand::define(CLI::App& app) {
  block_ = Limits::kDefaultBlock;
  inFlight_ = Limits::kDefaultWritesInFlight;
  CLI::App* command =
      app.add_subcommand("write", "Write standard input, or a pattern, to the end of a file");
  command->add_option("FILE", file_, "The file; writing continues at its end")->required();
  addSize(command, "--block", block_, 1, Limits::kMostBlock, "Bytes a write (1 MiB)");
  command->add_option("--inflight", inFlight_, "Writes in flight (4)")
      ->transform(NumberRange(1u, Limits::kMostInFlight));
  CLI::Option* size = addSize(command, "--size", size_, 0, Limits::kMostFile,
                              "How much is written; all of standard input without it");
  size->each([this](const std::string&) { haveSize_ = true; });
  CLI::Option* pattern =
      command->add_flag("--pattern", pattern_, "Write stamped sectors instead of standard input");
  pattern->needs(size);
  command->add_option("--seed", seed_, "The pattern's seed (0)")
      ->transform(NumberRange(uint64_t{0}, std::numeric_limits<uint64_t>::max()))
      ->needs(pattern);
  command->add_flag("--truncate", truncate_, "Remove the file first, instead of continuing it");
  CLI::Option* flush = addSize(command, "--flush-every", flushEvery_, 1, Limits::kMostFile,
                               "Make the file durable after so many bytes, and at its end");
  command->add_flag("--report", report_, "Say in lines what is accepted, written and durable")
      ->needs(flush);
  return command;
}

ExitCode WriteCommand::execute() {
  if (report_ && wantsJson())
    throw ToolError(ExitCode::eUsage, "", "", "--report prints lines and --json one object");
  bool existed = factsOf(file_).exists;
  if (existed && truncate_) {
    if (!factsOf(file_).isRegular)
      throw ToolError(ExitCode::eNotAFile, "removing", file_, "not a regular file");
    removeFile(file_);
    existed = false;
  }
  try {
    write(existed);
  } catch (...) {
    // The file may have been made, and then nothing written.
    FileFacts facts = factsOf(file_);
    if (!existed && facts.isRegular && facts.size == 0) removeFile(file_);
    throw;
  }
  return ExitCode::eSuccess;
}

void WriteCommand::write(bool existed) {
  EngineFile file(file_, EngineFile::eWrite, static_cast<uint32_t>(block_));
  uint64_t start = file->GetPosition();
  putName(results(), "file", file_);
  results()["start"] = start;
  if (start > 0) say(inQuotes(file_) + " exists: writing continues at its end, " + sizeText(start));
  Meter meter;
  WriteStream stream(file, inFlight_);
  std::optional<DurableFile> durable;
  uint64_t size = 0;
  try {
    if (flushEvery_ > 0) durable.emplace(file_, !existed);
    send(stream, start, durable ? &*durable : nullptr);
    stream.settle();
    if (durable) flush(stream, *durable);
    file.close();
    size = factsOf(file_).size;
  } catch (ToolError& error) {
    settleFailure(error, file, stream, start, existed);
    throw;
  } catch (const std::bad_alloc&) {
    ToolError error = noMemory();
    settleFailure(error, file, stream, start, existed);
    throw error;
  }
  tell(stream, meter, start, size);
}

void WriteCommand::send(WriteStream& stream, uint64_t start, DurableFile* durable) {
  PlainFile input = PlainFile::standardInput();
  Progress progress("writing", haveSize_ ? size_ : 0, wantsProgress());
  uint64_t done = 0;
  uint64_t flushed = 0;
  while (!haveSize_ || done < size_) {
    stream.waitForRoom();
    size_t wanted = static_cast<size_t>(haveSize_ ? std::min(block_, size_ - done) : block_);
    Qv::Ptr<iMemHolder> block = WriteStream::newBuffer(static_cast<uint32_t>(wanted));
    size_t count = wanted;
    if (pattern_)
      Stamp::fill(block->getBuffer(), start + done, count, seed_);
    else
      count = input.read(block->getBuffer(), wanted);
    if (count == 0) break;
    stream.write(block, static_cast<uint32_t>(count));
    done += count;
    progress.add(count);
    reportLine("accepted", stream.end());
    if (count < wanted) break;
    if (!durable || done - flushed < flushEvery_) continue;
    flush(stream, *durable);
    flushed = done;
  }
}

// Nothing is said to be written before the system took it, nor durable before it was flushed.
void WriteCommand::flush(WriteStream& stream, DurableFile& durable) {
  stream.settle();
  reportLine("written", stream.end());
  durable.flush();
  reportLine("durable", stream.end());
  results()["durable"] = stream.end();
}

void WriteCommand::reportLine(const char* state, uint64_t end) const {
  if (report_) std::printf("%s %llu\n", state, static_cast<unsigned long long>(end));
}

// What is good stays and ends the file; a file that was made for nothing goes.
void WriteCommand::settleFailure(ToolError& error, EngineFile& file, WriteStream& stream,
                                 uint64_t start, bool existed) {
  stream.drain();
  // The first failure is the one that is told; how far the file reaches is looked up.
  static_cast<void>(closesWell(file));
  uint64_t size = factsOf(file_).size;
  uint64_t good = std::clamp(std::min(size, stream.writtenEnd()), start, std::max(size, start));
  if (size > good) truncateFile(file_, good);
  bool isGone = good == start && !existed;
  if (isGone) removeFile(file_);
  // Nothing is left to be done: the words may find no memory.
  results()["bytes"] = good - start;
  results()["size"] = good;
  if (isGone) {
    error.withRemark("nothing was written and no file is left");
  } else {
    error.withRemark(sizeText(good - start) + " were written; the file ends after them, at " +
                     std::to_string(good));
  }
}

void WriteCommand::tell(const WriteStream& stream, const Meter& meter, uint64_t start,
                        uint64_t size) {
  uint64_t end = start + stream.bytes();
  double elapsed_ms = meter.elapsed_ms();
  double cpu_us = meter.cpuPerMb_us(stream.bytes());
  Json& json = results();
  json["bytes"] = stream.bytes();
  json["size"] = size;
  json["padding"] = size > end ? size - end : 0;
  json["writes"] = stream.latency().count();
  json["block"] = block_;
  json["in_flight"] = inFlight_;
  json["elapsed_ms"] = elapsed_ms;
  json["mb_per_s"] = megabytesPerSecond(stream.bytes(), elapsed_ms);
  putLatency(json, stream.latency());
  json["cpu_us_per_mb"] = cpu_us;
  json["transport"] = EngineSession::transport();
  if (size < end)
    throw ToolError(ExitCode::eIo, "writing", file_,
                    text("it ends at %llu instead of %llu", static_cast<unsigned long long>(size),
                         static_cast<unsigned long long>(end)));
  say(text("%s in %.3f s: %.1f MB/s (%s a write, %u in flight, %s)",
           sizeText(stream.bytes()).c_str(), elapsed_ms / 1000,
           megabytesPerSecond(stream.bytes(), elapsed_ms), sizeText(block_).c_str(), inFlight_,
           EngineSession::transport().c_str()));
  say("completion time: " + latencyText(stream.latency()));
  say(text("the file now has %llu bytes; processor: %.1f us a MB",
           static_cast<unsigned long long>(size), cpu_us));
  if (size > end)
    say(
        text("the last sector was padded with zeros: the file is %llu bytes longer than what was "
             "written",
             static_cast<unsigned long long>(size - end)));
}
