#include "tools/fsys/UncToCommand.h"

#include "fsys/DiskManager.h"
#include "platform/OS.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "looking for the network's name of";

}  // namespace

CLI::App* UncToCommand::defineStorage(CLI::App& app) {
  CLI::App* command = addCommand(app, kNames, "to", "Say by what name other machines know a path");
  addWord(command, "PATH", path_, "A file or a folder");
  return command;
}

ExitCode UncToCommand::work() {
  PathString path = absolutePath(path_);
  OS()->getErrors()->setLastError(0);
  std::string name = bytesOf(DiskManager::convertLocalToUNC(MaterialFilename(DriveId(), path)));
  uint32_t error = OS()->getErrors()->getLastError();
  if (name.empty() && error != 0 && error != eOsNotFound)
    throw engineError(kDoing, bytesOf(path), error);
  if (name.empty())
    throw ToolError(ExitCode::eNotFound, kDoing, bytesOf(path), "it lies on no share");
  putName(results(), "path", bytesOf(path));
  putName(results(), "name", name);
  say(isPlainText(name) ? name : inQuotes(name));
  return ExitCode::eSuccess;
}
