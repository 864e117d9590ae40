#include "tools/fsys/ProxyNameCommand.h"

#include <CLI/CLI.hpp>
#include <limits>

#include "fsys/MediaFileInfo.h"
#include "tools/fsys/NumberRange.h"
#include "tools/fsys/ProxyFacts.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "naming the proxy of";
constexpr unsigned kMostChannels = std::numeric_limits<unsigned char>::max();
constexpr int kMostHeight = std::numeric_limits<int>::max();

}  // namespace

CLI::App* ProxyNameCommand::define(CLI::App& app) {
  CLI::App* command = addCommand(app, {kProxyGroup, kProxyGroupWhat}, "name",
                                 "Say what a proxy of a media file is called");
  addWord(command, "FILE", file_, "The media file");
  addWord(command, "EXTENSION", extension_, "The proxy's, without its dot");
  command->add_option("HEIGHT", height_, "Of its picture, in lines")
      ->required()
      ->transform(NumberRange(0, kMostHeight));
  command->add_option("CHANNELS", channels_, "How many sound channels it carries")
      ->required()
      ->transform(NumberRange(0u, kMostChannels));
  return command;
}

ExitCode ProxyNameCommand::execute() {
  if (file_.empty()) throw ToolError(ExitCode::eUsage, kDoing, "", "the name is empty");
  if (extension_.empty() || extension_.front() == '.' || extension_.find('/') != std::string::npos)
    throw ToolError(ExitCode::eUsage, kDoing, file_,
                    "the extension is a name's end without its dot, not " + inQuotes(extension_));
  LightweightString<wchar_t> made = MediaFileInfo::makeProxyName(
      fromUTF8(std::string_view(file_)), fromUTF8(std::string_view(extension_)), height_,
      static_cast<unsigned char>(channels_));
  std::string name = bytesOf(made);
  ProxyFacts read(made);
  bool readsBack = read.hasHeight && read.height == height_ && read.channels == channels_;
  putName(results(), "name", name);
  results()["reads_back"] = readsBack;
  read.put(results());
  say(isPlainText(name) ? name : inQuotes(name));
  if (!readsBack) say("which is read as another: " + read.words());
  return ExitCode::eSuccess;
}
