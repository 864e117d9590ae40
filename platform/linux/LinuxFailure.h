#pragma once

#include <cerrno>
#include <cstdint>
#include <string>

#include "platform/LightweightString.h"
#include "platform/OS.h"

// Failures of the file services: each sets the calling thread's last error and answers it.

inline uint32_t osErrorOf(int number) { return eOsErrorBase + static_cast<uint32_t>(number); }

inline uint32_t failWith(uint32_t error) {
  nativeOS()->getErrors()->setLastError(error);
  return error;
}

inline uint32_t failWithErrno(int number) { return failWith(osErrorOf(number)); }

// Of a system call that answers 0, or fails with the system's error number.
inline bool succeeded(int result) {
  if (result != 0) failWithErrno(errno);
  return result == 0;
}

// The bytes of a name for the system; a text that is none is eOsInvalid.
inline bool bytesOf(const LightweightString<wchar_t>& path, std::string& bytes) {
  bool isName = toPathBytes(path, bytes);
  if (!isName) failWith(eOsInvalid);
  return isName;
}

// Of a question about a lock, or for one: where the file system knows none there is nobody to keep
// out and nothing to tell.
inline bool knowsNoLocks(int number) {
  return number == ENOLCK || number == ENOSYS || number == ENOTSUP || number == EINVAL;
}
