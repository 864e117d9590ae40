// Network names: every text is taken apart by the drives and the shares, in their order.

#include <array>

#include "fsys/DiskManager.h"
#include "fuzz/InputBytes.h"
#include "fuzz/Require.h"
#include "platform/TextHelpers.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/TestDiagnostics.h"

namespace {

using Text = LightweightString<wchar_t>;
using Share = iFileManager::Share;

const std::array<Text, 3> kDrives = {L"/a/", L"/b/", L"/c/"};
// Those of the first input are asked for, and stay.
const std::array<Share, 3> kShares = {Share{L"\\\\me\\share", L"/srv/share/"},
                                      Share{L"\\\\me\\share2", L"/srv/other/"},
                                      Share{L"\\\\me\\Gr\x00F6\x00DF\x0065", L"/srv/\x00DF/"}};

void registerDrives(FakeOSScope& os, InputBytes& input) {
  for (const Text& path : kDrives) {
    FakeDrive drive;
    drive.type = input.flag() ? iDiskDrive::eNetwork : iDiskDrive::eFixed;
    drive.uncName = std::wstring(fromUTF8(input.text()).view());
    os->files().setDrive(path, drive);
    os->files().addFolder(path);
    DriveId id;
    require(DiskManager::addMaterialVolume(path, id, false), "the drive can be registered");
  }
}

// A text of the input's, perhaps behind a name that is known.
Text anyName(InputBytes& input) {
  const uint32_t begin = input.below(8);
  const Text rest = fromUTF8(input.rest());
  if (begin < kDrives.size())
    return DiskManager::getMediaDrive(static_cast<unsigned short>(begin)).getUncName() + rest;
  if (begin < kDrives.size() + kShares.size())
    return kShares[begin - kDrives.size()].uncName + rest;
  return rest;
}

bool isBelow(const Text& unc, const Text& root) {
  return !unc.empty() && startsWithNoCase(unc.view(), root.view());
}

void checkDrive(const Text& unc) {
  const MaterialFilename file = DiskManager::convertUNCtoFsysFilename(unc);
  for (unsigned short i = 0; i < kDrives.size(); ++i) {
    const Text root = DiskManager::getMediaDrive(i).getUncName();
    if (!isBelow(unc, root)) continue;
    require(file.getDrive() == DiskManager::get_drive(i), "the first drive that matches has it");
    require(file.getPath() == unc.substr(root.length()), "the rest is the path");
    return;
  }
  require(!file.getDrive().valid() && file.getPath().empty(), "what is nowhere has no drive");
}

void checkShare(const Text& unc) {
  const Text local = DiskManager::convertUNCtoLocalShare(unc);
  for (const Share& share : kShares) {
    if (!isBelow(unc, share.uncName)) continue;
    require(local == share.localPath + unc.substr(share.uncName.length() + 1),
            "the first share that matches has it, and one character goes between");
    return;
  }
  require(local.empty(), "what is on no share has no local path");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TestDiagnostics swallowed;
  FakeOSScope os;
  InputBytes input(data, size);
  Vector<Share> shares;
  for (const Share& share : kShares) shares.add(share);
  os->files().setShares(shares);
  DiskManager::init(L"/p", true);
  registerDrives(os, input);
  const Text unc = anyName(input);
  checkDrive(unc);
  checkShare(unc);
  DiskManager::deInit();
  return 0;
}
