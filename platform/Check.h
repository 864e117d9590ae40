#pragma once

#include "platform/PlatformExport.h"

// Three kinds of check, never mixed:
//   static_assert     what the compiler can know.
//   FSYS_CHECK        a fixed diagnostic: prints "assertion failed <condition> at <place>\n" and
//                     answers the condition; the caller goes on with a defined fallback. The place
//                     is a literal, since it can be observed. In an `if`, its body is the fallback.
//                     As a statement, `(void)FSYS_CHECK(...)`: reported, and the work goes on as it
//                     stands; with `false` for a condition the branch around is the fallback.
//   FSYS_INVARIANT    a belief of our own: when it is broken, builds with FSYS_ABORT_ON_INVARIANT
//                     abort, others log.

PLATFORM_EXPORT bool reportFailedCheck(const char* condition, const char* place);
PLATFORM_EXPORT void reportBrokenInvariant(const char* condition, const char* file, int line);

inline bool reportUnless(bool condition, const char* text, const char* place) {
  return condition || reportFailedCheck(text, place);
}

#define FSYS_CHECK(condition, place) reportUnless(static_cast<bool>(condition), #condition, place)

#define FSYS_INVARIANT(condition) \
  (static_cast<bool>(condition) ? void() : reportBrokenInvariant(#condition, __FILE__, __LINE__))
