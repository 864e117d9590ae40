#include "tools/fsys/ScanCommand.h"

#include <algorithm>

#include "fsys/ScanTally.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/Text.h"

namespace {

constexpr double kMsPerSecond = 1e3;

unsigned long long wide(uint64_t number) { return number; }

double perSecond(const ScanTally& tally) {
  return tally.time_ms > 0 ? static_cast<double>(tally.seen) / tally.time_ms * kMsPerSecond : 0;
}

}  // namespace

CLI::App* ScanCommand::defineStorage(CLI::App& app) {
  CLI::App* command = addCommand(app, "scan", "Say what media the media drives hold, by folder");
  addFlag(command, "--stats", stats_, "Also how fast it was found, and what was passed over");
  return command;
}

ExitCode ScanCommand::work() {
  std::vector<FolderCount> folders = FolderCount::all();
  results()["folders"] = Json::array();
  for (const FolderCount& folder : folders) results()["folders"].push_back(folder.json());
  say(FolderCount::table(folders));
  tellLeftOut(folders);
  tellMissing();
  if (stats_) tellStats();
  return ExitCode::eSuccess;
}

// An entry has one file of high resolution, and a displaced one only while it has no proxy.
void ScanCommand::tellLeftOut(const std::vector<FolderCount>& folders) {
  const ScanTally tally = SystemCache::getScanTally();
  uint64_t count = tally.added + tally.augmented;
  for (const FolderCount& folder : folders) count -= std::min(count, folder.files);
  results()["left_out"] = count;
  if (count > 0)
    say(text("%llu file%s left out: others have the same cookie", wide(count),
             count == 1 ? " is" : "s are"));
}

void ScanCommand::tellStats() {
  ScanTally tally = SystemCache::getScanTally();
  Json& stats = results()["stats"];
  stats["folders"] = tally.folders;
  stats["seen"] = tally.seen;
  stats["added"] = tally.added;
  stats["augmented"] = tally.augmented;
  stats["skipped"]["empty"] = tally.empty;
  stats["skipped"]["ineligible"] = tally.ineligible;
  stats["skipped"]["not_a_cookie"] = tally.notCookies;
  stats["time_ms"] = tally.time_ms;
  stats["files_per_second"] = perSecond(tally);
  say(text("%llu files in %llu folders seen in %.1f ms: %.0f files a second", wide(tally.seen),
           wide(tally.folders), tally.time_ms, perSecond(tally)));
  say(text("%llu added, %llu augmented; skipped: %llu empty, %llu ineligible, %llu not a cookie",
           wide(tally.added), wide(tally.augmented), wide(tally.empty), wide(tally.ineligible),
           wide(tally.notCookies)));
}
