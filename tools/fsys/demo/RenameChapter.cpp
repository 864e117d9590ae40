#include "tools/fsys/demo/RenameChapter.h"

#include "fsys/DiskManager.h"
#include "platform/TextFile.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr const wchar_t* kName = L"Dailies";

}  // namespace

RenameChapter::RenameChapter() : DemoChapter("rename", "giving a location another name") {}

void RenameChapter::run(DemoDay& day, DemoStep& step) {
  DemoDrive& drive = day.recordDrive();
  std::string before = MediaDrives::nameOf(*drive.registered());
  std::string name = bytesOf(kName);
  PathString info = DiskManager::getInfoFileNameFor(drive.id);
  if (!DiskManager::renameMediaLocation(drive.id, kName))
    throw ToolError(ExitCode::eIo, "renaming the drive", drive.root, "the name was not saved");
  day.nameFile = bytesOf(info);
  day.checkTold(DemoNews::of(DemoNews::kLocations, 1), step.checks);
  TextFile onDisk(info);
  onDisk.load();
  step.checks.same(bytesOf(info), "name=" + name, std::string(onDisk[0].view()));
  step.checks.same("the drive called " + name, MediaDrives::codeOf(drive.id),
                   MediaDrives::codeOf(DiskManager::getDriveWithName(kName)));
  step.checks.same(
      "the drive called " + before, MediaDrives::codeOf(DriveId()),
      MediaDrives::codeOf(DiskManager::getDriveWithName(fromUTF8(std::string_view(before)))));
  step.what = before + " is called " + name;
  step.amount = "1 location";
}
