#include "platform/EditorPreferences.h"

#include <optional>
#include <string>
#include <utility>

#include "platform/DriveErrand.h"
#include "platform/DurableFolder.h"
#include "platform/Log.h"
#include "platform/TextFile.h"
#include "platform/common/ConfigFolder.h"
#include "platform/common/PreferenceLines.h"
#include "platform/common/WholeFile.h"

namespace {

enum class Attempt { eSaved, eTaken, eFailed };

// What is to be done, as the errand keeps it.
struct Change {
  PathString folder;
  LightweightString<char> name;
  std::optional<LightweightString<wchar_t>> value;  // none: the setting goes
};

PathString fileIn(const PathString& folder) { return joinPaths(folder, L"preferences"); }

std::string lastErrorText() {
  return OS()->getErrors()->describe(OS()->getErrors()->getLastError());
}

// Whether the lock file could not be opened because it is locked, and not because it may not be.
// The thread's last error stays.
bool isTaken(const PathString& lock) {
  iFileManager* files = OS()->getFileManager();
  uint32_t error = OS()->getErrors()->getLastError();
  bool taken = error == eOsAccessDenied && files->isWritable(lock);
  OS()->getErrors()->setLastError(error);
  return taken;
}

bool linesOf(const PathString& file, TextLines::Lines& lines) {
  std::string text;
  if (WholeFile::read(file, TextFile::kMostBytes, text) == WholeFile::eIsUnreadable) return false;
  lines = TextLines::split(text);
  return true;
}

bool rewrite(const PathString& file, const Change& change) {
  TextLines::Lines before;
  if (!linesOf(file, before)) return false;
  TextLines::Lines after = PreferenceLines::changed(before, change.name.view(), change.value);
  // Nothing to remove. It may be gone by a change that was not durable.
  if (!change.value && after.size() == before.size())
    return OS()->getFileManager()->syncFolder(change.folder);
  std::string text;
  if (!TextLines::join(after, "\n", TextFile::kMostBytes, text)) {
    OS()->getErrors()->setLastError(eOsTooLarge);
    return false;
  }
  return WholeFile::replace(file, text, WholeFile::eFollow);
}

// Runs on the drive, from the lock to its release, also when nobody waits any more: so it never
// undoes what another changed meanwhile.
Attempt tryChange(const Change& change) {
  iFileManager* files = OS()->getFileManager();
  if (!makeDurableFolder(change.folder)) return Attempt::eFailed;
  PathString lock = joinPaths(change.folder, L"preferences.lock");
  Qv::Ptr<iFile> held =
      files->openFile(lock, iFileManager::eAccessWrite, iFileManager::eOpenOrCreate, 0,
                      iFileManager::eAttributeHoldLock);
  if (!held) return isTaken(lock) ? Attempt::eTaken : Attempt::eFailed;
  return rewrite(fileIn(change.folder), change) ? Attempt::eSaved : Attempt::eFailed;
}

// Tries until the lock is free, for kLockPatience_ms.
Attempt changeInTime(const Change& change) {
  Attempt attempt = Attempt::eTaken;
  for (unsigned waited_ms = 0;; waited_ms += EditorPreferences::kLockPause_ms) {
    auto errand = [change] { return tryChange(change); };
    attempt = askDrive(change.folder, errand, TextFile::kPatience_ms).value_or(Attempt::eFailed);
    bool again = attempt == Attempt::eTaken && waited_ms < EditorPreferences::kLockPatience_ms;
    if (!again) return attempt;
    OS()->getThreads()->sleep(EditorPreferences::kLockPause_ms);
  }
}

bool make(const Change& change) {
  const char* name = change.name.c_str();
  if (change.folder.empty()) {
    Log("Preferences: '%s' is not kept, there is no folder for it\n", name);
    return false;
  }
  Attempt attempt = changeInTime(change);
  if (attempt == Attempt::eTaken)
    Log("Preferences: '%s' is not kept, another program holds the lock\n", name);
  if (attempt == Attempt::eFailed)
    Log("Preferences: '%s' is not kept: %s\n", name, lastErrorText().c_str());
  return attempt == Attempt::eSaved;
}

PathString folder() { return configFolder(*OS()->getSystemInfo()); }

}  // namespace

LightweightString<wchar_t> EditorPreferences::getPreference(
    const LightweightString<char>& name, const LightweightString<wchar_t>& value) const {
  PathString place = folder();
  if (place.empty()) return value;
  TextFile file(fileIn(place));
  if (file.load() == TextFile::eFailed)
    Log("Preferences: '%s' cannot be read: %s\n", name.c_str(), lastErrorText().c_str());
  TextLines::Lines lines(file.lineCount());
  for (size_t i = 0; i < file.lineCount(); ++i) lines.add(file[i]);
  return PreferenceLines::find(lines, name.view()).value_or(value);
}

bool EditorPreferences::setPreference(const LightweightString<char>& name,
                                      const LightweightString<wchar_t>& value) {
  return make({folder(), name, value});
}

bool EditorPreferences::removePreference(const LightweightString<char>& name) {
  return make({folder(), name, std::nullopt});
}

EditorPreferences& prefs() {
  static EditorPreferences only;
  return only;
}
