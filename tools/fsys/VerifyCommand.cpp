#include "tools/fsys/VerifyCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <new>

#include "tools/fsys/EngineFile.h"
#include "tools/fsys/EngineSession.h"
#include "tools/fsys/Limits.h"
#include "tools/fsys/NumberRange.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Progress.h"
#include "tools/fsys/ReadStream.h"
#include "tools/fsys/Stamp.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/WriteStream.h"

CLI::App* VerifyCommand::define(CLI::App& app) {
  block_ = Limits::kDefaultBlock;
  inFlight_ = Limits::kDefaultReadsInFlight;
  CLI::App* command =
      app.add_subcommand("verify", "Write stamped sectors, read them back, check every byte");
  command->add_option("FILE", file_, "A file that does not exist yet")->required();
  CLI::Option* size = addSize(command, "--size", size_, 0, Limits::kMostFile,
                              "How large the file is made (64 MiB)");
  size->each([this](const std::string&) { haveSize_ = true; });
  command->add_option("--seed", seed_, "What the stamps are made from (0)")
      ->transform(NumberRange(uint64_t{0}, std::numeric_limits<uint64_t>::max()));
  addSize(command, "--block", block_, 1, Limits::kMostBlock, "Bytes a transfer (1 MiB)");
  command->add_option("--inflight", inFlight_, "Transfers in flight (8)")
      ->transform(NumberRange(1u, Limits::kMostInFlight));
  CLI::Option* check = command->add_flag("--check-only", checkOnly_,
                                         "Write nothing: check a file that was made so before");
  command->add_flag("--force", force_, "Replace a file that exists")->excludes(check);
  command->add_flag("--remove", remove_, "Remove the file when every byte was right")
      ->excludes(check);
  return command;
}

ExitCode VerifyCommand::execute() {
  constexpr uint64_t kDefaultSize = uint64_t{64} << 20;
  if (!haveSize_ && !checkOnly_) size_ = kDefaultSize;
  putName(results(), "file", file_);
  results()["seed"] = seed_;
  results()["transport"] = EngineSession::transport();
  if (!checkOnly_) makeFile();
  readBack();
  if (remove_) removeFile(file_);
  return ExitCode::eSuccess;
}

// A file that could not be filled is no use to anybody: it goes.
void VerifyCommand::makeFile() {
  FileFacts facts = factsOf(file_);
  if (facts.exists && !facts.isRegular)
    throw ToolError(ExitCode::eNotAFile, "writing", file_,
                    facts.isFolder ? "is a folder" : "not a regular file");
  if (facts.exists && !force_)
    throw ToolError(ExitCode::eExists, "writing", file_,
                    "it exists already (--force replaces it, --check-only only reads it)");
  if (facts.exists) removeFile(file_);
  try {
    writeStamps();
  } catch (ToolError& error) {
    if (removeUnfinished()) error.withRemark("the unfinished file was removed");
    throw;
  } catch (const std::bad_alloc&) {
    removeUnfinished();
    throw;
  }
}

bool VerifyCommand::removeUnfinished() const {
  bool exists = factsOf(file_).exists;
  if (exists) removeFile(file_);
  return exists;
}

void VerifyCommand::writeStamps() {
  EngineFile file(file_, EngineFile::eWrite, static_cast<uint32_t>(block_));
  Progress progress("writing", size_, wantsProgress());
  Meter meter;
  WriteStream stream(file, inFlight_);
  for (uint64_t done = 0; done < size_;) {
    stream.waitForRoom();
    uint32_t count = static_cast<uint32_t>(std::min(block_, size_ - done));
    Qv::Ptr<iMemHolder> block = WriteStream::newBuffer(count);
    Stamp::fill(block->getBuffer(), done, count, seed_);
    stream.write(block, count);
    done += count;
    progress.add(count);
  }
  stream.settle();
  file.close();
  double elapsed_ms = meter.elapsed_ms();
  uint64_t size = factsOf(file_).size;
  Json& json = results()["write"];
  json["bytes"] = size_;
  json["padding"] = size > size_ ? size - size_ : 0;
  json["elapsed_ms"] = elapsed_ms;
  json["mb_per_s"] = megabytesPerSecond(size_, elapsed_ms);
  putLatency(json, stream.latency());
  if (size < size_)
    throw ToolError(ExitCode::eIo, "writing", file_,
                    text("it ends at %llu instead of %llu", static_cast<unsigned long long>(size),
                         static_cast<unsigned long long>(size_)));
  say(text("written: %s in %.3f s, %.1f MB/s; ", sizeText(size_).c_str(), elapsed_ms / 1000,
           megabytesPerSecond(size_, elapsed_ms)) +
      latencyText(stream.latency()));
  if (size > size_)
    say(text("the last sector was padded with zeros: %llu bytes more than were written",
             static_cast<unsigned long long>(size - size_)));
}

void VerifyCommand::readBack() {
  EngineFile file(file_, EngineFile::eRead, static_cast<uint32_t>(block_));
  uint64_t size = file.size();
  if (checkOnly_ && haveSize_ && size != size_)
    throw ToolError(ExitCode::eVerification, "checking", file_,
                    text("it has %llu bytes instead of %llu", static_cast<unsigned long long>(size),
                         static_cast<unsigned long long>(size_)));
  if (checkOnly_) size_ = size;
  results()["size"] = size_;
  Progress progress("checking", size_, wantsProgress());
  Meter meter;
  ReadStream stream(file, ReadStream::wholeFile(size_, static_cast<uint32_t>(block_), 1),
                    inFlight_);
  Block block;
  while (stream.next(block)) {
    uint64_t right = Stamp::check(block.bytes(), block.range.offset, block.range.length, seed_);
    if (right < block.range.length) {
      uint64_t bad = block.range.offset + right;
      uint64_t sector = std::max(bad - bad % Stamp::kSectorBytes, block.range.offset);
      uint64_t count =
          std::min<uint64_t>(Stamp::kSectorBytes, block.range.offset + block.range.length - sector);
      results()["first_bad_offset"] = bad;
      throw ToolError(
          ExitCode::eVerification, "checking", file_,
          text("the first bad byte is at offset %llu", static_cast<unsigned long long>(bad)) +
              "; " + Stamp::describe(block.bytes() + (sector - block.range.offset), count));
    }
    progress.add(block.range.length);
  }
  double elapsed_ms = meter.elapsed_ms();
  Json& json = results()["read"];
  json["bytes"] = size_;
  json["elapsed_ms"] = elapsed_ms;
  json["mb_per_s"] = megabytesPerSecond(size_, elapsed_ms);
  putLatency(json, stream.latency());
  say(text("read back: %s in %.3f s, %.1f MB/s; ", sizeText(size_).c_str(), elapsed_ms / 1000,
           megabytesPerSecond(size_, elapsed_ms)) +
      latencyText(stream.latency()));
  say(text("every one of the %llu bytes is right (seed %llu)",
           static_cast<unsigned long long>(size_), static_cast<unsigned long long>(seed_)));
}
