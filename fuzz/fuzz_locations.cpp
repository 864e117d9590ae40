// The lists of media locations: whatever stands in them, every line is a drive or is missing, and
// what comes and goes leaves the other lines as they are.

#include <algorithm>

#include "fsys/DiskManager.h"
#include "fuzz/InputBytes.h"
#include "fuzz/Lines.h"
#include "fuzz/Require.h"
#include "platform/PathHelpers.h"
#include "platform/TextHelpers.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/TestDiagnostics.h"

namespace {

using Text = LightweightString<wchar_t>;

const Text kLocations = L"/p/DefNetDrive.txt";
const Text kUnmounted = L"/p/UnmountedDrives.txt";
const Text kFound = L"/found/";  // the drive that is discovered
const Text kCome = L"/come/";    // the location that comes and goes
const std::string kComeLine = "/come/";

// Both lists, as bytes.
struct Lists {
  std::string locations, unmounted;
};

Lists listsOf(FakeOSScope& os) {
  return {Lines::bytesOf(os->files(), kLocations), Lines::bytesOf(os->files(), kUnmounted)};
}

Lines::Texts readable(const std::string& text) {
  return Lines::hasZero(text) ? Lines::Texts() : Lines::in(text);
}

Text locationOn(const std::string& line) { return undoubledBackslashes(fromUTF8(line)); }

size_t countDrives() {
  unsigned short count = 0;
  while (DiskManager::get_drive(count).valid()) ++count;
  return count;
}

// The root path of a location, as a drive has it.
Text localNameOf(const Text& path) {
  Text name = fixForeignOSFileName(path);
  while (name.view().ends_with(L'/')) name = name.substr(0, name.length() - 1);
  return name;
}

bool isRegistered(const Text& path) {
  for (unsigned short i = 0; i < countDrives(); ++i) {
    Text name;
    DiskManager::getMediaDrive(i).getLocalName(name, false);
    if (name == localNameOf(path)) return true;
  }
  return false;
}

// A drive lies there, in any case.
bool isThere(const Text& location) {
  for (unsigned short i = 0; DiskManager::get_drive(i).valid(); ++i) {
    const Text& root = DiskManager::getMediaDrive(i).getRootLocation();
    if (equalsNoCase(root.view(), location.view())) return true;
  }
  return false;
}

// Of the lines' folders some are there.
void makeFolders(FakeOSScope& os, const std::string& locations, uint32_t every) {
  const Lines::Texts lines = readable(locations);
  for (size_t i = 0; every > 0 && i < lines.size(); i += every)
    if (!locationOn(lines[i]).empty()) os->files().addFolder(locationOn(lines[i]));
}

void checkStart(const Lists& lists) {
  const Vector<Text> missing = DiskManager::getMissingMediaLocations();
  const Lines::Texts lines = readable(lists.locations);
  Vector<Text> locations;
  for (const std::string& line : lines) {
    locations.add(locationOn(line));
    require(missing.locate(locationOn(line)) != missing.npos || isRegistered(locationOn(line)),
            "a line is a drive, or it is missing");
  }
  for (const Text& path : missing)
    require(locations.locate(path) != locations.npos, "what is missing stands in the list");
  require(countDrives() + missing.size() <= lines.size() + 1, "no line is two drives");

  const Lines::Texts unmounted = readable(lists.unmounted);
  Vector<Text> taken = DiskManager::getUnmountedDrives();
  require(taken.size() == unmounted.size(), "the unmounted list has its lines");
  bool stays = true;
  for (size_t i = 0; i < unmounted.size(); ++i) {
    require(taken[i] == fromUTF8(unmounted[i]), "the unmounted list has its lines");
    stays = stays && taken[i] != kFound;
  }
  require(!stays || isRegistered(kFound), "a drive that nobody unmounted is there");
}

// What a list is to be: its lines, or, where they cannot be read, not a byte else.
struct Wanted {
  std::string bytes;
  Lines::Texts lines = readable(bytes);

  bool isIn(const std::string& text) const {
    return Lines::hasZero(bytes) ? text == bytes : Lines::in(text) == lines;
  }
};

// Also when such a line stands there already.
void list(Wanted& locations) { locations.lines.push_back(kComeLine); }

// The first line that says so in any case, doubled backslashes only where none is the path itself.
void unlist(Wanted& locations) {
  Lines::Texts& lines = locations.lines;
  auto is = [](const std::string& line) { return equalsNoCase(line, kComeLine); };
  auto means = [](const std::string& line) {
    return equalsNoCase(locationOn(line).view(), kCome.view());
  };
  auto place = std::find_if(lines.begin(), lines.end(), is);
  if (place == lines.end()) place = std::find_if(lines.begin(), lines.end(), means);
  if (place != lines.end()) lines.erase(place);
}

void requireLists(FakeOSScope& os, const Wanted& locations, const Wanted& unmounted) {
  const Lists now = listsOf(os);
  require(locations.isIn(now.locations), "of the locations one line comes or goes");
  require(unmounted.isIn(now.unmounted), "of the unmounted one location comes or goes");
}

void comeAndGo(FakeOSScope& os) {
  const Lists before = listsOf(os);
  Wanted locations{before.locations};
  Wanted unmounted{before.unmounted};
  if (!DiskManager::addMediaLocation(kCome)) {
    require(isThere(kCome), "only what is there already is refused");
    return requireLists(os, locations, unmounted);
  }
  const bool cameBack = std::erase(unmounted.lines, kComeLine) > 0;
  if (!cameBack) list(locations);
  requireLists(os, locations, unmounted);

  if (!isRegistered(kCome)) return;
  require(DiskManager::removeMediaLocation(kCome), "what came can go");
  if (cameBack)
    unmounted.lines.push_back(kComeLine);
  else
    unlist(locations);
  requireLists(os, locations, unmounted);
}

// A call of the system's fails: each list is as it was, or as it was to be.
void comeUnderAFault(FakeOSScope& os, InputBytes& fault) {
  const Lists before = listsOf(os);
  Wanted locations{before.locations};
  Wanted unmounted{before.unmounted};
  list(locations);
  std::erase(unmounted.lines, kComeLine);
  const auto call = static_cast<FaultPlan::eCall>(fault.below(FaultPlan::eCallKinds));
  const unsigned nth = 1 + fault.below(8);
  os->faults().fail(call, eOsIoError, nth,
                    fault.flag() ? FaultPlan::eFromThenOn : FaultPlan::eOnce);
  DiskManager::addMediaLocation(kCome);
  os->faults().clear();
  os->files().runLateErrands();
  const Lists after = listsOf(os);
  require(after.locations == before.locations || locations.isIn(after.locations),
          "the locations are the old ones or the new ones");
  require(after.unmounted == before.unmounted || unmounted.isIn(after.unmounted),
          "the unmounted are the old ones or the new ones");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TestDiagnostics swallowed;
  FakeOSScope os;
  InputBytes input(data, size);
  const uint32_t every = input.below(4);
  const bool hasPlace = input.flag();
  const bool isFaulty = input.flag();
  InputBytes fault = input;
  input.number(3);
  std::string unmounted(input.text());
  if (input.flag()) unmounted += "\n/found/\n";
  if (input.flag()) unmounted += "\n/come/\n";
  Lines::put(os->files(), kUnmounted, unmounted);
  Lines::put(os->files(), kLocations, input.rest());
  FakeDrive found;
  found.listed = true;
  os->files().setDrive(kFound, found);
  os->files().addFolder(L"/found/Material");
  if (hasPlace) os->files().addFolder(kCome);
  const Lists lists = listsOf(os);
  makeFolders(os, lists.locations, every);

  DiskManager::init(L"/p");
  checkStart(lists);
  if (isFaulty)
    comeUnderAFault(os, fault);
  else
    comeAndGo(os);
  DiskManager::deInit();
  return 0;
}
