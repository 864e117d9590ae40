#include "tools/fsys/TimeCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>

#include "tools/fsys/Limits.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Table.h"
#include "tools/fsys/Text.h"

namespace {

constexpr double kSecondsPerMinute = 60;
constexpr double kMib = 1024.0 * 1024.0;
constexpr uint32_t kUnknown = std::numeric_limits<uint32_t>::max();

std::string timeText(std::optional<uint32_t> minutes) {
  constexpr uint32_t kPerHour = 60;
  if (!minutes) return "unknown";
  return text("%u h %02u min", *minutes / kPerHour, *minutes % kPerHour);
}

}  // namespace

CLI::App* TimeCommand::defineStorage(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("time", "Say how long each media drive can be recorded to");
  addSize(command, "--rate", rate_, 1, Limits::kMostFile, "Bytes a second of what is recorded")
      ->required();
  addSize(command, "--rate2", rate2_, 0, Limits::kMostFile,
          "Bytes a second of what is recorded beside it (0)");
  return command;
}

ExitCode TimeCommand::work() {
  Table table({{"drive"},
               {"name"},
               {"for recording", Table::eRight},
               {"time left", Table::eRight},
               {"path"}});
  results()["rate"] = rate_;
  results()["rate2"] = rate2_;
  results()["drives"] = Json::array();
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all()) {
    double space_mib = std::max(DiskManager::getSpaceForRecording(*drive), 0.0);
    std::optional<uint32_t> minutes = timeLeft(*drive, space_mib);
    Json entry;
    MediaDrives::put(entry, *drive);
    entry["for_recording_bytes"] = static_cast<uint64_t>(space_mib * kMib);
    entry["minutes"] = minutes ? Json(*minutes) : Json(nullptr);
    results()["drives"].push_back(entry);
    table.add({MediaDrives::codeOf(drive->getId()), escaped(MediaDrives::nameOf(*drive)),
               sizeText(static_cast<uint64_t>(space_mib * kMib)), timeText(minutes),
               escaped(MediaDrives::pathOf(*drive))});
  }
  say(table);
  return ExitCode::eSuccess;
}

// The registry counts minutes in 32 bits; more of them are not told.
std::optional<uint32_t> TimeCommand::timeLeft(const MediaDrive& drive, double space_mib) const {
  double rateA = static_cast<double>(rate_) * kSecondsPerMinute;
  double rateB = static_cast<double>(rate2_) * kSecondsPerMinute;
  if (space_mib * kMib / (rateA + rateB) >= kUnknown) return std::nullopt;
  uint32_t minutes = DiskManager::get_mins_of_recording_left(drive.getId(), rateA, rateB);
  return minutes == kUnknown ? std::nullopt : std::optional(minutes);
}
