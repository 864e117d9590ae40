#include "tests/fault/tool/DemoDamage.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>

#include "fsys/DiskManager.h"
#include "fsys/Fsys.h"
#include "fsys/SystemCache.h"
#include "platform/Shutdown.h"

namespace {

using Damages = std::vector<DemoDamage>;
using enum DemoDamage::eWhen;

// Priorities of the shutdown.
constexpr int kAboveAll = 600;
constexpr int kBehindTheEngine = 450;
constexpr int kBehindTheRegistry = 150;

// The messages of the day that something happens at, counted by their kind. The media locations
// change as the registry starts, as each drive comes, and as one is renamed. Files are added as
// they are brought in (20), as they are recorded (10), and as a link.
constexpr unsigned kFirstDrive = 2;
constexpr unsigned kBothDrives = 3;
constexpr unsigned kRenamed = 4;
constexpr unsigned kBroughtIn = 20;
constexpr unsigned kRecorded = 21;
constexpr unsigned kLinked = 31;
constexpr unsigned kFirstProxy = 1;
constexpr unsigned kAllProxies = 4;
constexpr unsigned kDeleting = 2;

void flip(const ToolStage& stage, const std::string& name) {
  std::string content = stage.content(name);
  content[content.size() / 2] = static_cast<char>(content[content.size() / 2] ^ 1);
  stage.putText(name, content);
}
void remove(const ToolStage& stage, const std::string& name) {
  ASSERT_TRUE(std::filesystem::remove(stage.path(name)));
}

constexpr const char* kCopied = "work/two/Sound/STAKE000401.wav";
constexpr const char* kTaken = "work/one/Material/VTAKE000500.mov";
constexpr const char* kLower = "work/two/Material/VTAKE000500.A2.proxy.144.mp4";
constexpr const char* kHigher = "work/two/Material/VTAKE000600.A2.proxy.288.mp4";
constexpr const char* kMoved = "work/one/Elsewhere/VTAKE000200.mov";
constexpr const char* kStray = "work/one/Material/VSTRAY000000.mov";

Damages ofTheDrives() {
  return {
      {"AnEngineThatIsThereAlready",
       eBefore,
       0,
       [](const ToolStage&) { FsysInitialize(); },
       "start",
       {"checking \"the engine before the start\": expected it gone, found it there"}},
      {"AListOfLocationsThatCannotBeWritten",
       eLocations,
       1,
       [](const ToolStage& s) { s.makeFolder("work/project/DefNetDrive.txt"); },
       "prepare",
       {"DefNetDrive.txt"},
       9},
      {"AMediaFolderThatIsThereBefore",
       eLocations,
       kFirstDrive,
       [](const ToolStage& s) { s.makeFolder("work/one/Sound"); },
       "prepare",
       {"work/one/Sound", "expected it gone, found it there"}},
      {"AMediaFolderThatCannotBeMade",
       eLocations,
       kFirstDrive,
       [](const ToolStage& s) { s.putText("work/one/Material", "a file"); },
       "prepare",
       {"preparing \"", "work/one"},
       8},
      {"PreferencesThatCannotBeKept",
       eLocations,
       kBothDrives,
       [](const ToolStage& s) { s.putText("work/config", "a file"); },
       "task",
       {"checking \"the drive of the task Record\": expected 1, found 0"}},
  };
}

Damages ofTheMedia() {
  return {
      {"AFileThatIsToBeBroughtInAndIsThere",
       eLocations,
       kBothDrives,
       [](const ToolStage& s) { s.putText("work/one/Material/VTAKE000100.mov", "media"); },
       "bring in",
       {"work/one/Material/VTAKE000100.mov", "it exists already"},
       8},
      {"AShotThatIsNotTold",
       eAdded,
       kBroughtIn,
       [](const ToolStage&) { SystemCache::invalidate(); },
       "bring in",
       {"checking \"the size of STAKE000404\": expected 3005, found 0"}},
      {"AFileThatIsToBeRecordedAndIsThere",
       eAdded,
       kBroughtIn,
       [](const ToolStage& s) { s.putText(kTaken, "media"); },
       "record",
       {"recording \"", kTaken, "it exists already"},
       8},
      {"AWrongByteInWhatIsPlayed",
       eAdded,
       kBroughtIn,
       [](const ToolStage& s) { flip(s, kCopied); },
       "record",
       {kCopied, "expected byte ", ", found ", "at offset 1501"}},
      {"AWrongByteInWhatWasRecorded",
       eAdded,
       kRecorded,
       [](const ToolStage& s) { flip(s, kTaken); },
       "record",
       {kTaken, "expected byte ", ", found ", "at offset 30003"}},
      {"AByteTooMuchInWhatWasRecorded",
       eAdded,
       kRecorded,
       [](const ToolStage& s) { s.putText(kTaken, s.content(kTaken) + "x"); },
       "record",
       {kTaken, "expected 60006 bytes, found 60007"}},
  };
}

Damages ofTheProxies() {
  return {
      {"AProxyThatIsForgotten",
       eProxyAdded,
       kFirstProxy,
       [](const ToolStage& s) {
         SystemCache::findEntryForCookie(Cookie(L"VTAKE000500"))
             ->removeProxyFile(fromUTF8(std::string_view(
                 std::filesystem::path(s.path(kLower)).lexically_normal().native())));
       },
       "proxies",
       {"the height of ", kLower, "expected 144, found 0"}},
      {"AProxyThatIsLost",
       eProxyAdded,
       kAllProxies,
       [](const ToolStage& s) { remove(s, kLower); },
       "scan",
       {"checking \"an entry of the catalogue\": expected STAKE000501 ", kLower}},
      {"AFileThatIsNoMedia",
       eProxyAdded,
       kAllProxies,
       [](const ToolStage& s) { s.putText("work/two/Material/notes.txt", "words"); },
       "scan",
       {"work/two/Material/notes.txt", "expected it gone, found it there"}},
      {"AWrongByteInAProxy",
       eProxyAdded,
       kAllProxies,
       [](const ToolStage& s) { flip(s, kHigher); },
       "ask",
       {kHigher, "expected byte ", ", found "}},
      {"AProxyThatIsCut",
       eProxyAdded,
       kAllProxies,
       [](const ToolStage& s) { s.putText(kHigher, s.content(kHigher).substr(0, 1000)); },
       "ask",
       {kHigher, "expected 1789 bytes, found 1000"}},
  };
}

Damages ofTheLink() {
  return {
      {"AWrongByteBehindALink",
       eAdded,
       kLinked,
       [](const ToolStage& s) { flip(s, kMoved); },
       "link",
       {"work/two/Material/VTAKE000200.mov", "expected byte ", ", found "}},
      {"ALinkThatLeadsNowhere",
       eAdded,
       kLinked,
       [](const ToolStage& s) { remove(s, kMoved); },
       "link",
       {"checking \"what serves VTAKE000200\": expected ", kMoved, "found nothing"}},
      {"AFileThatIsLostAsADriveGoes",
       eAdded,
       kLinked,
       [](const ToolStage& s) { remove(s, "work/two/Material/VTAKE000400.mov"); },
       "unplug",
       {"work/two/Material/VTAKE000400.mov", "expected it there, found it gone"}},
      {"AStrayFileOnADriveThatComesBack",
       eAdded,
       kLinked,
       [](const ToolStage& s) { s.putText(kStray, "media"); },
       "unplug",
       {kStray, "expected it gone, found it there"}},
      {"AWrongByteOnADriveThatComesBack",
       eAdded,
       kLinked,
       [](const ToolStage& s) { flip(s, kTaken); },
       "unplug",
       {kTaken, "expected byte ", ", found "}},
      {"APlaceThatIsTakenWhereADriveIsToGo",
       eAdded,
       kLinked,
       [](const ToolStage& s) { s.makeFolder("work/one.away/folder"); },
       "unplug",
       {"taking away \"", "work/one"},
       8},
  };
}

Damages ofTheChanges() {
  return {
      {"ANameThatIsNotOnTheDisk",
       eLocations,
       kRenamed,
       [](const ToolStage& s) {
         s.putText("work/one/Material/MediaSpaceInfo.txt", "name=Other\n");
       },
       "rename",
       {"MediaSpaceInfo.txt", "expected name=Dailies, found name=Other"}},
      {"AFileThatGoesWithAnother",
       eRemoved,
       kDeleting,
       [](const ToolStage& s) { remove(s, kTaken); },
       "delete",
       {kTaken, "expected it there, found it gone"}},
      {"AFileThatStays",
       eRemoved,
       kDeleting,
       [](const ToolStage& s) { s.putText(kStray, "media"); },
       "delete",
       {kStray, "expected it gone, found it there"}},
  };
}

Damages ofTheEnd() {
  return {
      {"DrivesThatGoBeforeTheShutdown",
       eBefore,
       0,
       [](const ToolStage&) {
         Shutdown::addCallback([](Shutdown::eExitType) { DiskManager::deInit(); }, kAboveAll);
       },
       "end",
       {"checking \"the drives when the shutdown begins\": expected it there, found it gone"}},
      {"DrivesThatGoWithTheEngine",
       eBefore,
       0,
       [](const ToolStage&) {
         Shutdown::addCallback([](Shutdown::eExitType) { DiskManager::deInit(); },
                               kBehindTheEngine);
       },
       "end",
       {"checking \"the drives once the engine has ended\": expected it there, found it gone"}},
      {"AnEngineThatEndsEarlier",
       eBefore,
       0,
       [](const ToolStage&) { Shutdown::addCallback(&FsysUninitialize, kAboveAll); },
       "end",
       {"checking \"the engine when the shutdown begins\": expected it there, found it gone"}},
      {"ADriveThatComesOnceTheRegistryHasEnded",
       eBefore,
       0,
       [](const ToolStage&) {
         Shutdown::addCallback(
             [](Shutdown::eExitType) {
               DriveId id;
               DiskManager::addMaterialVolume(L"/tmp/", id, false);
             },
             kBehindTheRegistry);
       },
       "end",
       {"checking \"the drives once the registry has ended\": expected it gone, found it there"}},
  };
}

}  // namespace

std::vector<DemoDamage> DemoDamage::all() {
  Damages together;
  for (const Damages& some :
       {ofTheDrives(), ofTheMedia(), ofTheProxies(), ofTheLink(), ofTheChanges(), ofTheEnd()})
    together.insert(together.end(), some.begin(), some.end());
  return together;
}
