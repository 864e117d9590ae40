#include "tools/fsys/FindCommand.h"

#include <CLI/CLI.hpp>
#include <limits>
#include <map>

#include "fsys/SystemCache.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/FileChoice.h"
#include "tools/fsys/MediaFile.h"
#include "tools/fsys/NumberRange.h"
#include "tools/fsys/ProxyFacts.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "looking for the file of";

const std::map<std::string, eProxyLevel>& levels() {
  static const std::map<std::string, eProxyLevel> all = {
      {"auto", eAuto}, {"high", eHighRes}, {"proxy", eProxy}};
  return all;
}

std::string wordsOf(const MediaFile& file) {
  std::string words = sizeText(file.bytes);
  if (file.isProxy) words += ", " + ProxyFacts(file.name.getPath()).words();
  if (file.isLink) words += ", a link at " + inQuotes(bytesOf(file.path));
  return words + ", " + file.stateWord();
}

}  // namespace

CLI::App* FindCommand::defineStorage(CLI::App& app) {
  CLI::App* command = addCommand(app, "find", "Say which file serves a cookie, and why that one");
  addWord(command, "COOKIE", cookie_, "Of the media, as V4K7Q2M9A00");
  command->add_option("--level", level_, "auto, high or proxy (auto)")
      ->check(CLI::IsMember({"auto", "high", "proxy"}));
  command->add_option("--height", height_, "With auto: a proxy of at least so many lines will do")
      ->transform(NumberRange(1u, std::numeric_limits<uint32_t>::max()))
      ->type_name("N");
  return command;
}

DecodeFormat FindCommand::format() const {
  DecodeFormat format(levels().at(level_));
  format.setHeight(height_);
  return format;
}

ExitCode FindCommand::work() {
  Cookie cookie = requireCookie(kDoing, cookie_);
  if (height_ > 0 && level_ != "auto")
    throw ToolError(ExitCode::eUsage, kDoing, cookie_, "a height goes with --level auto alone");
  results()["cookie"] = textOf(cookie);
  results()["level"] = level_;
  SystemCache::Entry entry = SystemCache::findEntryForCookie(cookie);
  if (!entry) throw noMediaOf(kDoing, cookie);
  if (!allAnswer(*entry))
    throw ToolError(ExitCode::eIo, kDoing, textOf(cookie), "the drive of a file does not answer");
  FileChoice choice(*entry, format());
  if (choice.file == FileChoice::kNone)
    throw ToolError(ExitCode::eNotFound, kDoing, textOf(cookie), choice.why);
  std::vector<MediaFile> files = MediaFile::allOf(*entry);
  size_t first = entry->hasHighRes() ? 1 : 0;
  const MediaFile& file = choice.file == FileChoice::kHighRes
                              ? files.front()
                              : files[first + static_cast<size_t>(choice.file)];
  tell(choice, file);
  if (file.state == MediaFile::eMissing)
    throw ToolError(ExitCode::eNotFound, kDoing, textOf(cookie), "what serves it is missing");
  return ExitCode::eSuccess;
}

void FindCommand::tell(const FileChoice& choice, const MediaFile& file) {
  std::string path = bytesOf(choice.path);
  putName(results(), "path", path);
  results()["why"] = choice.why;
  file.put(results());
  say(isPlainText(path) ? path : inQuotes(path));
  say(choice.why + " (" + wordsOf(file) + ")");
}
