#include "tools/fsys/BestCommand.h"

#include <CLI/CLI.hpp>
#include <charconv>

#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Text.h"

namespace {

constexpr double kMostNeed_mib = 1e15;
constexpr const char* kDoing = "choosing a drive";
constexpr const char* kBestFit = "best-fit";
constexpr const char* kMostFree = "most-free";

bool parseNeed(const std::string& word, double& need_mib) {
  const char* end = word.data() + word.size();
  auto [next, error] = std::from_chars(word.data(), end, need_mib);
  return error == std::errc() && next == end && need_mib >= 0 && need_mib <= kMostNeed_mib;
}

// Whether there is room on a drive that does not tell nobody knows.
void requireKnownSpace() {
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all()) {
    if (drive->getCapacityMB() > 0) continue;
    throw ToolError(ExitCode::eIo, kDoing, MediaDrives::pathOf(*drive),
                    "its free space is not known, and no other drive has room");
  }
}

}  // namespace

CLI::App* BestCommand::defineStorage(CLI::App& app) {
  CLI::App* command = app.add_subcommand("best", "Choose the media drive for a job of known size");
  auto take = [this](const std::string& word) {
    if (!parseNeed(word, need_mib_))
      throw CLI::ValidationError("not a number of MiB: " + inQuotes(word));
  };
  command->add_option_function<std::string>("--size", take, "How much is needed, in MiB")
      ->required()
      ->type_name("MB");
  command->add_option("--match", match_, "best-fit: the fullest that has room; or most-free")
      ->required()
      ->check(CLI::IsMember({kBestFit, kMostFree}));
  return command;
}

ExitCode BestCommand::work() {
  if (MediaDrives::all().empty())
    throw ToolError(ExitCode::eNotFound, kDoing, "", "there is no media drive");
  bool isBestFit = match_ == kBestFit;
  DriveId id = DiskManager::findBestDrive(
      need_mib_, isBestFit ? DiskManager::eBestFit : DiskManager::eMostFree);
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(id);
  if (!drive) requireKnownSpace();
  if (!drive)
    throw ToolError(ExitCode::eNoSpace, kDoing, "",
                    text("no media drive has more than %.0f MiB free", need_mib_));
  // What it gave away is taken off already.
  double free_mib = drive->getSpaceMB() + need_mib_;
  MediaDrives::put(results(), *drive);
  results()["free_mib"] = free_mib;
  say(MediaDrives::titleOf(id) + text(", %.0f MiB free, ", free_mib) +
      inQuotes(MediaDrives::pathOf(*drive)));
  return ExitCode::eSuccess;
}
