#include "tools/fsys/UncFromCommand.h"

#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/NetworkName.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "looking for the place of";

}  // namespace

CLI::App* UncFromCommand::defineStorage(CLI::App& app) {
  CLI::App* command =
      addCommand(app, kNames, "from", "Say where a network's name leads on this machine");
  addWord(command, "NAME", name_, "Two backslashes, server, share, path");
  return command;
}

ExitCode UncFromCommand::work() {
  if (!isNetworkName(name_))
    throw ToolError(ExitCode::eUsage, kDoing, name_, "it does not begin with two backslashes");
  std::optional<LocalName> local = localNameOf(fromUTF8(std::string_view(name_)));
  if (!local)
    throw ToolError(ExitCode::eNotFound, kDoing, name_,
                    "no media drive and no share of this machine holds it");
  std::string path = bytesOf(local->path);
  putName(results(), "name", name_);
  putName(results(), "path", path);
  bool isOnDrive = local->drive.valid();
  results()["drive"] = isOnDrive ? Json(MediaDrives::codeOf(local->drive)) : Json(nullptr);
  say(isPlainText(path) ? path : inQuotes(path));
  return ExitCode::eSuccess;
}
