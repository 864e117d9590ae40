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

uint64_t DriveQuestions::sizeOfFile(const Text& path) {
  return askDrive(path,
                  [path] {
                    uint64_t bytes = 0;
                    return OS()->getFileManager()->getFileSize(path, bytes) ? bytes : 0;
                  })
      .value_or(0);
}

bool DriveQuestions::makeFolder(const Text& path) {
  return askDrive(
             path, [path] { return makeDurableFolder(path); }, kMakePatience_ms)
      .value_or(false);
}
