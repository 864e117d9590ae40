#include "tools/fsys/ProxyParseCommand.h"

#include "fsys/MediaFileInfo.h"
#include "platform/DriveErrand.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/ProxyFacts.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "reading the name";

// Of the older form the file is looked for.
bool isProxy(const LightweightString<wchar_t>& name) {
  auto answer = askDrive(name, [name] { return MediaFileInfo::isProxy(name); });
  if (!answer) throw driveError(kDoing, name, OS()->getErrors()->getLastError());
  return *answer;
}

}  // namespace

CLI::App* ProxyParseCommand::define(CLI::App& app) {
  CLI::App* command = addCommand(app, {kProxyGroup, kProxyGroupWhat}, "parse",
                                 "Say what a name says of a proxy, and whether it is one's");
  addWord(command, "NAME", name_, "The name, or the path");
  return command;
}

ExitCode ProxyParseCommand::execute() {
  LightweightString<wchar_t> name = fromUTF8(std::string_view(name_));
  ProxyFacts facts(name);
  bool isOne = isProxy(name);
  putName(results(), "name", name_);
  results()["is_proxy"] = isOne;
  facts.put(results());
  say(inQuotes(name_) + (isOne ? " is a proxy: " : " is no proxy: ") + facts.words());
  return ExitCode::eSuccess;
}
