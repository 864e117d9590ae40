#include "tools/fsys/LinkCommand.h"

#include <utility>

#include "fsys/LinkTarget.h"
#include "fsys/MaterialLink.h"
#include "platform/DriveErrand.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"

namespace {

// What one visit of the link's drive tells.
struct Visit {
  bool isThere = false;
  bool isLink = false;
  PathString leadsTo;
  uint32_t error = 0;
};

Visit visit(const PathString& path) {
  Visit seen;
  seen.isThere = OS()->getFileManager()->exists(path);
  if (!seen.isThere) return seen;
  OS()->getErrors()->setLastError(0);
  seen.isLink = MaterialLink::getLinkedFilename(path, seen.leadsTo);
  if (!seen.isLink) seen.error = OS()->getErrors()->getLastError();
  return seen;
}

// Whether it could not be told what is there. That it is no file, or no text, was told.
bool isUnknown(const Visit& seen) {
  return seen.error > 1 && seen.error != eOsInvalid && seen.error != eOsIsAFolder &&
         seen.error != eOsNotSupported;
}

}  // namespace

const char* LinkCommand::Look::targetState() const {
  if (isTargetSilent) return "no answer";
  return isTargetThere ? "there" : "missing";
}

void LinkCommand::Look::put(Json& json) const {
  json["is_link"] = isLink;
  if (!isLink) return;
  putName(json, "target", bytesOf(target));
  json["target_exists"] = isTargetThere;
  json["target_answers"] = !isTargetSilent;
}

LinkCommand::Look LinkCommand::lookAt(const char* doing, const PathString& path) {
  auto seen = askDrive(path, [path] { return visit(path); });
  if (!seen) throw driveError(doing, path, OS()->getErrors()->getLastError());
  if (isUnknown(*seen)) throw driveError(doing, path, seen->error);
  // Only a file of a link's size that does not tell where it leads gives no path at all.
  if (seen->isThere && !seen->isLink && seen->leadsTo.empty())
    throw ToolError(ExitCode::eIo, doing, bytesOf(path), "it has a link's size and names no path");
  Look look{seen->isThere, seen->isLink, {}, false, false};
  if (!look.isLink) return look;
  look.target = seen->leadsTo;
  const PathString target = MaterialLink::localTarget(look.target);
  auto isThere = askDrive(
      target, [target] { return hasOwnFolder(target) && OS()->getFileManager()->exists(target); });
  look.isTargetThere = isThere && *isThere;
  look.isTargetSilent = !isThere;
  return look;
}

PathString LinkCommand::linkPath(const char* doing, const std::string& word) {
  if (isNetworkName(word))
    throw ToolError(ExitCode::eUsage, doing, word, "a network's name is no file here");
  return absolutePath(word);
}
