#pragma once

#include <cstdint>
#include <string>

// Error numbers of the operating-system abstraction.
// Units      a number is 0x1000 + the system's own number. So it never meets a result code of the
//            library above it (0, 1, 5, 8, 9, 10), and 1 always means success there.
enum OsError : uint32_t {
  eOsErrorBase = 0x1000,
  eOsNotPermitted = 0x1001,
  eOsNotFound = 0x1002,
  eOsIoError = 0x1005,
  eOsNoMemory = 0x100C,
  eOsAccessDenied = 0x100D,
  eOsExists = 0x1011,
  eOsNotAFolder = 0x1014,
  eOsIsAFolder = 0x1015,
  eOsInvalid = 0x1016,
  eOsTooManyFiles = 0x1018,
  eOsTooLarge = 0x101B,
  eOsNoSpace = 0x101C,
  eOsReadOnly = 0x101E,
  eOsNameTooLong = 0x1024,
  eOsNotSupported = 0x105F,
  eOsTimedOut = 0x106E,
  eOsCancelled = 0x107D,
};

// iOsErrors: the last error of the calling thread.
// Threads    any; each thread has its own. On a completion thread it is set before a failed
//            transfer's command is executed.
class iOsErrors {
public:
  virtual ~iOsErrors() = default;
  // The last failure of an operation on this thread, 0 if there was none. Success leaves it alone.
  virtual uint32_t getLastError() const = 0;
  virtual void setLastError(uint32_t error) = 0;
  // The error in words, without a full stop; for people, never compared.
  virtual std::string describe(uint32_t error) const = 0;
};
