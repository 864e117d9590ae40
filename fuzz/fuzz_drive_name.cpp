// The information file of a drive: whatever stands in it, and whatever name is given.

#include <algorithm>

#include "fsys/DiskManager.h"
#include "fuzz/InputBytes.h"
#include "fuzz/Lines.h"
#include "fuzz/Require.h"
#include "platform/TextHelpers.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/TestDiagnostics.h"

namespace {

using Text = LightweightString<wchar_t>;

const Text kFile = L"/m/Material/MediaSpaceInfo.txt";

// The name that a file tells; nothing when its first line tells none.
Text nameIn(const std::string& text) {
  if (Lines::hasZero(text) || Lines::in(text).empty()) return {};
  const std::string line = Lines::in(text).front();
  const size_t equals = line.find('=');
  if (equals == line.npos || !equalsNoCase(line.substr(0, equals), "name")) return {};
  return fromUTF8(line.substr(equals + 1));
}

bool isName(const Text& name) {
  std::string bytes;
  return toPathBytes(name, bytes) && bytes.find('\n') == bytes.npos && !bytes.ends_with('\r');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TestDiagnostics swallowed;
  FakeOSScope os;
  InputBytes input(data, size);
  const Text name = fromUTF8(input.text());
  const std::string text(input.rest());
  os->files().addFolder(L"/m/Material");
  Lines::put(os->files(), kFile, text);
  DiskManager::init(L"/p", true);
  DriveId id;
  require(DiskManager::addMaterialVolume(L"/m/", id, false), "the drive can be registered");

  require(DiskManager::getMediaLocationUserName(id) == nameIn(text), "the first line is the name");
  const bool renamed = DiskManager::renameMediaLocation(id, name);
  require(renamed == isName(name), "a name is what can stand on one line");
  const std::string after = Lines::bytesOf(os->files(), kFile);
  if (renamed) {
    require(DiskManager::getMediaLocationUserName(id) == name, "the disk keeps the name");
    require(Lines::in(after).size() == 1, "nothing else stands in the file");
  } else {
    require(after == text, "what is no name changes nothing");
  }
  DiskManager::deInit();
  return 0;
}
