#include "MediaCatalogue.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "Failure.h"
#include "fsys/DiskManager.h"
#include "fsys/Fsys.h"
#include "platform/Log.h"
#include "platform/PathHelpers.h"

namespace {

// The library tells of each drive on standard output as well; here that is for the hashes alone.
void sendTextsToStandardError() {
  DiagnosticSinks sinks;
  sinks.logBoth = [](const std::string& text) { std::fputs(text.c_str(), stderr); };
  sinks.out = sinks.logBoth;
  setDiagnosticSinks(sinks);
}

// The registry's names are whole ones, and end in a separator.
PathString wholePath(const std::string& name) {
  const std::unique_ptr<char, decltype(&std::free)> whole(realpath(name.c_str(), nullptr),
                                                          &std::free);
  if (!whole) throw Failure(Failure::eUsage, "\"" + name + "\" is no folder here");
  return withSeparator(fromUTF8(whole.get()));
}

// Why nothing of an entry serves.
std::string whyMissing(const SystemCache::Entry& entry) {
  const MaterialFilename name = entry->primaryFilename();
  std::string words = "the media " + inQuotes(name.getOsPath());
  if (entry->isLinked()) words += ", a link to " + inQuotes(entry->getLinkedFilename()) + ",";
  return words + " is missing";
}

}  // namespace

MediaCatalogue::MediaCatalogue(const std::vector<std::string>& folders,
                               const std::string& project) {
  if (folders.empty() && project.empty())
    throw Failure(Failure::eUsage, "no media: give --media FOLDER, or --project FOLDER");
  sendTextsToStandardError();
  if (FsysInitialize() != 1) throw Failure(Failure::eFailed, "the engine cannot be started");
  try {
    addDrives(folders, project);
  } catch (const Failure&) {
    Shutdown::run(Shutdown::eNormal);
    throw;
  }
}

MediaCatalogue::~MediaCatalogue() { Shutdown::run(Shutdown::eNormal); }

void MediaCatalogue::addDrives(const std::vector<std::string>& folders,
                               const std::string& project) {
  // The registry always asks a folder for its list. Without a project it is a drive's, which has
  // none, and no disk is looked for.
  DiskManager::init(wholePath(project.empty() ? folders.front() : project), project.empty());
  for (const std::string& folder : folders) {
    const PathString path = wholePath(folder);
    if (DiskManager::getVolume(path)) continue;
    if (!DiskManager::addDriveForMediaLocation(path, false))
      throw Failure(Failure::eUsage, inQuotes(path) + " cannot be a media drive: it is no folder " +
                                         "that may be written to");
  }
}

MediaCatalogue::File MediaCatalogue::find(const std::string& cookie) {
  const Cookie wanted(fromUTF8(cookie.c_str()), true);
  if (!wanted.isValid())
    throw Failure(Failure::eUsage, "\"" + cookie + "\" is no cookie, such as V4K7Q2M9A00");
  const SystemCache::Entry entry = SystemCache::findEntryForCookie(wanted);
  if (!entry)
    throw Failure(Failure::eNotFound,
                  "no media drive has media of " + inQuotes(wanted.asWString()));
  File file;
  file.path = entry->findFileForCookie(DecodeFormat(eAuto));
  if (file.path.empty()) throw Failure(Failure::eNotFound, whyMissing(entry));
  file.isLinked = entry->isLinked() && file.path == entry->getLinkedFilename();
  return file;
}
