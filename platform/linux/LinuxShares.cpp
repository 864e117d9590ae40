#include "platform/linux/LinuxShares.h"

#include <algorithm>
#include <map>
#include <new>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/DriveErrand.h"
#include "platform/Log.h"
#include "platform/common/CaseFolding.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/FileOpening.h"
#include "platform/linux/FolderListing.h"
#include "platform/linux/LinuxFailure.h"
#include "platform/linux/LinuxFile.h"
#include "platform/linux/LinuxFileManager.h"
#include "platform/linux/LinuxSystemInfo.h"
#include "platform/linux/UncName.h"

namespace {

using Share = SambaConfig::Share;

constexpr char kUsualConfig[] = "/etc/samba/smb.conf";
constexpr char kUsualUserFolder[] = "/var/lib/samba/usershares";

// Nothing, and the thread's last error set, when it cannot be read.
std::optional<std::string> textOf(const std::string& path, bool noLink) {
  FileOpening how;
  how.read = true;
  how.noLink = noLink;
  Qv::Ptr<OpenDescriptors> descriptors = openRegularFile(path, how);
  if (!descriptors) return std::nullopt;
  Qv::Ptr<LinuxFile> file(new LinuxFile(descriptors, 0));
  // One byte more shows a file that is too large.
  std::string text(std::min(file->getSize(), LinuxShares::kMostFile_bytes) + 1, '\0');
  uint32_t done = 0;
  uint32_t result = file->readAt(0, text.data(), static_cast<uint32_t>(text.size()), &done);
  if (result == 1 && done > LinuxShares::kMostFile_bytes) result = failWith(eOsTooLarge);
  if (result != 1) return std::nullopt;
  text.resize(done);
  return text;
}

// What users serve.
std::vector<Share> sharesIn(const std::string& folder) {
  std::vector<Share> shares;
  Descriptor opened(openFolder(folder));
  if (!opened.isOpen()) return shares;
  FolderListing listing(opened.number(), L"*");
  size_t left = SambaConfig::kMostShares;
  for (const iFileManager::ListedFile& file : listing.files()) {
    if (left-- == 0) break;
    std::string name;
    if (!toPathBytes(file.name, name)) continue;
    std::string path = folder;
    path.append("/").append(name);
    std::optional<std::string> text = textOf(path, true);
    std::optional<Share> share = text ? SambaConfig::userShare(name, *text) : std::nullopt;
    if (share) shares.push_back(*share);
  }
  return shares;
}

// What `work` answers where the drive of the path can be waited for; nothing, and the thread's last
// error set, when it does not answer in time. Throws std::bad_alloc as the work does.
template <typename Work, typename Answer = std::invoke_result_t<Work>>
std::optional<Answer> asked(const std::string& path, Work work) {
  Qv::Ptr<DriveErrand<Answer>> errand(new DriveErrand<Answer>(std::move(work)));
  LightweightString<wchar_t> name = fromUTF8(std::string_view(path));
  if (linuxFileManager()->onDrive(name, errand, kDrivePatience_ms)) return errand->take();
  if (nativeOS()->getErrors()->getLastError() == eOsNoMemory) throw std::bad_alloc();
  return std::nullopt;
}

std::wstring foldedName(const Share& share) {
  LightweightString<wchar_t> name = fromUTF8(std::string_view(share.name));
  std::wstring folded(name.view());
  std::transform(folded.begin(), folded.end(), folded.begin(), foldCase);
  return folded;
}

}  // namespace

LinuxShares::LinuxShares() {
  uint32_t before = nativeOS()->getErrors()->getLastError();
  addConfigured();
  addUsers();
  keepFirstOfEachName();
  failWith(before);
}

void LinuxShares::keepFirstOfEachName() {
  std::map<std::wstring, Share> byName;
  for (const Share& share : shares_) byName.try_emplace(foldedName(share), share);
  shares_.clear();
  for (const auto& [name, share] : byName)
    if (shares_.size() < SambaConfig::kMostShares) shares_.push_back(share);
}

void LinuxShares::addConfigured() {
  std::string path = kUsualConfig;
  linuxSystemInfo()->getEnvironment("FSYS_SAMBA_CONFIG", path);
  auto read = asked(path, [path] { return textOf(path, false); });
  std::optional<std::string> text = read ? *read : std::nullopt;
  if (!text && nativeOS()->getErrors()->getLastError() != eOsNotFound) {
    uint32_t error = nativeOS()->getErrors()->getLastError();
    std::string reason = nativeOS()->getErrors()->describe(error);
    Log("%s is not read, its shares are not known: %s\n", path.c_str(), reason.c_str());
  }
  SambaConfig config(text.value_or(""));
  shares_ = config.shares();
  userFolder_ = config.userShareFolder().value_or(kUsualUserFolder);
  linuxSystemInfo()->getEnvironment("FSYS_SHARES", userFolder_);
}

void LinuxShares::addUsers() {
  if (userFolder_.empty()) return;
  std::string folder = userFolder_;
  std::vector<Share> none;
  for (const Share& share : asked(folder, [folder] { return sharesIn(folder); }).value_or(none))
    shares_.push_back(share);
}

Vector<iFileManager::Share> LinuxShares::ofWorkstation(
    const LightweightString<wchar_t>& workstation) const {
  Vector<iFileManager::Share> records;
  for (const Share& share : shares_) {
    std::string folder = share.folder;
    folder.erase(folder.find_last_not_of('/') + 1);
    folder.push_back('/');
    LightweightString<wchar_t> name = UncName::ofShare(workstation, share.name, "");
    if (!name.empty()) records.add({name, fromUTF8(std::string_view(folder))});
  }
  return records;
}
