#include "fsys/DriveQuestions.h"

#include "platform/DriveErrand.h"
#include "platform/DurableFolder.h"
#include "platform/OS.h"

using Text = LightweightString<wchar_t>;

bool DriveQuestions::folderIsThere(const Text& path) {
  return askDrive(path, [path] { return OS()->getFileManager()->folderExists(path); })
      .value_or(false);
}

bool DriveQuestions::isWritable(const Text& path) {
  return askDrive(path, [path] { return OS()->getFileManager()->isWritable(path); })
      .value_or(false);
}

bool DriveQuestions::makeFolder(const Text& path) {
  return askDrive(
             path, [path] { return makeDurableFolder(path); }, kMakePatience_ms)
      .value_or(false);
}
