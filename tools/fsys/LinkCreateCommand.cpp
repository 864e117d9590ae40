#include "tools/fsys/LinkCreateCommand.h"

#include "fsys/MaterialLink.h"
#include "platform/DriveErrand.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "making the link";
constexpr unsigned kWritePatience_ms = 1500;
constexpr size_t kLongestTarget = MaterialLink::kBytes - 2;  // a zero behind it is read too

void requireTarget(const PathString& link, const PathString& target) {
  std::string name = bytesOf(target);
  if (name.size() > kLongestTarget)
    throw ToolError(
        ExitCode::eUsage, kDoing, bytesOf(link),
        text("its target has %zu bytes; a link holds at most %zu", name.size(), kLongestTarget));
  if (name == bytesOf(link))
    throw ToolError(ExitCode::eUsage, kDoing, bytesOf(link), "it would lead to itself");
}

void write(const PathString& link, const PathString& target, bool replace) {
  auto written = askDrive(
      link,
      [link, target, replace] {
        OS()->getErrors()->setLastError(0);
        return MaterialLink::createLink(link, target, replace);
      },
      kWritePatience_ms);
  if (written && *written == 1) return;
  uint32_t error = OS()->getErrors()->getLastError();
  if (error > 1) throw driveError(kDoing, link, error);
  throw ToolError(ExitCode::eIo, kDoing, bytesOf(link), "it could not be written");
}

}  // namespace

CLI::App* LinkCreateCommand::define(CLI::App& app) {
  CLI::App* command =
      addCommand(app, kLinks, "create", "Make a small file that stands for media elsewhere");
  addWord(command, "LINK", link_, "The link, with the media's name");
  addWord(command, "TARGET", target_, "Where the media lies");
  addFlag(command, "--replace", replace_, "Replace a link that is there; media is never replaced");
  return command;
}

// A file of 512 bytes that is media would be taken for a link by its size.
void LinkCreateCommand::requirePlace(const PathString& link) const {
  Look look = lookAt(kDoing, link);
  if (look.isThere && !replace_)
    throw ToolError(ExitCode::eExists, kDoing, bytesOf(link),
                    look.isLink ? "a link is there already" : "a file is there already");
  if (look.isThere && !look.isLink)
    throw ToolError(ExitCode::eExists, kDoing, bytesOf(link),
                    "what is there is no link, and stays as it is");
}

ExitCode LinkCreateCommand::execute() {
  PathString link = linkPath(kDoing, link_);
  PathString target = absolutePath(target_);
  requireTarget(link, target);
  requirePlace(link);
  write(link, target, replace_);
  Look made = lookAt(kDoing, link);
  if (!made.isLink)
    throw ToolError(ExitCode::eIo, kDoing, bytesOf(link), "it was written, and cannot be read");
  putName(results(), "link", bytesOf(link));
  made.put(results());
  say(inQuotes(bytesOf(link)) + " leads to " + inQuotes(bytesOf(made.target)) + " now" +
      (made.isTargetThere ? "" : text(", which is not there (%s)", made.targetState())));
  return ExitCode::eSuccess;
}
