#include "tools/fsys/demo/DemoCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <future>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/OS.h"
#include "tools/fsys/EngineSession.h"
#include "tools/fsys/FileCopier.h"
#include "tools/fsys/Limits.h"
#include "tools/fsys/NumberRange.h"
#include "tools/fsys/Progress.h"
#include "tools/fsys/Text.h"

namespace {

constexpr size_t kTracks = 4;
constexpr size_t kFewestMedia = kTracks + 1;
constexpr double kLeadIn_ms = 300;  // from the first request to the first picture's turn
constexpr double kMsPerSecond = 1000;
constexpr double kMegabyte = 1e6;

}  // namespace

class DemoCommand::Leftovers {
public:
  explicit Leftovers(bool keep) : keep_(keep) {}
  // What is left of a demo that failed. What cannot be removed is said; the failure is the one that
  // counts.
  ~Leftovers() {
    while (!names_.empty()) {
      try {
        remove();
      } catch (const ToolError& error) {
        std::fprintf(stderr, "fsys demo: %s; it is left there\n", error.what());
      } catch (const std::bad_alloc&) {
        std::fputs("fsys demo: no memory to say what is left there\n", stderr);
      }
    }
  }
  Leftovers(const Leftovers&) = delete;
  Leftovers& operator=(const Leftovers&) = delete;
  void add(const std::string& name) { names_.push_back(name); }
  // Throws for the first that cannot be removed; those behind it are still to be removed then.
  void remove() {
    while (!names_.empty()) {
      std::string name = std::move(names_.back());
      names_.pop_back();
      if (!keep_) removeFileIfThere(name);
    }
  }

private:
  bool keep_;
  std::vector<std::string> names_;
};

CLI::App* DemoCommand::define(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "demo", "Copy media in, play four tracks while a fifth is recorded, check every byte");
  command->add_option("MEDIA", media_, "Five files or more: four to play, one to record")
      ->required()
      ->expected(static_cast<int>(kFewestMedia), CLI::detail::expected_max_vector_size);
  command->add_option("--work", work_, "The folder for the copies and the recording (.)");
  command->add_option("--seconds", seconds_, "How long the tracks play (8)")
      ->check(NumberRange(0.2, 3600.0));
  command->add_flag("--keep", keep_, "Leave the copies and the recording there");
  return command;
}

ExitCode DemoCommand::execute() {
  if (!factsOf(work_).isFolder)
    throw ToolError(ExitCode::eNotFound, "working in", work_, "no such folder");
  Leftovers leftovers(keep_);
  for (const std::string& source : media_) {
    std::string target = FileCopier::destinationOf(source, work_);
    if (std::find(copies_.begin(), copies_.end(), target) != copies_.end())
      throw ToolError(ExitCode::eUsage, "copying", source, "two media have the same name");
    if (factsOf(target).exists)
      throw ToolError(ExitCode::eExists, "copying to", target, "it exists already");
    copies_.push_back(target);
    leftovers.add(target);
  }
  copyIn();
  stream(leftovers);
  leftovers.remove();
  return ExitCode::eSuccess;
}

void DemoCommand::copyIn() {
  uint64_t total = 0;
  for (const std::string& source : media_) total += factsOf(source).size;
  Progress progress("copying in", total, wantsProgress());
  FileCopier copier({static_cast<uint32_t>(Limits::kDefaultBlock), Limits::kDefaultReadsInFlight,
                     Limits::kDefaultWritesInFlight, false});
  Meter meter;
  for (size_t i = 0; i < media_.size(); ++i)
    copied_bytes_ += copier.copy(media_[i], copies_[i], progress);
  copy_ms_ = meter.elapsed_ms();
  say(text("Copied in through the engine: %zu files, %.0f MB in %.2f s (%.0f MB/s).", media_.size(),
           static_cast<double>(copied_bytes_) / kMegabyte, copy_ms_ / kMsPerSecond,
           megabytesPerSecond(copied_bytes_, copy_ms_)));
}

void DemoCommand::stream(Leftovers& leftovers) {
  uint64_t pictures = static_cast<uint64_t>(seconds_ * kMsPerSecond / DemoClock::kPicture_ms);
  Tracks tracks;
  for (size_t i = 0; i < kTracks; ++i)
    tracks.push_back(
        std::make_unique<DemoTrack>(copies_[i], media_[i], pictures, i + 1 == kTracks));
  std::string recording = copies_[kTracks] + ".recording";
  if (factsOf(recording).exists)
    throw ToolError(ExitCode::eExists, "recording", recording, "it exists already");
  leftovers.add(recording);
  DemoRecorder recorder(recording, media_[kTracks], pictures);
  say(text("Playing %zu tracks at 25 pictures a second for %.0f s while a fifth is recorded ...",
           kTracks, seconds_));
  playAll(tracks, recorder);
  for (const auto& track : tracks) checked_bytes_ += track->figures().checkedBytes;
  say("Checking every file whole against its source ...");
  for (size_t i = 0; i < media_.size(); ++i) checkWhole(copies_[i], media_[i]);
  checkWhole(recording, media_[kTracks]);
  tell(tracks, recorder);
}

// The threads wait until all of them are there: the tracks begin together, or not at all.
void DemoCommand::playAll(Tracks& tracks, DemoRecorder& recorder) {
  for (const auto& track : tracks) track->prepare();
  std::promise<const DemoClock*> allThere;
  std::shared_future<const DemoClock*> start = allThere.get_future().share();
  std::vector<std::thread> threads;
  auto startThread = [&](auto* playing) {
    threads.emplace_back([start, playing] {
      if (const DemoClock* clock = start.get()) playing->run(*clock);
    });
  };
  auto joinAll = [&threads] {
    for (std::thread& thread : threads) thread.join();
  };
  try {
    threads.reserve(tracks.size() + 1);
    for (const auto& track : tracks) startThread(track.get());
    startThread(&recorder);
  } catch (const std::system_error& error) {
    allThere.set_value(nullptr);
    joinAll();
    throw ToolError(ExitCode::eResources, "starting a track's thread", "", error.code().message());
  } catch (const std::bad_alloc&) {
    allThere.set_value(nullptr);
    joinAll();
    throw;
  }
  Meter meter;
  DemoClock clock{Qv::now() + kLeadIn_ms};
  allThere.set_value(&clock);
  joinAll();
  streaming_ms_ = meter.elapsed_ms() - kLeadIn_ms;
  streamingCpu_ms_ = meter.cpu_ms();
  for (const auto& track : tracks) track->rethrow();
  recorder.rethrow();
}

// The whole file through the engine, beside its source through the system's plain reads.
void DemoCommand::checkWhole(const std::string& name, const std::string& sourceName) {
  EngineFile file(name, EngineFile::eRead, static_cast<uint32_t>(Limits::kDefaultBlock));
  PlainFile source = PlainFile::openForReading(sourceName);
  uint64_t size = file.size();
  if (size != factsOf(sourceName).size)
    throw ToolError(ExitCode::eVerification, "checking", name,
                    "it is not as long as its source " + inQuotes(sourceName));
  ReadStream reading(file,
                     ReadStream::wholeFile(size, static_cast<uint32_t>(Limits::kDefaultBlock), 1),
                     Limits::kDefaultReadsInFlight);
  std::vector<unsigned char> expected(Limits::kDefaultBlock);
  Block block;
  while (reading.next(block)) {
    size_t count = source.readAt(block.range.offset, expected.data(), block.range.length);
    if (count != block.range.length)
      throw ToolError(ExitCode::eVerification, "checking", name, "its source is shorter");
    compareBytes(name, block.range.offset, block.bytes(), expected.data(), count);
    checked_bytes_ += count;
  }
}

void DemoCommand::tellRow(const std::string& what, const std::string& file,
                          const DemoFigures& figures) {
  Json row;
  row["what"] = what;
  putName(row, "file", lastPartOf(file));
  row["bytes"] = figures.bytes;
  row["mb_per_s"] = megabytesPerSecond(figures.bytes, streaming_ms_);
  row["pictures"] = figures.pictures;
  row["late"] = figures.late;
  putLatency(row, figures.latency);
  row["cache_hits"] = figures.cacheHits;
  results()["rows"].push_back(row);
  say(text("%-9s %-24s %7.0f %7.1f %9llu %6llu %8.2f %9.2f %11llu", what.c_str(),
           escaped(lastPartOf(file)).c_str(), static_cast<double>(figures.bytes) / kMegabyte,
           megabytesPerSecond(figures.bytes, streaming_ms_),
           static_cast<unsigned long long>(figures.pictures),
           static_cast<unsigned long long>(figures.late), figures.latency.percentile(0.99),
           figures.latency.worst(), static_cast<unsigned long long>(figures.cacheHits)));
}

void DemoCommand::tell(const Tracks& tracks, const DemoRecorder& recorder) {
  DemoFigures total;
  auto addUp = [&total](const DemoFigures& figures) {
    total.bytes += figures.bytes;
    total.pictures += figures.pictures;
    total.late += figures.late;
    total.cacheHits += figures.cacheHits;
    total.checking_ms += figures.checking_ms;
    total.latency.add(figures.latency);
  };
  say("");
  say("                                       MB    MB/s  pictures   late   p99 ms  worst ms"
      "  cache hits");
  for (size_t i = 0; i < tracks.size(); ++i) {
    const DemoTrack& track = *tracks[i];
    tellRow(text(track.isScrubbed() ? "scrub %zu" : "play %zu", i + 1), track.name(),
            track.figures());
    addUp(track.figures());
  }
  tellRow("record 5", recorder.name(), recorder.figures());
  addUp(recorder.figures());
  tellRow("together", "", total);
  tellTotals(total);
}

void DemoCommand::tellTotals(const DemoFigures& total) {
  double cpu_us = std::max(streamingCpu_ms_ - total.checking_ms, 0.0) * 1e9 /
                  static_cast<double>(std::max<uint64_t>(total.bytes, 1));
  Json& json = results();
  json["copied_bytes"] = copied_bytes_;
  json["copy_mb_per_s"] = megabytesPerSecond(copied_bytes_, copy_ms_);
  json["seconds"] = streaming_ms_ / kMsPerSecond;
  json["late"] = total.late;
  json["cpu_us_per_mb"] = cpu_us;
  json["checked_bytes"] = checked_bytes_;
  json["transport"] = EngineSession::transport();
  say("");
  say("A picture is late when it is not in memory at its turn, every 40 ms. Its time runs from "
      "the");
  say("request to its arrival; a cache hit was in memory already and needed no transfer.");
  say("");
  say(text("throughput    %.1f MB/s played and recorded at once",
           megabytesPerSecond(total.bytes, streaming_ms_)));
  say(text("picture time  %.2f ms for 99 of 100, %.2f ms the worst; %llu of %llu pictures late",
           total.latency.percentile(0.99), total.latency.worst(),
           static_cast<unsigned long long>(total.late),
           static_cast<unsigned long long>(total.pictures)));
  say(text("cache hits    %llu", static_cast<unsigned long long>(total.cacheHits)));
  say(text("processor     %.0f us a MB (without the checking)", cpu_us));
  say("transfers by  " + EngineSession::transport());
  say(text("checked       %llu bytes against their sources: every one is right",
           static_cast<unsigned long long>(checked_bytes_)));
}
