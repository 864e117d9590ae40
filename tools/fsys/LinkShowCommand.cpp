#include "tools/fsys/LinkShowCommand.h"

#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "looking at the link";

}  // namespace

CLI::App* LinkShowCommand::define(CLI::App& app) {
  CLI::App* command = addCommand(app, kLinks, "show", "Say where a link leads");
  addWord(command, "PATH", path_, "The link");
  return command;
}

ExitCode LinkShowCommand::execute() {
  PathString path = linkPath(kDoing, path_);
  Look look = lookAt(kDoing, path);
  putName(results(), "path", bytesOf(path));
  if (!look.isThere)
    throw ToolError(ExitCode::eNotFound, kDoing, bytesOf(path), "there is no such file");
  look.put(results());
  if (!look.isLink) throw ToolError(ExitCode::eNotFound, kDoing, bytesOf(path), "it is no link");
  say(inQuotes(bytesOf(path)) + " leads to " + inQuotes(bytesOf(look.target)) + " (" +
      look.targetState() + ")");
  return ExitCode::eSuccess;
}
