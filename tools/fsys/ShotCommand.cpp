#include "tools/fsys/ShotCommand.h"

#include <optional>

#include "fsys/LinkTarget.h"
#include "platform/DriveErrand.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/MediaFile.h"
#include "tools/fsys/Table.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "looking for the shot of";

// Counts the channels of the entries that the catalogue gives of a shot: first those of vision.
class ChannelCount {
public:
  explicit ChannelCount(const Cookie& cookie) : cookie_(cookie) {}

  Cookie next(const SystemCache::Entry& entry) {
    if (type_ == eCookieVision && SystemCache::findEntryForCookie(current()) != entry) {
      type_ = eCookieSound;
      number_ = 1;
    }
    Cookie channel = current();
    ++number_;
    return channel;
  }

private:
  Cookie current() const { return convertCookie(cookie_, type_, number_); }

  Cookie cookie_;
  CookieType type_ = eCookieVision;
  unsigned char number_ = 0;
};

// Of what is opened; none of a file that is not there, or does not tell.
std::optional<uint64_t> sizeOf(const PathString& named) {
  const PathString path = MaterialLink::localTarget(named);
  if (!hasOwnFolder(path)) return std::nullopt;
  auto size = askDrive(path, [path] {
    uint64_t bytes = 0;
    bool isThere = OS()->getFileManager()->getFileSize(path, bytes);
    return isThere ? std::optional(bytes) : std::nullopt;
  });
  return size ? *size : std::nullopt;
}

}  // namespace

CLI::App* ShotCommand::defineStorage(CLI::App& app) {
  CLI::App* command =
      addCommand(app, "shot", "List the files of all channels of a shot, and their size");
  addWord(command, "COOKIE", cookie_, "Of any of its channels, as V4K7Q2M9A00");
  return command;
}

// The total is that of the sizes that are told. SystemCache::getShotFileSize goes by the names as
// they stand: a link to the network's name of a share of this machine has no size there.
ExitCode ShotCommand::work() {
  Cookie cookie = requireCookie(kDoing, cookie_);
  results()["cookie"] = textOf(cookie);
  std::vector<SystemCache::Entry> entries = SystemCache::getClipMediaFiles(cookie);
  if (entries.empty()) throw noMediaOf(kDoing, cookie);
  Table table({{"channel"}, {"size", Table::eRight}, {"file"}});
  results()["channels"] = Json::array();
  ChannelCount channels(cookie);
  uint64_t bytes = 0;
  for (const SystemCache::Entry& entry : entries) {
    Interrupt::check();
    bytes += tell(table, channels.next(entry), *entry);
  }
  results()["bytes"] = bytes;
  say(table);
  say(text("%zu channel%s, ", entries.size(), entries.size() == 1 ? "" : "s") + sizeText(bytes));
  return ExitCode::eSuccess;
}

uint64_t ShotCommand::tell(Table& table, const Cookie& channel, FsysDirectoryEntry& entry) {
  if (!allAnswer(entry))
    throw ToolError(ExitCode::eIo, kDoing, textOf(channel), "the drive of a file does not answer");
  PathString path = entry.getPhysicalFilename(false);
  std::optional<uint64_t> bytes = sizeOf(path);
  Json json;
  json["cookie"] = textOf(channel);
  putName(json, "file", bytesOf(path));
  json["bytes"] = bytes ? Json(*bytes) : Json(nullptr);
  json["proxies"] = countProxies(entry);
  results()["channels"].push_back(json);
  const char* without = entry.hasProxies() ? "only proxies" : "-";
  table.add({textOf(channel),
             bytes          ? sizeText(*bytes)
             : path.empty() ? without
                            : "missing",
             path.empty() ? "-" : escaped(bytesOf(path))});
  return bytes.value_or(0);
}
