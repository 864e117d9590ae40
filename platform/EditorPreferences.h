#pragma once

#include "platform/LightweightString.h"
#include "platform/PlatformExport.h"

// EditorPreferences: the editor's settings, as names and texts that stay.
// Story      They stand in the file "preferences" in fsys under the XDG configuration folder, also
//            where FSYS_CONFIG names a configuration file elsewhere. Each is a line "name = value",
//            and is read anew at every call, so that several programs see what each of them sets.
//            A change takes a lock file beside the file, reads, changes the one setting and
//            replaces the file whole. Lines that are none of ours stay as they are. Names and
//            values are any text.
// Threads    any.
// Errors     a change that cannot be made is logged, and nothing is changed; one that is given up
//            because the drive does not answer may still be made later. A file that cannot be read
//            has no settings, and is not replaced.
class PLATFORM_EXPORT EditorPreferences {
public:
  static constexpr unsigned kLockPatience_ms = 2000;
  static constexpr unsigned kLockPause_ms = 20;

  // `value` when there is none of that name.
  LightweightString<wchar_t> getPreference(const LightweightString<char>& name,
                                           const LightweightString<wchar_t>& value = {}) const;
  // True when it was written.
  bool setPreference(const LightweightString<char>& name, const LightweightString<wchar_t>& value);
  // True when it is not there any more.
  bool removePreference(const LightweightString<char>& name);
};

// The preferences of this user.
PLATFORM_EXPORT EditorPreferences& prefs();
