#include "tools/fsys/demo/DemoCommand.h"

#include <CLI/CLI.hpp>
#include <utility>

#include "tools/fsys/Interrupt.h"
#include "tools/fsys/NumberRange.h"
#include "tools/fsys/Table.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/demo/AskChapter.h"
#include "tools/fsys/demo/BringChapter.h"
#include "tools/fsys/demo/DeleteChapter.h"
#include "tools/fsys/demo/EndChapter.h"
#include "tools/fsys/demo/FolderBay.h"
#include "tools/fsys/demo/LinkChapter.h"
#include "tools/fsys/demo/LoginChapter.h"
#include "tools/fsys/demo/LogoutChapter.h"
#include "tools/fsys/demo/MountedBay.h"
#include "tools/fsys/demo/PrepareChapter.h"
#include "tools/fsys/demo/ProxyChapter.h"
#include "tools/fsys/demo/RecordChapter.h"
#include "tools/fsys/demo/RenameChapter.h"
#include "tools/fsys/demo/ScanChapter.h"
#include "tools/fsys/demo/StartChapter.h"
#include "tools/fsys/demo/TaskChapter.h"
#include "tools/fsys/demo/UnplugChapter.h"

namespace {

constexpr double kMsPerSecond = 1000;
constexpr double kMegabyte = 1e6;

unsigned long long wide(uint64_t number) { return number; }

double speedOf(const DemoStep& step) {
  return megabytesPerSecond(step.bytes, step.transfer_ms > 0 ? step.transfer_ms : step.time_ms);
}

template <typename... Kinds>
std::vector<std::unique_ptr<DemoChapter>> made() {
  std::vector<std::unique_ptr<DemoChapter>> chapters;
  (chapters.push_back(std::make_unique<Kinds>()), ...);
  return chapters;
}

}  // namespace

CLI::App* DemoCommand::define(CLI::App& app) {
  CLI::App* command = app.add_subcommand("demo", "Live through an editor's day, and check it all");
  command->add_option("MEDIA", media_, "The folder of its shots: four, and two with proxies")
      ->required();
  command->add_option("--work", work_, "An empty folder for what it makes")
      ->required()
      ->type_name("FOLDER");
  command->add_option("--drives", drives_, "Two empty folders that are its drives (in --work)")
      ->expected(2)
      ->type_name("FOLDER");
  command->add_option("--device", device_, "What is mounted at the first of them; with --type");
  command->add_option("--type", type_, "The file system there");
  command->add_option("--seconds", seconds_, "How long is played and recorded (8)")
      ->check(NumberRange(0.2, 3600.0));
  command->add_flag("--keep", keep_, "Leave everything there");
  return command;
}

DemoCommand::Chapters DemoCommand::chapters() {
  return made<StartChapter, LoginChapter, PrepareChapter, TaskChapter, BringChapter, RecordChapter,
              ProxyChapter, ScanChapter, AskChapter, LinkChapter, UnplugChapter, RenameChapter,
              DeleteChapter, LogoutChapter, EndChapter>();
}

void DemoCommand::requireDevice() const {
  if (device_.empty() == type_.empty() && (device_.empty() || !drives_.empty())) return;
  throw ToolError(ExitCode::eUsage, "", "", "--device, --type and --drives go together");
}

ExitCode DemoCommand::execute() {
  requireDevice();
  DemoMedia media(media_);
  DemoFolders folders(work_, drives_, keep_);
  DemoDay day(media, folders);
  day.seconds = seconds_;
  day.wantsProgress = wantsProgress();
  setBays(day);
  live(day);
  folders.clear();
  tell(day);
  return ExitCode::eSuccess;
}

// The one that goes away is the first.
void DemoCommand::setBays(DemoDay& day) const {
  for (DemoDrive& drive : day.drives) drive.bay = std::make_unique<FolderBay>(drive.root);
  if (device_.empty()) return;
  DemoDrive& first = day.recordDrive();
  first.bay = std::make_unique<MountedBay>(first.root, device_, type_);
}

void DemoCommand::live(DemoDay& day) {
  results()["steps"] = Json::array();
  for (const auto& chapter : chapters()) runChapter(*chapter, day);
}

void DemoCommand::runChapter(DemoChapter& chapter, DemoDay& day) {
  Interrupt::check();
  say(text("%-9s %s ...", chapter.name(), chapter.story()));
  DemoStep step;
  step.name = chapter.name();
  Meter meter;
  try {
    chapter.run(day, step);
  } catch (ToolError& error) {
    std::string remark = error.remark().empty() ? "" : error.remark() + "; ";
    throw error.withRemark(remark + "this was the step \"" + step.name + "\"");
  }
  step.time_ms = meter.elapsed_ms();
  Json row;
  row["step"] = step.name;
  row["what"] = step.what;
  row["amount"] = step.amount;
  row["time_ms"] = step.time_ms;
  row["bytes"] = step.bytes;
  row["mb_per_s"] = speedOf(step);
  row["checks"] = step.checks.count();
  row["right"] = true;
  results()["steps"].push_back(row);
  steps_.push_back(std::move(step));
}

void DemoCommand::tell(const DemoDay& day) {
  say("");
  tellShows(day.stream);
  tellTotals(day);
  tellSteps();
}

void DemoCommand::tellShows(const DemoStream& stream) {
  Table table({{"shot"},
               {""},
               {"MB", Table::eRight},
               {"MB/s", Table::eRight},
               {"pictures", Table::eRight},
               {"late", Table::eRight},
               {"p99 ms", Table::eRight},
               {"worst ms", Table::eRight},
               {"cache hits", Table::eRight}});
  auto addRow = [&](const std::string& what, const std::string& shot, const DemoFigures& figures) {
    double speed = megabytesPerSecond(figures.bytes, stream.time_ms());
    Json row;
    row["what"] = what;
    row["shot"] = shot;
    row["bytes"] = figures.bytes;
    row["mb_per_s"] = speed;
    row["pictures"] = figures.pictures;
    row["late"] = figures.late;
    putLatency(row, figures.latency);
    row["cache_hits"] = figures.cacheHits;
    results()["shots"].push_back(row);
    table.add({what, shot, text("%.0f", static_cast<double>(figures.bytes) / kMegabyte),
               text("%.1f", speed), std::to_string(figures.pictures), std::to_string(figures.late),
               text("%.2f", figures.latency.percentile(0.99)),
               text("%.2f", figures.latency.worst()), std::to_string(figures.cacheHits)});
  };
  for (const auto& show : stream.shows()) addRow(show->what(), show->shot(), show->figures());
  addRow("together", "", stream.total());
  for (const std::string& line : table.lines()) say(line);
}

void DemoCommand::tellTotals(const DemoDay& day) {
  DemoFigures total = day.stream.total();
  Json& json = results();
  json["drive"] = day.drives[0].bay->kind();
  json["seconds"] = day.stream.time_ms() / kMsPerSecond;
  json["late"] = total.late;
  json["cpu_us_per_mb"] = day.stream.cpuPerMb_us();
  json["checked_bytes"] = day.checkedBytes;
  json["transport"] = EngineSession::transport();
  say("");
  say("A picture is late when it, or its sound, is not in memory at its turn, every 40 ms. Its "
      "time");
  say("runs from the request to its arrival; a cache hit was in memory and needed no transfer.");
  say("");
  say(text("throughput    %.1f MB/s played and recorded at once",
           megabytesPerSecond(total.bytes, day.stream.time_ms())));
  say(text("picture time  %.2f ms for 99 of 100, %.2f ms the worst; %llu of %llu pictures late",
           total.latency.percentile(0.99), total.latency.worst(), wide(total.late),
           wide(total.pictures)));
  say(text("cache hits    %llu", wide(total.cacheHits)));
  say(text("processor     %.0f us a MB (without the checking)", day.stream.cpuPerMb_us()));
  say("transfers by  " + EngineSession::transport());
  say(text("checked       %llu bytes against their sources", wide(day.checkedBytes)));
}

void DemoCommand::tellSteps() {
  Table table({{"step"},
               {"what"},
               {"how much", Table::eRight},
               {"time", Table::eRight},
               {"MB", Table::eRight},
               {"MB/s", Table::eRight},
               {"checks", Table::eRight},
               {""}});
  uint64_t checks = 0;
  for (const DemoStep& step : steps_) {
    bool hasBytes = step.bytes > 0;
    table.add({step.name, step.what, step.amount, text("%.2f s", step.time_ms / kMsPerSecond),
               hasBytes ? text("%.0f", static_cast<double>(step.bytes) / kMegabyte) : "-",
               hasBytes ? text("%.0f", speedOf(step)) : "-", std::to_string(step.checks.count()),
               "right"});
    checks += step.checks.count();
  }
  results()["checks"] = checks;
  say("");
  for (const std::string& line : table.lines()) say(line);
  say(text("%zu steps, %llu checks: every one is right", steps_.size(), wide(checks)));
}
